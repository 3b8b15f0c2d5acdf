// Files of every kind as columns: values, times, labels, gaps, references; and what decimation keeps.
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "recordings/Output.h"
#include "recordings/ReadBack.h"
#include "recordings/Writer.h"
#include "series/Decimation.h"
#include "series/File.h"
#include "series/Series.h"

using namespace kor::series;
using kor::recordings::Format;
using kor::recordings::Outcome;
using kor::recordings::Output;
using kor::recordings::Problem;
using kor::recordings::Result;
using kor::recordings::ResultWriter;
using kor_test::TemporaryFile;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// Results with these stamps and outcomes; orientationX_deg is 0.5 for each row before it.
std::vector<Result> resultsOf(const std::vector<std::pair<std::uint32_t, Outcome>>& rows)
{
    std::vector<Result> results;
    for (const auto& [stamp, outcome] : rows) {
        Result result{};
        result.timeStampMs = stamp;
        result.outcome = outcome;
        result.matrixCode = outcome == Outcome::rejectedStatus ? 554 : 0;
        result.info.orientationAngles[0] = 0.5F * static_cast<float>(results.size());
        result.matrix[0] = 0.1;
        results.push_back(result);
    }
    return results;
}

void write(const std::string& path, Format format, const std::vector<Result>& results)
{
    Problem problem;
    const auto output = Output::open(path, problem);
    ASSERT_TRUE(output) << text(problem);
    ResultWriter writer(*output, format);
    for (const Result& result : results) {
        ASSERT_TRUE(writer.write(result));
    }
    ASSERT_TRUE(output->close());
}

Series readBack(const std::string& path, const Selection& selection = {})
{
    Problem problem;
    std::optional<File> file = File::open(path, problem);
    if (!file) {
        ADD_FAILURE() << text(problem);
        return {};
    }
    std::optional<Series> series = file->read(selection, problem);
    EXPECT_TRUE(series) << text(problem);
    return series.value_or(Series{});
}

Problem refusalOf(const std::string& path, const Selection& selection = {})
{
    Problem problem;
    std::optional<File> file = File::open(path, problem);
    if (file) {
        EXPECT_FALSE(file->read(selection, problem));
    }
    return problem;
}

// A series of results with one column of that name, all rows usable.
Series madeOf(const std::vector<std::uint32_t>& stamps, const std::vector<float>& values,
              const std::string& name = "levelX_deg")
{
    Series series;
    series.kind = Kind::results;
    series.stamps = stamps;
    series.labels = {{"ok", Verdict::usable}, {"rejected_status", Verdict::rejected}};
    series.labelOf.assign(stamps.size(), 0);
    series.columns = {{name, "deg", name.starts_with("orientation"), values, {}}};
    series.complete();
    return series;
}

Extent wholeOf(const Series& series, std::size_t count)
{
    return {series.times.front(), series.times.back(), count};
}

} // namespace

TEST(Series, readsResultsOfEveryFormatTheSame)
{
    const std::vector<Result> results = resultsOf({{4294967290U, Outcome::beforeReference},
                                                   {4, Outcome::rejectedStatus},
                                                   {14, Outcome::ok},
                                                   {24, Outcome::noMatrixNoSolution}});
    for (const auto& [ending, format] : std::vector<std::pair<std::string, Format>>{
             {".csv", Format::csv}, {".csv.gz", Format::csv}, {".korinfo", Format::binary}}) {
        const TemporaryFile place;
        const std::string path = place.path() + ending;
        write(path, format, results);
        const Series series = readBack(path);
        EXPECT_TRUE(kor::platform::removeFile(path));
        EXPECT_EQ(series.kind, Kind::results);
        EXPECT_EQ(series.columns.size(), kor::recordings::kResultColumns.size());
        EXPECT_EQ(series.stamps, (std::vector<std::uint32_t>{4294967290U, 4, 14, 24}));
        EXPECT_EQ(series.times, (std::vector<std::int64_t>{4294967290, 4294967300, 4294967310, 4294967320}));
        EXPECT_EQ(series.label(1).name, "rejected_status");
        EXPECT_EQ(series.verdict(0), Verdict::beforeReference);
        EXPECT_EQ(series.verdict(1), Verdict::rejected);
        EXPECT_EQ(series.verdict(2), Verdict::usable);
        EXPECT_EQ(series.verdict(3), Verdict::unusable);
        EXPECT_EQ(series.counts(), (std::vector<std::size_t>{1, 1, 1, 1}));
        EXPECT_EQ(series.references, (std::vector<std::size_t>{0}));
        ASSERT_NE(series.column("orientationX_deg"), nullptr);
        EXPECT_EQ(series.column("orientationX_deg")->unit, "deg");
        EXPECT_EQ(series.column("orientationX_deg")->at(3), 1.5);
        EXPECT_EQ(series.column("m00")->at(0), 0.1); // double precision to the last bit
        EXPECT_EQ(series.column("timeStampMs")->at(0), 4294967290.0);
        EXPECT_EQ(series.column("outcome")->at(3), 6.0);
        EXPECT_EQ(series.column("matrixCode")->at(1), 554.0);
        EXPECT_EQ(series.column("note"), nullptr);
    }
}

TEST(Series, readsRecordingsAndTruthsThatAreShipped)
{
    const Series raw = readBack(KOR_DATA "/polarizer/polarizer.korraw");
    const Series csv = readBack(KOR_DATA "/polarizer/polarizer.csv");
    const Series truth = readBack(KOR_DATA "/polarizer/polarizer_truth.csv");
    EXPECT_EQ(raw.kind, Kind::recording);
    EXPECT_EQ(truth.kind, Kind::truth);
    EXPECT_EQ(raw.stamps, csv.stamps);
    EXPECT_EQ(raw.column("levelXRaw")->floats, csv.column("levelXRaw")->floats);
    EXPECT_EQ(raw.columns.size(), kor::recordings::kRawColumns.size());
    EXPECT_EQ(truth.columns.size(), kor::recordings::kTruthColumns.size() - 1); // a note is text
    ASSERT_EQ(truth.rows(), raw.rows());
    for (std::size_t row = 0; row < truth.rows(); ++row) {
        EXPECT_EQ(truth.column("valid")->at(row) != 0.0, truth.verdict(row) == Verdict::usable);
        EXPECT_EQ(raw.column("status")->at(row) != 2.0, raw.verdict(row) == Verdict::rejected);
    }
    ASSERT_EQ(truth.references.size(), 1U);
    EXPECT_EQ(truth.label(truth.references[0]).name, "reference");
    EXPECT_TRUE(truth.isMeant(*truth.column("R_00"), Verdict::rejected));
    EXPECT_FALSE(truth.isMeant(*truth.column("result_00"), Verdict::beforeReference));
    EXPECT_TRUE(truth.isMeant(*truth.column("result_00"), Verdict::unusable));
}

TEST(Series, doesNotInventOutcomesThatAFileDoesNotHave)
{
    const TemporaryFile whole;
    write(whole.path(), Format::csv, resultsOf({{1, Outcome::ok}, {2, Outcome::rejectedStatus}}));
    const std::string content = whole.content();
    std::string older;
    for (const std::string_view line : kor::platform::split(content, '\n')) {
        std::string cut(line);
        for (int i = 0; i < 3 && !cut.empty(); ++i) {
            cut.erase(cut.rfind(','));
        }
        older += cut + "\n";
    }
    const TemporaryFile file(older);
    const Series series = readBack(file.path());
    EXPECT_FALSE(series.told);
    EXPECT_EQ(series.verdict(0), Verdict::usable);
    EXPECT_EQ(series.label(1).name, "matrix code 554");
    EXPECT_TRUE(series.references.empty());
    EXPECT_EQ(series.column("outcome"), nullptr);
}

TEST(Series, readsWhatIsSelected)
{
    const TemporaryFile file(kor_test::kHeader + "2,1,2,3,4,5,6,7,8,9,0,1,2,3,100\n"
                                                 "x,1,2,3,4,5,6,7,8,9,0,1,2,3,110\n"
                                                 "2,1,2,3,4,5,6,7,8,9,0,1,2,16777217,120\n"
                                                 "2,1,2,3,4,5,6,7,8,9,0,1,2,3,130\n");
    Selection selection;
    selection.columns = {"temperatureCount_2", "azimuthRaw"};
    const Problem problem = refusalOf(file.path(), selection);
    EXPECT_EQ(problem.line, 3U);
    EXPECT_EQ(problem.column, "status");
    selection.skipBad = true;
    selection.window.from(110);
    selection.window.to(125);
    const Series series = readBack(file.path(), selection);
    EXPECT_EQ(series.stamps, std::vector<std::uint32_t>{120});
    EXPECT_EQ(series.bad, 1U);
    EXPECT_EQ(series.outsideWindow, 2U);
    ASSERT_EQ(series.columns.size(), 2U);
    EXPECT_EQ(series.columns[0].name, "azimuthRaw"); // in the order of the file
    EXPECT_EQ(series.columns[0].unit, "deg");
    EXPECT_EQ(series.columns[1].at(0), 16777217.0); // no float holds it
}

TEST(Series, saysWhatAFileIsInsteadOfRows)
{
    const TemporaryFile parameters("Serial Number\n1005\n");
    const Problem problem = refusalOf(parameters.path());
    EXPECT_EQ(problem.kind, Problem::Kind::badData);
    EXPECT_EQ(problem.found, "a parameter file");
    EXPECT_NE(problem.expected.find("results of kor replay"), std::string::npos);
    EXPECT_EQ(refusalOf(TemporaryFile().path()).found, "an empty file");
    EXPECT_EQ(refusalOf("/there/is/no/such/file").kind, Problem::Kind::cannotOpen);
}

TEST(Series, findsGapsStepsBackAndEachReference)
{
    using enum Outcome;
    const TemporaryFile file;
    write(file.path(), Format::csv,
          resultsOf({{100, beforeReference},
                     {110, beforeReference},
                     {120, rejectedStatus},
                     {130, ok},
                     {160, ok}, // two are missing
                     {170, noMatrixNoSolution},
                     {50, beforeReference}, // the clock was set back
                     {60, ok}}));
    const Series series = readBack(file.path());
    EXPECT_EQ(series.usualStep, 10U);
    EXPECT_EQ(series.gaps, std::vector<std::size_t>{4});
    EXPECT_EQ(series.backward, std::vector<std::size_t>{6});
    EXPECT_EQ(series.references, (std::vector<std::size_t>{1, 6}));
    EXPECT_EQ(series.times[7], 60);
    const std::vector<Strand> both = strands(series, 10);
    ASSERT_EQ(both.size(), 2U);
    EXPECT_EQ(both[0].end, 6U);
    EXPECT_EQ(both[1].begin, 6U);
    EXPECT_EQ(both[1].end, 8U);
    EXPECT_EQ(strands(series, 1).size(), 1U);
    EXPECT_EQ(strands(series, 1)[0].end, 8U);
}

// Every row, looked at one by one.
TEST(Decimation, keepsTheOutermostRowsOfEveryBucket)
{
    std::mt19937 random(12);
    for (int round = 0; round < 50; ++round) {
        std::vector<std::uint32_t> stamps;
        std::vector<float> values;
        std::uint32_t stamp = 4294967000U; // wraps on the way
        for (int i = 0; i < 400; ++i) {
            stamp += random() % 20 == 0 ? 500 : 10;
            stamps.push_back(stamp);
            values.push_back(random() % 30 == 0 ? kNan : static_cast<float>(random() % 1000));
        }
        Series series = madeOf(stamps, values, "orientationX_deg");
        for (std::uint8_t& label : series.labelOf) {
            label = random() % 15 == 0 ? 1 : 0;
        }
        const Extent extent{series.times[40], series.times[360], 1 + random() % 150};
        const std::vector<Bucket> buckets = decimated(series, series.columns[0], extent, 0, series.rows());

        std::vector<Bucket> expected(extent.count);
        const std::set<std::size_t> gaps(series.gaps.begin(), series.gaps.end());
        const auto isDrawn = [&](std::size_t row) {
            return row >= 40 && row <= 360 && series.labelOf[row] == 0 && !std::isnan(values[row]);
        };
        for (std::size_t row = 40; row <= 360; ++row) {
            const double share =
                static_cast<double>(series.times[row] - extent.from) / static_cast<double>(extent.to - extent.from + 1);
            Bucket& bucket = expected[static_cast<std::size_t>(share * static_cast<double>(extent.count))];
            bucket.notFinite += series.labelOf[row] == 0 && std::isnan(values[row]) ? 1 : 0;
            if (!isDrawn(row)) {
                continue;
            }
            if (bucket.drawn++ == 0) {
                bucket.first = bucket.lowest = bucket.highest = row;
                bucket.joined = isDrawn(row - 1) && !gaps.contains(row);
            }
            bucket.last = row;
            bucket.lowest = values[row] < values[bucket.lowest] ? row : bucket.lowest;
            bucket.highest = values[row] > values[bucket.highest] ? row : bucket.highest;
        }
        ASSERT_EQ(buckets.size(), expected.size());
        for (std::size_t i = 0; i < buckets.size(); ++i) {
            EXPECT_EQ(buckets[i].drawn, expected[i].drawn);
            EXPECT_EQ(buckets[i].notFinite, expected[i].notFinite);
            EXPECT_EQ(buckets[i].joined, expected[i].joined);
            EXPECT_EQ(buckets[i].rows(), expected[i].rows());
        }
    }
}

TEST(Decimation, keepsOneOutlierAmongTwoMillionRows)
{
    constexpr std::size_t kRows = 2000000;
    constexpr std::size_t kOutlier = 1234567;
    std::vector<std::uint32_t> stamps(kRows);
    std::vector<float> values(kRows);
    for (std::size_t i = 0; i < kRows; ++i) {
        stamps[i] = static_cast<std::uint32_t>(10 * i);
        values[i] = static_cast<float>(i % 7);
    }
    values[kOutlier] = -40.0F;
    const Series series = madeOf(stamps, values);
    std::size_t drawn = 0;
    std::set<std::size_t> kept;
    for (const Bucket& bucket : decimated(series, series.columns[0], wholeOf(series, 1000), 0, kRows)) {
        drawn += bucket.drawn;
        for (const std::size_t row : bucket.rows()) {
            kept.insert(row);
        }
    }
    EXPECT_EQ(drawn, kRows);
    EXPECT_TRUE(kept.contains(kOutlier));
    EXPECT_LE(kept.size(), 4000U);
}

TEST(Decimation, takesNoLineAcrossAGap)
{
    const Series series = madeOf({10, 20, 30, 80, 90}, {1, 2, 3, 4, 5});
    const std::vector<Bucket> buckets = decimated(series, series.columns[0], {10, 90, 81}, 0, 5);
    EXPECT_FALSE(buckets[0].joined);
    EXPECT_TRUE(buckets[10].joined);
    EXPECT_TRUE(buckets[20].joined);
    EXPECT_FALSE(buckets[70].joined);
    EXPECT_TRUE(buckets[80].joined);
    EXPECT_EQ(buckets[1].drawn, 0U);
    EXPECT_TRUE(buckets[1].rows().empty());
}
