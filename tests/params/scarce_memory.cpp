// In a file of its own, because g++ takes an inlined replacement for a mismatched pair.
#include "params/scarce_memory.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace prm_test {

long g_allocationsLeft = -1;

} // namespace prm_test

void* operator new(std::size_t size)
{
    using prm_test::g_allocationsLeft;
    void* const storage = g_allocationsLeft == 0 ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (storage == nullptr) {
        throw std::bad_alloc();
    }
    g_allocationsLeft -= g_allocationsLeft > 0 ? 1 : 0;
    return storage;
}

void operator delete(void* storage) noexcept
{
    std::free(storage);
}

void operator delete(void* storage, std::size_t) noexcept
{
    std::free(storage);
}
