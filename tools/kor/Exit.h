// Exit statuses of the tool, and the error that carries one to main.
#pragma once

#include <stdexcept>
#include <string>

#include "recordings/Problem.h"

namespace kor::tool {

/// The numbers are those of <sysexits.h>, which not every platform has, and beyond 128 those that a shell gives a
/// process which a signal has ended.
enum Exit : int {
    kExitOk = 0,
    kExitBeyondBound = 1,
    kExitUsage = 64,
    kExitDataError = 65,
    kExitNoInput = 66,
    kExitUnavailable = 69,
    kExitSoftware = 70,
    kExitNoMemory = 71,
    kExitCannotCreate = 73,
    kExitIoError = 74,
    kExitInterrupted = 130,
    kExitNobodyReads = 141,
    kExitTerminated = 143
};

/// What they mean: the help prints this table, and a test holds the documents to it.
struct ExitMeaning {
    Exit status;
    const char* meaning;
};
inline constexpr ExitMeaning kExitMeanings[] = {
    {kExitOk, "done"},
    {kExitBeyondBound, "kor accuracy: a bound is exceeded; kor compare: a tolerance is exceeded; "
                       "kor prm diff: the files differ; kor prm check: warnings"},
    {kExitUsage, "wrong usage"},
    {kExitDataError, "bad recording or parameter file, or no usable orientation"},
    {kExitNoInput, "an input cannot be opened"},
    {kExitUnavailable, "a program that draws is missing (gnuplot), or the view of kor replay cannot be served"},
    {kExitSoftware, "internal error"},
    {kExitNoMemory, "not enough memory"},
    {kExitCannotCreate, "an output cannot be created"},
    {kExitIoError, "reading or writing failed"},
    {kExitInterrupted, "interrupted"},
    {kExitNobodyReads, "the reader of the output has closed it"},
    {kExitTerminated, "terminated"},
};

/// The status that a problem with a file ends a command with.
Exit exitOf(recordings::Problem::Kind kind);

/// A problem's text, with the option that helps where there is one.
std::string messageOf(const recordings::Problem& problem);

/// What ends a command early. The text is complete but for the tool's name in front.
class Failure : public std::runtime_error {
public:
    Failure(Exit status, const std::string& text) : std::runtime_error(text), m_status(status) {}
    explicit Failure(const recordings::Problem& problem) : Failure(exitOf(problem.kind), messageOf(problem)) {}
    Exit status() const { return m_status; }

private:
    Exit m_status;
};

/// There is no memory for a file.
inline Failure noMemoryFor(const std::string& file)
{
    return {kExitNoMemory, "there is not enough memory to read " + file};
}

/// A command line that asks for what cannot be. Main adds where the command's help is.
class Misuse : public Failure {
public:
    explicit Misuse(const std::string& text) : Failure(kExitUsage, text) {}
};

} // namespace kor::tool
