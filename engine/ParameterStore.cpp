#include "engine/ParameterStore.h"

#include <algorithm>
#include <iterator>

namespace kor {

int ParameterStore::fetchDynamicParameters(float* out) const
{
    if (!m_loaded) {
        return kNotLoaded;
    }
    if (out == nullptr) {
        return kBadArgument;
    }
    std::copy(std::begin(m_dynamicParameters), std::end(m_dynamicParameters), out);
    return kSuccess;
}

void ParameterStore::fill(const float* dynamicParameters, const float* a, const float* b)
{
    std::copy_n(dynamicParameters, 7, m_dynamicParameters);
    std::copy_n(a, 3, m_a);
    std::copy_n(b, 3, m_b);
    m_loaded = true;
}

std::shared_ptr<ParameterStore> makeParameterStore()
{
    return std::make_shared<ParameterStore>();
}

} // namespace kor
