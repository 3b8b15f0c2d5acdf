#pragma once

#include <mutex>

namespace kor::platform {

/// Mutual exclusion between threads; the thread that holds the lock may take it again.
/// Notes  1  Meets the requirements of std::lock_guard. Neither copied nor moved: every owner makes its own.
class RecursiveLock {
public:
    RecursiveLock() = default;
    ~RecursiveLock() = default;
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

    void lock() { m_mutex.lock(); }
    void unlock() noexcept { m_mutex.unlock(); }

private:
    std::recursive_mutex m_mutex;
};

} // namespace kor::platform
