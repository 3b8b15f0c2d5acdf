// Binary results: a header that names every column, then packed records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "recordings/Columns.h"

namespace kor::recordings {

/// What a file of binary results begins with.
inline constexpr std::string_view kBinaryResultsMark = "\x89KORINFO";

/// Bytes of a value in a packed record.
constexpr std::size_t packedSize(Type type)
{
    switch (type) {
    case Type::float64:
        return 8;
    case Type::float32:
    case Type::int32:
    case Type::uint32:
        return 4;
    case Type::uint8:
    case Type::flag:
    case Type::outcome:
        return 1;
    case Type::text:
        break; // has no place in a record of fixed length
    }
    return 0;
}

constexpr std::size_t packedSize(std::span<const Column> columns)
{
    std::size_t size = 0;
    for (const Column& column : columns) {
        size += packedSize(column.type);
    }
    return size;
}

/// The header of a file whose records are packed: the values of the columns in their order, without gaps.
std::string binaryHeader(std::span<const Column> columns);

/// A column of a file, as its header describes it.
struct PackedColumn {
    std::string name;
    Type type;
    std::size_t offset; ///< in its record
};

/// What stands in a header.
struct BinaryHeader {
    std::size_t headerSize = 0;
    std::size_t recordSize = 0;
    std::size_t columnCount = 0;
    std::vector<PackedColumn> columns{};
};

/// Bytes of the fixed part of a header, which tell how long the whole is.
inline constexpr std::size_t kFixedHeader = 32;

/// The fixed part.
/// Returned  result  what is wrong with it in words; empty when it is sound
std::string readFixedHeader(std::string_view bytes, BinaryHeader& header);

/// The table of columns behind it.
/// Given     bytes   headerSize bytes
/// Returned  result  what is wrong in words; empty when it is sound. Types that are not known are left out
std::string readColumnTable(std::string_view bytes, BinaryHeader& header);

} // namespace kor::recordings
