// Exit statuses of the tool, and the error that carries one to main.
#pragma once

#include <stdexcept>
#include <string>

namespace kor::tool {

// The numbers are those of <sysexits.h>, which not every platform has.
enum Exit : int {
    kExitOk = 0,
    kExitBeyondBound = 1,   // something measured is not as good as recorded
    kExitUsage = 64,        // the command line asks for something that cannot be
    kExitDataError = 65,    // a recording or parameter file is not what it should be
    kExitNoInput = 66,      // a recording or parameter file cannot be opened
    kExitSoftware = 70,     // the tool itself failed
    kExitCannotCreate = 73, // an output cannot be created
    kExitIoError = 74       // reading or writing failed on the way
};

// What ends a command early. The text is complete but for the tool's name in front.
class Failure : public std::runtime_error {
public:
    Failure(Exit status, const std::string& text) : std::runtime_error(text), m_status(status) {}
    Exit status() const { return m_status; }

private:
    Exit m_status;
};

// A command line that asks for what cannot be. Main adds where the command's help is.
class Misuse : public Failure {
public:
    explicit Misuse(const std::string& text) : Failure(kExitUsage, text) {}
};

} // namespace kor::tool
