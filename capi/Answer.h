// What the functions of the C interface share: sizes of structures, texts in buffers of the caller, and the answer in
// place of an exception.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "KORInterface/Status.h"
#include "KORInterface/kor.h"

namespace kor::capi {

/// Whether one of the pointers is null.
template <typename... Pointed>
constexpr bool anyNull(const Pointed*... pointers)
{
    return ((pointers == nullptr) || ...);
}

/// The same as answer for work behind a pointer. No template, because of one that catches, MinGW's g++ has exported the
/// type information of std::exception from the DLL.
std::int32_t answerOf(std::int32_t (*work)(void*), void* what);

/// Does the work of a call.
/// Returned  result  that of the work; kBadArgument if there was no memory for it
/// Notes  1  Nothing else than the allocator's exceptions comes here. The end of a thread (pthread_cancel) is none of
///           them and must pass.
template <typename Work>
std::int32_t answer(Work work)
{
    return answerOf([](void* what) { return static_cast<std::int32_t>((*static_cast<Work*>(what))()); }, &work);
}

/// Makes what a handle refers to.
template <typename Handle>
std::int32_t create(Handle** handle)
{
    if (handle == nullptr) {
        return kBadArgument;
    }
    *handle = nullptr;
    return answer([handle] {
        *handle = new Handle();
        return kSuccess;
    });
}

template <typename Handle>
std::int32_t destroy(Handle* handle)
{
    if (handle == nullptr) {
        return kBadArgument;
    }
    delete handle;
    return kSuccess;
}

/// The largest structure that a later release may have; a larger size is refused.
inline constexpr std::uint32_t kLargestStruct = 1024;

/// Whether a structure of the caller is there and holds all fields of the first release.
template <typename Struct>
bool isThere(const Struct* there)
{
    return there != nullptr && there->size >= sizeof(Struct) && there->size <= kLargestStruct;
}

/// The same for one that the library reads: what a later release has added must be zero, since it would have no effect.
template <typename Struct>
bool isKnown(const Struct* there)
{
    if (!isThere(there)) {
        return false;
    }
    const char* const bytes = reinterpret_cast<const char*>(there);
    return std::all_of(bytes + sizeof(Struct), bytes + there->size, [](char byte) { return byte == '\0'; });
}

/// Fills a structure of the caller, which keeps its size.
template <typename Struct>
std::int32_t give(Struct value, Struct* into)
{
    value.size = into->size;
    *into = value;
    return kSuccess;
}

/// Puts a text into the buffer of the caller, as the head of kor.h says.
std::int32_t giveText(std::string_view words, char* text, std::size_t room, std::size_t* length);

} // namespace kor::capi
