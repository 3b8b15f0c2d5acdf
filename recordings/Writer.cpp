#include "recordings/Writer.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

#include "recordings/BinaryResults.h"
#include "recordings/NumberText.h"

namespace kor::recordings {

namespace {

constexpr std::size_t longestOutcome()
{
    std::size_t length = 0;
    for (const std::string_view name : kOutcomeNames) {
        length = std::max(length, name.size());
    }
    return length;
}

// What a value's text takes at most, and may write over.
constexpr std::size_t longest(Type type)
{
    switch (type) {
    case Type::float64:
        return 24;
    case Type::float32:
        return 16;
    case Type::int32:
    case Type::uint32:
        return 11;
    case Type::uint8:
        return 3;
    case Type::flag:
        return 1;
    case Type::text:
        return kLongestText;
    case Type::outcome:
        return longestOutcome();
    }
    return 0;
}

constexpr std::size_t longestRow(std::span<const Column> columns)
{
    std::size_t length = kNumberRoom;
    for (const Column& column : columns) {
        length += longest(column.type) + 1;
    }
    return length;
}

template <typename Value>
Value valueAt(const char* record, std::size_t offset)
{
    Value value;
    std::memcpy(&value, record + offset, sizeof value);
    return value;
}

template <Type type>
char* append(char* at, const char* record, std::size_t offset)
{
    if constexpr (type == Type::float32) {
        return appendNumber(at, valueAt<float>(record, offset));
    } else if constexpr (type == Type::float64) {
        return appendNumber(at, valueAt<double>(record, offset));
    } else if constexpr (type == Type::int32) {
        return appendNumber(at, valueAt<std::int32_t>(record, offset));
    } else if constexpr (type == Type::uint32) {
        return appendNumber(at, valueAt<std::uint32_t>(record, offset));
    } else if constexpr (type == Type::uint8) {
        return appendNumber(at, std::uint32_t{valueAt<std::uint8_t>(record, offset)});
    } else if constexpr (type == Type::flag) {
        *at = valueAt<bool>(record, offset) ? '1' : '0';
        return at + 1;
    } else if constexpr (type == Type::outcome) {
        const std::string_view name = kOutcomeNames[valueAt<std::uint8_t>(record, offset)];
        return at + name.copy(at, name.size());
    } else {
        const std::string_view note = valueAt<const char*>(record, offset);
        return at + note.copy(at, kLongestText);
    }
}

// One row; the table is a constant, so that every column's code is chosen when this is compiled.
template <const auto& columns, std::size_t... i>
char* appendRow(char* at, const char* record, std::index_sequence<i...>)
{
    ((at = append<columns[i].type>(at, record, columns[i].offset), *at++ = i + 1 == columns.size() ? '\n' : ','), ...);
    return at;
}

// The same without text: the values of the columns one behind the other.
template <const auto& columns, std::size_t... i>
char* appendPacked(char* at, const char* record, std::index_sequence<i...>)
{
    static_assert(((packedSize(columns[i].type) > 0) && ...), "every column has a place");
    ((std::memcpy(at, record + columns[i].offset, packedSize(columns[i].type)), at += packedSize(columns[i].type)),
     ...);
    return at;
}

template <typename Record>
char* appendBytes(char* at, const Record& record)
{
    std::memcpy(at, &record, sizeof record);
    return at + sizeof record;
}

template <typename Record>
constexpr const auto& kColumnsOf = kTruthColumns;
template <>
constexpr const auto& kColumnsOf<KOR_RAWINFO> = kRawColumns;
template <>
constexpr const auto& kColumnsOf<Result> = kResultColumns;

} // namespace

template <typename Record>
std::string Rows<Record>::header() const
{
    if (std::is_same_v<Record, Result> && m_format == Format::binary) {
        return binaryHeader(kResultColumns);
    }
    return m_format == Format::csv ? headerLine(kColumnsOf<Record>) + "\n" : std::string();
}

template <typename Record>
std::size_t Rows<Record>::longest()
{
    return std::max(longestRow(kColumnsOf<Record>), sizeof(Record));
}

template <typename Record>
char* Rows<Record>::append(char* at, const Record& record) const
{
    constexpr auto& columns = kColumnsOf<Record>;
    constexpr auto all = std::make_index_sequence<columns.size()>();
    const char* const bytes = reinterpret_cast<const char*>(&record);
    if constexpr (std::is_same_v<Record, Result>) {
        if (m_format == Format::binary) {
            return appendPacked<columns>(at, bytes, all);
        }
        if (m_format == Format::bare) {
            return appendBytes(at, record.info);
        }
    } else if constexpr (std::is_same_v<Record, KOR_RAWINFO>) {
        if (m_format == Format::binary) {
            return appendBytes(at, record);
        }
    }
    return appendRow<columns>(at, bytes, all);
}

template <typename Record>
Writer<Record>::Writer(Output& output, Format format) : m_output(output), m_rows(format)
{
    m_output.write(m_rows.header());
}

template <typename Record>
bool Writer<Record>::write(const Record& record)
{
    char* const at = m_output.room(Rows<Record>::longest());
    m_output.filled(static_cast<std::size_t>(m_rows.append(at, record) - at));
    return !m_output.problem();
}

template class Rows<KOR_RAWINFO>;
template class Rows<Result>;
template class Rows<Truth>;
template class Writer<KOR_RAWINFO>;
template class Writer<Result>;
template class Writer<Truth>;

} // namespace kor::recordings
