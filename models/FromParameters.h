// Values that depend on parameters alone.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kor {

/// A value that is worked out from parameters and kept for as long as they stay the same, bit for bit. Parameters may
/// change between any two samples, and no operation of a model tells of it: so they are compared at every use.
/// Notes  1  An object is for one thread at a time, as its model is.
template <class Value, class Float, std::size_t Parameters>
class FromParameters {
public:
    /// Given  make        gives the value of the parameters
    template <class Make, class... Floats>
    const Value& of(const Make& make, Floats... parameters)
    {
        const std::array<Bits, Parameters> wanted = {std::bit_cast<Bits>(parameters)...};
        bool same = m_made;
        for (std::size_t i = 0; i < Parameters; ++i) {
            same = same && wanted[i] == m_parameters[i];
        }
        if (!same) {
            m_value = make(parameters...);
            m_parameters = wanted;
            m_made = true;
        }
        return m_value;
    }

private:
    using Bits = std::conditional_t<sizeof(Float) == sizeof(std::uint32_t), std::uint32_t, std::uint64_t>;

    bool m_made = false;
    std::array<Bits, Parameters> m_parameters = {};
    Value m_value = {};
};

} // namespace kor
