#include "params/file/Reader.h"

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "KORInterface/Status.h"
#include "mek/Literals.h"
#include "mek/Matrix.h"
#include "mek/Spline.h"
#include "params/file/Blocks.h"
#include "params/file/Messages.h"
#include "params/file/ParameterSet.h"
#include "params/file/Scanner.h"
#include "params/file/SharedArray.h"
#include "platform/Files.h"

namespace kor::params {

namespace {

constexpr float kAbsentLimitLow = -35.0F; // Kept [limits-without-table-y]: of level Y
constexpr float kAbsentLimitHigh = 35.0F;

template <class T>
void renewArray(T*& array, std::size_t length)
{
    releaseShared(array);
    array = allocateShared<T>(length);
}

// Floats for a while, all zero. Those that nobody writes to cost no memory.
class ZeroedFloats {
public:
    explicit ZeroedFloats(std::size_t length) : m_data(allocateShared<float>(length)) {}
    ~ZeroedFloats() { releaseShared(m_data); }
    ZeroedFloats(const ZeroedFloats&) = delete;
    ZeroedFloats& operator=(const ZeroedFloats&) = delete;

    float* data() const noexcept { return m_data; }

private:
    float* m_data;
};

class Walk {
public:
    Walk(Scanner& scanner, std::uint64_t size, std::uint32_t id, ParameterSet& set, ReadReport& report)
        : m_in(scanner), m_room(size), m_id(id), m_set(set), m_report(report)
    {
    }

    bool run()
    {
        for (const Block& block : kBlocks) {
            if (block.modeSevenUp && m_set.mountMode < kFirstLongMode) {
                break; // Kept [end-below-mode-7]: whatever follows
            }
            m_report.block = block.title;
            if (m_in.atEnd()) {
                if (block.atEnd == AtEnd::fail) {
                    m_report.endedAtTitle = true;
                    return fail(block.message, m_in.line(), block.title, kEndOfFile);
                }
                storeDefaults(block); // Kept [table-y-stays]: a tilt Y table has none
            } else if (!readTitle(block) || !readValues(block)) {
                return false; // Kept [fields-after-failure]: what has been read stays
            }
        }
        storeLimits();
        m_report.block = "";
        return true;
    }

private:
    bool fail(unsigned message, std::size_t line, const char* expected, std::string_view found)
    {
        m_report.status = kFormatError;
        m_report.messageId = message;
        m_report.line = line;
        m_report.expected = expected;
        m_report.found = excerptOf(found);
        return false;
    }

    // Fails at a value that does not parse; what is left of it is read on as a word.
    bool failAtValue(unsigned message, const char* expected)
    {
        const std::size_t line = m_in.itemLine();
        const bool any = m_in.words(1, m_text) == 1;
        return fail(message, line, expected, any ? std::string_view(m_text) : kEndOfFile);
    }

    bool readTitle(const Block& block)
    {
        m_in.skipSpace();
        if (m_in.takeTitle(block.title)) {
            return true;
        }
        const std::size_t line = m_in.line();
        if (m_in.wordsHold(block.words, block.title, m_text)) {
            return true;
        }
        return fail(block.message, line, block.title, m_text.empty() ? kEndOfFile : std::string_view(m_text));
    }

    bool readValues(const Block& block)
    {
        switch (block.layout) {
        case Layout::fileId:
            return readFileId();
        case Layout::integer:
            if (const std::optional<std::int64_t> value = readInteger("a whole number")) {
                m_set.mountMode = saturated(*value);
            }
            return true;
        case Layout::word:
            m_in.skipWord();
            return true;
        case Layout::rows:
            for (std::size_t row = 0; row < block.rows; ++row) {
                readRow(block, block.columns, row * block.columns);
            }
            if (block.target == Target::machineMatrix) {
                // A singular matrix stays as it stands in the file.
                mek::MatrixInverse(m_set.machineMatrix, 3);
            }
            return true;
        case Layout::separate:
            for (std::size_t i = 0; i < block.columns; ++i) {
                readRow(block, 1, i);
            }
            return true;
        case Layout::encoderTable:
            return block.target == Target::azimuthTable ? readAzimuthTable(block) : readElevationTable(block);
        case Layout::tiltTable:
            return block.target == Target::levelXTable ? readLevelX(block) : readLevelY(block);
        }
        return false;
    }

    // Notes a formatted call that has come to its end early. Calls that fail at the same place are one finding: what
    // stands there is not consumed, so every call behind it fails there, too.
    void noteUnread(std::size_t values, const char* expected)
    {
        if (!m_report.collects) {
            return;
        }
        if (m_unreadAny && m_in.consumed() == m_unreadAt) {
            if (m_unread != nullptr) {
                m_unread->values += values;
            }
            return;
        }
        m_unreadAny = true;
        m_unreadAt = m_in.consumed();
        m_unread = nullptr;
        ++m_report.findingCount;
        if (m_report.findings.size() == ReadReport::kMostFindings) {
            return;
        }
        try {
            const std::string_view text = m_in.item();
            m_report.findings.push_back({.block = m_report.block,
                                         .line = m_in.itemLine(),
                                         .expected = expected,
                                         .found = text.empty() ? kEndOfFile : excerptOf(text),
                                         .values = values});
            m_unread = &m_report.findings.back();
        } catch (const std::exception&) {
            // Without memory the finding is counted, and the read goes on.
        }
    }

    std::size_t readFloats(std::span<float> values)
    {
        const std::size_t done = m_in.floats(values);
        if (done < values.size()) {
            noteUnread(values.size() - done, "a number");
        }
        return done;
    }

    // A table has been read whose rows could not all be read whole.
    void noteShortTable(std::uint64_t wholeRows, std::uint64_t count)
    {
        if (m_unread != nullptr && wholeRows < count) {
            m_unread->kind = Finding::Kind::shortTable;
            m_unread->rows = wholeRows;
            m_unread->count = count;
        }
    }

    std::optional<std::int64_t> readInteger(const char* expected)
    {
        std::int64_t value = 0;
        if (m_in.integer(value)) {
            return value;
        }
        noteUnread(1, expected);
        return std::nullopt;
    }

    bool readFileId()
    {
        const char* const expected = "the ID of the sensor";
        const std::optional<std::int64_t> value = readInteger(expected);
        if (!value) {
            return failAtValue(kIdMismatch, expected);
        }
        const bool fits =
            *value >= std::numeric_limits<std::int32_t>::min() && *value <= std::numeric_limits<std::uint32_t>::max();
        if (!fits || static_cast<std::uint32_t>(*value) != m_id) {
            return fail(kIdMismatch, m_in.itemLine(), expected, std::to_string(*value));
        }
        return true;
    }

    // One formatted call of `columns` floats, the values from `first` on of a block.
    void readRow(const Block& block, std::size_t columns, std::size_t first)
    {
        std::array<float, kMostColumns> values{};
        const std::size_t done = readFloats(std::span(values).first(columns));
        for (std::size_t i = 0; i < done; ++i) { // Kept [unread-values]: those behind keep their content
            storeValue(block.target, first + i, values[i]);
        }
    }

    void storeValue(Target target, std::size_t i, float value)
    {
        const double wide = static_cast<double>(value);
        switch (target) {
        case Target::encoderOffset:
            (i == 0 ? m_set.encoderOffsetAz : m_set.encoderOffsetEl) = wide * mek::kRadPerDeg;
            break;
        case Target::knownVector:
            m_set.knownVector[i] = wide;
            break;
        case Target::localMatrix:
            m_set.localMatrix[i] = wide;
            break;
        case Target::machineMatrix:
            m_set.machineMatrix[i] = wide;
            break;
        case Target::thermalFactor:
            m_set.thermalFactor[i] = value;
            break;
        case Target::tiltOffset:
            m_set.tiltOffset[i] = value;
            break;
        case Target::admOffset:
            m_set.admOffset = value;
            break;
        case Target::scaleFactors:
            m_set.scaleFactors[i] = value;
            break;
        case Target::qvcParameters:
            m_set.qvcParameters[i] = value;
            break;
        case Target::level1Parameters:
            m_set.level1Parameters[i] = value;
            break;
        case Target::level2Parameters:
            m_set.level2Parameters[i] = value;
            break;
        case Target::encoderHalfRange:
            (i == 0 ? m_set.encoderHalfRangeAz : m_set.encoderHalfRangeEl) = static_cast<float>(wide * mek::kRadPerDeg);
            break;
        case Target::psdX:
            m_set.psdX[i] = value;
            break;
        case Target::psdY:
            m_set.psdY[i] = value;
            break;
        case Target::dynamicParameters:
            m_set.dynamicParameters[i] = value;
            break;
        case Target::nothing:
        case Target::fileId:
        case Target::azimuthTable:
        case Target::elevationTable:
        case Target::levelXTable:
        case Target::levelYTable:
        case Target::mountMode:
            break;
        }
    }

    // The file has ended before the block.
    void storeDefaults(const Block& block)
    {
        if (block.target == Target::scaleFactors) {
            std::copy(kDefaultScaleFactors.begin(), kDefaultScaleFactors.end(), m_set.scaleFactors);
        } else if (block.target == Target::mountMode) {
            m_set.mountMode = 0;
        } else if (block.atEnd == AtEnd::defaults) {
            for (std::size_t i = 0; i < block.columns; ++i) {
                storeValue(block.target, i, 0.0F);
            }
        }
    }

    // Row count of a table. A count that the rest of the file cannot hold, or that goes beyond what the kept array
    // holds, fails here: before it claims memory, and with the old count still standing beside the old rows. One that
    // does not parse leaves the old count in force, which must then be one that the old arrays hold.
    bool readCount(const Block& block, std::uint32_t& count, bool arraysHoldCount,
                   std::uint32_t most = std::numeric_limits<std::uint32_t>::max())
    {
        const char* const expected = "a row count";
        const std::optional<std::int64_t> value = readInteger(expected);
        if (!value) {
            return arraysHoldCount || failAtValue(block.message, expected);
        }
        const std::size_t line = m_in.itemLine();
        if (!m_room.holds(*value, m_in.consumed())) { // Kept [table-counts-bounded]: and no memory is claimed
            return fail(block.message, line, "a row count that the file has room for", std::to_string(*value));
        }
        const auto accepted = static_cast<std::uint32_t>(saturated(*value));
        if (accepted > most) {
            return fail(block.message, line, "no more rows than the first file read had", std::to_string(accepted));
        }
        count = accepted; // Kept [refused-table-stays]: until here the old count stands
        return true;
    }

    // The rows of a table, each by a function that is given its number and reads it. Where a row takes nothing of the
    // text, so would every row behind it: these stay untouched, and cost nothing.
    template <typename ReadRow>
    void readTableRows(std::size_t count, ReadRow&& readRow)
    {
        constexpr std::size_t kColumns = 2;
        std::uint64_t whole = 0;
        for (std::size_t row = 0; row < count; ++row) {
            const std::uint64_t before = m_in.consumed();
            if (readRow(row) == kColumns) {
                ++whole;
            } else if (m_in.consumed() == before) {
                noteUnread(kColumns * (count - row - 1), "a number");
                break;
            }
        }
        noteShortTable(whole, count);
        m_room.note(count, whole);
    }

    void readEncoderRows(std::span<float> table, float (&rollover)[2])
    {
        readTableRows(table.size() / 2, [&](std::size_t row) { return readFloats(table.subspan(2 * row, 2)); });
        if (!table.empty()) { // Kept [rollover-without-rows]: otherwise the old one stays
            rollover[0] = table.front();
            rollover[1] = table[table.size() - 2];
        }
    }

    bool readAzimuthTable(const Block& block)
    {
        // Kept [azimuth-array-stays, azimuth-rows-bounded]: the array of the first read serves every later one,
        // although their counts differ; objects that share it see the new rows. What would run over its end is refused.
        const bool kept = m_set.azCompTable != nullptr;
        const bool held = encoderTableHolds(m_set.azCompTable, m_set.azCompCount);
        const std::size_t most =
            kept ? sharedCapacity(m_set.azCompTable) / 2 : std::numeric_limits<std::uint32_t>::max();
        if (!readCount(block, m_set.azCompCount, held, static_cast<std::uint32_t>(most))) {
            return false;
        }
        const std::uint32_t count = m_set.azCompCount;
        if (!kept) {
            m_set.azCompTable = allocateShared<float>(2 * std::size_t{count});
        }
        readEncoderRows(std::span(m_set.azCompTable, 2 * std::size_t{count}), m_set.azRollover);
        return true;
    }

    bool readElevationTable(const Block& block)
    {
        if (!readCount(block, m_set.elCompCount, encoderTableHolds(m_set.elCompTable, m_set.elCompCount))) {
            return false;
        }
        const std::size_t floats = 2 * std::size_t{m_set.elCompCount};
        renewArray(m_set.elCompTable, floats);
        readEncoderRows(std::span(m_set.elCompTable, floats), m_set.elRollover);
        return true;
    }

    bool readLevelX(const Block& block)
    {
        const bool held = levelTableHolds(m_set.levelXTable, m_set.levelXCoeffs, m_set.levelXCount);
        if (!readCount(block, m_set.levelXCount, held)) {
            return false;
        }
        const std::size_t count = m_set.levelXCount;
        readTiltRows(count, count, m_set.levelXTable, m_set.levelXCoeffs);
        m_limitXLow = m_set.levelXTable[count];
        m_limitXHigh = m_set.levelXTable[count + 1];
        return true;
    }

    bool readLevelY(const Block& block)
    {
        const bool held = levelTableHolds(m_set.levelYTable, m_set.levelYCoeffs, m_set.levelYCount);
        if (!readCount(block, m_set.levelYCount, held)) {
            return false;
        }
        // Kept [table-y-extras]: the extra values and the limits of table Y stand at the row count of table X. With
        // fewer rows there they replace rows of table Y, before its spline is laid.
        const std::size_t extrasAt = m_set.levelXCount;
        readTiltRows(m_set.levelYCount, extrasAt, m_set.levelYTable, m_set.levelYCoeffs);
        m_limitYLow = m_set.levelYTable[extrasAt];
        m_limitYHigh = m_set.levelYTable[extrasAt + 1];
        return true;
    }

    void readTiltRows(std::size_t count, std::size_t extrasAt, float*& table, double*& coeffs)
    {
        renewArray(table, std::max(count, extrasAt) + kTiltExtras); // Kept [table-y-room]: wherever these values go
        const ZeroedFloats corrections(count);
        renewArray(coeffs, 4 * count);
        readTableRows(count, [&](std::size_t i) {
            std::array<float, 2> row{};
            const std::size_t done = readFloats(row);
            if (done > 0) {
                table[i] = row[0];
                corrections.data()[i] = row[1];
            }
            return done;
        });
        readFloats(std::span(table + extrasAt, kTiltExtras));
        m_in.skipWord();
        mek::CubicSplines(table, corrections.data(), static_cast<int>(count) - 1, coeffs);
    }

    void storeLimits()
    {
        // Kept [no-level-x-limits]: in modes 7 and 8 level X has no range at all.
        const bool noLevelX = m_set.mountMode == 7 || m_set.mountMode == 8;
        m_set.levelLimits = {noLevelX ? 0.0F : m_limitXLow, noLevelX ? 0.0F : m_limitXHigh, m_limitYLow, m_limitYHigh};
    }

    Scanner& m_in;
    RowRoom m_room;
    std::uint32_t m_id;
    ParameterSet& m_set;
    ReadReport& m_report;
    std::string m_text;
    bool m_unreadAny = false;     // a call has come to its end early
    std::uint64_t m_unreadAt = 0; // where the last one did
    Finding* m_unread = nullptr;  // its finding, if that was kept
    float m_limitXLow = 0.0F;
    float m_limitXHigh = 0.0F;
    float m_limitYLow = kAbsentLimitLow;
    float m_limitYHigh = kAbsentLimitHigh;
};

void readScanned(Scanner& scanner, std::uint64_t size, std::uint32_t id, ParameterSet& set, ReadReport& report) noexcept
{
    try {
        Walk(scanner, size, id, set, report).run();
    } catch (const std::exception&) {
        // Either the walk found no memory, or the report of its failure did; then that failure stands.
        if (report.status == 0) {
            report.status = kFormatError;
            report.outOfMemory = true;
            report.line = scanner.line();
            report.expected = "a file that fits into the memory";
        }
    }
}

} // namespace

std::string excerptOf(std::string_view text)
{
    constexpr std::size_t kLongest = 60;
    std::string out(text.substr(0, kLongest));
    for (char& c : out) {
        c = c >= ' ' && c <= '~' ? c : '?';
    }
    return text.size() > kLongest ? out + "..." : out;
}

void readFile(platform::File& file, std::uint32_t id, ParameterSet& set, ReadReport& report) noexcept
{
    Scanner scanner(file);
    readScanned(scanner, file.size(), id, set, report);
}

void readBytes(std::string_view bytes, std::uint32_t id, ParameterSet& set, ReadReport& report) noexcept
{
    Scanner scanner(bytes);
    readScanned(scanner, bytes.size(), id, set, report);
}

} // namespace kor::params
