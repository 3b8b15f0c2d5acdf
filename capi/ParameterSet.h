// What a handle of a parameter set refers to.
#pragma once

#include "KORInterface/CKorPrm.h"
#include "KORInterface/ParameterCheck.h"
#include "KORInterface/Session.h"
#include "KORInterface/kor.h"

struct kor_prm {
    mutable CKorPrm set; ///< some of its getters are not const, though they change nothing
    kor::ReadReport read{};
    kor::CheckReport check{};
};
