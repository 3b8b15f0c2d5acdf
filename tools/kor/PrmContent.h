// The content of a parameter file as the commands of `kor prm` pass it around: read from a file, made from JSON or made
// new, and written as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KORInterface/ParameterFile.h"

namespace kor::tool {

/// A number of a parameter file; nothing if it could not be read.
using PrmNumber = std::optional<float>;

/// A block; which one its place in PrmContent::blocks says.
struct PrmBlock {
    bool present = false;
    std::uint32_t line = 0;                ///< of the title in the file
    std::string title{};                   ///< the title as the file has it
    std::optional<std::int64_t> integer{}; ///< ID or mount mode
    std::string word{};                    ///< owner, or the word behind a tilt table
    std::vector<PrmNumber> values{};       ///< row by row; of a table all the rows that its count announces
    std::vector<PrmNumber> extras{};       ///< of a tilt table: two limits and a third number
};

/// Rows of a table that are handled at most.
constexpr std::size_t kMostTableRows = 100'000;

/// From this mount mode on a file has the blocks behind the mount mode.
constexpr std::int32_t kFirstLongMode = 7;

/// Bytes of a parameter file that are handled at most.
constexpr std::size_t kMostPrmBytes = std::size_t{1} << 24;

struct PrmContent {
    PrmContent();

    std::vector<PrmBlock> blocks; ///< one for each kind that the format has
    std::uint32_t restLine = 0;   ///< of what stands behind the last block and is ignored; 0: nothing
    std::uint64_t restBytes = 0;
    std::uint64_t unread = 0; ///< values that could not be read

    PrmBlock& at(std::string_view title);
    const PrmBlock& at(std::string_view title) const;

    /// As the library takes them: signed 32 bits; 0 where nothing says it.
    std::int32_t id() const;
    std::int32_t mode() const;
};

/// Index of the block with a title, which must be one of the format's.
std::uint32_t kindOf(std::string_view title);

/// Whether a kind is a table.
bool isTable(const ParameterBlockKind& kind);

/// The bytes of a file, "-" standard input. Throws Failure: 66 if it cannot be opened, 74 if it cannot be read, 65 if
/// it has more than so many bytes, which no file of its kind has.
std::string readWhole(const std::string& path, std::size_t most, const std::string& kind = "parameter file");

/// The content of a file. Throws Failure: as readWhole, and 65 with the place if the library does not read it.
/// Notes  1  Values that could not be read are nothing in the content. Any sensor ID will do.
PrmContent readPrm(const std::string& path);

/// The same from bytes; `title` names them in messages.
PrmContent prmOf(std::string_view bytes, const std::string& title);

/// The number in the shortest text that reads back as the same float: "0.1", "1e-07", "-0", "nan", "-inf".
std::string shortestText(float number);

/// A name of a field for a reader: "x gain" of "x_gain".
std::string nameInWords(std::string name);

/// A parameter file in the canonical layout, each number in its shortest text, lines ended by LF on every system. All
/// values must be there.
std::string prmText(const PrmContent& content);

/// The name under which the library looks for the file of a sensor: "Tg1005.prm".
std::string prmName(std::int32_t id);

/// The sensor ID in a file's name; nothing if it is not Tg<ID>.prm.
std::optional<std::int32_t> idInName(const std::string& path);

} // namespace kor::tool
