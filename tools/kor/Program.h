// What is said of the program as a whole.
#pragma once

#include "tools/kor/Described.h"

namespace kor::tool {

/// The program without its subcommands, which add themselves.
Described describedProgram();

/// Writes the manual pages of the program and its subcommands into a directory. Throws Failure.
void writeManual(const Described& program, const std::string& directory);

} // namespace kor::tool
