// What becomes of a sample, which samples a window holds, and the summary.
#include "tools/kor/Tally.h"

#include <cstring>
#include <initializer_list>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "tools/kor/Summary.h"

namespace {

using kor::NoMatrixReason;
using kor::OrientationModel;
using kor::SampleOutcome;
using kor::SampleReport;
using kor::SpoiledBy;
using kor::recordings::Outcome;
using kor::tool::outcomeOf;
using kor::tool::Places;
using kor::tool::readingsAreFinite;
using kor::tool::StampSteps;
using kor::tool::Summary;
using kor::tool::Tally;
using kor::tool::textOf;
using kor::tool::whyNothingUsable;
using kor::tool::Window;

SampleReport became(SampleOutcome outcome)
{
    return {outcome, NoMatrixReason::none, OrientationModel::polarizer, false, false, false, SpoiledBy::nothing, 0};
}

// The stamps of a list that a window holds.
std::string held(Window window, std::initializer_list<std::uint32_t> stamps)
{
    std::string text;
    for (const std::uint32_t stamp : stamps) {
        if (window.contains(stamp)) {
            text += std::to_string(stamp) + " ";
        }
    }
    return text;
}

Window window(std::int64_t from, std::int64_t to)
{
    Window made;
    if (from >= 0) {
        made.from(static_cast<std::uint32_t>(from));
    }
    if (to >= 0) {
        made.to(static_cast<std::uint32_t>(to));
    }
    return made;
}

TEST(Window, withoutBoundsHoldsEverything)
{
    EXPECT_FALSE(Window().limited());
    EXPECT_EQ(held(window(-1, -1), {5, 0, 4294967295u}), "5 0 4294967295 ");
}

TEST(Window, bothBoundsAreInclusive)
{
    EXPECT_EQ(held(window(20, 30), {10, 19, 20, 25, 30, 31}), "20 25 30 ");
    EXPECT_EQ(held(window(20, 20), {19, 20, 21}), "20 ");
}

TEST(Window, fromALaterToAnEarlierStampLiesAcrossTheWrap)
{
    EXPECT_EQ(held(window(4294967290, 5), {4294967289u, 4294967290u, 4294967295u, 0, 5, 6}),
              "4294967290 4294967295 0 5 ");
}

TEST(Window, oneBoundBelowTheFirstStampLiesBeforeTheRecording)
{
    EXPECT_EQ(held(window(0, -1), {1000, 1010}), "1000 1010 ");
    EXPECT_EQ(held(window(-1, 999), {1000, 1010}), "");
}

TEST(Window, oneBoundFarBelowTheFirstStampLiesBehindTheWrap)
{
    EXPECT_EQ(held(window(5, -1), {4294967290u, 0, 5, 6}), "5 6 ");
    EXPECT_EQ(held(window(-1, 5), {4294967290u, 0, 5, 6}), "4294967290 0 5 ");
}

TEST(Window, theLimitBetweenBeforeAndBehindIsHalfTheRange)
{
    const std::uint32_t first = 0x90000000u;
    EXPECT_EQ(held(window(0x10000001, -1), {first}), "2415919104 ");
    EXPECT_EQ(held(window(0x10000000, -1), {first}), "");
}

TEST(Window, oneBoundAboveTheFirstStampLiesBehindItHoweverFar)
{
    EXPECT_EQ(held(window(-1, 4294967295), {0, 1000}), "0 1000 ");
    EXPECT_EQ(held(window(4294967295, -1), {0, 1000}), "");
}

TEST(Outcome, everyReportHasAName)
{
    EXPECT_EQ(outcomeOf(became(SampleOutcome::valid)), Outcome::ok);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::beforeReference)), Outcome::beforeReference);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::rejectedByStatus)), Outcome::rejectedStatus);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::notFinite)), Outcome::notFinite);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::spoiled)), Outcome::spoiled);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::noModel)), Outcome::noMatrixNoModel);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::neverFed)), Outcome::noMatrixNoModel);
    SampleReport report = became(SampleOutcome::noMatrix);
    report.reason = NoMatrixReason::bothLevelsExcluded;
    EXPECT_EQ(outcomeOf(report), Outcome::noMatrixBothLevelsOutside);
    report.reason = NoMatrixReason::filtersFilling;
    EXPECT_EQ(outcomeOf(report), Outcome::noMatrixFiltersFilling);
    report.reason = NoMatrixReason::modelRefused;
    EXPECT_EQ(outcomeOf(report), Outcome::noMatrixNoSolution);
}

// A sample with this stamp and finite readings.
KOR_RAWINFO sampleAt(std::uint32_t stamp)
{
    KOR_RAWINFO raw{};
    raw.status = 2;
    raw.timeStampMs = stamp;
    return raw;
}

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(Tally, countsEachOutcomeWithItsFirstAndLastPlace)
{
    Tally tally;
    tally.count(sampleAt(0), became(SampleOutcome::beforeReference), 2);
    tally.count(sampleAt(10), became(SampleOutcome::valid), 3);
    tally.count(sampleAt(20), became(SampleOutcome::rejectedByStatus), 5);
    tally.count(sampleAt(30), became(SampleOutcome::rejectedByStatus), 9);
    tally.count(sampleAt(40), became(SampleOutcome::valid), 10);
    EXPECT_EQ(tally.samples, 5u);
    EXPECT_EQ(tally.ok(), 2u);
    EXPECT_EQ(tally.unusable(), 2u);
    const Places& rejected = tally.of(Outcome::rejectedStatus);
    EXPECT_EQ(rejected.count, 2u);
    EXPECT_EQ(rejected.first, 5u);
    EXPECT_EQ(rejected.last, 9u);
    EXPECT_EQ(tally.of(Outcome::notFinite).count, 0u);
}

TEST(Tally, samplesThatEveryRecordingBeginsWithAreNotUnusable)
{
    Tally tally;
    SampleReport filling = became(SampleOutcome::noMatrix);
    filling.reason = NoMatrixReason::filtersFilling;
    tally.count(sampleAt(0), filling, 2);
    tally.count(sampleAt(10), became(SampleOutcome::beforeReference), 3);
    tally.count(sampleAt(20), filling, 4);
    tally.count(sampleAt(30), became(SampleOutcome::valid), 5);
    EXPECT_EQ(tally.unusable(), 0u);
    tally.count(sampleAt(40), filling, 6);
    EXPECT_EQ(tally.unusable(), 1u) << "the filters have been full before";
}

TEST(Tally, theReferenceIsKnownByPlaceAndStamp)
{
    Tally tally;
    SampleReport capturing = became(SampleOutcome::beforeReference);
    tally.count(sampleAt(10), capturing, 2);
    EXPECT_EQ(tally.reference.count, 0u);
    capturing.capturedReference = true;
    tally.count(sampleAt(20), capturing, 3);
    EXPECT_EQ(tally.reference.first, 3u);
    EXPECT_EQ(tally.referenceStamp, 20u);
}

TEST(Tally, readingsThatAreNotFiniteAreCountedWithTheFirstColumn)
{
    Tally tally;
    KOR_RAWINFO raw = sampleAt(0);
    tally.count(raw, became(SampleOutcome::valid), 2);
    raw.levelYRaw = -std::numeric_limits<float>::infinity();
    tally.count(raw, became(SampleOutcome::valid), 3);
    raw.sensorVector[2] = kNan;
    tally.count(raw, became(SampleOutcome::valid), 7);
    EXPECT_EQ(tally.badReadings.count, 2u);
    EXPECT_EQ(tally.badReadings.first, 3u);
    EXPECT_EQ(tally.badReadings.last, 7u);
    EXPECT_EQ(tally.badReading, "levelYRaw");
}

TEST(Tally, everyFloatingReadingIsLookedAt)
{
    for (const kor::recordings::Column& column : kor::recordings::kRawColumns) {
        KOR_RAWINFO raw = sampleAt(0);
        if (column.type == kor::recordings::Type::float32) {
            std::memcpy(reinterpret_cast<char*>(&raw) + column.offset, &kNan, sizeof kNan);
            Tally tally;
            tally.count(raw, became(SampleOutcome::valid), 2);
            EXPECT_EQ(tally.badReading, column.name);
        }
    }
}

TEST(Tally, aModelStaysNotFiniteFromTheFirstSampleOfTheLastRunOn)
{
    Tally tally;
    KOR_RAWINFO bad = sampleAt(0);
    bad.azimuthRaw = kNan;
    tally.count(bad, became(SampleOutcome::notFinite), 2);
    EXPECT_EQ(tally.staysNotFiniteFrom(), 0u) << "its own reading explains it";
    tally.count(sampleAt(10), became(SampleOutcome::valid), 3);
    tally.count(bad, became(SampleOutcome::notFinite), 4);
    tally.count(sampleAt(20), became(SampleOutcome::rejectedByStatus), 5);
    tally.count(sampleAt(30), became(SampleOutcome::notFinite), 6);
    EXPECT_EQ(tally.staysNotFiniteFrom(), 4u);
    tally.count(sampleAt(40), became(SampleOutcome::valid), 7);
    EXPECT_EQ(tally.staysNotFiniteFrom(), 0u);
}

TEST(Tally, whatIsSpoiledIsKnownByPlaceUntilItIsRepaired)
{
    Tally tally;
    KOR_RAWINFO bad = sampleAt(0);
    bad.levelXRaw = kNan;
    EXPECT_FALSE(readingsAreFinite(bad));
    EXPECT_TRUE(readingsAreFinite(sampleAt(0)));
    SampleReport report = became(SampleOutcome::notFinite);
    report.spoiledBy = SpoiledBy::processValues;
    report.spoiledSince = 1;
    tally.count(bad, report, 4);
    report.outcome = SampleOutcome::spoiled;
    tally.count(sampleAt(10), report, 5);
    EXPECT_EQ(tally.spoiledFrom, 4u);
    EXPECT_EQ(tally.spoiledBy, SpoiledBy::processValues);
    EXPECT_EQ(tally.staysNotFiniteFrom(), 4u);
    tally.countRepair(5);
    EXPECT_EQ(tally.spoiledFrom, 0u);
    EXPECT_EQ(tally.repaired.first, 5u);
    tally.count(sampleAt(20), became(SampleOutcome::valid), 6);
    EXPECT_EQ(tally.spoiledFrom, 0u);
    report.spoiledBy = SpoiledBy::reference;
    tally.count(sampleAt(30), report, 7);
    EXPECT_EQ(tally.spoiledFrom, 7u);
    EXPECT_EQ(tally.spoiledBy, SpoiledBy::reference);
    EXPECT_EQ(tally.of(Outcome::spoiled).count, 2u);
    EXPECT_EQ(tally.unusable(), 3u);
}

TEST(Tally, levelsOutsideTheirTablesAreCountedOneByOne)
{
    Tally tally;
    SampleReport report = became(SampleOutcome::valid);
    report.levelXOutside = true;
    tally.count(sampleAt(0), report, 2);
    tally.count(sampleAt(0), report, 3);
    report = became(SampleOutcome::rejectedByStatus);
    report.levelYOutside = true;
    tally.count(sampleAt(0), report, 4);
    EXPECT_EQ(tally.levelXOut.count, 2u);
    EXPECT_EQ(tally.levelXOut.last, 3u);
    EXPECT_EQ(tally.levelYOut.count, 1u);
    EXPECT_EQ(tally.levelYOut.first, 4u);
}

// The steps from each stamp to the next; the place of a step is the number of the stamp that it leads to, from 1.
StampSteps stepsOf(std::initializer_list<std::uint32_t> stamps)
{
    StampSteps steps;
    std::uint64_t place = 0;
    std::uint32_t before = 0;
    for (const std::uint32_t stamp : stamps) {
        if (++place > 1) {
            steps.add(stamp - before, place);
        }
        before = stamp;
    }
    return steps;
}

TEST(Steps, theUsualOneIsTheMedian)
{
    EXPECT_EQ(StampSteps().median(), 0u);
    EXPECT_EQ(stepsOf({5}).median(), 0u);
    EXPECT_EQ(stepsOf({0, 10, 20, 30, 1000}).median(), 10u);
    EXPECT_EQ(stepsOf({0, 7, 7, 7}).median(), 0u);
}

TEST(Steps, theWrapOfTheStampsIsNeitherGapNorJump)
{
    const StampSteps steps = stepsOf({4294967276u, 4294967286u, 0, 10, 20});
    EXPECT_EQ(steps.gaps().count, 0u);
    EXPECT_EQ(steps.backward().count, 0u);
    EXPECT_EQ(steps.longest(), 10u);
}

TEST(Steps, oneMissingSampleIsAGapAndAMillisecondOfRoundingIsNot)
{
    EXPECT_EQ(stepsOf({0, 10, 20, 36, 46, 56}).gaps().count, 0u); // 16 is one and a half times 10 and 1
    const StampSteps steps = stepsOf({0, 10, 20, 40, 50, 60, 77});
    EXPECT_EQ(steps.gaps().count, 2u);
    EXPECT_EQ(steps.gaps().first, 4u);
    EXPECT_EQ(steps.gaps().last, 7u);
    EXPECT_EQ(steps.longest(), 20u);
    EXPECT_EQ(stepsOf({0, 1, 2, 4, 5, 5, 6}).gaps().count, 0u);
    EXPECT_EQ(stepsOf({0, 1, 2, 5, 6, 7}).gaps().count, 1u);
}

TEST(Steps, longStepsAreKnownToThreePercent)
{
    // A gap follows three of the usual steps; the shortest gap is one and a half times the usual step.
    for (const std::uint32_t usual : {1000u, 1023u, 1024u, 1025u, 5000u, 123456u, 1u << 20, 700000000u}) {
        const StampSteps steps = stepsOf({0, usual, 2 * usual, 3 * usual});
        EXPECT_LE(steps.median(), usual);
        EXPECT_GE(steps.median(), usual - usual / 32); // the width of a bucket
        EXPECT_EQ(steps.gaps().count, 0u) << usual;
        const StampSteps gap = stepsOf({0, usual, 2 * usual, 2 * usual + usual / 100 * 160 + 2});
        EXPECT_EQ(gap.gaps().count, 1u) << usual;
    }
    EXPECT_EQ(stepsOf({0, 0x7fffffffu}).longest(), 0x7fffffffu);
    EXPECT_EQ(stepsOf({0, 0x7fffffffu}).backward().count, 0u);
}

TEST(Steps, backwardJumpsAreCountedByThemselves)
{
    const StampSteps steps = stepsOf({1000, 1010, 400, 410, 405, 415});
    EXPECT_EQ(steps.backward().count, 2u);
    EXPECT_EQ(steps.backward().first, 3u);
    EXPECT_EQ(steps.backward().last, 5u);
    EXPECT_EQ(steps.longestBackward(), 610u);
    EXPECT_EQ(steps.gaps().count, 0u);
    EXPECT_EQ(stepsOf({0, 0x80000000u}).backward().count, 1u);
}

Summary plainSummary()
{
    Summary summary;
    summary.recording = "run.csv";
    summary.mountMode = 5;
    summary.model = "polarizer";
    return summary;
}

TEST(SummaryText, tellsWhatIsThereInOneColumn)
{
    Summary summary = plainSummary();
    Tally& tally = summary.tally;
    SampleReport capturing = became(SampleOutcome::beforeReference);
    capturing.capturedReference = true;
    tally.count(sampleAt(4294967290u), capturing, 2);
    for (std::uint32_t i = 0; i < 6; ++i) {
        tally.count(sampleAt(4 + 10 * i), became(SampleOutcome::valid), 3 + i);
    }
    SampleReport outside = became(SampleOutcome::valid);
    outside.levelYOutside = true;
    tally.count(sampleAt(100), outside, 9);
    tally.count(sampleAt(110), became(SampleOutcome::rejectedByStatus), 11);
    tally.count(sampleAt(60), became(SampleOutcome::rejectedByStatus), 12);
    tally.seconds = 0.5;
    EXPECT_EQ(textOf(summary), "run.csv\n"
                               "  model:                 polarizer, mount mode 5\n"
                               "  samples:               10\n"
                               "  ok:                    7 (70.0 %)\n"
                               "  before_reference:      1, line 2\n"
                               "  rejected_status:       2, lines 11 to 12\n"
                               "  unusable:              2 of 10\n"
                               "  reference:             captured in line 2, at 4294967290 ms\n"
                               "  time stamps:           4294967290 to 60 ms, usual step 10 ms\n"
                               "  gaps:                  1, line 9, longest 46 ms\n"
                               "  backward jumps:        1, line 12, longest 50 ms\n"
                               "  level X out of table:  none\n"
                               "  level Y out of table:  1 (10.0 %), line 9\n"
                               "  samples per second:    20\n");
    EXPECT_EQ(whyNothingUsable(summary), "");
}

TEST(SummaryText, saysThatNoReferenceWasCaptured)
{
    Summary summary = plainSummary();
    summary.tally.count(sampleAt(0), became(SampleOutcome::beforeReference), 2);
    summary.tally.count(sampleAt(10), became(SampleOutcome::rejectedByStatus), 3);
    EXPECT_NE(textOf(summary).find("  reference:             no reference was captured: all angles are zero\n"),
              std::string::npos);
    EXPECT_EQ(whyNothingUsable(summary),
              "no usable orientation in 2 samples: 1 before_reference, 1 rejected_status; no reference was captured: "
              "all angles are zero. A sample with status 2, referenceGate at most 0.4 and referenceHold 0 becomes the "
              "reference");
}

TEST(SummaryText, saysFromWhereAModelStaysNotFiniteAndWhy)
{
    Summary summary = plainSummary();
    summary.place = "record";
    KOR_RAWINFO bad = sampleAt(0);
    bad.sensorVector[0] = kNan;
    summary.tally.count(bad, became(SampleOutcome::notFinite), 500);
    summary.tally.count(sampleAt(10), became(SampleOutcome::notFinite), 501);
    EXPECT_NE(textOf(summary).find("  readings not finite:   1, record 500; the first is sensorVector_x\n"
                                   "  stays not finite:      from record 500 to the end\n"),
              std::string::npos)
        << textOf(summary);
    summary.oneNanSpoilsTheRest = true;
    EXPECT_NE(textOf(summary).find("to the end; in this model one nan spoils every sample that follows\n"),
              std::string::npos);
}

TEST(SummaryText, saysSinceWhereARunIsSpoiledAndWhatWasRepaired)
{
    Summary summary = plainSummary();
    SampleReport report = became(SampleOutcome::notFinite);
    report.spoiledBy = SpoiledBy::processValues;
    report.spoiledSince = 3;
    summary.tally.count(sampleAt(0), report, 500);
    EXPECT_NE(textOf(summary).find("  spoiled since:         line 500: values that the process keeps are not finite; "
                                   "--repair goes on with fresh ones\n"),
              std::string::npos)
        << textOf(summary);
    summary.tally.countRepair(500);
    report.spoiledBy = SpoiledBy::reference;
    summary.tally.count(sampleAt(0), report, 502);
    EXPECT_NE(
        textOf(summary).find("  spoiled since:         line 502: the reference was captured from a sample that is "
                             "not finite; --repair goes on with fresh ones\n"),
        std::string::npos)
        << textOf(summary);
    EXPECT_EQ(textOf(summary).find("repaired"), std::string::npos) << "--repair was not given";
    summary.repairs = true;
    EXPECT_NE(textOf(summary).find("  repaired:              1, line 500\n"), std::string::npos) << textOf(summary);
}

TEST(SummaryText, linesThatOnlySomeRunsHave)
{
    Summary summary = plainSummary();
    summary.tally.outside = 7;
    summary.tally.bad.add(4);
    summary.tally.bad.add(6);
    EXPECT_EQ(textOf(summary).find("window"), std::string::npos);
    EXPECT_EQ(textOf(summary).find("bad"), std::string::npos);
    EXPECT_EQ(textOf(summary).find("time stamps"), std::string::npos) << "no samples";
    summary.windowed = true;
    EXPECT_NE(textOf(summary).find("  outside the window:  7\n"), std::string::npos) << textOf(summary);
    summary.skipsBad = true;
    EXPECT_NE(textOf(summary).find("  bad, left out:       2, lines 4 to 6\n"), std::string::npos);
}

TEST(SummaryText, saysWhyNothingWasFed)
{
    Summary summary = plainSummary();
    EXPECT_EQ(whyNothingUsable(summary), "the recording is empty: found no sample, expected at least one");
    summary.tally.bad.add(2);
    EXPECT_EQ(whyNothingUsable(summary), "nothing could be read: 1 bad, line 2");
    summary.tally.outside = 3;
    EXPECT_EQ(whyNothingUsable(summary), "no sample lies in the window of --from and --to, 3 lie outside it");
}

} // namespace
