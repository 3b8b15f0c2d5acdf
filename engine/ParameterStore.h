// The engine's store of dynamic parameters.
#pragma once

#include <cstddef>
#include <memory>

#include "KORInterface/Status.h"

namespace kor {

/// Dynamic model parameters and detector coefficients; empty until a host fills it.
/// Notes  1  Both fetches return 551 while the store is empty, 20 for a null pointer, else 0.
class ParameterStore {
public:
    /// Seven dynamic parameters of the orientation model.
    int fetchDynamicParameters(float* out) const;

    /// Coefficients A and B of the detector correction, three each.
    int fetchCoefficients(float* a, float* b) const
    {
        if (!m_loaded) {
            return kNotLoaded;
        }
        if (a == nullptr || b == nullptr) {
            return kBadArgument;
        }
        for (std::size_t i = 0; i < 3; ++i) {
            a[i] = m_a[i];
            b[i] = m_b[i];
        }
        return kSuccess;
    }

    /// Fills the store: seven dynamic parameters, three coefficients A and three B.
    void fill(const float* dynamicParameters, const float* a, const float* b);

private:
    bool m_loaded = false;
    float m_dynamicParameters[7] = {};
    float m_a[3] = {};
    float m_b[3] = {};
};

/// A new, empty one.
/// Notes  1  Made apart from the engine's constructor: MinGW exports the type information of all that is made in the
///           source of an exported class, the standard library's included.
std::shared_ptr<ParameterStore> makeParameterStore();

} // namespace kor
