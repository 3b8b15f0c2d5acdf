// The two moving-average buffers of each two-level model, which the library keeps to the end of the process. A fuzzer
// makes thousands of models: it remembers their buffers and releases them when all models of an input are gone.
#pragma once

#include "KORInterface/CKorThreeVec2Level.h"

#include <set>

namespace kor_fuzz {

class KeptBuffers {
public:
    KeptBuffers() = default;
    KeptBuffers(const KeptBuffers&) = delete;
    KeptBuffers& operator=(const KeptBuffers&) = delete;
    ~KeptBuffers()
    {
        for (const double* const buffer : m_buffers) {
            delete[] buffer;
        }
    }

    // Of any model; only the two-level ones have buffers.
    void note(const CKorModel* model)
    {
        if (const auto* const twoLevels = dynamic_cast<const CKorThreeVec2Level*>(model)) {
            m_buffers.insert(twoLevels->*Fields::first());
            m_buffers.insert(twoLevels->*Fields::second());
        }
    }

private:
    struct Fields : CKorThreeVec2Level {
        static double* CKorThreeVec2Level::*first() { return &Fields::m_filterBufL1; }
        static double* CKorThreeVec2Level::*second() { return &Fields::m_filterBufL2; }
    };

    std::set<const double*> m_buffers; // copies share theirs
};

} // namespace kor_fuzz
