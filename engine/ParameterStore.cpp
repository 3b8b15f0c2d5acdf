#include "engine/ParameterStore.h"

#include <algorithm>
#include <iterator>
#include <mutex>

#include "KORInterface/ParameterStore.h"
#include "engine/State.h"

namespace kor {

int ParameterStore::fetchDynamicParameters(float* out) const
{
    if (!m_loaded) {
        return 551;
    }
    if (out == nullptr) {
        return 20;
    }
    std::copy(std::begin(m_dynamicParameters), std::end(m_dynamicParameters), out);
    return 0;
}

int ParameterStore::fetchCoefficients(float* a, float* b) const
{
    if (!m_loaded) {
        return 551;
    }
    if (a == nullptr || b == nullptr) {
        return 20;
    }
    std::copy(std::begin(m_a), std::end(m_a), a);
    std::copy(std::begin(m_b), std::end(m_b), b);
    return 0;
}

void ParameterStore::fill(const float* dynamicParameters, const float* a, const float* b)
{
    std::copy_n(dynamicParameters, 7, m_dynamicParameters);
    std::copy_n(a, 3, m_a);
    std::copy_n(b, 3, m_b);
    m_loaded = true;
}

} // namespace kor

int LoadParameterStore(CKor& engine, const float* dynamic, const float* a, const float* b)
{
    if (dynamic == nullptr || a == nullptr || b == nullptr) {
        return 20;
    }
    CKorAccess::State& s = CKorAccess::state(engine);
    const std::lock_guard<kor::platform::RecursiveLock> guard(s.lock);
    if (s.parameterStore == nullptr) {
        return 551;
    }
    s.parameterStore->fill(dynamic, a, b);
    return 0;
}
