// The engine's lock: recursive, as a critical section is.
#pragma once

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <mutex>
#endif

namespace kor::platform {

/// Mutual exclusion between threads; the thread that holds the lock may take it again.
/// Notes  1  Meets the requirements of std::lock_guard. Neither copied nor moved: every owner makes its own.
class RecursiveLock {
public:
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

#if defined(_WIN32)
    RecursiveLock() noexcept
    {
        InitializeCriticalSection(&m_section);
    }
    ~RecursiveLock()
    {
        DeleteCriticalSection(&m_section);
    }
    void lock() noexcept
    {
        EnterCriticalSection(&m_section);
    }
    void unlock() noexcept
    {
        LeaveCriticalSection(&m_section);
    }

private:
    CRITICAL_SECTION m_section;
#else
    RecursiveLock() = default;
    ~RecursiveLock() = default;
    void lock()
    {
        m_mutex.lock();
    }
    void unlock() noexcept
    {
        m_mutex.unlock();
    }

private:
    std::recursive_mutex m_mutex;
#endif
};

} // namespace kor::platform
