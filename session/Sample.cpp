#include <algorithm>
#include <cmath>
#include <iterator>
#include <mutex>

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

SampleReport reportOf(const EngineFields& s)
{
    const SampleTrace& trace = s.lastSample;
    SampleReport report = {SampleOutcome::valid,    NoMatrixReason::none, s.modelKind,
                           trace.capturedReference, trace.levelXOutside,  trace.levelYOutside};
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
            report.outcome = SampleOutcome::notFinite;
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
    }
    return "unknown";
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
