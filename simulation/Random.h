// Random numbers that are the same on every platform.
#pragma once

#include <cstdint>
#include <random>
#include <string_view>

namespace kor::simulation {

/// A sequence of its own for every seed and purpose, so that drawing for one purpose never moves another one's numbers.
///
/// Notes  1  Generator and seeding are std::mt19937_64 and std::seed_seq, whose numbers the language fixes.
///        2  Its distributions are not fixed. So normal deviates come from Marsaglia's polar method with the portable
///           logarithm, uniform ones from the upper 53 bits.
class Random {
public:
    Random(std::uint64_t seed, std::string_view purpose);

    std::uint64_t bits() { return m_generator(); }
    double uniform(); ///< [0, 1), 53 bits
    double uniform(double low, double high) { return low + (high - low) * uniform(); }
    double normal(); ///< mean 0, standard deviation 1
    bool chance(double probability) { return uniform() < probability; }

private:
    std::mt19937_64 m_generator;
    double m_spare = 0.0;
    bool m_hasSpare = false;
};

} // namespace kor::simulation
