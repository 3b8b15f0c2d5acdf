// Values that belong to the process and not to an object: the two-level models keep some.
#pragma once

#include <atomic>
#include <mutex>

namespace kor {

/// A value of the process that its first use sets up, however many threads get there at once, and that can be made
/// fresh again: the first use after that sets it up anew.
/// Notes  1  As a static object it is initialised at compile time, so that no code runs when the library is loaded.
///        2  Nothing but the set-up is locked: who uses the value keeps it to one thread at a time.
template <class Value>
class ProcessValue {
public:
    /// The value; made by `setUp` if this is its first use.
    template <class SetUp>
    Value& get(const SetUp& setUp)
    {
        if (!m_ready.load(std::memory_order_acquire)) {
            const std::lock_guard<std::mutex> guard(m_lock);
            if (!m_ready.load(std::memory_order_relaxed)) {
                m_value = setUp();
                m_ready.store(true, std::memory_order_release);
            }
        }
        return m_value;
    }

    void makeFresh()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_ready.store(false, std::memory_order_release);
    }

private:
    std::mutex m_lock;
    std::atomic<bool> m_ready{false};
    Value m_value{};
};

/// The process-wide values of the first two-level model as a new process has them.
void freshFirstVersionValues();

/// The same for the second version.
void freshSecondVersionValues();

} // namespace kor
