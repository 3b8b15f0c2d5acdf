#include "simulation/Random.h"

#include <bit>
#include <cmath>

#include "simulation/PortableMath.h"

namespace kor::simulation {

namespace {

std::uint64_t splitmix(std::uint64_t& state)
{
    std::uint64_t z = (state += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
}

} // namespace

Random::Random(std::uint64_t seed, std::string_view purpose)
{
    std::uint64_t state = seed;
    std::uint64_t mixed = splitmix(state);
    for (const char letter : purpose) {
        state = mixed ^ static_cast<unsigned char>(letter);
        mixed = splitmix(state);
    }
    state = mixed;
    for (std::uint64_t& word : m_state) {
        word = splitmix(state);
    }
}

std::uint64_t Random::bits()
{
    const std::uint64_t result = std::rotl(m_state[1] * 5, 7) * 9;
    const std::uint64_t shifted = m_state[1] << 17;
    m_state[2] ^= m_state[0];
    m_state[3] ^= m_state[1];
    m_state[1] ^= m_state[2];
    m_state[0] ^= m_state[3];
    m_state[2] ^= shifted;
    m_state[3] = std::rotl(m_state[3], 45);
    return result;
}

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
