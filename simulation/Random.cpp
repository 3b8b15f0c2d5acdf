#include "simulation/Random.h"

#include <cmath>
#include <vector>

#include "simulation/PortableMath.h"

namespace kor::simulation {

namespace {

std::mt19937_64 generatorFor(std::uint64_t seed, std::string_view purpose)
{
    std::vector<std::uint32_t> words = {static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32)};
    for (const char letter : purpose) {
        words.push_back(static_cast<unsigned char>(letter));
    }
    std::seed_seq sequence(words.begin(), words.end());
    return std::mt19937_64(sequence);
}

} // namespace

Random::Random(std::uint64_t seed, std::string_view purpose) : m_generator(generatorFor(seed, purpose)) {}

double Random::uniform()
{
    return static_cast<double>(bits() >> 11) * 0x1p-53;
}

double Random::normal()
{
    if (m_hasSpare) {
        m_hasSpare = false;
        return m_spare;
    }
    for (;;) {
        const double x = 2.0 * uniform() - 1.0;
        const double y = 2.0 * uniform() - 1.0;
        const double square = x * x + y * y;
        if (square > 0.0 && square < 1.0) {
            const double factor = std::sqrt(-2.0 * portable::logarithm(square) / square);
            m_spare = y * factor;
            m_hasSpare = true;
            return x * factor;
        }
    }
}

} // namespace kor::simulation
