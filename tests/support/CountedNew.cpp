#include "support/CountedNew.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> count{0};
std::atomic<long> left{-1};

} // namespace

namespace kor_test {

long allocationCount()
{
    return count;
}

void failAllocationsAfter(long successes)
{
    left = successes;
}

} // namespace kor_test

void* operator new(std::size_t size)
{
    ++count;
    if (left == 0) {
        throw std::bad_alloc();
    }
    if (left > 0) {
        --left;
    }
    if (void* memory = std::malloc(size != 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
