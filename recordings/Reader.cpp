#include "recordings/Reader.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <functional>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

#include "platform/Text.h"
#include "recordings/Lines.h"

namespace kor::recordings {

using platform::inQuotes;
using platform::split;
using platform::trimmed;

namespace {

static_assert(std::endian::native == std::endian::little, "binary recordings are little-endian records as in memory");

const char* expectation(Type type)
{
    switch (type) {
    case Type::int32:
        return "a whole number from -2147483648 to 2147483647";
    case Type::uint32:
        return "a whole number from 0 to 4294967295";
    case Type::uint8:
        return "a whole number from 0 to 255";
    default:
        return "a number, not too large for single precision";
    }
}

template <typename Value>
const char* parseAs(const char* begin, const char* end, void* into)
{
    Value value{};
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (std::is_floating_point_v<Value> && error == std::errc::result_out_of_range &&
        !platform::isTooLarge({begin, static_cast<std::size_t>(stop - begin)})) {
        value = *begin == '-' ? -Value{} : Value{}; // what is below every number rounds to zero
    } else if (error != std::errc()) {
        return nullptr;
    }
    std::memcpy(into, &value, sizeof value);
    return stop;
}

// The number at the start of the text; the end of what was read, or null when there is none in range.
const char* parseNumber(Type type, const char* begin, const char* end, void* into)
{
    switch (type) {
    case Type::float32:
        return parseAs<float>(begin, end, into);
    case Type::int32:
        return parseAs<std::int32_t>(begin, end, into);
    case Type::uint32:
        return parseAs<std::uint32_t>(begin, end, into);
    case Type::uint8:
        return parseAs<std::uint8_t>(begin, end, into);
    default:
        return nullptr;
    }
}

// The first bytes, as many as a record has when there are so many. Text has no zero byte among them, and a record
// has: its status is a small whole number.
std::string_view beginning(Input& input)
{
    while (input.ahead().size() < sizeof(KOR_RAWINFO) && input.more()) {
    }
    return input.ahead().substr(0, sizeof(KOR_RAWINFO));
}

// Text of two bytes a character behind its mark: every other byte is zero, which no record's status allows.
bool looksUtf16(std::string_view start)
{
    if (!start.starts_with("\xff\xfe") && !start.starts_with("\xfe\xff")) {
        return false;
    }
    const std::size_t zero = start[0] == '\xff' ? 1 : 0;
    for (std::size_t i = 2; i < start.size(); ++i) {
        if ((start[i] == '\0') != (i % 2 == zero)) {
            return false;
        }
    }
    return true;
}

bool looksText(std::string_view start)
{
    return start.find('\0') == std::string_view::npos || looksUtf16(start);
}

class CsvReader : public Reader {
public:
    explicit CsvReader(std::unique_ptr<Input> input) : Reader(std::move(input)), m_lines(*m_input) {}
    Step next(KOR_RAWINFO& raw) override;

protected:
    bool begin() override;

private:
    // A column of the file.
    struct Cell {
        const Column* column; // null: left out
        Type type;
        std::size_t offset;
    };

    bool readHeader(std::string_view line);
    bool parseRow(std::string_view line, KOR_RAWINFO& raw);
    bool parseUnusual(std::string_view field, const Cell& cell, void* into);
    bool refuse(std::string found, std::string expected);

    Lines m_lines;
    std::vector<Cell> m_cells; // in the order of the file
};

// A problem with the line handed out last; false, for the caller to return.
bool CsvReader::refuse(std::string found, std::string expected)
{
    m_problem = badContent();
    m_problem.line = m_lines.number();
    m_problem.found = std::move(found);
    m_problem.expected = std::move(expected);
    return false;
}

bool CsvReader::begin()
{
    const std::string_view start = beginning(*m_input);
    if (start.starts_with("\xff\xfe") || start.starts_with("\xfe\xff")) {
        return refuse("UTF-16", "UTF-8");
    }
    if (start.find('\0') != std::string_view::npos) {
        refuse("a zero byte", "CSV");
        m_problem.otherFormat = true;
        return false;
    }
    if (start.starts_with("\xef\xbb\xbf")) {
        m_input->consume(3);
    }
    std::string_view line;
    do {
        switch (m_lines.next(line)) {
        case Lines::Step::tooLong:
        case Lines::Step::failed:
            m_problem = m_lines.problem();
            return false;
        case Lines::Step::end:
            refuse("no header line", "the column names");
            m_problem.line = 0;
            return false;
        case Lines::Step::line:
            break;
        }
    } while (trimmed(line).empty());
    return readHeader(line);
}

bool CsvReader::readHeader(std::string_view line)
{
    static const std::string resultHeader = headerLine(kResultColumns);
    if (line == resultHeader) {
        return refuse("the header of results of kor replay", "a recording");
    }
    std::array<bool, kRawColumns.size()> seen{};
    for (const std::string_view field : split(line, ',')) {
        const std::string_view name = trimmed(field);
        if (name.starts_with('"')) {
            return refuse(inQuotes(name), "a column name without quotation marks");
        }
        const auto* const column = std::find_if(kRawColumns.begin(), kRawColumns.end(),
                                                [name](const Column& known) { return known.name == name; });
        if (column == kRawColumns.end()) {
            Problem warning = badContent();
            warning.reason = "column " + inQuotes(name) + " is not a field of a sample: left out";
            m_warnings.push_back(std::move(warning));
            m_cells.push_back({nullptr, Type::text, 0});
            continue;
        }
        bool& already = seen[static_cast<std::size_t>(column - kRawColumns.begin())];
        if (already) {
            return refuse("column " + std::string(name) + " twice", "it once");
        }
        already = true;
        m_cells.push_back({column, column->type, column->offset});
    }
    std::string missing;
    for (std::size_t i = 0; i < kRawColumns.size(); ++i) {
        if (!seen[i]) {
            missing += (missing.empty() ? "" : ", ") + std::string(kRawColumns[i].name);
        }
    }
    if (missing.empty()) {
        return true;
    }
    const bool otherSeparator =
        std::none_of(seen.begin(), seen.end(), std::identity()) && line.find_first_of(";\t") != std::string_view::npos;
    return refuse("the header " + inQuotes(line),
                  (otherSeparator ? "columns separated by commas: " : "also the columns ") + missing);
}

Reader::Step CsvReader::next(KOR_RAWINFO& raw)
{
    std::string_view line;
    for (;;) {
        switch (m_lines.next(line)) {
        case Lines::Step::end:
            return Step::end;
        case Lines::Step::tooLong:
            m_problem = m_lines.problem();
            return Step::bad;
        case Lines::Step::failed:
            m_problem = m_lines.problem();
            return Step::failed;
        case Lines::Step::line:
            if (line.empty() || trimmed(line).empty()) {
                continue;
            }
            return parseRow(line, raw) ? Step::sample : Step::bad;
        }
    }
}

bool CsvReader::parseRow(std::string_view line, KOR_RAWINFO& raw)
{
    std::memset(&raw, 0, sizeof raw);
    const char* at = line.data();
    const char* const end = at + line.size();
    for (std::size_t i = 0; i < m_cells.size(); ++i) {
        const Cell& cell = m_cells[i];
        void* const into = reinterpret_cast<char*>(&raw) + cell.offset;
        const bool last = i + 1 == m_cells.size();

        // Nearly every field is a bare number that ends where the field does.
        const char* stop = parseNumber(cell.type, at, end, into);
        if (stop == nullptr || (stop == end ? !last : last || *stop != ',')) {
            const auto* comma = static_cast<const char*>(std::memchr(at, ',', static_cast<std::size_t>(end - at)));
            stop = comma == nullptr ? end : comma;
            if ((stop == end) != last) {
                const auto fields = 1 + static_cast<std::size_t>(std::count(line.begin(), line.end(), ','));
                return refuse(std::to_string(fields) + (fields == 1 ? " field" : " fields"),
                              std::to_string(m_cells.size()));
            }
            if (!parseUnusual(trimmed({at, static_cast<std::size_t>(stop - at)}), cell, into)) {
                return false;
            }
        }
        at = last ? stop : stop + 1;
    }
    return true;
}

// A field that is left out, or a number with blanks around it, or neither.
bool CsvReader::parseUnusual(std::string_view field, const Cell& cell, void* into)
{
    const bool quoted = field.starts_with('"');
    const char* const end = field.data() + field.size();
    if (!quoted &&
        (cell.column == nullptr || (!field.empty() && parseNumber(cell.type, field.data(), end, into) == end))) {
        return true;
    }
    refuse(inQuotes(field), quoted ? "a value without quotation marks" : expectation(cell.type));
    m_problem.column = cell.column == nullptr ? "" : cell.column->name;
    if (field.empty()) {
        m_problem.reason = "the cell is empty";
        m_problem.found.clear();
        if (cell.type == Type::float32) {
            m_problem.expected.clear();
            m_problem.advice = "write nan for a missing value";
        }
    }
    return false;
}

class BinaryReader : public Reader {
public:
    explicit BinaryReader(std::unique_ptr<Input> input) : Reader(std::move(input)) {}
    Step next(KOR_RAWINFO& raw) override;

protected:
    bool begin() override;

private:
    std::uint64_t m_record = 0;
};

bool BinaryReader::begin()
{
    const std::string_view start = beginning(*m_input);
    if (!start.empty() && looksText(start)) {
        m_problem = badContent();
        m_problem.found = "text " + inQuotes(start);
        m_problem.expected = "binary records";
        m_problem.otherFormat = true;
        return false;
    }
    return true;
}

Reader::Step BinaryReader::next(KOR_RAWINFO& raw)
{
    while (m_input->ahead().size() < sizeof raw && m_input->more()) {
    }
    if (m_input->ahead().size() < sizeof raw && m_input->problem()) {
        m_problem = m_input->problem();
        return Step::failed;
    }
    const std::string_view ahead = m_input->ahead();
    if (ahead.empty()) {
        return Step::end;
    }
    ++m_record;
    if (ahead.size() < sizeof raw) {
        m_problem = badContent();
        m_problem.record = m_record;
        m_problem.byte = m_input->consumed();
        m_problem.found = std::to_string(ahead.size()) + (ahead.size() == 1 ? " byte" : " bytes") + " before the end";
        m_problem.expected = std::to_string(sizeof raw);
        m_input->consume(ahead.size());
        return Step::bad;
    }
    std::memcpy(&raw, ahead.data(), sizeof raw);
    m_input->consume(sizeof raw);
    return Step::sample;
}

Format formatOf(const std::string& path, Input& input)
{
    if (path.ends_with(".csv")) {
        return Format::csv;
    }
    if (path.ends_with(".korraw")) {
        return Format::binary;
    }
    return looksText(beginning(input)) ? Format::csv : Format::binary;
}

} // namespace

std::unique_ptr<Reader> Reader::open(const std::string& path, std::optional<Format> format, Problem& problem)
{
    std::unique_ptr<Input> input = Input::open(path, problem);
    if (!input) {
        return nullptr;
    }
    std::unique_ptr<Reader> reader;
    if ((format ? *format : formatOf(path, *input)) == Format::csv) {
        reader = std::make_unique<CsvReader>(std::move(input));
    } else {
        reader = std::make_unique<BinaryReader>(std::move(input));
    }
    const bool begun = reader->begin();
    if (!begun || reader->m_input->problem()) {
        problem = reader->m_input->problem() ? reader->m_input->problem() : reader->m_problem;
        return nullptr;
    }
    return reader;
}

} // namespace kor::recordings
