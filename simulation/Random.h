// Random numbers that are the same on every platform.
#pragma once

#include <cstdint>
#include <string_view>

namespace kor::simulation {

/// A sequence of its own for every seed and purpose, so that drawing for one purpose never moves another one's numbers.
///
/// Notes  1  The generator is xoshiro256**: 256 bits of state, filled from seed and purpose by splitmix64.
///        2  Normal deviates come from Marsaglia's polar method with the portable logarithm.
class Random {
public:
    Random(std::uint64_t seed, std::string_view purpose);

    std::uint64_t bits();
    double uniform(); // [0, 1), 53 bits
    double uniform(double low, double high) { return low + (high - low) * uniform(); }
    double normal(); // mean 0, standard deviation 1
    bool chance(double probability) { return uniform() < probability; }

private:
    std::uint64_t m_state[4];
    double m_spare = 0.0;
    bool m_hasSpare = false;
};

} // namespace kor::simulation
