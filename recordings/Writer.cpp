#include "recordings/Writer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>

#include "recordings/BinaryResults.h"

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

// The longest text of a value.
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
    std::size_t length = 0;
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

template <typename Number>
char* appendNumber(char* at, Number value)
{
    if constexpr (std::is_floating_point_v<Number>) {
        if (std::isnan(value)) {
            std::memcpy(at, "nan", 3);
            return at + 3;
        }
    }
    return std::to_chars(at, at + 24, value).ptr;
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
        return appendNumber(at, static_cast<unsigned>(valueAt<std::uint8_t>(record, offset)));
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

template <const auto& columns, typename Record>
bool writeRow(Output& output, const Record& record)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    char* const row = output.room(longestRow(columns));
    char* const end =
        appendRow<columns>(row, reinterpret_cast<const char*>(&record), std::make_index_sequence<columns.size()>());
    output.filled(static_cast<std::size_t>(end - row));
    return !output.problem();
}

// The same without text: the values of the columns one behind the other.
template <const auto& columns, typename Record, std::size_t... i>
bool writePacked(Output& output, const Record& record, std::index_sequence<i...>)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    static_assert(((packedSize(columns[i].type) > 0) && ...), "every column has a place");
    char* at = output.room(packedSize(columns));
    const char* const from = reinterpret_cast<const char*>(&record);
    ((std::memcpy(at, from + columns[i].offset, packedSize(columns[i].type)), at += packedSize(columns[i].type)), ...);
    output.filled(packedSize(columns));
    return !output.problem();
}

template <typename Record>
bool writeBytes(Output& output, const Record& record)
{
    std::memcpy(output.room(sizeof record), &record, sizeof record);
    output.filled(sizeof record);
    return !output.problem();
}

void writeHeader(Output& output, Format format, std::span<const Column> columns)
{
    if (format == Format::csv) {
        output.write(headerLine(columns) + "\n");
    }
}

} // namespace

RecordingWriter::RecordingWriter(Output& output, Format format) : m_output(output), m_format(format)
{
    writeHeader(m_output, m_format, kRawColumns);
}

bool RecordingWriter::write(const KOR_RAWINFO& raw)
{
    return m_format == Format::binary ? writeBytes(m_output, raw) : writeRow<kRawColumns>(m_output, raw);
}

ResultWriter::ResultWriter(Output& output, Format format) : m_output(output), m_format(format)
{
    writeHeader(m_output, m_format, kResultColumns);
    if (m_format == Format::binary) {
        m_output.write(binaryHeader(kResultColumns));
    }
}

bool ResultWriter::write(const Result& result)
{
    switch (m_format) {
    case Format::binary:
        return writePacked<kResultColumns>(m_output, result, std::make_index_sequence<kResultColumns.size()>());
    case Format::bare:
        return writeBytes(m_output, result.info);
    case Format::csv:
        break;
    }
    return writeRow<kResultColumns>(m_output, result);
}

TruthWriter::TruthWriter(Output& output) : m_output(output)
{
    writeHeader(m_output, Format::csv, kTruthColumns);
}

bool TruthWriter::write(const Truth& truth)
{
    return writeRow<kTruthColumns>(m_output, truth);
}

} // namespace kor::recordings
