// Random numbers for the comparison, and numbers that arithmetic stumbles over.
#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <type_traits>

namespace kor_test {

// Fast and the same everywhere (splitmix64).
class Source {
public:
    explicit Source(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t bits()
    {
        m_state += 0x9E3779B97F4A7C15U;
        std::uint64_t z = m_state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31);
    }

    // 0 .. n - 1
    int below(int n) { return static_cast<int>((bits() >> 32) * static_cast<std::uint64_t>(n) >> 32); }
    int between(int low, int high) { return low + below(high - low + 1); }
    bool oneIn(int n) { return below(n) == 0; }
    bool coin() { return (bits() >> 63) != 0; }

    double uniform(double low, double high)
    {
        return low + (high - low) * (static_cast<double>(bits() >> 11) * 0x1p-53);
    }
    float real(double low, double high) { return static_cast<float>(uniform(low, high)); }

    template <typename T>
    T pick(std::initializer_list<T> values)
    {
        return values.begin()[below(static_cast<int>(values.size()))];
    }

    // One of the neighbouring numbers, or the number itself.
    template <typename Float>
    Float beside(Float value)
    {
        constexpr Float kInfinity = std::numeric_limits<Float>::infinity();
        switch (below(3)) {
        case 0:
            return std::nextafter(value, kInfinity);
        case 1:
            return std::nextafter(value, -kInfinity);
        default:
            return value;
        }
    }

    // Zeros, subnormals, the ends of the range, infinities, not-a-numbers with various payloads, any bits, and the
    // thresholds of the formulas with their neighbours.
    template <typename Float>
    Float awkward()
    {
        using Limits = std::numeric_limits<Float>;
        using Bits = std::conditional_t<sizeof(Float) == 4, std::uint32_t, std::uint64_t>;
        const Float sign = coin() ? Float(1) : Float(-1);
        switch (below(14)) {
        case 0:
        case 1:
            return sign * Float(0);
        case 2:
            return sign * Limits::denorm_min() * static_cast<Float>(between(1, 1000));
        case 3:
            return sign * beside(Limits::min());
        case 4:
            return sign * Limits::max();
        case 5:
            return sign * Limits::infinity();
        case 6:
        case 7: {
            constexpr int kPayload = Limits::digits - 2;
            const Bits payload = static_cast<Bits>(bits()) & ((Bits{1} << kPayload) - 1);
            const Float number = std::bit_cast<Float>(std::bit_cast<Bits>(Limits::quiet_NaN()) | payload);
            return coin() ? number : -number;
        }
        case 8: {
            const Float number = std::bit_cast<Float>(static_cast<Bits>(bits()));
            return std::isnan(number) ? sign : number;
        }
        case 9:
            return sign *
                   beside(static_cast<Float>(pick({1.7444444444444444e-5, 1e-12, 0.001, 0.4, 2000.0, 8388608.0})));
        case 10:
            return sign * beside(static_cast<Float>(pick({1.0, 30.0, 45.0, 90.0, 180.0, 270.0, 360.0, 720.0})));
        case 11:
            return sign * static_cast<Float>(pick({1e-30, 1e-20, 1e-9, 1e9, 1e20, 1e30}));
        default:
            return sign * static_cast<Float>(std::exp(uniform(-40.0, 40.0)));
        }
    }

private:
    std::uint64_t m_state;
};

} // namespace kor_test
