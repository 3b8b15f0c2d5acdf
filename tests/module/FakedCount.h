// A sequence that claims more elements than any memory holds.
#pragma once

#include <cstddef>
#include <cstring>
#include <vector>

namespace kor_test {

/// Lets a vector claim a count for as long as this lives: moves its end, the second of the three pointers that the
/// known standard libraries keep. Only its size may be asked for meanwhile. A negative count reads as one beyond
/// max_size().
template <typename Value>
class FakedCount {
public:
    FakedCount(std::vector<Value>& sequence, std::ptrdiff_t count) : m_sequence(sequence)
    {
        static_assert(sizeof sequence == 3 * sizeof(void*), "begin, end, end of the memory");
        std::memcpy(m_saved, static_cast<const void*>(&sequence), sizeof m_saved);
        Value* places[3];
        std::memcpy(places, m_saved, sizeof places);
        const auto end =
            reinterpret_cast<std::ptrdiff_t>(places[0]) + count * static_cast<std::ptrdiff_t>(sizeof(Value));
        places[1] = reinterpret_cast<Value*>(end);
        std::memcpy(static_cast<void*>(&sequence), places, sizeof places);
    }
    ~FakedCount() { std::memcpy(static_cast<void*>(&m_sequence), m_saved, sizeof m_saved); }
    FakedCount(const FakedCount&) = delete;
    FakedCount& operator=(const FakedCount&) = delete;

private:
    std::vector<Value>& m_sequence;
    unsigned char m_saved[3 * sizeof(void*)];
};

} // namespace kor_test
