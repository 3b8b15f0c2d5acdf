#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace kor::platform {

/// Mutual exclusion between threads; the thread that holds the lock may take it again.
/// Notes  1  Meets the requirements of std::lock_guard. Neither copied nor moved: every owner makes its own.
class RecursiveLock {
public:
    RecursiveLock() noexcept { InitializeCriticalSection(&m_section); }
    ~RecursiveLock() { DeleteCriticalSection(&m_section); }
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

    void lock() noexcept { EnterCriticalSection(&m_section); }
    void unlock() noexcept { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

} // namespace kor::platform
