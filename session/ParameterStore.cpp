#include "KORInterface/ParameterStore.h"

#include <mutex>

#include "KORInterface/Status.h"
#include "engine/State.h"

int LoadParameterStore(CKor& engine, const float* dynamic, const float* a, const float* b)
{
    if (dynamic == nullptr || a == nullptr || b == nullptr) {
        return kor::kBadArgument;
    }
    CKorAccess::State& s = CKorAccess::state(engine);
    const std::lock_guard<kor::platform::RecursiveLock> guard(s.lock);
    if (s.parameterStore == nullptr) {
        return kor::kNotLoaded;
    }
    s.parameterStore->fill(dynamic, a, b);
    return kor::kSuccess;
}
