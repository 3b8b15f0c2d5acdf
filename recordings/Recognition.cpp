#include "recordings/Recognition.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "platform/Text.h"
#include "recordings/BinaryResults.h"
#include "recordings/Cells.h"

namespace kor::recordings {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kLookedAt = std::size_t{64} * 1024;

// Files of other kinds, by bytes that stand at a fixed place.
struct Mark {
    std::size_t at;
    std::string_view bytes;
    std::string_view what;
    std::string_view advice;
};

constexpr std::string_view kUnpack = "unpack it first";
constexpr std::string_view kAsCsv = "export the table as CSV with commas and decimal points, in UTF-8";
constexpr std::string_view kAsUtf8 = "save it as UTF-8";

constexpr Mark kMarks[] = {
    {0, "\x1f\x8b"sv, "gzip data inside compressed data", "decompress the file once"},
    {0, "\x28\xb5\x2f\xfd"sv, "Zstandard data inside compressed data", "decompress the file once"},
    {0, "BZh"sv, "a bzip2 file", kUnpack},
    {0,
     "\xfd"
     "7zXZ\0"sv,
     "an xz file", kUnpack},
    {0, "\x04\x22\x4d\x18"sv, "an LZ4 file", kUnpack},
    {0, "7z\xbc\xaf\x27\x1c"sv, "a 7-Zip archive", kUnpack},
    {0, "Rar!\x1a"sv, "a RAR archive", kUnpack},
    {0, "PK\x03\x04"sv, "a ZIP archive or a spreadsheet",
     "unpack an archive; of a spreadsheet, export the table as CSV with commas and decimal points"},
    {257, "ustar"sv, "a tar archive", kUnpack},
    {0, "\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1"sv, "an old spreadsheet or document", kAsCsv},
    {0,
     "\x7f"
     "ELF"sv,
     "a program (ELF)", ""},
    {0, "MZ\x90\0"sv, "a program for Windows", ""},
    {0, "\x89PNG\r\n\x1a\n"sv, "a PNG image", ""},
    {0, "\xff\xd8\xff"sv, "a JPEG image", ""},
    {0, "GIF8"sv, "a GIF image", ""},
    {0, "%PDF-"sv, "a PDF document", ""},
    {0, "SQLite format 3\0"sv, "an SQLite database", kAsCsv},
    {0, "\x89HDF\r\n\x1a\n"sv, "an HDF5 file", kAsCsv},
    {0, "MATLAB 5.0 MAT-file"sv, "a MAT-file", kAsCsv},
    {0, "\x93NUMPY"sv, "a NumPy array", kAsCsv},
    {0, "PAR1"sv, "a Parquet file", kAsCsv},
    {0, "\xff\xfe\0\0"sv, "UTF-32", kAsUtf8},
};

const Mark* markOf(std::string_view start)
{
    const auto* const mark = std::find_if(std::begin(kMarks), std::end(kMarks), [start](const Mark& known) {
        return start.size() >= known.at && start.substr(known.at).starts_with(known.bytes);
    });
    return mark == std::end(kMarks) ? nullptr : mark;
}

// Text of two bytes a character behind its mark, ASCII at its beginning.
bool looksUtf16(std::string_view start)
{
    const bool little = start.starts_with("\xff\xfe");
    if (!little && !start.starts_with("\xfe\xff")) {
        return false;
    }
    const std::size_t zero = little ? 1 : 0;
    for (std::size_t i = 2; i < std::min<std::size_t>(start.size(), 64); ++i) {
        if ((start[i] == '\0') != (i % 2 == zero)) {
            return false;
        }
    }
    return true;
}

// Of a position or an angle: not so large, and not so small beside zero, that it is some other number's bytes.
bool isPlausible(float value)
{
    constexpr float kLargest = 1e7F;
    constexpr float kSmallest = 1e-20F;
    return value == 0.0F || (std::fabs(value) < kLargest && std::fabs(value) > kSmallest);
}

bool isPlausible(const KOR_RAWINFO& raw)
{
    constexpr std::int32_t kLargestStatus = 1000;
    return raw.status >= -kLargestStatus && raw.status <= kLargestStatus &&
           std::all_of(std::begin(raw.sensorVector), std::end(raw.sensorVector),
                       [](float value) { return isPlausible(value); });
}

bool isPlausibleStep(std::uint32_t before, std::uint32_t after)
{
    constexpr std::uint32_t kHour = 3600U * 1000U;
    return after - before <= kHour || before - after <= kHour;
}

template <typename Record>
Record recordAt(std::string_view start, std::size_t index)
{
    Record record;
    std::memcpy(&record, start.data() + index * sizeof record, sizeof record);
    return record;
}

// A damaged record here and there does not make a recording something else: most of the first ones decide.
bool looksRecords(std::string_view start)
{
    constexpr std::size_t kMost = 64;
    const std::size_t count = std::min(start.size() / sizeof(KOR_RAWINFO), kMost);
    std::size_t plausible = 0;
    KOR_RAWINFO before{};
    for (std::size_t i = 0; i < count; ++i) {
        const auto raw = recordAt<KOR_RAWINFO>(start, i);
        plausible += isPlausible(raw) && (i == 0 || isPlausibleStep(before.timeStampMs, raw.timeStampMs)) ? 1 : 0;
        before = raw;
    }
    const bool allZero = start.find_first_not_of('\0') == std::string_view::npos;
    return plausible * 4 >= count * 3 && count > 0 && !allZero;
}

// Results of the engine back to back: angles where the layout has them, and zeros in its reserved words.
bool looksBareResults(std::string_view start)
{
    constexpr std::size_t kMost = 64;
    constexpr std::size_t kFewest = 2;
    const std::size_t count = std::min(start.size() / sizeof(KOR_INFO), kMost);
    for (std::size_t i = 0; i < count; ++i) {
        const auto info = recordAt<KOR_INFO>(start, i);
        const auto words = recordAt<std::array<std::uint32_t, sizeof(KOR_INFO) / 4>>(start, i);
        if (words[0] != 0 || words[8] != 0 || !isPlausible(info.azimuth) || !isPlausible(info.elevation)) {
            return false;
        }
    }
    return count >= kFewest && start.find_first_not_of('\0') != std::string_view::npos;
}

std::string_view firstLineOf(std::string_view text)
{
    text = withoutMark(text);
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    return text.substr(0, text.find_first_of("\r\n"));
}

struct Table {
    Content content;
    std::span<const Column> columns;
    std::string_view what;
};
constexpr Table kTables[] = {
    {Content::recordingCsv, kRawColumns, "the header of a recording"},
    {Content::resultsCsv, kResultColumns, "the header of results of kor replay"},
    {Content::truthCsv, kTruthColumns, "the header of a truth file of kor simulate"},
    {Content::wayPointsCsv, kWayPointColumns, "the header of a file of way-points"},
};

std::size_t columnsNamed(const std::vector<std::string>& names, std::span<const Column> columns)
{
    return static_cast<std::size_t>(std::count_if(columns.begin(), columns.end(), [&names](const Column& column) {
        return std::find(names.begin(), names.end(), folded(column.name)) != names.end();
    }));
}

// A line of column names: the table and the separator that give the most names. One name alone may be chance.
bool recogniseHeader(std::string_view line, Recognised& found)
{
    std::size_t most = 1;
    for (const Separator& separator : kSeparators) {
        std::vector<std::string> names = cellsOf(line, separator.character);
        std::transform(names.begin(), names.end(), names.begin(), folded);
        for (const Table& table : kTables) {
            const std::size_t count = columnsNamed(names, table.columns);
            if (count <= most) {
                continue;
            }
            most = count;
            found = {table.content, std::string(table.what), {}};
            if (separator.character != ',') {
                found.content = Content::text;
                found.what = "columns separated by " + std::string(separator.name);
                found.advice = "save the table with commas between the columns and points in the numbers";
            }
        }
    }
    return most > 1;
}

bool isNumber(const std::string& text)
{
    double value = 0.0;
    return !saysMissing(text) && readValue(Type::float64, text, &value);
}

Recognised recogniseText(std::string_view line)
{
    Recognised found{Content::text, "text " + platform::inQuotes(line), {}};
    if (recogniseHeader(line, found)) {
        return found;
    }
    if (line.starts_with("Serial Number")) {
        found.what = "a parameter file";
        found.advice = "kor prm reads it";
    } else if (line.starts_with('{') || line.starts_with('[')) {
        found.what = "JSON";
        found.advice = kAsCsv;
    } else if (line.starts_with('<')) {
        found.what = "XML or HTML";
        found.advice = kAsCsv;
    } else if (line.starts_with("#!")) {
        found.what = "a script";
    } else {
        const std::vector<std::string> cells = cellsOf(line);
        if (std::all_of(cells.begin(), cells.end(), isNumber)) {
            found.what = "numbers in place of a header line";
            found.advice = "put a line with the names of the columns in front";
        }
    }
    return found;
}

} // namespace

std::string_view withoutMark(std::string_view start)
{
    return start.starts_with("\xef\xbb\xbf") ? start.substr(3) : start;
}

bool looksText(std::string_view bytes)
{
    return std::none_of(bytes.begin(), bytes.end(), [](char c) {
        return (static_cast<unsigned char>(c) < 0x20 && "\t\r\n\f\x1b"sv.find(c) == std::string_view::npos) ||
               c == '\x7f';
    });
}

std::string_view beginning(Input& input)
{
    for (;;) {
        const std::string_view ahead = input.ahead().substr(0, kLookedAt);
        const std::string_view line = firstLineOf(ahead);
        const bool lineIsWhole = !line.empty() && line.data() + line.size() != ahead.data() + ahead.size();
        const bool enough = looksText(ahead) ? lineIsWhole : ahead.size() >= sizeof(KOR_RAWINFO);
        if (enough || ahead.size() == kLookedAt || !input.more()) {
            return input.ahead().substr(0, kLookedAt);
        }
    }
}

Recognised recognise(std::string_view start)
{
    if (start.empty()) {
        return {Content::empty, "an empty file", {}};
    }
    if (const Mark* mark = markOf(start)) {
        return {Content::other, std::string(mark->what), std::string(mark->advice)};
    }
    if (looksUtf16(start)) {
        return {Content::other, "UTF-16", std::string(kAsUtf8)};
    }
    if (start.starts_with(kBinaryResultsMark)) {
        return {Content::resultsBinary, "binary results of kor replay", {}};
    }
    if (looksRecords(start)) {
        return {Content::recordingBinary, "binary records of raw samples", {}};
    }
    if (looksBareResults(start)) {
        return {Content::other, "binary results without a header",
                "they hold neither time stamps nor matrices; make them anew with --format csv or bin"};
    }
    const std::string_view line = firstLineOf(start);
    if (Recognised found; looksText(line) && recogniseHeader(line, found)) {
        return found;
    }
    if (looksText(start.substr(0, 512))) {
        return recogniseText(line);
    }
    if (start.find_first_not_of('\0') == std::string_view::npos) {
        return {Content::other, "only bytes that are 0", "the file may have been damaged; fetch it again"};
    }
    return {Content::unknown, "bytes that are neither text nor plausible records, " + platform::inQuotes(start), {}};
}

} // namespace kor::recordings
