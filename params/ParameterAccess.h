// Way into a parameter set for what stands beside CKorPrm's own operations.
#pragma once

#include "KORInterface/CKorPrm.h"
#include "params/file/Reader.h"

namespace kor {

struct ParameterAccess {
    /// CKorPrm::ReadCalibrationFile with an account of what it found.
    /// Returned  report  status 20 and 550 come without a place in the file
    static int read(CKorPrm& prm, const wchar_t* directory, unsigned long id, params::ReadReport& report) noexcept;

    static bool loaded(const CKorPrm& prm) noexcept { return prm.prmLoaded; }
    static const ParameterSet& set(const CKorPrm& prm) noexcept { return prm.m_set; }
};

} // namespace kor
