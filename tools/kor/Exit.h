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

/// What they mean: help and manual pages print this table, and a test holds the documents to it. A row without a
/// command is true of all, or of all that write files; the others are those of one command, and stand behind it.
struct ExitMeaning {
    Exit status;
    const char* command; ///< without "kor" in front
    const char* meaning;
};
inline constexpr ExitMeaning kExitMeanings[] = {
    {kExitOk, "", "done"},
    {kExitBeyondBound, "accuracy", "a bound is exceeded"},
    {kExitBeyondBound, "compare", "a tolerance is exceeded"},
    {kExitBeyondBound, "prm diff", "the files differ"},
    {kExitBeyondBound, "prm check", "a file has warnings, and none has errors"},
    {kExitUsage, "", "wrong usage"},
    {kExitDataError, "", "an input holds bad data"},
    {kExitDataError, "replay", "no sample has a usable orientation, or with --strict not every sample has one"},
    {kExitDataError, "compare", "there is nothing to compare"},
    {kExitDataError, "convert", "there is nothing to convert"},
    {kExitDataError, "prm check", "a file has errors"},
    {kExitNoInput, "", "an input cannot be opened"},
    {kExitUnavailable, "replay", "the view cannot be served"},
    {kExitUnavailable, "accuracy", "gnuplot, which draws the pictures, is not installed"},
    {kExitUnavailable, "plot", "gnuplot, which draws the pictures, is not installed"},
    {kExitSoftware, "", "internal error"},
    {kExitNoMemory, "", "not enough memory"},
    {kExitCannotCreate, "", "an output cannot be created"},
    {kExitIoError, "", "reading or writing failed"},
    {kExitInterrupted, "", "interrupted"},
    {kExitNobodyReads, "", "the program that reads the output has closed it"},
    {kExitTerminated, "", "terminated"},
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
