#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <mutex>
#include <string_view>

#include "KORInterface/Session.h"
#include "engine/State.h"

namespace kor {

namespace {

using Step = SampleTrace::Step;
using Guard = std::lock_guard<platform::RecursiveLock>;

// A sum of finite elements may overflow, and only then are they looked at one by one.
bool isFinite(const double (&m)[9])
{
    const double sum = (m[0] + m[1] + m[2]) + (m[3] + m[4] + m[5]) + (m[6] + m[7] + m[8]);
    return std::isfinite(sum) ||
           std::all_of(std::begin(m), std::end(m), [](double element) { return std::isfinite(element); });
}

bool isZero(const double (&matrix)[9])
{
    return std::all_of(std::begin(matrix), std::end(matrix), [](double element) { return element == 0.0; });
}

// Only the two-level model asks which levels are outside, and it alone holds samples back.
NoMatrixReason reasonOf(const EngineFields& s)
{
    if (s.modelKind != OrientationModel::twoLevels) {
        return NoMatrixReason::modelRefused;
    }
    return s.lastSample.levelXOutside && s.lastSample.levelYOutside ? NoMatrixReason::bothLevelsExcluded
                                                                    : NoMatrixReason::filtersFilling;
}

// What carries a sample that is not finite on to those that follow, for a sample that the model was asked for.
void addWhatIsSpoiled(const EngineFields& s, SampleReport& report)
{
    constexpr std::int32_t kFirstModeWithoutReference = 7;
    if (s.modelKind == OrientationModel::twoLevels && s.valuesSpoiledSince != 0) {
        report.spoiledBy = SpoiledBy::processValues;
        report.spoiledSince = s.valuesSpoiledSince;
    } else if (s.mountMode < kFirstModeWithoutReference && !s.mcsFlag && s.referenceSpoiledSince != 0) {
        report.spoiledBy = SpoiledBy::reference;
        report.spoiledSince = s.referenceSpoiledSince;
    }
}

// Whether an earlier sample is the reason why a matrix is not finite.
bool wasSpoiledBefore(const SampleTrace& trace, SpoiledBy by)
{
    return (by == SpoiledBy::processValues && trace.valuesWereSpoiled) ||
           (by == SpoiledBy::reference && trace.hadReference);
}

SampleReport reportOf(const EngineFields& s)
{
    const SampleTrace& trace = s.lastSample;
    SampleReport report = {SampleOutcome::valid, NoMatrixReason::none, s.modelKind,        trace.capturedReference,
                           trace.levelXOutside,  trace.levelYOutside,  SpoiledBy::nothing, 0};
    if (trace.step == Step::noMatrix || trace.step == Step::matrix) {
        addWhatIsSpoiled(s, report);
    }
    switch (trace.step) {
    case Step::neverFed:
        report.outcome = SampleOutcome::neverFed;
        break;
    case Step::noModel:
        report.outcome = SampleOutcome::noModel;
        break;
    case Step::rejectedByStatus:
        report.outcome = SampleOutcome::rejectedByStatus;
        break;
    case Step::noMatrix:
        report.outcome = SampleOutcome::noMatrix;
        report.reason = reasonOf(s);
        break;
    case Step::matrix:
        // The two-level model's answer before its first solve is nine zeros.
        if (s.modelKind == OrientationModel::twoLevels && isZero(s.modelBuffer)) {
            report.outcome = SampleOutcome::noMatrix;
            report.reason = NoMatrixReason::filtersFilling;
        } else if (!isFinite(s.modelBuffer) || !isFinite(s.resultMatrix)) {
            report.outcome =
                wasSpoiledBefore(trace, report.spoiledBy) ? SampleOutcome::spoiled : SampleOutcome::notFinite;
        } else if (!trace.hadReference) {
            report.outcome = SampleOutcome::beforeReference;
        }
        break;
    }
    return report;
}

} // namespace

SampleReport LastSample(CKor& engine)
{
    const CKorAccess::State& s = CKorAccess::state(engine);
    const Guard guard(CKorAccess::state(engine).lock);
    return reportOf(s);
}

void ProcessSample(CKor& engine, const KOR_RAWINFO& raw, SampleResult& result)
{
    CKorAccess::State& s = CKorAccess::state(engine);
    const Guard guard(s.lock);
    engine.updateKORData(raw, result.info);
    result.matrixCode = readMatrixLocked(s, result.matrix);
    result.report = reportOf(s);
}

const char* OutcomeText(SampleOutcome outcome)
{
    switch (outcome) {
    case SampleOutcome::neverFed:
        return "never fed";
    case SampleOutcome::noModel:
        return "no model";
    case SampleOutcome::rejectedByStatus:
        return "rejected by status";
    case SampleOutcome::noMatrix:
        return "no matrix";
    case SampleOutcome::notFinite:
        return "not finite";
    case SampleOutcome::beforeReference:
        return "before the reference";
    case SampleOutcome::valid:
        return "valid";
    case SampleOutcome::spoiled:
        return "spoiled";
    }
    return "unknown";
}

const char* SpoiledText(SpoiledBy by)
{
    switch (by) {
    case SpoiledBy::nothing:
        return "";
    case SpoiledBy::processValues:
        return "values that the process keeps are not finite";
    case SpoiledBy::reference:
        return "the reference was captured from a sample that is not finite";
    }
    return "unknown";
}

std::uint32_t SampleText(const SampleReport& report, char* text, std::uint32_t size)
{
    std::uint32_t length = 0;
    const auto append = [&](std::string_view words) {
        if (length < size) {
            words.copy(text + length, size - length);
        }
        length += static_cast<std::uint32_t>(words.size());
    };
    append(OutcomeText(report.outcome));
    if (report.reason != NoMatrixReason::none) {
        append(": ");
        append(ReasonText(report.reason));
    }
    if (report.spoiledBy != SpoiledBy::nothing) {
        std::array<char, 20> number;
        const auto end = std::to_chars(number.begin(), number.end(), report.spoiledSince).ptr;
        append(report.outcome == SampleOutcome::spoiled ? " since sample " : "; spoiled since sample ");
        append({number.data(), static_cast<std::size_t>(end - number.data())});
        append(": ");
        append(SpoiledText(report.spoiledBy));
    }
    if (size > 0) {
        text[std::min(length, size - 1)] = '\0';
    }
    return length;
}

const char* ReasonText(NoMatrixReason reason)
{
    switch (reason) {
    case NoMatrixReason::none:
        return "";
    case NoMatrixReason::bothLevelsExcluded:
        return "both levels are outside their tables";
    case NoMatrixReason::filtersFilling:
        return "the filters are still filling";
    case NoMatrixReason::modelRefused:
        return "the model has no solution";
    }
    return "unknown";
}

const char* ModelText(OrientationModel model)
{
    switch (model) {
    case OrientationModel::none:
        return "none";
    case OrientationModel::dualLevel:
        return "dual level";
    case OrientationModel::pendulum:
        return "pendulum";
    case OrientationModel::polarizer:
        return "polarizer";
    case OrientationModel::threeVectors:
        return "three vectors";
    case OrientationModel::twoLevels:
        return "two levels";
    }
    return "unknown";
}

} // namespace kor
