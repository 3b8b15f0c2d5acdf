// Exit statuses of problems with files.
#include "tools/kor/Exit.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using kor::recordings::Problem;
using namespace kor::tool;

TEST(Exit, isThatOfTheKindOfProblem)
{
    EXPECT_EQ(exitOf(Problem::Kind::none), 0);
    EXPECT_EQ(exitOf(Problem::Kind::badData), 65);
    EXPECT_EQ(exitOf(Problem::Kind::cannotOpen), 66);
    EXPECT_EQ(exitOf(Problem::Kind::cannotRead), 74);
    EXPECT_EQ(exitOf(Problem::Kind::cannotCreate), 73);
    EXPECT_EQ(exitOf(Problem::Kind::cannotWrite), 74);
    EXPECT_EQ(exitOf(Problem::Kind::nobodyReads), 141);
    EXPECT_EQ(exitOf(Problem::Kind::interrupted), 130);
}

TEST(Exit, failuresOfProblemsCarryStatusAndText)
{
    const Failure failure(Problem{.kind = Problem::Kind::cannotOpen, .file = "a.csv", .reason = "it is a directory"});
    EXPECT_EQ(failure.status(), 66);
    EXPECT_STREQ(failure.what(), "cannot open a.csv: it is a directory");
}

TEST(Exit, contentOfTheOtherFormatIsAnsweredWithTheOptionThatHelps)
{
    Problem problem{.kind = Problem::Kind::badData, .file = "a", .found = "a zero byte", .expected = "CSV"};
    EXPECT_EQ(messageOf(problem), "a: found a zero byte, expected CSV");
    problem.readableAs = kor::recordings::Format::binary;
    EXPECT_EQ(messageOf(problem), "a: found a zero byte, expected CSV; --input-format bin reads it as binary records");
    problem.readableAs = kor::recordings::Format::csv;
    EXPECT_EQ(messageOf(problem), "a: found a zero byte, expected CSV; --input-format csv reads it as CSV");
}

} // namespace
