// The parameter file as the commands ask for it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KORInterface/CKorPrm.h"

namespace kor::tool {

struct ParameterSource {
    std::string directory; ///< UTF-8
    std::int32_t id = 0;

    std::string path() const;
};

/// What is to be done about the findings of the check that comes before the reading.
enum class Checking {
    strict, ///< errors and warnings are told, errors end the command
    forced, ///< both are told, and the command goes on
    done    ///< another process has checked the file
};

/// Checks the file and reads it into prm.
/// Given     mode      mount mode that it is used with, when not its own
/// Notes  1  Throws Failure: usage when the directory is not valid UTF-8 or too long, 66 when the file cannot be
///           opened, 65 when the check finds errors, or when the library refuses the file all the same.
void readParameterFile(const ParameterSource& source, CKorPrm& prm, Checking checking,
                       std::optional<std::int32_t> mode);

/// What a command says of a parameter file that it cannot open, and of a result of the library: "553 and message 615,
/// "..."", without the message if there is none.
std::string cannotOpenText(const std::string& path);
std::string resultText(int status, unsigned message);

/// Help of the option that makes the checking a forced one.
inline constexpr const char* kForceHelp = "Go on in spite of errors that the check of the parameter file finds";

} // namespace kor::tool
