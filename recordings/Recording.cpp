#include "recordings/Recording.h"

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
#include <vector>

#include "platform/Text.h"
#include "recordings/Results.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

namespace {

static_assert(std::endian::native == std::endian::little, "binary recordings are little-endian records as in memory");

enum class Kind { real, int32, uint32, uint8, ignored };

// One column of a recording: its name in the header, and where the value goes.
struct Column {
    std::string_view name;
    Kind kind;
    std::size_t offset;
};

constexpr std::size_t kVector = offsetof(KOR_RAWINFO, sensorVector);
constexpr std::size_t kCounts = offsetof(KOR_RAWINFO, temperatureCount);

constexpr std::array<Column, 15> kColumns = {{
    {"status", Kind::int32, offsetof(KOR_RAWINFO, status)},
    {"sensorVector_x", Kind::real, kVector},
    {"sensorVector_y", Kind::real, kVector + 4},
    {"sensorVector_z", Kind::real, kVector + 8},
    {"azimuthRaw", Kind::real, offsetof(KOR_RAWINFO, azimuthRaw)},
    {"elevationRaw", Kind::real, offsetof(KOR_RAWINFO, elevationRaw)},
    {"levelXRaw", Kind::real, offsetof(KOR_RAWINFO, levelXRaw)},
    {"levelYRaw", Kind::real, offsetof(KOR_RAWINFO, levelYRaw)},
    {"levelTemperature", Kind::real, offsetof(KOR_RAWINFO, levelTemperature)},
    {"referenceGate", Kind::real, offsetof(KOR_RAWINFO, referenceGate)},
    {"referenceHold", Kind::uint8, offsetof(KOR_RAWINFO, referenceHold)},
    {"temperatureCount_0", Kind::int32, kCounts},
    {"temperatureCount_1", Kind::int32, kCounts + 4},
    {"temperatureCount_2", Kind::int32, kCounts + 8},
    {"timeStampMs", Kind::uint32, offsetof(KOR_RAWINFO, timeStampMs)},
}};

const char* expectation(Kind kind)
{
    switch (kind) {
    case Kind::int32:
        return "a whole number from -2147483648 to 2147483647";
    case Kind::uint32:
        return "a whole number from 0 to 4294967295";
    case Kind::uint8:
        return "a whole number from 0 to 255";
    default:
        return "a number, not too large for single precision";
    }
}

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view{}
                                           : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view withoutReturn(std::string_view line)
{
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

// Whether a number that is out of range is so for being too small: its first digit other than zero stands behind the
// decimal point.
bool tooSmall(std::string_view number)
{
    const std::size_t letter = number.find_first_of("eE");
    const std::string_view digits = number.substr(0, letter);
    const std::size_t first = digits.find_first_of("123456789");
    if (first == std::string_view::npos) {
        return false;
    }
    const std::size_t point = std::min(digits.find('.'), digits.size());
    std::int64_t power =
        first < point ? static_cast<std::int64_t>(point - first) - 1 : -static_cast<std::int64_t>(first - point);
    if (letter != std::string_view::npos) {
        std::string_view exponent = number.substr(letter + 1);
        const bool negative = exponent.starts_with('-');
        if (negative || exponent.starts_with('+')) {
            exponent.remove_prefix(1);
        }
        constexpr std::uint32_t kBeyondAnyLine = 1000000000;
        std::uint32_t size = 0;
        if (std::from_chars(exponent.data(), exponent.data() + exponent.size(), size).ec != std::errc()) {
            size = kBeyondAnyLine;
        }
        power += negative ? -std::int64_t{size} : std::int64_t{size};
    }
    return power < 0;
}

template <typename Value>
const char* parseAs(const char* begin, const char* end, void* into)
{
    Value value{};
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (std::is_floating_point_v<Value> && error == std::errc::result_out_of_range &&
        tooSmall({begin, static_cast<std::size_t>(stop - begin)})) {
        value = *begin == '-' ? -Value{} : Value{}; // what is below every number rounds to zero
    } else if (error != std::errc()) {
        return nullptr;
    }
    std::memcpy(into, &value, sizeof value);
    return stop;
}

// The number at the start of the text; the end of what was read, or null when there is none in range.
const char* parseNumber(Kind kind, const char* begin, const char* end, void* into)
{
    switch (kind) {
    case Kind::real:
        return parseAs<float>(begin, end, into);
    case Kind::int32:
        return parseAs<std::int32_t>(begin, end, into);
    case Kind::uint32:
        return parseAs<std::uint32_t>(begin, end, into);
    default:
        return parseAs<std::uint8_t>(begin, end, into);
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

class CsvReader : public RecordingReader {
public:
    CsvReader(Input& input, const std::function<void(const std::string&)>& warn);
    Step next(KOR_RAWINFO& raw) override;

private:
    enum class LineStep { line, tooLong, end };

    LineStep nextLine(std::string_view& line);
    void readHeader(std::string_view line, const std::function<void(const std::string&)>& warn);
    bool parseRow(std::string_view line, KOR_RAWINFO& raw);
    std::string where() const { return m_input.title() + ": line " + std::to_string(m_line); }
    std::string tooLong() const
    {
        return where() + ": found a line of more than " + std::to_string(kLongestLine) +
               " bytes, expected a shorter one";
    }

    Input& m_input;
    std::vector<Column> m_columns; // in the order of the file
    std::uint64_t m_line = 0;
    std::size_t m_pending = 0; // bytes of the line handed out last, with its newline
    bool m_skipping = false;   // inside a line that is too long
};

CsvReader::CsvReader(Input& input, const std::function<void(const std::string&)>& warn) : m_input(input)
{
    const std::string_view start = beginning(m_input);
    if (start.starts_with("\xff\xfe") || start.starts_with("\xfe\xff")) {
        throw Failure(kExitDataError, m_input.title() + ": found UTF-16, expected UTF-8");
    }
    if (start.find('\0') != std::string_view::npos) {
        throw Failure(kExitDataError, m_input.title() + ": found a zero byte, expected CSV; this looks binary: "
                                                        "--input bin reads it as records");
    }
    if (start.starts_with("\xef\xbb\xbf")) {
        m_input.consume(3);
    }
    std::string_view line;
    do {
        switch (nextLine(line)) {
        case LineStep::tooLong:
            throw Failure(kExitDataError, tooLong());
        case LineStep::end:
            throw Failure(kExitDataError, m_input.title() + ": found no header line, expected the column names");
        case LineStep::line:
            break;
        }
    } while (trimmed(line).empty());
    readHeader(line, warn);
}

// The next line without its end, valid until the call after.
CsvReader::LineStep CsvReader::nextLine(std::string_view& line)
{
    m_input.consume(m_pending);
    m_pending = 0;
    std::size_t searched = 0;
    for (;;) {
        const std::string_view ahead = m_input.ahead();
        const void* found =
            ahead.size() == searched ? nullptr : std::memchr(ahead.data() + searched, '\n', ahead.size() - searched);
        const std::size_t length =
            found == nullptr ? ahead.size() : static_cast<std::size_t>(static_cast<const char*>(found) - ahead.data());
        const bool tail = m_skipping;
        if (found != nullptr) {
            m_skipping = false;
            if (tail) {
                m_input.consume(length + 1);
                searched = 0;
                continue;
            }
        }
        if (!tail && length > kLongestLine) {
            ++m_line;
            m_skipping = found == nullptr;
            m_input.consume(m_skipping ? length : length + 1);
            return LineStep::tooLong;
        }
        if (found != nullptr) {
            ++m_line;
            m_pending = length + 1;
            line = withoutReturn(ahead.substr(0, length));
            return LineStep::line;
        }
        if (tail) {
            m_input.consume(length);
        }
        searched = tail ? 0 : length;
        if (!m_input.more()) {
            if (tail || length == 0) {
                return LineStep::end;
            }
            ++m_line;
            m_pending = length;
            line = withoutReturn(m_input.ahead());
            return LineStep::line;
        }
    }
}

void CsvReader::readHeader(std::string_view line, const std::function<void(const std::string&)>& warn)
{
    if (line == kResultHeader) {
        throw Failure(kExitDataError, where() + ": found the header of results of kor replay, expected a recording");
    }
    std::array<bool, kColumns.size()> seen{};
    std::vector<std::string> warnings;
    for (const std::string_view field : split(line, ',')) {
        const std::string_view name = trimmed(field);
        if (name.starts_with('"')) {
            throw Failure(kExitDataError,
                          where() + ": found " + inQuotes(name) + ", expected a column name without quotation marks");
        }
        std::size_t i = 0;
        while (i < kColumns.size() && kColumns[i].name != name) {
            ++i;
        }
        if (i == kColumns.size()) {
            warnings.push_back(m_input.title() + ": column " + inQuotes(name) +
                               " is not a field of a sample: left out");
            m_columns.push_back({{}, Kind::ignored, 0});
            continue;
        }
        if (seen[i]) {
            throw Failure(kExitDataError, where() + ": found column " + std::string(name) + " twice, expected it once");
        }
        seen[i] = true;
        m_columns.push_back(kColumns[i]);
    }
    std::string missing;
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
        if (!seen[i]) {
            missing += (missing.empty() ? "" : ", ") + std::string(kColumns[i].name);
        }
    }
    if (!missing.empty()) {
        const bool otherSeparator =
            std::none_of(seen.begin(), seen.end(), std::identity()) && line.find_first_of(";\t") != line.npos;
        throw Failure(kExitDataError, where() + ": found the header " + inQuotes(line) +
                                          (otherSeparator ? ", expected columns separated by commas: "
                                                          : ", expected also the columns ") +
                                          missing);
    }
    for (const std::string& warning : warnings) {
        warn(warning);
    }
}

RecordingReader::Step CsvReader::next(KOR_RAWINFO& raw)
{
    std::string_view line;
    for (;;) {
        switch (nextLine(line)) {
        case LineStep::end:
            return Step::end;
        case LineStep::tooLong:
            m_problem = tooLong();
            return Step::bad;
        case LineStep::line:
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
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const Column& column = m_columns[i];
        void* const into = reinterpret_cast<char*>(&raw) + column.offset;
        const bool last = i + 1 == m_columns.size();

        // Nearly every field is a bare number that ends where the field does.
        const char* stop = column.kind == Kind::ignored ? nullptr : parseNumber(column.kind, at, end, into);
        if (stop == nullptr || (stop == end ? !last : last || *stop != ',')) {
            const auto* comma = static_cast<const char*>(std::memchr(at, ',', static_cast<std::size_t>(end - at)));
            stop = comma == nullptr ? end : comma;
            if ((stop == end) != last) {
                const auto fields = 1 + static_cast<std::size_t>(std::count(line.begin(), line.end(), ','));
                m_problem = where() + ": found " + std::to_string(fields) + (fields == 1 ? " field" : " fields") +
                            ", expected " + std::to_string(m_columns.size());
                return false;
            }
            const std::string_view field = trimmed({at, static_cast<std::size_t>(stop - at)});
            if (field.starts_with('"')) {
                m_problem = where() + (column.kind == Kind::ignored ? "" : ", column " + std::string(column.name)) +
                            ": found " + inQuotes(field) + ", expected a value without quotation marks";
                return false;
            }
            const char* const fieldEnd = field.data() + field.size();
            if (column.kind != Kind::ignored &&
                (field.empty() || parseNumber(column.kind, field.data(), fieldEnd, into) != fieldEnd)) {
                m_problem = where() + ", column " + std::string(column.name) + ": found " + inQuotes(field) +
                            ", expected " + expectation(column.kind);
                return false;
            }
        }
        at = last ? stop : stop + 1;
    }
    return true;
}

class BinaryReader : public RecordingReader {
public:
    explicit BinaryReader(Input& input);
    Step next(KOR_RAWINFO& raw) override;

private:
    Input& m_input;
    std::uint64_t m_record = 0;
};

BinaryReader::BinaryReader(Input& input) : m_input(input)
{
    const std::string_view start = beginning(m_input);
    if (!start.empty() && (start.find('\0') == std::string_view::npos || looksUtf16(start))) {
        throw Failure(kExitDataError, m_input.title() + ": found text " + inQuotes(start) +
                                          ", expected binary records; --input csv reads it as CSV");
    }
}

RecordingReader::Step BinaryReader::next(KOR_RAWINFO& raw)
{
    while (m_input.ahead().size() < sizeof raw && m_input.more()) {
    }
    const std::string_view ahead = m_input.ahead();
    if (ahead.empty()) {
        return Step::end;
    }
    ++m_record;
    if (ahead.size() < sizeof raw) {
        m_problem = m_input.title() + ": record " + std::to_string(m_record) + " (byte " +
                    std::to_string(m_input.consumed()) + "): found " + std::to_string(ahead.size()) +
                    (ahead.size() == 1 ? " byte" : " bytes") + " before the end, expected " +
                    std::to_string(sizeof raw);
        m_input.consume(ahead.size());
        return Step::bad;
    }
    std::memcpy(&raw, ahead.data(), sizeof raw);
    m_input.consume(sizeof raw);
    return Step::sample;
}

} // namespace

Format recordingFormat(const std::string& path, Input& input)
{
    if (path.ends_with(".csv")) {
        return Format::csv;
    }
    if (path.ends_with(".korraw")) {
        return Format::binary;
    }
    const std::string_view start = beginning(input);
    return start.find('\0') == std::string_view::npos || looksUtf16(start) ? Format::csv : Format::binary;
}

std::unique_ptr<RecordingReader> openRecording(Input& input, Format format,
                                               const std::function<void(const std::string&)>& warn)
{
    if (format == Format::csv) {
        return std::make_unique<CsvReader>(input, warn);
    }
    return std::make_unique<BinaryReader>(input);
}

} // namespace kor::tool
