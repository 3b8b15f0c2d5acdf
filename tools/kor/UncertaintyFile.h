// The file of one's own uncertainties, in JSON: a standard uncertainty for each input.
#pragma once

#include <string>
#include <vector>

#include "accuracy/Uncertainty.h"

namespace kor::tool {

/// The uncertainties that a file states, in its order; "-" is standard input. Throws Failure: 66 if it cannot be
/// opened, 74 if it cannot be read, 65 with the path of the value, what was found and what was expected.
std::vector<accuracy::InputUncertainty> readUncertainties(const std::string& path);

} // namespace kor::tool
