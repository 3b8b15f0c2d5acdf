// What becomes of samples: every outcome with its reason, and one call for all that an engine tells.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "KORInterface/Session.h"
#include "engine/RecordingModel.h"
#include "engine/State.h"
#include "engine/engine_pair.h"

namespace {

using namespace kor_test;
using kor::LastSample;
using kor::NoMatrixReason;
using kor::OrientationModel;
using kor::SampleOutcome;
using kor::SampleReport;
using kor::SpoiledBy;

SampleReport fed(CKor& engine, const KOR_RAWINFO& raw)
{
    feed(engine, raw);
    return LastSample(engine);
}

// A table that holds readings from -100 to 100 and leaves them as they are.
void setLevelTables(CKor& engine)
{
    const std::array<float, 5> knots = {-100, 100, -100, 100, 0};
    const std::array<double, 8> coefficients = {-100, 1, 0, 0, 0, 0, 0, 0};
    engine.setLevelXComp(2, knots.data(), coefficients.data());
    engine.setLevelYComp(2, knots.data(), coefficients.data());
}

KOR_RAWINFO atTime(std::uint32_t milliseconds)
{
    KOR_RAWINFO raw = plainSample();
    raw.sensorVector[0] = 100.0F;
    raw.sensorVector[1] = 4000.0F;
    raw.sensorVector[2] = 300.0F;
    raw.levelXRaw = 2.0F;
    raw.levelYRaw = -8.0F;
    raw.timeStampMs = milliseconds;
    return raw;
}

TEST(SampleOutcome, aNewEngineWasNeverFed)
{
    CKor engine;
    const SampleReport report = LastSample(engine);
    EXPECT_EQ(report.outcome, SampleOutcome::neverFed);
    EXPECT_EQ(report.model, OrientationModel::none);
    EXPECT_FALSE(report.capturedReference || report.levelXOutside || report.levelYOutside);
}

TEST(SampleOutcome, withoutAModelASampleIsRefused)
{
    CKor engine;
    EXPECT_EQ(fed(engine, plainSample()).outcome, SampleOutcome::noModel);
}

TEST(SampleOutcome, theFirstGoodSampleBecomesTheReferenceAndTheNextOneIsValid)
{
    CKor engine;
    configurePlainly(engine, 5);
    KOR_RAWINFO held = plainSample();
    held.referenceHold = 1;
    SampleReport report = fed(engine, held);
    EXPECT_EQ(report.outcome, SampleOutcome::beforeReference);
    EXPECT_FALSE(report.capturedReference);
    report = fed(engine, plainSample());
    EXPECT_EQ(report.outcome, SampleOutcome::beforeReference);
    EXPECT_TRUE(report.capturedReference);
    report = fed(engine, held);
    EXPECT_EQ(report.outcome, SampleOutcome::valid);
    EXPECT_FALSE(report.capturedReference) << "of this sample only";
    EXPECT_EQ(report.model, OrientationModel::polarizer);
}

TEST(SampleOutcome, anyStatusButTwoIsRejected)
{
    CKor engine;
    configurePlainly(engine, 5);
    fed(engine, plainSample());
    for (const std::int32_t status : {0, 1, 3, -2, 258}) {
        KOR_RAWINFO raw = plainSample();
        raw.status = status;
        EXPECT_EQ(fed(engine, raw).outcome, SampleOutcome::rejectedByStatus) << status;
    }
    EXPECT_EQ(fed(engine, plainSample()).outcome, SampleOutcome::valid) << "the reference stands";
}

TEST(SampleOutcome, everyModeNamesItsModel)
{
    for (int mode = -3; mode < 13; ++mode) {
        CKor engine;
        configurePlainly(engine, mode);
        const OrientationModel wanted = mode == 1 || mode == 2    ? OrientationModel::dualLevel
                                        : mode == 5 || mode == 6  ? OrientationModel::polarizer
                                        : mode == 7 || mode == 8  ? OrientationModel::threeVectors
                                        : mode == 9 || mode == 10 ? OrientationModel::twoLevels
                                                                  : OrientationModel::pendulum;
        EXPECT_EQ(LastSample(engine).model, wanted) << mode;
        engine.setMountMode(5);
        EXPECT_EQ(LastSample(engine).model, wanted) << "a model once made is kept";
    }
}

class Refusing : public CKorModel {
public:
    bool CalTranxMatrix(double* const, double, double, int) override { return false; }
};

TEST(SampleOutcome, aModelThatRefusesGivesNoMatrix)
{
    CKor engine;
    configurePlainly(engine, 1);
    CKorAccess::state(engine).model = std::make_shared<Refusing>();
    const SampleReport report = fed(engine, plainSample());
    EXPECT_EQ(report.outcome, SampleOutcome::noMatrix);
    EXPECT_EQ(report.reason, NoMatrixReason::modelRefused) << "levels without tables exclude nothing in this mode";
    EXPECT_TRUE(report.levelXOutside && report.levelYOutside);
}

TEST(SampleOutcome, aMatrixThatIsNotFiniteIsSaid)
{
    CKor engine;
    configurePlainly(engine, 5);
    fed(engine, plainSample());
    for (const float wrong : {kNoNumber, kInfinite, -kInfinite}) {
        KOR_RAWINFO raw = plainSample();
        raw.azimuthRaw = wrong;
        EXPECT_EQ(fed(engine, raw).outcome, SampleOutcome::notFinite) << wrong;
    }
    EXPECT_EQ(fed(engine, plainSample()).outcome, SampleOutcome::valid);
}

TEST(SampleOutcome, eachElementOfAMatrixIsLookedAt)
{
    CKor engine;
    configurePlainly(engine, 7); // a matrix of this mode's model is handed on as it is
    const auto model = kor_test::recordModelCalls(engine);
    const auto outcomeOf = [&](const kor_test::Matrix& matrix) {
        model->matrix = matrix;
        return fed(engine, plainSample()).outcome;
    };
    kor_test::Matrix large{};
    large.fill(1e308); // each is finite, and their sum is not
    outcomeOf(large);  // the first one becomes the reference
    for (std::size_t i = 0; i < 9; ++i) {
        for (const double wrong :
             {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e308}) {
            kor_test::Matrix matrix = kor_test::kIdentity;
            matrix[i] = wrong;
            const SampleOutcome wanted = std::isfinite(wrong) ? SampleOutcome::valid : SampleOutcome::notFinite;
            EXPECT_EQ(outcomeOf(matrix), wanted) << wrong << " at " << i;
        }
    }
    EXPECT_EQ(outcomeOf(large), SampleOutcome::valid);
}

TEST(SampleOutcome, aMatrixThatIsNotFiniteIsSaidBeforeTheReferenceToo)
{
    CKor engine;
    configurePlainly(engine, 5);
    KOR_RAWINFO raw = plainSample();
    raw.sensorVector[0] = kNoNumber;
    const SampleReport report = fed(engine, raw);
    EXPECT_EQ(report.outcome, SampleOutcome::notFinite);
    EXPECT_TRUE(report.capturedReference) << "of such a matrix";
}

// Pins [reference-not-finite].
TEST(SampleOutcome, aReferenceThatIsNotFiniteSpoilsLocalCoordinatesForGood)
{
    CKor engine;
    configurePlainly(engine, 5);
    engine.setMcsFlag(false);
    KOR_RAWINFO raw = plainSample();
    raw.referenceHold = 1;
    EXPECT_EQ(fed(engine, raw).spoiledBy, SpoiledBy::nothing);
    raw.referenceHold = 0;
    raw.azimuthRaw = kNoNumber;
    SampleReport report = fed(engine, raw);
    EXPECT_EQ(report.outcome, SampleOutcome::notFinite) << "its own reading";
    EXPECT_TRUE(report.capturedReference);
    EXPECT_EQ(report.spoiledBy, SpoiledBy::reference);
    EXPECT_EQ(report.spoiledSince, 2U);
    for (int i = 0; i < 3; ++i) {
        report = fed(engine, plainSample());
        EXPECT_EQ(report.outcome, SampleOutcome::spoiled);
        EXPECT_EQ(report.spoiledSince, 2U);
    }
    CKor copy(engine);
    EXPECT_EQ(LastSample(copy).spoiledSince, 2U);
    // In machine coordinates the reference only decides from when on there are angles.
    engine.setMcsFlag(true);
    report = fed(engine, plainSample());
    EXPECT_EQ(report.outcome, SampleOutcome::valid);
    EXPECT_EQ(report.spoiledBy, SpoiledBy::nothing);
    engine.setMcsFlag(false);
    engine.Destroy();
    configurePlainly(engine, 5);
    engine.setMcsFlag(false);
    EXPECT_EQ(fed(engine, plainSample()).outcome, SampleOutcome::spoiled) << "Destroy keeps the reference";
    raw = plainSample();
    raw.status = 1;
    EXPECT_EQ(fed(engine, raw).spoiledBy, SpoiledBy::nothing) << "the model was not asked";
}

std::string textOf(const SampleReport& report, std::uint32_t room = 200)
{
    std::string text(room, '#');
    const std::uint32_t length = kor::SampleText(report, text.data(), room);
    EXPECT_EQ(kor::SampleText(report, nullptr, 0), length);
    EXPECT_EQ(text[std::min(length, room - 1)], '\0');
    return text.c_str();
}

TEST(SampleText, saysOutcomeReasonAndSinceWhenItIsSpoiled)
{
    SampleReport report = {SampleOutcome::valid,
                           NoMatrixReason::none,
                           OrientationModel::twoLevels,
                           false,
                           false,
                           false,
                           SpoiledBy::nothing,
                           0};
    EXPECT_EQ(textOf(report), "valid");
    report.outcome = SampleOutcome::noMatrix;
    report.reason = NoMatrixReason::bothLevelsExcluded;
    EXPECT_EQ(textOf(report), "no matrix: both levels are outside their tables");
    EXPECT_EQ(textOf(report, 5), "no m");
    EXPECT_EQ(textOf(report, 1), "");
    report.reason = NoMatrixReason::none;
    report.outcome = SampleOutcome::spoiled;
    report.spoiledBy = SpoiledBy::processValues;
    report.spoiledSince = 18446744073709551615U;
    EXPECT_EQ(textOf(report),
              "spoiled since sample 18446744073709551615: values that the process keeps are not finite");
    report.outcome = SampleOutcome::notFinite;
    report.spoiledBy = SpoiledBy::reference;
    report.spoiledSince = 7;
    EXPECT_EQ(textOf(report),
              "not finite; spoiled since sample 7: the reference was captured from a sample that is not "
              "finite");
}

TEST(SampleOutcome, aLevelOutsideItsTableIsNamed)
{
    CKor engine;
    configurePlainly(engine, 5);
    setLevelTables(engine);
    KOR_RAWINFO raw = plainSample();
    EXPECT_FALSE(fed(engine, raw).levelYOutside);
    raw.levelYRaw = std::nextafter(100.0F, 200.0F);
    SampleReport report = fed(engine, raw);
    EXPECT_FALSE(report.levelXOutside);
    EXPECT_TRUE(report.levelYOutside);
    raw.levelYRaw = 100.0F;
    EXPECT_FALSE(fed(engine, raw).levelYOutside);
    raw.levelYRaw = kNoNumber;
    raw.status = 1;
    EXPECT_TRUE(fed(engine, raw).levelYOutside) << "told for rejected samples, too";
}

// The two-level model's values belong to the process: this test needs one of its own or fresh ones.
TEST(SampleOutcome, theTwoLevelModelFillsItsFiltersAndLosesBothLevels)
{
    kor::FreshProcessValues();
    CKor engine;
    configurePlainly(engine, 10);
    setLevelTables(engine);
    const std::array<float, 7> level1 = {0, 0, 0, 0, 0, 0, 1};
    const std::array<float, 7> level2 = {0, 0, 0, 45, 0, 0, 1};
    engine.setLevel1Parameters(level1.data(), 7);
    engine.setLevel2Parameters(level2.data(), 7);
    engine.setMountMode(10);
    int filling = 0;
    SampleReport report = {};
    for (std::uint32_t i = 0; i < 12; ++i) {
        report = fed(engine, atTime(1000 + 10 * i));
        filling += report.reason == NoMatrixReason::filtersFilling ? 1 : 0;
        EXPECT_EQ(report.outcome == SampleOutcome::noMatrix, report.reason != NoMatrixReason::none);
    }
    EXPECT_EQ(filling, 5) << "the matrix of zeros of the very first call, and four samples that give none";
    EXPECT_EQ(report.outcome, SampleOutcome::valid);
    KOR_RAWINFO lost = atTime(2000);
    lost.levelXRaw = lost.levelYRaw = 1000.0F;
    report = fed(engine, lost);
    EXPECT_EQ(report.outcome, SampleOutcome::noMatrix);
    EXPECT_EQ(report.reason, NoMatrixReason::bothLevelsExcluded);
    lost.levelYRaw = -8.0F;
    EXPECT_EQ(fed(engine, lost).outcome, SampleOutcome::valid) << "one level is enough";
}

TEST(SampleOutcome, afterDestroyNothingHasBeenFed)
{
    CKor engine;
    configurePlainly(engine, 5);
    fed(engine, plainSample());
    engine.Destroy();
    EXPECT_EQ(LastSample(engine).outcome, SampleOutcome::neverFed);
    EXPECT_EQ(LastSample(engine).model, OrientationModel::none);
    EXPECT_EQ(fed(engine, plainSample()).outcome, SampleOutcome::noModel);
}

TEST(SampleOutcome, aCopyTakesItOver)
{
    CKor engine;
    configurePlainly(engine, 5);
    fed(engine, plainSample());
    fed(engine, plainSample());
    CKor copy(engine);
    CKor assigned;
    assigned = engine;
    EXPECT_EQ(LastSample(copy).outcome, SampleOutcome::valid);
    EXPECT_EQ(LastSample(assigned).outcome, SampleOutcome::valid);
}

TEST(ProcessSample, givesWhatTheSingleCallsGive)
{
    CKor one;
    CKor other;
    configurePlainly(one, 5);
    configurePlainly(other, 5);
    for (int i = 0; i < 20; ++i) {
        KOR_RAWINFO raw = plainSample();
        raw.status = i % 7 == 3 ? 1 : 2;
        raw.azimuthRaw = 3.5F * static_cast<float>(i);
        raw.levelYRaw = static_cast<float>(i);
        raw.referenceHold = i < 5 ? 1 : 0;
        kor::SampleResult result;
        std::memset(static_cast<void*>(&result), 0xFF, sizeof result);
        kor::ProcessSample(one, raw, result);
        EXPECT_TRUE(sameResult(result.info, feed(other, raw))) << i;
        Matrix matrix;
        EXPECT_EQ(result.matrixCode, other.ReadMatrix(matrix.data())) << i;
        Matrix got;
        std::memcpy(got.data(), result.matrix, sizeof result.matrix);
        EXPECT_TRUE(sameBitsThroughout(got, matrix)) << i;
        const SampleReport report = LastSample(other);
        EXPECT_EQ(result.report.outcome, report.outcome) << i;
        EXPECT_EQ(result.report.capturedReference, i == 5) << i;
    }
}

TEST(OutcomeTexts, everyValueHasATextOfItsOwnAndAnyOtherNumberIsUnknown)
{
    std::set<std::string> texts = {"", "unknown"};
    for (int i = 0; i <= 7; ++i) {
        EXPECT_TRUE(texts.insert(kor::OutcomeText(static_cast<SampleOutcome>(i))).second) << i;
    }
    for (int i = 1; i <= 3; ++i) {
        EXPECT_TRUE(texts.insert(kor::ReasonText(static_cast<NoMatrixReason>(i))).second) << i;
    }
    for (int i = 0; i <= 5; ++i) {
        EXPECT_TRUE(texts.insert(kor::ModelText(static_cast<OrientationModel>(i))).second) << i;
    }
    EXPECT_STREQ(kor::ReasonText(NoMatrixReason::none), "");
    for (int i = 1; i <= 2; ++i) {
        EXPECT_TRUE(texts.insert(kor::SpoiledText(static_cast<SpoiledBy>(i))).second) << i;
    }
    EXPECT_STREQ(kor::SpoiledText(SpoiledBy::nothing), "");
    EXPECT_STREQ(kor::SpoiledText(static_cast<SpoiledBy>(3)), "unknown");
    EXPECT_STREQ(kor::OutcomeText(static_cast<SampleOutcome>(8)), "unknown");
    EXPECT_STREQ(kor::ReasonText(static_cast<NoMatrixReason>(-1)), "unknown");
    EXPECT_STREQ(kor::ModelText(static_cast<OrientationModel>(99)), "unknown");
}

} // namespace
