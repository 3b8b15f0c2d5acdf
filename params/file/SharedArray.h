// Arrays that several objects share, held by plain pointers.
//
// The parameter set's header keeps plain pointers, and its copies refer to the same arrays. Each array is therefore
// preceded by a hidden header that counts its holders and knows its length; the pointer leads to the first element.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>

namespace kor::params {

namespace shared_array {

struct alignas(std::max_align_t) Header {
    explicit Header(std::size_t length) noexcept : holders(1), capacity(length) {}

    std::atomic<std::uint32_t> holders;
    std::size_t capacity;
};

static_assert(std::is_trivially_destructible_v<Header>, "the storage is freed without further ado");

template <class T>
Header* headerOf(const T* array) noexcept
{
    auto* bytes = reinterpret_cast<unsigned char*>(const_cast<T*>(array));
    return std::launder(reinterpret_cast<Header*>(bytes - sizeof(Header)));
}

} // namespace shared_array

/// A new array with one holder, every element zero.
/// Notes  1  Throws only std::bad_alloc.
template <class T>
T* allocateShared(std::size_t length)
{
    static_assert(std::is_arithmetic_v<T> && alignof(T) <= alignof(shared_array::Header));
    constexpr std::size_t kLongest = (PTRDIFF_MAX - sizeof(shared_array::Header)) / sizeof(T);
    if (length > kLongest) {
        throw std::bad_alloc();
    }
    // calloc hands out untouched zero pages, so that a large array of few rows costs what its rows cost.
    void* storage = std::calloc(1, sizeof(shared_array::Header) + length * sizeof(T));
    if (storage == nullptr) {
        throw std::bad_alloc();
    }
    auto* header = ::new (storage) shared_array::Header(length);
    return reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(header) + sizeof(shared_array::Header));
}

/// Elements of the array; 0 for null.
template <class T>
std::size_t sharedCapacity(const T* array) noexcept
{
    return array == nullptr ? 0 : shared_array::headerOf(array)->capacity;
}

/// One holder more; null stays null.
template <class T>
void retainShared(T* array) noexcept
{
    if (array != nullptr) {
        shared_array::headerOf(array)->holders.fetch_add(1, std::memory_order_relaxed);
    }
}

/// One holder less: sets the pointer to null and frees the array when it was the last holder.
template <class T>
void releaseShared(T*& array) noexcept
{
    T* const released = array;
    array = nullptr;
    if (released != nullptr && shared_array::headerOf(released)->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        std::free(shared_array::headerOf(released));
    }
}

} // namespace kor::params
