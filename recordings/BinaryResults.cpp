#include "recordings/BinaryResults.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "platform/Text.h"

namespace kor::recordings {

namespace {

constexpr std::uint32_t kVersion = 1;

// The fixed part, behind the mark: version, sizes of header and record, number of columns, 8 bytes 0.
constexpr std::size_t kVersionAt = 8;
constexpr std::size_t kHeaderSizeAt = 12;
constexpr std::size_t kRecordSizeAt = 16;
constexpr std::size_t kColumnCountAt = 20;

// One column: name and unit filled with zeros, type, offset, 8 bytes 0.
constexpr std::size_t kNameSize = 24;
constexpr std::size_t kUnitSize = 8;
constexpr std::size_t kTypeAt = kNameSize + kUnitSize;
constexpr std::size_t kOffsetAt = kTypeAt + 4;
constexpr std::size_t kColumnSize = 48;

// No header that means well is beyond these.
constexpr std::uint32_t kMostColumns = 1024;
constexpr std::uint32_t kLargestRecord = 64 * 1024;

// The numbers of the types in the file.
constexpr std::array<Type, 7> kTypes = {
    {Type::float32, Type::float64, Type::int32, Type::uint32, Type::uint8, Type::flag, Type::outcome}};

void append(std::string& bytes, std::uint32_t value)
{
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

void append(std::string& bytes, std::string_view text, std::size_t size)
{
    bytes += text.substr(0, size);
    bytes.append(size - std::min(size, text.size()), '\0');
}

std::uint32_t numberAt(std::string_view bytes, std::size_t at)
{
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

std::string outOfRange(const char* what, std::uint32_t found, std::uint32_t least, std::uint32_t most)
{
    return std::string(what) + " is " + std::to_string(found) + ", expected " + std::to_string(least) + " to " +
           std::to_string(most);
}

} // namespace

std::string binaryHeader(std::span<const Column> columns)
{
    std::string bytes(kBinaryResultsMark);
    append(bytes, kVersion);
    append(bytes, static_cast<std::uint32_t>(kFixedHeader + columns.size() * kColumnSize));
    append(bytes, static_cast<std::uint32_t>(packedSize(columns)));
    append(bytes, static_cast<std::uint32_t>(columns.size()));
    append(bytes, "", kFixedHeader - bytes.size());
    std::uint32_t offset = 0;
    for (const Column& column : columns) {
        append(bytes, column.name, kNameSize);
        append(bytes, column.unit, kUnitSize);
        const auto* const type = std::find(kTypes.begin(), kTypes.end(), column.type);
        append(bytes, static_cast<std::uint32_t>(type - kTypes.begin() + 1));
        append(bytes, offset);
        append(bytes, "", kColumnSize - kOffsetAt - sizeof offset);
        offset += static_cast<std::uint32_t>(packedSize(column.type));
    }
    return bytes;
}

std::string readFixedHeader(std::string_view bytes, BinaryHeader& header)
{
    if (!bytes.starts_with(kBinaryResultsMark)) {
        return "the mark is " + platform::inQuotes(bytes.substr(0, kBinaryResultsMark.size())) + ", expected " +
               platform::inQuotes(kBinaryResultsMark);
    }
    if (const std::uint32_t version = numberAt(bytes, kVersionAt); version != kVersion) {
        return "the version of the format is " + std::to_string(version) + ", expected " + std::to_string(kVersion);
    }
    const std::uint32_t count = numberAt(bytes, kColumnCountAt);
    if (count < 1 || count > kMostColumns) {
        return outOfRange("the number of columns", count, 1, kMostColumns);
    }
    const std::uint32_t record = numberAt(bytes, kRecordSizeAt);
    if (record < 1 || record > kLargestRecord) {
        return outOfRange("the size of a record", record, 1, kLargestRecord);
    }
    const auto least = static_cast<std::uint32_t>(kFixedHeader + count * kColumnSize);
    const std::uint32_t size = numberAt(bytes, kHeaderSizeAt);
    if (size < least || size > least + kLargestRecord) {
        return outOfRange("the size of the header", size, least, least + kLargestRecord);
    }
    header = {.headerSize = size, .recordSize = record, .columnCount = count};
    return {};
}

std::string readColumnTable(std::string_view bytes, BinaryHeader& header)
{
    for (std::size_t i = 0; i < header.columnCount; ++i) {
        const std::string_view row = bytes.substr(kFixedHeader + i * kColumnSize, kColumnSize);
        const std::string_view name = row.substr(0, std::min(row.find('\0'), kNameSize));
        const std::uint32_t number = numberAt(row, kTypeAt);
        const std::size_t offset = numberAt(row, kOffsetAt);
        if (number < 1 || number > kTypes.size()) {
            continue;
        }
        const Type type = kTypes[number - 1];
        if (offset + packedSize(type) > header.recordSize) {
            return "column " + platform::inQuotes(name) + " begins at byte " + std::to_string(offset) +
                   " of a record of " + std::to_string(header.recordSize);
        }
        header.columns.push_back({std::string(name), type, offset});
    }
    return {};
}

} // namespace kor::recordings
