// The parameter file's format: one table of its blocks, which everything that handles such files walks.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

namespace kor::params {

/// How a block's values follow its title. Each line of a description is one formatted call: a call whose value does
/// not parse ends there and leaves its further values unread.
enum class Layout : std::uint8_t {
    fileId,       ///< "%d\n"
    integer,      ///< "%d\n"
    word,         ///< "%s\n"
    rows,         ///< `rows` times `columns` floats: "%f\t ... %f\n" each
    separate,     ///< `columns` floats, one call each: "%f\t"
    encoderTable, ///< "%d\n" count; count times `columns` floats "%f\t%f\n"
    tiltTable,    ///< "%d\n" count; count times `columns` floats "%f\t%f\n"; "%f\t%f\t%f\n"; "%s\n"
};

/// Where a block's values go.
enum class Target : std::uint8_t {
    nothing,
    fileId,
    encoderOffset,
    knownVector,
    localMatrix,
    machineMatrix,
    thermalFactor,
    tiltOffset,
    admOffset,
    azimuthTable,
    elevationTable,
    levelXTable,
    levelYTable,
    scaleFactors,
    mountMode,
    qvcParameters,
    level1Parameters,
    level2Parameters,
    encoderHalfRange,
    psdX,
    psdY,
    dynamicParameters,
};

/// Effect of a file that has ended where a block's title is due.
enum class AtEnd : std::uint8_t {
    fail,     ///< the read fails
    skip,     ///< the block is absent, its fields keep their values
    defaults, ///< the block's fields take defaults
};

/// Differences between copying a block and reading it.
struct CopyRules {
    const char* testedTitle = nullptr; ///< the title line must contain this instead of the title
    std::uint16_t message = 0;         ///< failure of this block, instead of the read's
    std::uint8_t defaults = 0;         ///< default values written, when not as many as the block has
    bool ownLines = false;             ///< each of the separate values on a line of its own
    bool omitted = false;              ///< read, but not written
};

struct Block {
    const char* title;        ///< the joined words of the title line must contain it
    std::uint8_t words;       ///< words of the title line
    Layout layout;            ///< how the values follow the title
    std::uint8_t rows;        ///< rows of Layout::rows
    std::uint8_t columns;     ///< floats of a row, or of Layout::separate
    Target target;            ///< where the values go
    AtEnd atEnd;              ///< effect of a file that ends before the title
    std::uint16_t message;    ///< failure of this block, its title missing or due at the end of the file; 0: silent
    bool modeSevenUp = false; ///< only with mount mode 7 or more
    CopyRules copy = {};      ///< where a copy differs
};

/// From this mount mode on the file goes on after its "Mounting Mode" block.
inline constexpr std::int32_t kFirstLongMode = 7;

/// Extra values behind the rows of a tilt table: the two limits and a third value.
inline constexpr std::size_t kTiltExtras = 3;

/// Scale factors of a file that ends before their block.
inline constexpr std::array<float, 8> kDefaultScaleFactors = {0.0F, 0.0F, 0.0F, 0.0F, 1.0F, 1.0F, 1.0F, 0.0F};

inline constexpr const char* kTiltYTitle = "Tilt Y Calibration Table";

/// Where a copy differs.
///
/// Kept [rewriting-scale-factor]: it fails with 619 at a missing "Scale Factor" and writes seven default factors, not
/// eight. It looks for the tilt Y title where "Mounting Mode" stands, which two words never contain, so only a file
/// that ends before that block is copied to its end. It leaves out the last block.
inline constexpr CopyRules kScaleFactorCopy = {.message = 619, .defaults = 7, .ownLines = true};
inline constexpr CopyRules kMountingModeCopy = {.testedTitle = kTiltYTitle};
inline constexpr CopyRules kDynamicCopy = {.omitted = true};

/// The blocks in the only order accepted.
///
/// Kept [misspelt-texts, message-codes]: the titles are misspelt ("Tranform") in every file there is. "Mounting Mode"
/// shares 619 with tilt Y, and "Half Angle" 609 with "Angle Offset"; the last three blocks fail without a message.
inline constexpr std::array<Block, 27> kBlocks = {{
    {"Serial Number", 2, Layout::fileId, 0, 0, Target::fileId, AtEnd::fail, 601},
    {"Device Owner", 2, Layout::word, 0, 0, Target::nothing, AtEnd::fail, 603},
    {"AZ Position Gain", 3, Layout::rows, 1, 6, Target::nothing, AtEnd::fail, 604},
    {"EL Position Gain", 3, Layout::rows, 1, 6, Target::nothing, AtEnd::fail, 605},
    {"AZ Tracking Gain", 3, Layout::rows, 1, 6, Target::nothing, AtEnd::fail, 606},
    {"EL Tracking Gain", 3, Layout::rows, 1, 6, Target::nothing, AtEnd::fail, 607},
    {"Digital Damping", 2, Layout::rows, 1, 4, Target::nothing, AtEnd::fail, 608},
    {"Angle Offset", 2, Layout::rows, 1, 2, Target::encoderOffset, AtEnd::fail, 609},
    {"Transform Vector", 2, Layout::rows, 1, 3, Target::knownVector, AtEnd::fail, 610},
    {"Local Coordinate Tranform Matrix", 4, Layout::rows, 3, 3, Target::localMatrix, AtEnd::fail, 611},
    {"Machine Coordinate Tranform Matrix", 4, Layout::rows, 3, 3, Target::machineMatrix, AtEnd::fail, 612},
    {"Thermal Compensation Factor", 3, Layout::rows, 1, 4, Target::thermalFactor, AtEnd::fail, 613},
    {"Tilt Sensor Offset", 3, Layout::rows, 1, 2, Target::tiltOffset, AtEnd::fail, 614},
    {"ADM Offset", 2, Layout::rows, 1, 1, Target::admOffset, AtEnd::fail, 615},
    {"AZ Calibration Table", 3, Layout::encoderTable, 0, 2, Target::azimuthTable, AtEnd::fail, 616},
    {"EL Calibration Table", 3, Layout::encoderTable, 0, 2, Target::elevationTable, AtEnd::fail, 617},
    {"Tilt X Calibration Table", 4, Layout::tiltTable, 0, 2, Target::levelXTable, AtEnd::fail, 618},
    {kTiltYTitle, 4, Layout::tiltTable, 0, 2, Target::levelYTable, AtEnd::skip, 619},
    {"Scale Factor", 2, Layout::separate, 0, 8, Target::scaleFactors, AtEnd::defaults, 621, false, kScaleFactorCopy},
    {"Mounting Mode", 2, Layout::integer, 0, 0, Target::mountMode, AtEnd::defaults, 619, false, kMountingModeCopy},
    {"QVC", 1, Layout::separate, 0, 6, Target::qvcParameters, AtEnd::defaults, 622, true},
    {"Level_X", 1, Layout::separate, 0, 7, Target::level1Parameters, AtEnd::defaults, 623, true},
    {"Level_Y", 1, Layout::separate, 0, 7, Target::level2Parameters, AtEnd::defaults, 624, true},
    {"Half Angle", 2, Layout::rows, 1, 2, Target::encoderHalfRange, AtEnd::fail, 609, true},
    {"PSDX", 1, Layout::rows, 1, 3, Target::psdX, AtEnd::fail, 0, true},
    {"PSDY", 1, Layout::rows, 1, 3, Target::psdY, AtEnd::fail, 0, true},
    {"DynamicParameters", 1, Layout::rows, 1, 7, Target::dynamicParameters, AtEnd::fail, 0, true, kDynamicCopy},
}};

/// The longest row or run of separate values.
inline constexpr std::size_t kMostColumns = 8;

/// Whether a block's title has the words that its line is read with: it is found in words joined by single blanks.
constexpr bool titleHasItsWords(const Block& block)
{
    const std::string_view title = block.title;
    return std::count(title.begin(), title.end(), ' ') + 1 == block.words;
}

static_assert(std::all_of(kBlocks.begin(), kBlocks.end(), titleHasItsWords));
static_assert(std::all_of(kBlocks.begin(), kBlocks.end(), [](const Block& b) { return b.columns <= kMostColumns; }));
static_assert(std::is_sorted(kBlocks.begin(), kBlocks.end(),
                             [](const Block& a, const Block& b) { return a.modeSevenUp < b.modeSevenUp; }),
              "the blocks of the long files follow all others");

/// Whether the joined words of a title line hold a title.
///
/// Kept [title-within-words, nul-ends-title]: more text around the title within its words is tolerated, "Scale Factors"
/// being the usual case. What follows a NUL byte is not looked at.
constexpr bool holdsTitle(std::string_view words, std::string_view title)
{
    // Not by find(), which takes ten times as long for a file that repeats the title's first letter.
    const std::string_view text = words.substr(0, words.find('\0'));
    return std::search(text.begin(), text.end(), title.begin(), title.end()) != text.end();
}

/// An integer of the file as the 32-bit one that is stored or written. Kept [integers-saturate]: the nearest one.
constexpr std::int32_t saturated(std::int64_t value)
{
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

/// The room that a file has for the rows which its tables announce, so that a count costs no more than the file does.
///
/// Up to so many rows a byte of the file for each will do, as hosts know it. Above, each row needs the bytes of its
/// shortest text, which belong to one table alone: two digits, each with its separator.
class RowRoom {
public:
    static constexpr std::int64_t kManyRows = 1'000'000;
    static constexpr std::uint64_t kLeastRowBytes = 4;

    /// Given  size  bytes of the whole file
    explicit constexpr RowRoom(std::uint64_t size) : m_size(size) {}

    /// Whether the bytes behind the first `consumed` have room for a count of rows.
    constexpr bool holds(std::int64_t rows, std::uint64_t consumed) const
    {
        if (rows < 0 || rows != saturated(rows)) {
            return false;
        }
        const std::uint64_t left = m_size - std::min(m_size, consumed);
        const auto wanted = static_cast<std::uint64_t>(rows);
        return rows <= kManyRows ? wanted <= left : kLeastRowBytes * (wanted + m_lacking) <= left;
    }

    /// Notes that a table has announced so many rows, and so many of them were there.
    constexpr void note(std::uint64_t announced, std::uint64_t there)
    {
        m_lacking += announced > static_cast<std::uint64_t>(kManyRows) ? announced - there : 0;
    }

private:
    std::uint64_t m_size;
    std::uint64_t m_lacking = 0; ///< rows of large tables that were not there
};

} // namespace kor::params
