// What can go wrong with a file of samples, as a value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "recordings/Columns.h"

namespace kor::recordings {

/// One problem with one file. Only the fields that apply are set; text() makes one sentence of them.
struct Problem {
    enum class Kind {
        none,
        badData,      ///< the content is not what it should be
        cannotOpen,   ///< an input is not there or may not be read
        cannotRead,   ///< reading failed on the way
        cannotCreate, ///< an output cannot be made, or cannot take its place
        cannotWrite,  ///< writing failed on the way
        nobodyReads,  ///< the reader of an output has closed it
        interrupted,  ///< a signal has ended a live input
    };

    Kind kind = Kind::none;
    std::string file{};       ///< fit for a terminal; "standard input", "standard output"
    std::uint64_t line = 0;   ///< of a text file, from 1; 0 when no line is meant
    std::uint64_t record = 0; ///< of a binary file, from 1; 0 when no record is meant
    std::uint64_t byte = 0;   ///< where that record begins, from 0
    std::string column{};     ///< its name; empty when no column is meant
    std::string found{};      ///< what stands there
    std::string expected{};   ///< what should stand there
    std::string reason{};     ///< the system's reason, or what is wrong when that is not a matter of found and expected
    std::string advice{};     ///< what to do about it
    std::optional<Format> readableAs{}; ///< the format that the content can be read as, if that is asked for

    explicit operator bool() const { return kind != Kind::none; }
};

/// Place, what was found, what was expected and what to do, without a full stop: "run.csv: line 5, column status: found
/// "x", expected a whole number from 0 to 255".
std::string text(const Problem& problem);

} // namespace kor::recordings
