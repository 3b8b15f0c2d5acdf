// Recordings and results of arbitrary content.
#include <bit>
#include <charconv>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include "recordings/ReadBack.h"
#include "support/Float.h"

namespace {

using kor::recordings::Format;
using kor::recordings::Problem;
using kor::recordings::Result;
using kor_test::kHeader;
using kor_test::numbered;
using kor_test::Read;
using kor_test::read;
using kor_test::row;
using kor_test::sameBits;

RC_GTEST_PROP(Recording, anyBytesBehindTheHeaderGiveSamplesOrProblemsAndEnd, (const std::string& bytes))
{
    const Read all = read(kHeader + bytes, Format::csv);
    RC_ASSERT(all.samples.size() + all.problems.size() <= bytes.size());
    for (const std::string& problem : all.problems) {
        RC_ASSERT(problem.size() < 400u);
        for (const char c : problem) {
            RC_ASSERT(c >= ' ' && c < '\x7f');
        }
    }
}

RC_GTEST_PROP(Recording, anyHeaderIsTakenOrRefused, (const std::string& bytes))
{
    // No random header names fifteen columns.
    RC_ASSERT(read(bytes, Format::csv).refused.kind == Problem::Kind::badData);
}

RC_GTEST_PROP(Results, numbersReadBackToTheBit, (std::uint32_t floatBits, std::uint64_t doubleBits))
{
    Result result = numbered();
    result.info.elevation = std::bit_cast<float>(floatBits);
    result.matrix[8] = std::bit_cast<double>(doubleBits);
    const std::vector<std::string> fields = row(result);
    float elevation = 0;
    double element = 0;
    std::from_chars(fields[2].data(), fields[2].data() + fields[2].size(), elevation);
    std::from_chars(fields[22].data(), fields[22].data() + fields[22].size(), element);
    RC_ASSERT(bool(sameBits(elevation, result.info.elevation)));
    RC_ASSERT(bool(sameBits(element, result.matrix[8])));
}

} // namespace
