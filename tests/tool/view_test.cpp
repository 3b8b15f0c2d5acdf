// What viewers of a running replay are kept and told.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "recordings/Columns.h"
#include "tools/kor/ViewHistory.h"
#include "tools/kor/ViewMessages.h"

namespace {

using kor::recordings::kResultColumns;
using kor::recordings::Outcome;
using kor::recordings::Result;
using kor::tool::kViewRowHead;
using kor::tool::ViewHistory;
using kor::tool::ViewLayout;
using kor::tool::ViewMessages;
using kor::tool::ViewSnapshot;
using std::chrono::milliseconds;

// Azimuth, and the first angle, which needs an orientation.
ViewLayout layout()
{
    return {{&kResultColumns[1], &kResultColumns[5]}, {{0, false}, {1, true}}};
}
constexpr std::size_t kWidth = kViewRowHead + 2;
constexpr std::size_t kPointWidth = 5;

Result row(std::uint64_t number, Outcome outcome = Outcome::ok)
{
    Result result{};
    result.timeStampMs = static_cast<std::uint32_t>(1000 + 10 * number);
    result.info.azimuth = static_cast<float>(number % 1000);
    result.info.orientationAngles[0] = -static_cast<float>(number % 777);
    result.matrix[0] = static_cast<double>(number) / 7.0;
    result.outcome = outcome;
    return result;
}

void addRows(ViewHistory& history, std::uint64_t first, std::uint64_t last)
{
    std::vector<Result> rows;
    for (std::uint64_t number = first; number <= last; ++number) {
        rows.push_back(row(number));
    }
    history.add(rows);
}

std::vector<std::string> texts(const nlohmann::ordered_json& findings)
{
    std::vector<std::string> list;
    for (const auto& finding : findings) {
        list.push_back(finding["level"].get<std::string>() + ": " + finding["text"].get<std::string>());
    }
    return list;
}

TEST(ViewHistory, keepsTheNewestRowsWhole)
{
    ViewHistory history(layout(), "run");
    addRows(history, 1, ViewHistory::kNewest + 100);
    const auto rows = history.rowsBehind(100, 5);
    ASSERT_TRUE(rows);
    ASSERT_EQ(rows->size(), 5 * kWidth);
    for (std::size_t i = 0; i < 5; ++i) {
        const double* const at = &(*rows)[i * kWidth];
        const double number = 101.0 + static_cast<double>(i);
        EXPECT_EQ(at[0], number);
        EXPECT_EQ(at[1], 1000.0 + 10.0 * number);
        EXPECT_EQ(at[2], static_cast<double>(10 * (100 + i)) / 1000.0);
        EXPECT_EQ(at[3], 0.0);
        EXPECT_EQ(at[4], number / 7.0);
        EXPECT_EQ(at[13], number);
        EXPECT_EQ(at[14], -number);
    }
    EXPECT_FALSE(history.rowsBehind(99, 5)) << "row 100 is gone";
    EXPECT_TRUE(history.rowsBehind(ViewHistory::kNewest + 100, 5)->empty());
}

TEST(ViewHistory, pointsHoldTheExtremesOfEveryRowInBoundedMemory)
{
    constexpr std::uint64_t kRows = 5 * ViewHistory::kMostPoints + 3;
    ViewHistory history(layout(), "run");
    addRows(history, 1, 7);
    addRows(history, 8, kRows);
    const ViewSnapshot all = history.snapshot();
    EXPECT_EQ(all.rows, kRows);
    EXPECT_EQ(all.rowsPerPoint, 8u);
    const std::size_t points = all.points.size() / kPointWidth;
    ASSERT_EQ(points, (kRows + 7) / 8);
    for (std::size_t i = 0; i < points; ++i) {
        const double* const at = &all.points[i * kPointWidth];
        double lows[2] = {1e9, 1e9};
        double highs[2] = {-1e9, -1e9};
        for (std::uint64_t number = 8 * i + 1; number <= std::min<std::uint64_t>(8 * i + 8, kRows); ++number) {
            const double values[2] = {static_cast<double>(number % 1000), -static_cast<double>(number % 777)};
            for (std::size_t c = 0; c < 2; ++c) {
                lows[c] = std::min(lows[c], values[c]);
                highs[c] = std::max(highs[c], values[c]);
            }
        }
        ASSERT_EQ(at[0], static_cast<double>(80 * i) / 1000.0) << i;
        for (std::size_t c = 0; c < 2; ++c) {
            ASSERT_EQ(at[1 + 2 * c], lows[c]) << i;
            ASSERT_EQ(at[2 + 2 * c], highs[c]) << i;
        }
    }
}

TEST(ViewHistory, thinnedRowsStandInEvenStepsFromTheFirst)
{
    ViewHistory history(layout(), "run");
    addRows(history, 1, 3 * ViewHistory::kMostThinned);
    const ViewSnapshot all = history.snapshot();
    EXPECT_EQ(all.thinStep, 4u);
    ASSERT_EQ(all.thinned.size() / kWidth, 3 * ViewHistory::kMostThinned / 4);
    for (std::size_t i = 0; i < all.thinned.size() / kWidth; ++i) {
        ASSERT_EQ(all.thinned[i * kWidth], static_cast<double>(4 * i + 1));
    }
}

TEST(ViewHistory, valuesWithoutMeaningAreNoExtremes)
{
    ViewHistory history(layout(), "run");
    Result infinite = row(3);
    infinite.info.azimuth = std::numeric_limits<float>::infinity();
    const Result rows[] = {row(1, Outcome::rejectedStatus), row(2, Outcome::beforeReference), infinite};
    history.add({rows, 1});
    ViewSnapshot all = history.snapshot();
    EXPECT_EQ(all.points[1], 1.0);
    EXPECT_TRUE(std::isnan(all.points[3]) && std::isnan(all.points[4])) << "an angle without an orientation";
    history.add({rows + 2, 1});
    all = history.snapshot();
    EXPECT_TRUE(std::isnan(all.points[kPointWidth + 1]));
    EXPECT_EQ(all.points[kPointWidth + 3], -3.0);
}

TEST(ViewHistory, timeNeverGoesBackAndGapsAreTold)
{
    ViewHistory history(layout(), "run");
    const std::uint32_t stamps[] = {4294967290u, 4294967295u, 4u, 9u, 1009u, 1004u, 1009u};
    const double times[] = {0.0, 0.005, 0.010, 0.015, 1.015, 1.020, 1.025};
    for (const std::uint32_t stamp : stamps) {
        Result result = row(1);
        result.timeStampMs = stamp;
        history.add({&result, 1});
    }
    const auto rows = history.rowsBehind(0, 100);
    for (std::size_t i = 0; i < std::size(stamps); ++i) {
        EXPECT_NEAR((*rows)[i * kWidth + 2], times[i], 1e-12) << i; // rounding of sums
    }
    const auto state = history.state();
    ASSERT_EQ(state["gaps"]["list"].size(), 1u);
    EXPECT_EQ(state["gaps"]["list"][0]["row"], 5);
    EXPECT_EQ(state["gaps"]["list"][0]["length"], 1.0);
    const auto told = texts(state["findings"]);
    EXPECT_EQ(told[0], "warning: The time stamps have 1 gap.");
    EXPECT_EQ(told[1],
              "warning: Time goes back 1 time, first before row 6; the charts go on there with the usual step.");
}

TEST(ViewHistory, stampsThatStandStillTellNothing)
{
    ViewHistory history(layout(), "run");
    EXPECT_EQ(texts(history.state()["findings"]), (std::vector<std::string>{"note: No row has come yet."}));
    const std::vector<Result> same(3, row(1));
    history.add(same);
    const auto told = texts(history.state()["findings"]);
    EXPECT_EQ(told[0].substr(0, 56), "warning: Most rows have the time stamp of the row before");
}

TEST(ViewHistory, stretchesAndReferenceAreThoseOfTheRows)
{
    ViewHistory history(layout(), "run");
    const Outcome outcomes[] = {Outcome::beforeReference,
                                Outcome::beforeReference,
                                Outcome::noMatrixFiltersFilling,
                                Outcome::ok,
                                Outcome::rejectedStatus,
                                Outcome::rejectedStatus,
                                Outcome::spoiled,
                                Outcome::ok,
                                Outcome::noMatrixFiltersFilling};
    std::uint64_t number = 0;
    for (const Outcome outcome : outcomes) {
        const Result result = row(++number, outcome);
        history.add({&result, 1});
    }
    const auto state = history.state();
    EXPECT_EQ(state["reference"]["row"], 2);
    std::vector<std::string> found;
    for (const auto& each : state["stretches"]["list"]) {
        found.push_back(each["outcome"].get<std::string>() + " " + each["first"].dump() + " " + each["last"].dump() +
                        (each["known"].get<bool>() ? " known" : ""));
    }
    EXPECT_EQ(found, (std::vector<std::string>{"before_reference 1 2 known", "no_matrix_filters_filling 3 3 known",
                                               "rejected_status 5 6", "spoiled 7 7", "no_matrix_filters_filling 9 9"}));
    EXPECT_EQ(texts(state["findings"])[0],
              "warning: 2 of 9 rows hold a usable orientation, 22.22 %. 4 rows are not usable, beside those that every "
              "recording begins with.");
}

TEST(ViewHistory, listsOfStretchesAreBoundedAndSaySo)
{
    ViewHistory history(layout(), "run");
    for (std::uint64_t number = 1; number <= 4 * ViewHistory::kMostListed; ++number) {
        const Result result = row(number, number % 2 == 0 ? Outcome::ok : Outcome::rejectedStatus);
        history.add({&result, 1});
    }
    const auto stretches = history.state()["stretches"];
    EXPECT_EQ(stretches["list"].size(), ViewHistory::kMostListed);
    EXPECT_EQ(stretches["total"], 2 * ViewHistory::kMostListed);
    EXPECT_EQ(stretches["list"].back()["first"], 4 * ViewHistory::kMostListed - 1);
    EXPECT_NE(stretches["text"].get<std::string>().find("the last 500 of 1000 stretches"), std::string::npos);
}

// The names of the events of a message, in their order.
std::string events(const std::string& message)
{
    std::string names;
    const std::string begin = "event: ";
    for (std::size_t at = message.find(begin); at != std::string::npos; at = message.find(begin, at + 1)) {
        names += message.substr(at + begin.size(), message.find('\n', at) - at - begin.size()) + " ";
    }
    return names;
}

nlohmann::json dataOf(const std::string& message, const std::string& event)
{
    const std::string begin = "event: " + event + "\ndata: ";
    const std::size_t at = message.find(begin) + begin.size();
    return nlohmann::json::parse(message.substr(at, message.find('\n', at) - at));
}

class Messages : public testing::Test {
protected:
    std::string next(int afterMs)
    {
        m_now += milliseconds(afterMs);
        return m_messages.next(m_now);
    }

    ViewHistory m_history{layout(), "run"};
    ViewMessages m_messages{m_history};

private:
    ViewMessages::Clock::time_point m_now{std::chrono::hours(1)};
};

TEST_F(Messages, beginWithASnapshotAndGoOnWithRows)
{
    addRows(m_history, 1, 10);
    const std::string first = next(0);
    EXPECT_EQ(events(first), "snapshot state ");
    EXPECT_EQ(dataOf(first, "snapshot")["rows"], 10);
    EXPECT_EQ(dataOf(first, "snapshot")["run"], "run");
    EXPECT_EQ(next(40), "");
    addRows(m_history, 11, 12);
    EXPECT_EQ(events(next(40)), "rows ");
    EXPECT_EQ(next(40), "");
    EXPECT_EQ(events(next(500)), "state ");
}

TEST_F(Messages, tellTheStateAlsoWhileRowsComeWithoutPause)
{
    next(0);
    std::string all;
    for (std::uint64_t number = 1; number <= 100; ++number) {
        addRows(m_history, number, number);
        all += events(next(10));
    }
    EXPECT_NE(all.find("rows state "), std::string::npos);
}

TEST_F(Messages, countTheRowsThatASlowViewerHasMissed)
{
    addRows(m_history, 1, 10);
    next(0);
    addRows(m_history, 11, 10 + ViewHistory::kNewest + 90);
    EXPECT_EQ(events(next(40)).find("snapshot"), std::string::npos) << "not too often";
    const std::string late = next(2000);
    EXPECT_EQ(dataOf(late, "snapshot")["missed"], 90);
    EXPECT_EQ(dataOf(late, "snapshot")["rows"], 10 + ViewHistory::kNewest + 90);
    // Those that are still kept come row by row, in messages of bounded size.
    addRows(m_history, 1, ViewHistory::kNewest);
    EXPECT_EQ(events(next(40)), "rows ");
    EXPECT_LT(next(40).size(), 1024 * kWidth * 11 + 100);
}

TEST_F(Messages, endWithTheLastState)
{
    addRows(m_history, 1, 10);
    next(0);
    addRows(m_history, 11, 3000);
    m_history.end("error", "broken \xff\n off");
    EXPECT_EQ(events(next(40)), "rows ");
    EXPECT_FALSE(m_messages.areOver());
    EXPECT_EQ(events(next(40)), "rows ");
    const std::string last = next(40);
    EXPECT_EQ(events(last), "rows state ");
    EXPECT_TRUE(m_messages.areOver());
    const auto state = dataOf(last, "state");
    EXPECT_EQ(state["ended"], true);
    EXPECT_EQ(state["findings"][0]["level"], "error");
}

TEST_F(Messages, areNotSilentForLong)
{
    next(0);
    EXPECT_EQ(next(9000), "");
    EXPECT_EQ(next(1500), ":\n\n");
    EXPECT_EQ(next(40), "");
}

} // namespace
