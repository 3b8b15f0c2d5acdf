// A parameter file as it stands: every block, value and line of it, as a read meets them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "params/file/Blocks.h"

namespace kor::params {

/// What the bytes of a file are.
enum class Encoding : std::uint8_t {
    text,       ///< bytes of which no character is cut: ASCII and everything built on it
    utf16,      ///< two bytes a character, with a byte order mark or without
    compressed, ///< gzip, Zstandard, Zip and the like, by their first bytes
    binary,     ///< holds zeros or other control characters
};

/// An item of the text, as a formatted call takes it.
struct Item {
    std::uint32_t at = 0;     ///< its first byte
    std::uint32_t length = 0; ///< bytes; 0 when there was no text left, or the call ended before it
    std::uint32_t line = 0;   ///< from 1; 0 when the call ended before it
    bool readable = false;    ///< it was taken; the value then replaces its target
    float single = 0.0F;      ///< the number as it is stored
};

/// A block that a read has met.
struct DocumentBlock {
    std::size_t index = 0;      ///< in kBlocks
    std::string title;          ///< the words of the title line as they stand, joined with single blanks
    std::uint32_t line = 0;     ///< of the title
    std::uint32_t lastLine = 0; ///< of the last item that was looked for
    Item whole;                 ///< ID, mount mode or row count
    std::int64_t number = 0;    ///< the same as a number, 0 when it cannot be read
    Item word;                  ///< Layout::word, and the word behind a tilt table
    std::vector<Item> values;   ///< row by row; of a table the rows up to the one behind which nothing can be read
    std::vector<Item> extras;   ///< of a tilt table: limits and a third value
    std::uint64_t unread = 0;   ///< values that the block should have and that were not read

    const Block& kind() const { return kBlocks[index]; }
};

/// A whole file.
struct Document {
    /// A parameter file has a few thousand bytes. This bounds what a hostile one can claim of the memory: some twelve
    /// bytes for each of its own.
    static constexpr std::size_t kMostBytes = std::size_t{1} << 24;

    std::string bytes; ///< of the file, those behind the text's end included
    Encoding encoding = Encoding::text;
    std::vector<DocumentBlock> blocks; ///< in the order of the file, the one in which the read fails last
    std::int32_t mode = 0;             ///< mount mode, 0 without
    std::optional<std::uint32_t> id;   ///< that the file must hold
    bool tooLarge = false;             ///< not taken apart

    int status = 0; ///< how the read ends; this and the next five as ReadReport tells it of a new object
    unsigned messageId = 0;
    const char* block = "";
    std::uint32_t line = 0;
    const char* expected = "";
    std::string found;

    std::uint32_t restAt = 0;   ///< where a successful read stops; the text's end when nothing stands there
    std::uint32_t restLine = 0; ///< its line
    std::uint32_t textEnd = 0;  ///< length of the text: up to the first byte 0x1A, or all
    std::uint32_t endLine = 0;  ///< line of that byte, 0 without one

    std::string_view textOf(const Item& item) const { return std::string_view(bytes).substr(item.at, item.length); }
    std::string_view rest() const { return std::string_view(bytes).substr(restAt, textEnd - restAt); }

    /// The number that an item says, before it is rounded to single precision.
    double numberOf(const Item& item) const;

    /// The block of a kind, null when the read has not met one.
    const DocumentBlock* find(Target target) const;
};

/// Takes a file apart as a read does that begins with a new object.
/// Given     bytes  at most Document::kMostBytes
///           id     sensor ID; without one any will do
/// Notes  1  Throws only std::bad_alloc or std::length_error.
Document takeApart(std::string bytes, std::optional<std::uint32_t> id);

/// What the bytes of a file are.
Encoding encodingOf(std::string_view bytes);

/// The number that a text says, as far as a double holds it.
/// Given     text  a number that the scanner has taken, and nothing behind it
double wideNumberOf(std::string_view text);

} // namespace kor::params
