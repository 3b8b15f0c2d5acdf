#include "capi/ParameterSet.h"

#include <cstdint>

#include "capi/Answer.h"

using kor::kBadArgument;
using kor::kNotLoaded;
using kor::capi::anyNull;
using kor::capi::give;
using kor::capi::giveText;
using kor::capi::isThere;

static_assert(KOR_FINDING_SHORT_TABLE == static_cast<int>(kor::FindingKind::shortTable) &&
              KOR_SEVERITY_ERROR == static_cast<int>(kor::CheckSeverity::error) &&
              static_cast<std::int32_t>(KOR_MODE_OF_FILE) == kor::kModeOfFile);

namespace {

// A text of an account whose other texts are none of these.
const char* partOf(const kor::ReadFinding& finding, std::int32_t which)
{
    switch (which) {
    case KOR_TEXT_SENTENCE:
        return finding.text;
    case KOR_TEXT_BLOCK:
        return finding.block;
    case KOR_TEXT_FOUND:
        return finding.found;
    case KOR_TEXT_EXPECTED:
        return finding.expected;
    default:
        return which >= KOR_TEXT_SENTENCE && which <= KOR_TEXT_RULE ? "" : nullptr;
    }
}

const char* partOf(const kor::CheckFinding& finding, std::int32_t which)
{
    switch (which) {
    case KOR_TEXT_SENTENCE:
        return finding.text;
    case KOR_TEXT_BLOCK:
        return finding.block;
    case KOR_TEXT_FIELD:
        return finding.field;
    case KOR_TEXT_FOUND:
        return finding.found;
    case KOR_TEXT_EXPECTED:
        return finding.expected;
    case KOR_TEXT_ADVICE:
        return finding.advice;
    case KOR_TEXT_RULE:
        return finding.rule;
    default:
        return which >= KOR_TEXT_SENTENCE && which <= KOR_TEXT_RULE ? "" : nullptr;
    }
}

template <typename Finding>
std::int32_t givePart(const Finding& finding, std::int32_t which, char* text, std::size_t room, std::size_t* length)
{
    const char* const part = partOf(finding, which);
    return part == nullptr ? kBadArgument : giveText(part, text, room, length);
}

// A table whose length the set tells when it is asked for it without room.
template <typename Ask, typename... Parts>
std::int32_t getTable(std::size_t room, std::size_t* count, const Ask& ask, Parts*... parts)
{
    unsigned int rows = 0;
    if (const int code = ask(rows, static_cast<Parts*>(nullptr)...); code == kNotLoaded) {
        return code;
    }
    *count = rows;
    return anyNull(parts...) || rows > room ? kBadArgument : ask(rows, parts...);
}

// The other groups, whose getters have this form.
template <typename Get, typename... Parts>
std::int32_t get(const kor_prm* prm, const Get& getter, Parts*... parts)
{
    return anyNull(prm) || anyNull(parts...) ? kBadArgument : getter(prm->set);
}

} // namespace

std::int32_t kor_prm_create(kor_prm** prm)
{
    return kor::capi::create(prm);
}

std::int32_t kor_prm_destroy(kor_prm* prm)
{
    return kor::capi::destroy(prm);
}

std::int32_t kor_prm_read(kor_prm* prm, const char* directory, std::uint32_t id)
{
    return anyNull(prm, directory) ? kBadArgument : kor::ReadParameterFile(prm->set, directory, id, prm->read);
}

std::int32_t kor_prm_read_report(const kor_prm* prm, kor_read_report* report)
{
    if (anyNull(prm) || !isThere(report)) {
        return kBadArgument;
    }
    const kor::ReadReport& read = prm->read;
    return give({0, read.status(), read.message(), read.line(), read.outOfMemory() ? 1 : 0, read.findings(),
                 read.allFindings()},
                report);
}

std::int32_t kor_prm_read_text(const kor_prm* prm, std::int32_t which, char* text, std::size_t room,
                               std::size_t* length)
{
    if (anyNull(prm)) {
        return kBadArgument;
    }
    kor::ReadFinding failure{};
    failure.text = prm->read.text();
    failure.block = prm->read.block();
    failure.found = prm->read.found();
    failure.expected = prm->read.expected();
    return givePart(failure, which, text, room, length);
}

std::int32_t kor_prm_read_finding(const kor_prm* prm, std::uint32_t index, kor_read_finding* finding)
{
    if (anyNull(prm) || !isThere(finding) || index >= prm->read.findings()) {
        return kBadArgument;
    }
    const kor::ReadFinding found = prm->read.finding(index);
    return give({0, static_cast<std::int32_t>(found.kind), found.line, 0, found.values, found.rows, found.count},
                finding);
}

std::int32_t kor_prm_read_finding_text(const kor_prm* prm, std::uint32_t index, std::int32_t which, char* text,
                                       std::size_t room, std::size_t* length)
{
    return anyNull(prm) || index >= prm->read.findings()
               ? kBadArgument
               : givePart(prm->read.finding(index), which, text, room, length);
}

std::int32_t kor_prm_check(kor_prm* prm, const char* directory, std::uint32_t id, std::int32_t mode)
{
    return anyNull(prm, directory) ? kBadArgument : kor::CheckParameterFile(directory, id, mode, prm->check);
}

std::int32_t kor_prm_check_file(kor_prm* prm, const char* path, std::int32_t mode)
{
    return anyNull(prm, path) ? kBadArgument : kor::CheckParameterFile(path, mode, prm->check);
}

std::int32_t kor_prm_check_report(const kor_prm* prm, kor_check_report* report)
{
    if (anyNull(prm) || !isThere(report)) {
        return kBadArgument;
    }
    const kor::CheckReport& check = prm->check;
    return give({0, check.status(), check.message(), check.outOfMemory() ? 1 : 0, check.findings(), check.errors(),
                 check.warnings(), check.notes()},
                report);
}

std::int32_t kor_prm_check_finding(const kor_prm* prm, std::uint32_t index, kor_check_finding* finding)
{
    if (anyNull(prm) || !isThere(finding) || index >= prm->check.findings()) {
        return kBadArgument;
    }
    const kor::CheckFinding found = prm->check.finding(index);
    return give({0, static_cast<std::int32_t>(found.severity), found.line, 0, found.more}, finding);
}

std::int32_t kor_prm_check_finding_text(const kor_prm* prm, std::uint32_t index, std::int32_t which, char* text,
                                        std::size_t room, std::size_t* length)
{
    return anyNull(prm) || index >= prm->check.findings()
               ? kBadArgument
               : givePart(prm->check.finding(index), which, text, room, length);
}

std::int32_t kor_prm_get_azimuth_table(const kor_prm* prm, float* table, std::size_t room, std::size_t* count)
{
    return anyNull(prm, count)
               ? kBadArgument
               : getTable(
                     room, count,
                     [prm](unsigned int& rows, float* into) { return prm->set.getAzimuthComp(rows, into); }, table);
}

std::int32_t kor_prm_get_elevation_table(const kor_prm* prm, float* table, std::size_t room, std::size_t* count)
{
    return anyNull(prm, count)
               ? kBadArgument
               : getTable(
                     room, count,
                     [prm](unsigned int& rows, float* into) { return prm->set.getElevationComp(rows, into); }, table);
}

std::int32_t kor_prm_get_level_x_table(const kor_prm* prm, float* knots, double* coefficients, std::size_t room,
                                       std::size_t* count)
{
    return anyNull(prm, count) ? kBadArgument
                               : getTable(
                                     room, count,
                                     [prm](unsigned int& rows, float* into, double* intoCoefficients) {
                                         return prm->set.getLevelXComp(rows, into, intoCoefficients);
                                     },
                                     knots, coefficients);
}

std::int32_t kor_prm_get_level_y_table(const kor_prm* prm, float* knots, double* coefficients, std::size_t room,
                                       std::size_t* count)
{
    return anyNull(prm, count) ? kBadArgument
                               : getTable(
                                     room, count,
                                     [prm](unsigned int& rows, float* into, double* intoCoefficients) {
                                         return prm->set.getLevelYComp(rows, into, intoCoefficients);
                                     },
                                     knots, coefficients);
}

std::int32_t kor_prm_get_scale_factors(const kor_prm* prm, float* values)
{
    unsigned int count = 0;
    return get(
        prm, [&](CKorPrm& set) { return set.getScaleFactors(values, count); }, values);
}

std::int32_t kor_prm_get_qvc_parameters(const kor_prm* prm, float* values)
{
    unsigned int count = 0;
    return get(
        prm, [&](CKorPrm& set) { return set.getQVCParameters(values, count); }, values);
}

std::int32_t kor_prm_get_level1_parameters(const kor_prm* prm, float* values)
{
    unsigned int count = 0;
    return get(
        prm, [&](CKorPrm& set) { return set.getLevel1Parameters(values, count); }, values);
}

std::int32_t kor_prm_get_level2_parameters(const kor_prm* prm, float* values)
{
    unsigned int count = 0;
    return get(
        prm, [&](CKorPrm& set) { return set.getLevel2Parameters(values, count); }, values);
}

std::int32_t kor_prm_get_dynamic_parameters(const kor_prm* prm, float* values)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getDynamicKORParameters(values); }, values);
}

std::int32_t kor_prm_get_detector(const kor_prm* prm, float* x, float* y)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getPSDParameters(x, y); }, x, y);
}

std::int32_t kor_prm_get_encoder_offset(const kor_prm* prm, F_VECTOR2* offset)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getEncoderOffset(*offset); }, offset);
}

std::int32_t kor_prm_get_encoder_limit(const kor_prm* prm, F_VECTOR4* limit)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getEncoderLimit(*limit); }, limit);
}

std::int32_t kor_prm_get_known_vector(const kor_prm* prm, double* vector)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getKnownVector(vector); }, vector);
}

std::int32_t kor_prm_get_local_matrix(const kor_prm* prm, double* matrix)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getLocalMatrix(matrix, 3); }, matrix);
}

std::int32_t kor_prm_get_machine_matrix(const kor_prm* prm, double* matrix)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getMachineMatrix(matrix, 3); }, matrix);
}

std::int32_t kor_prm_get_thermal_factor(const kor_prm* prm, F_VECTOR4* factor)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getThermalFactor(*factor); }, factor);
}

std::int32_t kor_prm_get_tilt_offset(const kor_prm* prm, F_VECTOR2* offset)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getTiltOffset(*offset); }, offset);
}

std::int32_t kor_prm_get_level_limits(const kor_prm* prm, F_VECTOR4* limits)
{
    return get(
        prm, [&](CKorPrm& set) { return set.GetKORLevelLimits(*limits); }, limits);
}

std::int32_t kor_prm_get_mount_mode(const kor_prm* prm, std::int32_t* mode)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getMountMode(*mode); }, mode);
}

std::int32_t kor_prm_get_adm_offset(const kor_prm* prm, float* offset)
{
    return get(
        prm, [&](CKorPrm& set) { return set.getADMOffset(*offset); }, offset);
}

std::int32_t kor_prm_set_scale_factors(kor_prm* prm, const float* values, std::uint32_t count)
{
    return anyNull(prm, values) ? kBadArgument : prm->set.setScaleFactors(values, count);
}

std::int32_t kor_prm_set_encoder_offset(kor_prm* prm, const F_VECTOR2* offset)
{
    return anyNull(prm, offset) ? kBadArgument : prm->set.setEncoderOffset(*offset);
}

std::int32_t kor_prm_set_known_vector(kor_prm* prm, const double* vector)
{
    return anyNull(prm, vector) ? kBadArgument : prm->set.setKnownVector(vector);
}

std::int32_t kor_prm_set_local_matrix(kor_prm* prm, const double* matrix)
{
    return anyNull(prm, matrix) ? kBadArgument : prm->set.setLocalMatrix(matrix, 3);
}

std::int32_t kor_prm_set_machine_matrix(kor_prm* prm, const double* matrix)
{
    if (anyNull(prm, matrix)) {
        return kBadArgument;
    }
    double copy[9]; // the set asks for a matrix that it may change
    std::copy_n(matrix, 9, copy);
    return prm->set.setMachineMatrix(copy, 3);
}

std::int32_t kor_prm_set_thermal_factor(kor_prm* prm, const F_VECTOR4* factor)
{
    return anyNull(prm, factor) ? kBadArgument : prm->set.setThermalFactor(*factor);
}

std::int32_t kor_prm_set_tilt_offset(kor_prm* prm, const F_VECTOR2* offset)
{
    return anyNull(prm, offset) ? kBadArgument : prm->set.setTiltOffset(*offset);
}

std::int32_t kor_prm_set_level_limits(kor_prm* prm, const F_VECTOR4* limits)
{
    return anyNull(prm, limits) ? kBadArgument : prm->set.SetKORLevelLimits(*limits);
}
