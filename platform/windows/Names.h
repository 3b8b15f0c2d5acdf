// Paths as the system takes them.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <shellapi.h>

#include <cerrno>
#include <optional>
#include <string>

#include "platform/Text.h"

namespace kor::platform {

/// The path as wide text; nothing, and errno set, when it is not valid UTF-8 or holds a zero.
inline std::optional<std::wstring> nativeName(const std::string& path)
{
    std::optional<std::wstring> name =
        path.find('\0') == std::string::npos ? fromUtf8(path) : std::optional<std::wstring>();
    if (!name) {
        errno = EINVAL;
    }
    return name;
}

} // namespace kor::platform
