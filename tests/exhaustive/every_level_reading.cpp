// Every 32-bit pattern of one level reading through the engine's spline, twice: in order, so that the kept piece
// serves, and in jumps all over the range.
//
// Usage: every_level_reading PART PARTS    of so many equal parts, PART from 1
//
// The exit status is 1 if a value differs from the plain spline's, 64 if the arguments are not as above.
#include "exhaustive/LevelPatterns.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::uint64_t kPatterns = std::uint64_t{1} << 32;
constexpr std::uint32_t kJump = 2654435769U; // odd, so that its multiples modulo 2^32 are all the patterns

bool reportedWrong(std::size_t table, std::uint32_t pattern)
{
    std::printf("table %zu, pattern %08" PRIx32 ": another value, or another range\n", table, pattern);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    const long part = argc == 3 ? std::strtol(argv[1], nullptr, 10) : 0;
    const long parts = argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0;
    if (part < 1 || parts < part || parts > 1000000) {
        std::fputs("usage: every_level_reading PART PARTS\n", stderr);
        return 64;
    }
    const std::uint64_t begin = kPatterns / static_cast<std::uint64_t>(parts) * static_cast<std::uint64_t>(part - 1);
    const std::uint64_t end =
        part == parts ? kPatterns : kPatterns / static_cast<std::uint64_t>(parts) * static_cast<std::uint64_t>(part);
    int wrong = 0;
    std::size_t number = 0;
    for (const std::vector<float>& table : kor_test::levelTables()) {
        ++number;
        kor_test::LevelPatterns level(table);
        for (std::uint64_t i = begin; i < end && wrong < 20; ++i) {
            const auto inOrder = static_cast<std::uint32_t>(i);
            wrong += !level.agreesAt(inOrder) && reportedWrong(number, inOrder) ? 1 : 0;
        }
        for (std::uint64_t i = begin; i < end && wrong < 20; ++i) {
            const std::uint32_t jumping = static_cast<std::uint32_t>(i) * kJump;
            wrong += !level.agreesAt(jumping) && reportedWrong(number, jumping) ? 1 : 0;
        }
    }
    std::printf("part %ld of %ld: %" PRIu64 " patterns of %zu tables, in order and in jumps: %d wrong\n", part, parts,
                end - begin, number, wrong);
    return wrong == 0 ? 0 : 1;
}
