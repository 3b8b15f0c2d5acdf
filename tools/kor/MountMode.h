// Mount modes on the command line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kor::tool {

/// The modes by the names of their models: "1, 2 dual level; 3, 4 pendulum; ...", with what separates the models.
std::string mountModeNames(std::string_view separator = "; ");

/// "1", "2" and so on.
std::vector<std::string> mountModeWords();

/// The value of --mode. Throws Misuse for anything but 1 to 10.
std::int32_t mountModeOption(std::string_view text);

/// "mount mode 5 (polarizer)"
std::string mountModeText(std::int32_t mode);

} // namespace kor::tool
