// The text of a problem.
#include "recordings/Problem.h"

#include <gtest/gtest.h>

namespace {

using kor::recordings::Problem;
using kor::recordings::text;

TEST(Problem, namesPlaceAndWhatWasFoundAndExpected)
{
    Problem problem{.kind = Problem::Kind::badData, .file = "run.csv", .line = 5, .column = "status"};
    problem.found = "\"x\"";
    problem.expected = "a whole number";
    EXPECT_EQ(text(problem), "run.csv: line 5, column status: found \"x\", expected a whole number");
    problem.advice = "leave the row out";
    EXPECT_EQ(text(problem), "run.csv: line 5, column status: found \"x\", expected a whole number; leave the row out");
}

TEST(Problem, namesRecordAndByteOfABinaryFile)
{
    Problem problem{.kind = Problem::Kind::badData, .file = "run.korraw", .record = 3, .byte = 136};
    problem.found = "1 byte before the end";
    problem.expected = "68";
    EXPECT_EQ(text(problem), "run.korraw: record 3 (byte 136): found 1 byte before the end, expected 68");
}

TEST(Problem, saysWhatCouldNotBeDone)
{
    Problem problem{.file = "a", .reason = "no such file"};
    const auto textOf = [&problem](Problem::Kind kind) {
        problem.kind = kind;
        return text(problem);
    };
    EXPECT_EQ(textOf(Problem::Kind::cannotOpen), "cannot open a: no such file");
    EXPECT_EQ(textOf(Problem::Kind::cannotRead), "cannot read a: no such file");
    EXPECT_EQ(textOf(Problem::Kind::cannotCreate), "cannot create a: no such file");
    EXPECT_EQ(textOf(Problem::Kind::cannotWrite), "cannot write a: no such file");
    EXPECT_EQ(textOf(Problem::Kind::nobodyReads), "cannot write a: no such file");
    EXPECT_EQ(textOf(Problem::Kind::interrupted), "a: no such file");
    EXPECT_EQ(textOf(Problem::Kind::badData), "a: no such file");
}

TEST(Problem, isOneOnlyWithAKind)
{
    EXPECT_FALSE(Problem{});
    EXPECT_TRUE(Problem{.kind = Problem::Kind::badData});
}

} // namespace
