// Filling an engine's parameter store: an addition beside the engine's own interface.
#ifndef KORINTERFACE_PARAMETERSTORE_H
#define KORINTERFACE_PARAMETERSTORE_H

#include "KORInterface/CKor.h"
#include "KORInterface/CKorPrm.h"
#include "KORInterface/Export.h"

/// Fills the parameter store, which is empty after construction.
///
/// A filled store changes two things: setMountMode hands the dynamic parameters to the model, and in mount modes
/// 7 and above the detector reading moves QVC[3] and QVC[4] for every sample. Without this call neither of them
/// happens.
///
/// Given     engine    the engine; call this before its setMountMode
///           dynamic   seven dynamic parameters
///           a, b      three coefficients each, of the first and the second detector coordinate
/// Returned  result    0, 20 a pointer is null, 551 the engine has been destroyed
/// Notes  1  Takes the engine's lock. Copies of the engine share the store and do not share the lock.
KORINTERFACE_API int LoadParameterStore(CKor& engine, const float* dynamic, const float* a, const float* b);

/// The same from a parameter set: the dynamic parameters, and the PSDX and PSDY blocks as coefficients A and B.
/// Returned  result  also 551 when the set is not loaded
inline int LoadParameterStore(CKor& engine, const CKorPrm& prm)
{
    float dynamic[7];
    float a[3];
    float b[3];
    int code = prm.getDynamicKORParameters(dynamic);
    if (code == 0) {
        code = prm.getPSDParameters(a, b);
    }
    return code == 0 ? LoadParameterStore(engine, dynamic, a, b) : code;
}

#endif
