// Values that belong to the process and not to an object: the two-level models keep some.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace kor {

/// A value of the process that its first use sets up, however many threads get there at once, and that can be made
/// fresh again: the first use after that sets it up anew.
/// Notes  1  As a static object it is initialised at compile time, so that no code runs when the library is loaded. Not
///           every system's std::mutex can be; hence an atomic state, for which a thread that comes second waits.
///        2  Nothing but the set-up is guarded: who uses the value keeps it to one thread at a time.
template <class Value>
class ProcessValue {
public:
    /// The value; made by `setUp`, which throws nothing, if this is its first use.
    template <class SetUp>
    Value& get(const SetUp& setUp)
    {
        State state = m_state.load(std::memory_order_acquire);
        while (state != State::ready) {
            state = State::fresh;
            if (m_state.compare_exchange_strong(state, State::inSetUp, std::memory_order_acquire)) {
                m_value = setUp();
                m_state.store(State::ready, std::memory_order_release);
                break;
            }
            std::this_thread::yield();
        }
        return m_value;
    }

    /// The value; null before its first use.
    const Value* ifSetUp() const
    {
        return m_state.load(std::memory_order_acquire) == State::ready ? &m_value : nullptr;
    }

    void makeFresh()
    {
        State state = State::ready;
        while (state != State::fresh && !m_state.compare_exchange_strong(state, State::fresh)) {
            if (state == State::inSetUp) {
                std::this_thread::yield();
                state = State::ready;
            }
        }
    }

private:
    enum class State : std::uint8_t { fresh, inSetUp, ready };

    std::atomic<State> m_state{State::fresh};
    Value m_value{};
};

/// The process-wide values of the first two-level model as a new process has them.
void freshFirstVersionValues();

/// The same for the second version. A model that an engine has made forgets its earlier samples before its next one.
void freshSecondVersionValues();

/// Whether a nan or an infinity has reached those values of the second version that no later sample takes it from.
bool secondVersionValuesAreSpoiled();

} // namespace kor
