// Working memory of a routine whose sizes are known at run time only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace mek {

/// `count` doubles, not initialised: on the stack up to `Near` of them, so that small problems never allocate, and
/// from the heap beyond that. data() is null when the heap has no room; nothing is thrown.
template <std::size_t Near>
class Scratch {
public:
    explicit Scratch(std::uint64_t count) noexcept
        : m_far(count > Near ? allocate(count) : nullptr), m_data(count > Near ? m_far.get() : m_near)
    {
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    double* data() noexcept { return m_data; }

private:
    static double* allocate(std::uint64_t count) noexcept
    {
        // Asked for more than can be addressed, operator new[] throws even in its nothrow form.
        if (count > PTRDIFF_MAX / sizeof(double)) {
            return nullptr;
        }
        return new (std::nothrow) double[static_cast<std::size_t>(count)];
    }

    double m_near[Near];
    std::unique_ptr<double[]> m_far;
    double* m_data;
};

} // namespace mek
