// The parameter file as the commands ask for it.
#pragma once

#include <cstdint>
#include <string>

#include "KORInterface/CKorPrm.h"

namespace kor::tool {

struct ParameterSource {
    std::string directory; ///< UTF-8
    std::int32_t id = 0;

    std::string path() const;
};

/// Reads the file into prm. Throws Failure: usage when the directory is not valid UTF-8 or too long, 66 when the
/// file cannot be opened, 65 with the failing block's message and the line when it is not a parameter file.
void readParameterFile(const ParameterSource& source, CKorPrm& prm);

} // namespace kor::tool
