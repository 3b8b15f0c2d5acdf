// What a comparison to the bit finds.
#pragma once

#include "KORInterface/Session.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace kor_test {

// The library and its transcription gave different answers.
class Difference : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

template <typename Float>
using BitsOf = std::conditional_t<sizeof(Float) == 4, std::uint32_t, std::uint64_t>;

// Equal to the last bit. Any not-a-number equals any other: when both operands of an operation are not-a-numbers, or
// its result is a fresh one, the processor takes sign and payload from the order of the operands in the instruction,
// and the compiler is free to exchange them.
template <typename Float>
bool same(Float a, Float b)
{
    return std::bit_cast<BitsOf<Float>>(a) == std::bit_cast<BitsOf<Float>>(b) || (std::isnan(a) && std::isnan(b));
}

template <typename Float>
void expectSame(const char* name, int index, Float got, Float wanted)
{
    if (!same(got, wanted)) {
        char text[160];
        std::snprintf(text, sizeof text, "%s[%d]: the library gives %.17g (%a), the transcription %.17g (%a)", name,
                      index, static_cast<double>(got), static_cast<double>(got), static_cast<double>(wanted),
                      static_cast<double>(wanted));
        throw Difference(text);
    }
}

// Values that are handed on and never computed with: their very bits.
inline void expectSameBits(const char* name, int index, float got, float wanted)
{
    if (std::bit_cast<std::uint32_t>(got) != std::bit_cast<std::uint32_t>(wanted)) {
        char text[160];
        std::snprintf(text, sizeof text, "%s[%d]: the library gives the bits %08x, the transcription %08x", name, index,
                      std::bit_cast<std::uint32_t>(got), std::bit_cast<std::uint32_t>(wanted));
        throw Difference(text);
    }
}

inline void expectSameCode(const char* name, int got, int wanted)
{
    if (got != wanted) {
        throw Difference(std::string(name) + ": the library returns " + std::to_string(got) + ", the transcription " +
                         std::to_string(wanted));
    }
}

// Everything that the two tell of one sample.
// Given  echoed  sensorOut is a copy of the sample's own values
inline void expectSameResult(const kor::SampleResult& got, const kor::SampleResult& wanted, bool echoed)
{
    expectSameCode("reserved0", got.info.reserved0, wanted.info.reserved0);
    expectSameCode("reserved32", got.info.reserved32, wanted.info.reserved32);
    expectSame("azimuth", 0, got.info.azimuth, wanted.info.azimuth);
    expectSame("elevation", 0, got.info.elevation, wanted.info.elevation);
    expectSame("levelX", 0, got.info.levelX, wanted.info.levelX);
    expectSame("levelY", 0, got.info.levelY, wanted.info.levelY);
    for (int i = 0; i < 3; ++i) {
        expectSame("temperature", i, got.info.temperature[i], wanted.info.temperature[i]);
    }
    expectSameCode("matrixCode", got.matrixCode, wanted.matrixCode);
    for (int i = 0; i < 9; ++i) {
        expectSame("matrix", i, got.matrix[i], wanted.matrix[i]);
    }
    for (int i = 0; i < 3; ++i) {
        expectSame("orientationAngles", i, got.info.orientationAngles[i], wanted.info.orientationAngles[i]);
    }
    for (int i = 0; i < 3; ++i) {
        if (echoed) {
            expectSameBits("sensorOut", i, got.info.sensorOut[i], wanted.info.sensorOut[i]);
        } else {
            expectSame("sensorOut", i, got.info.sensorOut[i], wanted.info.sensorOut[i]);
        }
    }
    expectSameCode("outcome", static_cast<int>(got.report.outcome), static_cast<int>(wanted.report.outcome));
    expectSameCode("reason", static_cast<int>(got.report.reason), static_cast<int>(wanted.report.reason));
    expectSameCode("model", static_cast<int>(got.report.model), static_cast<int>(wanted.report.model));
    expectSameCode("capturedReference", got.report.capturedReference, wanted.report.capturedReference);
    expectSameCode("levelXOutside", got.report.levelXOutside, wanted.report.levelXOutside);
    expectSameCode("levelYOutside", got.report.levelYOutside, wanted.report.levelYOutside);
    expectSameCode("spoiledBy", static_cast<int>(got.report.spoiledBy), static_cast<int>(wanted.report.spoiledBy));
    expectSameCode("spoiledSince", static_cast<int>(got.report.spoiledSince),
                   static_cast<int>(wanted.report.spoiledSince));
}

// How much of the comparison was about real orientations.
struct Tally {
    std::uint64_t samples = 0;
    std::uint64_t valid = 0;     // orientations of finite numbers, or model matrices of finite numbers
    std::uint64_t notFinite = 0; // matrices with other numbers in them
    std::uint64_t none = 0;      // rejected, or without a matrix
    std::uint64_t changes = 0;   // set operations
    std::uint64_t copies = 0;
    std::uint64_t scenarios = 0;
};

} // namespace kor_test
