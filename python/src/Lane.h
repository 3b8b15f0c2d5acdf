// A lock for work without the interpreter's lock.
#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "platform/Process.h"
#include "python/src/Errors.h"

namespace kor::python {

/// One thread at a time. To be taken without the interpreter's lock, which its holder may want.
/// Notes  1  A thread that holds it already, because a signal's handler has come in between or Python is given a part
/// of
///           a replay, is refused: it would wait for itself. So is a child process whose parent was forked while
///           another thread held it: it would wait for a thread that it does not have.
class Lane {
public:
    explicit Lane(const char* whose) : m_whose(whose) {}

    void lock()
    {
        if (!m_mutex.try_lock()) {
            if (m_thread.load() == std::this_thread::get_id() && m_process.load() == platform::processId()) {
                throw Fault("usage", std::string(m_whose) + " in use by this very thread, which has come here from a "
                                                            "signal's handler or with a part of a replay");
            }
            if (const unsigned holder = m_process.load(); holder != 0 && holder != platform::processId()) {
                throw Fault("usage", std::string(m_whose) + " in use by another thread when the process was forked; "
                                                            "make a new one in this process");
            }
            m_mutex.lock();
        }
        m_thread = std::this_thread::get_id();
        m_process = platform::processId();
    }

    void unlock()
    {
        m_process = 0;
        m_thread = std::thread::id();
        m_mutex.unlock();
    }

private:
    const char* m_whose;
    std::mutex m_mutex;
    std::atomic<std::thread::id> m_thread{};
    std::atomic<unsigned> m_process = 0;
};

using Hold = std::unique_lock<Lane>;

/// Whoever works with the two-level models, whose values belong to the whole process, holds this one; behind an
/// engine's own.
Lane& twoLevelLane();

} // namespace kor::python
