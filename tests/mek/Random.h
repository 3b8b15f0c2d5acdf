// Random numbers that are the same on every platform: the standard's engines are fixed, its distributions are not.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <random>

namespace kor_test {

using Triple = std::array<double, 3>;

class Random {
public:
    explicit Random(std::uint64_t seed) : m_engine(seed) {}

    double between(double low, double high)
    {
        return low + (high - low) * (static_cast<double>(m_engine() >> 11U) * 0x1p-53);
    }

    float floatBetween(double low, double high) { return static_cast<float>(between(low, high)); }

    int upTo(int last) { return static_cast<int>(m_engine() % (static_cast<std::uint64_t>(last) + 1)); }

    // Evenly spread over the sphere.
    Triple direction()
    {
        for (;;) {
            const Triple v{between(-1, 1), between(-1, 1), between(-1, 1)};
            const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
            if (length > 0.1 && length <= 1) {
                return {v[0] / length, v[1] / length, v[2] / length};
            }
        }
    }

private:
    std::mt19937_64 m_engine;
};

} // namespace kor_test
