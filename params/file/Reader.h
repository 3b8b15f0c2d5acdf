// The walk over a parameter file: the one way such a file is read and its failures are explained.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "KORInterface/ParameterSet.h"

#include "platform/Files.h"

namespace kor::params {

/// What stands where nothing does.
inline constexpr const char* kEndOfFile = "end of file";

/// Short and printable, for a message to a person: at most sixty characters and three dots.
std::string excerptOf(std::string_view text);

/// A place of the file that a read passes over in silence.
struct Finding {
    enum class Kind : std::uint8_t {
        unreadableValue, ///< a value that cannot be read
        shortTable,      ///< a table that ends, or cannot be read on, before the rows that its count announces
    };

    Kind kind = Kind::unreadableValue;
    const char* block = "";    ///< title
    std::size_t line = 0;      ///< from 1, of the text that could not be read
    const char* expected = ""; ///< what should have stood there
    std::string found;         ///< what stood there: short and printable; "end of file" at the end
    std::uint64_t values = 0;  ///< values that were not read for it, and so keep their previous content
    std::uint64_t rows = 0;    ///< of a short table: the rows that could be read whole
    std::uint64_t count = 0;   ///< of a short table: the rows that its count announces
};

/// Outcome of a read.
struct ReadReport {
    /// A hostile file may give a finding with every few bytes; those beyond this number are only counted.
    static constexpr std::size_t kMostFindings = 10000;

    explicit ReadReport(bool withFindings = false) : collects(withFindings) {}

    bool collects;                  ///< whether findings are kept
    std::string path;               ///< of the file; empty when the directory names none
    int status = 0;                 ///< 0, 550 or 553
    unsigned messageId = 0;         ///< of the string table; 0: no message
    bool outOfMemory = false;       ///< the failure is for want of memory and says nothing of the file
    bool endedAtTitle = false;      ///< the failure is that the file ended where a title was due
    const char* block = "";         ///< title of the block in which the read failed
    std::size_t line = 0;           ///< from 1, of the text that made it fail
    const char* expected = "";      ///< what should have stood there
    std::string found;              ///< what stood there: short and printable; "end of file" at the end
    std::vector<Finding> findings;  ///< in the order of the file
    std::uint64_t findingCount = 0; ///< all of them, those not kept included
};

/// Reads a parameter file into a parameter set and tells what came of it.
/// Given     file  open for reading, positioned at its beginning; stays open
///           id    sensor ID, its low 32 bits
/// Notes  1  On failure the set keeps what the blocks before have replaced; the tilt limits change on success only.
///        2  Throws nothing: without memory the read fails with 553. A finding for which there is no memory is only
///           counted, so that a read with findings has the effect and the result of one without.
void readFile(platform::File& file, std::uint32_t id, ParameterSet& set, ReadReport& report) noexcept;

/// The same over bytes in memory.
void readBytes(std::string_view bytes, std::uint32_t id, ParameterSet& set, ReadReport& report) noexcept;

} // namespace kor::params
