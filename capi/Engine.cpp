#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "KORInterface/CKor.h"
#include "KORInterface/ParameterStore.h"
#include "KORInterface/Session.h"
#include "capi/Answer.h"
#include "capi/ParameterSet.h"

using kor::kBadArgument;
using kor::kSuccess;
using kor::capi::anyNull;

struct kor_engine {
    CKor engine{};
};

static_assert(KOR_OUTCOME_VALID == static_cast<int>(kor::SampleOutcome::valid) &&
              KOR_OUTCOME_SPOILED == static_cast<int>(kor::SampleOutcome::spoiled) &&
              KOR_REASON_MODEL_REFUSED == static_cast<int>(kor::NoMatrixReason::modelRefused) &&
              KOR_MODEL_TWO_LEVELS == static_cast<int>(kor::OrientationModel::twoLevels) &&
              KOR_SPOILED_BY_REFERENCE == static_cast<int>(kor::SpoiledBy::reference));

namespace {

std::int32_t giveReport(const kor::SampleReport& report, kor_sample_report* into)
{
    return kor::capi::give({0, static_cast<std::int32_t>(report.outcome), static_cast<std::int32_t>(report.reason),
                            static_cast<std::int32_t>(report.model), report.capturedReference ? 1 : 0,
                            report.levelXOutside ? 1 : 0, report.levelYOutside ? 1 : 0,
                            static_cast<std::int32_t>(report.spoiledBy), report.spoiledSince},
                           into);
}

} // namespace

std::int32_t kor_engine_create(kor_engine** engine)
{
    return kor::capi::create(engine);
}

std::int32_t kor_engine_destroy(kor_engine* engine)
{
    return kor::capi::destroy(engine);
}

std::int32_t kor_engine_configure(kor_engine* engine, const kor_prm* prm, const kor_configure_options* options)
{
    if (anyNull(engine) || anyNull(prm) || (options != nullptr && !kor::capi::isKnown(options))) {
        return kBadArgument;
    }
    kor::ConfigureOptions chosen;
    if (options != nullptr) {
        if (options->has_mount_mode != 0) {
            chosen.mountMode(options->mount_mode);
        }
        if (options->has_mcs_flag != 0) {
            chosen.mcsFlag(options->mcs_flag != 0);
        }
        if (options->has_detector != 0) {
            chosen.detector(options->detector[0], options->detector[1], options->detector[2]);
        }
        chosen.parameterStore(options->parameter_store != 0);
    }
    return kor::Configure(engine->engine, prm->set, chosen);
}

std::int32_t kor_engine_set_scale_factors(kor_engine* engine, const float* values, std::int32_t count)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setScaleFactors(values, count);
}

std::int32_t kor_engine_set_qvc_parameters(kor_engine* engine, const float* values, std::int32_t count)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setQVCParameters(values, count);
}

std::int32_t kor_engine_set_level1_parameters(kor_engine* engine, const float* values, std::int32_t count)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setLevel1Parameters(values, count);
}

std::int32_t kor_engine_set_level2_parameters(kor_engine* engine, const float* values, std::int32_t count)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setLevel2Parameters(values, count);
}

std::int32_t kor_engine_set_level_x_table(kor_engine* engine, std::int32_t count, const float* knots,
                                          const double* coefficients)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setLevelXComp(count, knots, coefficients);
}

std::int32_t kor_engine_set_level_y_table(kor_engine* engine, std::int32_t count, const float* knots,
                                          const double* coefficients)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setLevelYComp(count, knots, coefficients);
}

std::int32_t kor_engine_set_azimuth_table(kor_engine* engine, std::int32_t count, const float* table)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setAzimuthComp(count, table);
}

std::int32_t kor_engine_set_elevation_table(kor_engine* engine, std::int32_t count, const float* table)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setElevationComp(count, table);
}

std::int32_t kor_engine_set_encoder_offset(kor_engine* engine, const F_VECTOR2* offset)
{
    return anyNull(engine) || anyNull(offset) ? kBadArgument : engine->engine.setEncoderOffset(*offset);
}

std::int32_t kor_engine_set_tilt_offset(kor_engine* engine, const F_VECTOR2* offset)
{
    return anyNull(engine) || anyNull(offset) ? kBadArgument : engine->engine.setTiltOffset(*offset);
}

std::int32_t kor_engine_set_thermal_factor(kor_engine* engine, const F_VECTOR4* factor)
{
    return anyNull(engine) || anyNull(factor) ? kBadArgument : engine->engine.setThermalFactor(*factor);
}

std::int32_t kor_engine_set_known_vector(kor_engine* engine, const double* vector)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setKnownVector(vector);
}

std::int32_t kor_engine_set_local_matrix(kor_engine* engine, const double* matrix)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setLocalMatrix(matrix, 3);
}

std::int32_t kor_engine_set_machine_matrix(kor_engine* engine, const double* matrix)
{
    if (anyNull(engine) || anyNull(matrix)) {
        return kBadArgument;
    }
    double copy[9]; // the engine asks for a matrix that it may change
    std::copy_n(matrix, 9, copy);
    return engine->engine.setMachineMatrix(copy, 3);
}

std::int32_t kor_engine_set_mcs_flag(kor_engine* engine, std::int32_t machine)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setMcsFlag(machine != 0);
}

std::int32_t kor_engine_set_detector(kor_engine* engine, std::int32_t first, std::int32_t second, std::int32_t divisor)
{
    return anyNull(engine) ? kBadArgument : engine->engine.setPSDParameters(first, second, divisor);
}

std::int32_t kor_engine_set_parameter_store(kor_engine* engine, const float* dynamic, const float* x, const float* y)
{
    return anyNull(engine) ? kBadArgument : LoadParameterStore(engine->engine, dynamic, x, y);
}

std::int32_t kor_engine_set_mount_mode(kor_engine* engine, std::int32_t mode)
{
    if (anyNull(engine)) {
        return kBadArgument;
    }
    // This succeeds also without memory for a model.
    const int code = engine->engine.setMountMode(mode);
    return kor::LastSample(engine->engine).model == kor::OrientationModel::none ? kBadArgument : code;
}

std::int32_t kor_engine_update(kor_engine* engine, const KOR_RAWINFO* raw, KOR_INFO* info, double* matrix,
                               std::int32_t* code, kor_sample_report* report)
{
    if (anyNull(engine) || anyNull(raw) || (report != nullptr && !kor::capi::isThere(report))) {
        return kBadArgument;
    }
    kor::SampleResult result;
    kor::ProcessSample(engine->engine, *raw, result);
    if (info != nullptr) {
        *info = result.info;
    }
    if (matrix != nullptr) {
        std::copy_n(result.matrix, 9, matrix);
    }
    if (code != nullptr) {
        *code = result.matrixCode;
    }
    return report != nullptr ? giveReport(result.report, report) : kSuccess;
}

std::int32_t kor_engine_update_many(kor_engine* engine, const KOR_RAWINFO* raw, std::size_t count, KOR_INFO* info,
                                    double* matrices, std::int32_t* codes, std::int32_t* outcomes)
{
    if (anyNull(engine) || (anyNull(raw) && count > 0)) {
        return kBadArgument;
    }
    kor::SampleResult result;
    for (std::size_t i = 0; i < count; ++i) {
        kor::ProcessSample(engine->engine, raw[i], result);
        if (info != nullptr) {
            info[i] = result.info;
        }
        if (matrices != nullptr) {
            std::copy_n(result.matrix, 9, matrices + 9 * i);
        }
        if (codes != nullptr) {
            codes[i] = result.matrixCode;
        }
        if (outcomes != nullptr) {
            outcomes[i] = static_cast<std::int32_t>(result.report.outcome);
        }
    }
    return kSuccess;
}

std::int32_t kor_engine_last_sample(kor_engine* engine, kor_sample_report* report)
{
    return anyNull(engine) || !kor::capi::isThere(report) ? kBadArgument
                                                          : giveReport(kor::LastSample(engine->engine), report);
}

std::int32_t kor_engine_read_matrix(kor_engine* engine, double* matrix)
{
    return anyNull(engine) ? kBadArgument : engine->engine.ReadMatrix(matrix);
}

std::int32_t kor_engine_inverse_azimuth(kor_engine* engine, float azimuth, float* reading)
{
    if (anyNull(engine) || anyNull(reading)) {
        return kBadArgument;
    }
    *reading = engine->engine.getInverseAzCalib(azimuth);
    return kSuccess;
}

std::int32_t kor_engine_inverse_elevation(kor_engine* engine, float elevation, float* reading)
{
    if (anyNull(engine) || anyNull(reading)) {
        return kBadArgument;
    }
    *reading = engine->engine.getInverseElCalib(elevation);
    return kSuccess;
}

std::int32_t kor_engine_home_vector(kor_engine* engine, const D_VECTOR3* a, const D_VECTOR3* b,
                                    const D_VECTOR2* reference, const D_VECTOR3* measured, double* first,
                                    double* second, std::int32_t* solved)
{
    if (anyNull(engine) || anyNull(a, b, reference, measured)) {
        return kBadArgument;
    }
    const bool regular = engine->engine.Calc_HV0(*a, *b, *reference, *measured, first, second);
    if (solved != nullptr) {
        *solved = regular ? 1 : 0;
    }
    return kSuccess;
}

std::int32_t kor_fresh_process_values(void)
{
    kor::FreshProcessValues();
    return kSuccess;
}
