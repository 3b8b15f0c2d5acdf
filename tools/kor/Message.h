// What a command says on standard error, as a value.
#pragma once

#include <string>

namespace kor::tool {

struct Message {
    bool warning;
    std::string text; ///< without the tool's name
};

} // namespace kor::tool
