#include "params/file/Reader.h"

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "mek/Literals.h"
#include "mek/Matrix.h"
#include "mek/Spline.h"
#include "params/file/Blocks.h"
#include "params/file/Messages.h"
#include "params/file/Scanner.h"
#include "params/file/SharedArray.h"
#include "platform/Files.h"

namespace kor::params {

namespace {

constexpr int kCannotOpen = 550;
constexpr int kFormatError = 553;

constexpr float kAbsentLimitLow = -35.0F;
constexpr float kAbsentLimitHigh = 35.0F;

// Short and printable, for a message to a person.
std::string excerptOf(std::string_view text)
{
    constexpr std::size_t kLongest = 60;
    std::string out(text.substr(0, kLongest));
    for (char& c : out) {
        c = c >= ' ' && c <= '~' ? c : '?';
    }
    return text.size() > kLongest ? out + "..." : out;
}

template <class T>
void renewArray(T*& array, std::size_t length)
{
    releaseShared(array);
    array = allocateShared<T>(length);
}

class Walk {
public:
    Walk(Scanner& scanner, std::uint64_t size, std::uint32_t id, Fields& fields, ReadReport& report)
        : m_in(scanner), m_size(size), m_id(id), m_fields(fields), m_report(report)
    {
    }

    bool run()
    {
        for (const Block& block : kBlocks) {
            if (block.modeSevenUp && m_fields.mountMode < kFirstLongMode) {
                break;
            }
            m_report.title = block.title;
            if (m_in.atEnd()) {
                if (block.atEnd == AtEnd::fail) {
                    m_report.endedAtTitle = true;
                    return fail(block.message, m_in.line(), block.title, "end of file");
                }
                storeDefaults(block);
            } else if (!readTitle(block) || !readValues(block)) {
                return false;
            }
        }
        storeLimits();
        m_report.title = "";
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
        return fail(message, line, expected, any ? std::string_view(m_text) : "end of file");
    }

    bool readTitle(const Block& block)
    {
        m_in.skipSpace();
        const std::size_t line = m_in.line();
        const bool any = m_in.words(block.words, m_text) > 0;
        if (holdsTitle(m_text, block.title)) {
            return true;
        }
        return fail(block.message, line, block.title, any ? std::string_view(m_text) : "end of file");
    }

    bool readValues(const Block& block)
    {
        switch (block.layout) {
        case Layout::fileId:
            return readFileId();
        case Layout::integer:
            if (const std::optional<std::int64_t> value = readInteger()) {
                m_fields.mountMode = saturated(*value);
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
                mek::MatrixInverse(m_fields.machineMatrix, 3);
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

    // Remembers where a formatted call has come to its end early.
    void noteShortCall()
    {
        if (m_report.shortCalls++ == 0) {
            m_report.shortLine = m_in.itemLine();
            m_report.shortTitle = m_report.title;
        }
    }

    std::size_t readFloats(std::span<float> values)
    {
        const std::size_t done = m_in.floats(values);
        if (done < values.size()) {
            noteShortCall();
        }
        return done;
    }

    std::optional<std::int64_t> readInteger()
    {
        std::int64_t value = 0;
        if (m_in.integer(value)) {
            return value;
        }
        noteShortCall();
        return std::nullopt;
    }

    bool readFileId()
    {
        const char* const expected = "the ID of the sensor";
        const std::optional<std::int64_t> value = readInteger();
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
        for (std::size_t i = 0; i < done; ++i) {
            storeValue(block.target, first + i, values[i]);
        }
    }

    void storeValue(Target target, std::size_t i, float value)
    {
        const double wide = static_cast<double>(value);
        switch (target) {
        case Target::encoderOffset:
            (i == 0 ? m_fields.encoderOffsetAz : m_fields.encoderOffsetEl) = wide * mek::kRadPerDeg;
            break;
        case Target::knownVector:
            m_fields.knownVector[i] = wide;
            break;
        case Target::localMatrix:
            m_fields.localMatrix[i] = wide;
            break;
        case Target::machineMatrix:
            m_fields.machineMatrix[i] = wide;
            break;
        case Target::thermalFactor:
            m_fields.thermalFactor[i] = value;
            break;
        case Target::tiltOffset:
            m_fields.tiltOffset[i] = value;
            break;
        case Target::admOffset:
            m_fields.admOffset = value;
            break;
        case Target::scaleFactors:
            m_fields.scaleFactors[i] = value;
            break;
        case Target::qvcParameters:
            m_fields.qvcParameters[i] = value;
            break;
        case Target::level1Parameters:
            m_fields.level1Parameters[i] = value;
            break;
        case Target::level2Parameters:
            m_fields.level2Parameters[i] = value;
            break;
        case Target::encoderHalfRange:
            (i == 0 ? m_fields.encoderHalfRangeAz : m_fields.encoderHalfRangeEl) =
                static_cast<float>(wide * mek::kRadPerDeg);
            break;
        case Target::psdX:
            m_fields.psdX[i] = value;
            break;
        case Target::psdY:
            m_fields.psdY[i] = value;
            break;
        case Target::dynamicParameters:
            m_fields.dynamicParameters[i] = value;
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
            std::copy(kDefaultScaleFactors.begin(), kDefaultScaleFactors.end(), m_fields.scaleFactors);
        } else if (block.target == Target::mountMode) {
            m_fields.mountMode = 0;
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
        const std::optional<std::int64_t> value = readInteger();
        if (!value) {
            return arraysHoldCount || failAtValue(block.message, "a row count");
        }
        const std::size_t line = m_in.itemLine();
        const std::uint64_t rest = m_size - std::min(m_size, m_in.consumed());
        if (!hasRoomFor(*value, rest)) {
            return fail(block.message, line, "a row count that the file has room for", std::to_string(*value));
        }
        const auto accepted = static_cast<std::uint32_t>(saturated(*value));
        if (accepted > most) {
            return fail(block.message, line, "no more rows than the first file read had", std::to_string(accepted));
        }
        count = accepted;
        return true;
    }

    static bool encoderTableHolds(const float* table, std::uint32_t count)
    {
        return table != nullptr && sharedCapacity(table) / 2 >= count;
    }

    static bool levelTablesHold(const float* table, const double* coeffs, std::uint32_t count)
    {
        return table != nullptr && coeffs != nullptr && sharedCapacity(table) - kTiltExtras >= count &&
               sharedCapacity(coeffs) / 4 >= count; // a level table has its extra values at least
    }

    void readEncoderRows(std::span<float> table, float (&rollover)[2])
    {
        for (std::size_t i = 0; i < table.size(); i += 2) {
            readFloats(table.subspan(i, 2));
        }
        if (!table.empty()) {
            rollover[0] = table.front();
            rollover[1] = table[table.size() - 2];
        }
    }

    bool readAzimuthTable(const Block& block)
    {
        // Kept: the array of the first read serves every later one, whatever their counts; objects that share it see
        // the new rows. Only what would run over its end is refused.
        const bool kept = m_fields.azCompTable != nullptr;
        const bool held = encoderTableHolds(m_fields.azCompTable, m_fields.azCompCount);
        const std::size_t most =
            kept ? sharedCapacity(m_fields.azCompTable) / 2 : std::numeric_limits<std::uint32_t>::max();
        if (!readCount(block, m_fields.azCompCount, held, static_cast<std::uint32_t>(most))) {
            return false;
        }
        const std::uint32_t count = m_fields.azCompCount;
        if (!kept) {
            m_fields.azCompTable = allocateShared<float>(2 * std::size_t{count});
        }
        readEncoderRows(std::span(m_fields.azCompTable, 2 * std::size_t{count}), m_fields.azRollover);
        return true;
    }

    bool readElevationTable(const Block& block)
    {
        if (!readCount(block, m_fields.elCompCount, encoderTableHolds(m_fields.elCompTable, m_fields.elCompCount))) {
            return false;
        }
        const std::size_t floats = 2 * std::size_t{m_fields.elCompCount};
        renewArray(m_fields.elCompTable, floats);
        readEncoderRows(std::span(m_fields.elCompTable, floats), m_fields.elRollover);
        return true;
    }

    bool readLevelX(const Block& block)
    {
        const bool held = levelTablesHold(m_fields.levelXTable, m_fields.levelXCoeffs, m_fields.levelXCount);
        if (!readCount(block, m_fields.levelXCount, held)) {
            return false;
        }
        const std::size_t count = m_fields.levelXCount;
        readTiltRows(count, count, m_fields.levelXTable, m_fields.levelXCoeffs);
        m_limitXLow = m_fields.levelXTable[count];
        m_limitXHigh = m_fields.levelXTable[count + 1];
        return true;
    }

    bool readLevelY(const Block& block)
    {
        const bool held = levelTablesHold(m_fields.levelYTable, m_fields.levelYCoeffs, m_fields.levelYCount);
        if (!readCount(block, m_fields.levelYCount, held)) {
            return false;
        }
        // Kept: the extra values and the limits of table Y stand at the row count of table X. With fewer rows there
        // they replace rows of table Y, before its spline is laid.
        const std::size_t extrasAt = m_fields.levelXCount;
        readTiltRows(m_fields.levelYCount, extrasAt, m_fields.levelYTable, m_fields.levelYCoeffs);
        m_limitYLow = m_fields.levelYTable[extrasAt];
        m_limitYHigh = m_fields.levelYTable[extrasAt + 1];
        return true;
    }

    void readTiltRows(std::size_t count, std::size_t extrasAt, float*& table, double*& coeffs)
    {
        renewArray(table, std::max(count, extrasAt) + kTiltExtras);
        std::vector<float> corrections(count);
        renewArray(coeffs, 4 * count);
        for (std::size_t i = 0; i < count; ++i) {
            std::array<float, 2> row = {table[i], corrections[i]};
            readFloats(row);
            table[i] = row[0];
            corrections[i] = row[1];
        }
        readFloats(std::span(table + extrasAt, kTiltExtras));
        m_in.skipWord();
        mek::CubicSplines(table, corrections.data(), static_cast<int>(count) - 1, coeffs);
    }

    void storeLimits()
    {
        // Kept: in modes 7 and 8 level X has no range at all.
        const bool noLevelX = m_fields.mountMode == 7 || m_fields.mountMode == 8;
        m_fields.levelLimits = {noLevelX ? 0.0F : m_limitXLow, noLevelX ? 0.0F : m_limitXHigh, m_limitYLow,
                                m_limitYHigh};
    }

    Scanner& m_in;
    std::uint64_t m_size; // of the whole file
    std::uint32_t m_id;
    Fields& m_fields;
    ReadReport& m_report;
    std::string m_text;
    float m_limitXLow = 0.0F;
    float m_limitXHigh = 0.0F;
    float m_limitYLow = kAbsentLimitLow;
    float m_limitYHigh = kAbsentLimitHigh;
};

void readScanned(Scanner& scanner, std::uint64_t size, std::uint32_t id, Fields& fields, ReadReport& report) noexcept
{
    report = ReadReport();
    try {
        Walk(scanner, size, id, fields, report).run();
    } catch (const std::exception&) {
        // Either the walk found no memory, or the report of its failure did; then that failure stands.
        if (report.status == 0) {
            report.status = kFormatError;
            report.line = scanner.line();
            report.expected = "less than the memory has room for";
        }
    }
}

// The fields of a parameter set that is read only to be explained.
class ScratchSet {
public:
    ScratchSet() = default;
    ScratchSet(const ScratchSet&) = delete;
    ScratchSet& operator=(const ScratchSet&) = delete;
    ~ScratchSet()
    {
        for (float** table : {&m_azimuth, &m_elevation, &m_levelX, &m_levelY}) {
            releaseShared(*table);
        }
        releaseShared(m_coeffsX);
        releaseShared(m_coeffsY);
    }

    Fields fields()
    {
        return {
            .encoderOffsetAz = m_doubles[0],
            .encoderOffsetEl = m_doubles[1],
            .knownVector = m_vector,
            .localMatrix = m_local,
            .machineMatrix = m_machine,
            .tiltOffset = m_tiltOffset,
            .thermalFactor = m_thermal,
            .mountMode = m_mode,
            .admOffset = m_floats[0],
            .levelXCount = m_counts[0],
            .levelXTable = m_levelX,
            .levelXCoeffs = m_coeffsX,
            .levelYCount = m_counts[1],
            .levelYTable = m_levelY,
            .levelYCoeffs = m_coeffsY,
            .azCompCount = m_counts[2],
            .elCompCount = m_counts[3],
            .azCompTable = m_azimuth,
            .elCompTable = m_elevation,
            .scaleFactors = m_scale,
            .azRollover = m_rollover[0],
            .elRollover = m_rollover[1],
            .qvcParameters = m_qvc,
            .level1Parameters = m_sevens[0],
            .level2Parameters = m_sevens[1],
            .encoderHalfRangeAz = m_floats[1],
            .encoderHalfRangeEl = m_floats[2],
            .levelLimits = m_limits,
            .psdX = m_psd[0],
            .psdY = m_psd[1],
            .dynamicParameters = m_sevens[2],
        };
    }

private:
    double m_doubles[2] = {};
    double m_vector[3] = {};
    double m_local[9] = {};
    double m_machine[9] = {};
    float m_tiltOffset[2] = {};
    float m_thermal[4] = {};
    std::int32_t m_mode = 0;
    float m_floats[3] = {};
    std::uint32_t m_counts[4] = {};
    float* m_azimuth = nullptr;
    float* m_elevation = nullptr;
    float* m_levelX = nullptr;
    float* m_levelY = nullptr;
    double* m_coeffsX = nullptr;
    double* m_coeffsY = nullptr;
    float m_scale[8] = {};
    float m_rollover[2][2] = {};
    float m_qvc[6] = {};
    float m_sevens[3][7] = {};
    F_VECTOR4 m_limits = {};
    float m_psd[2][3] = {};
};

} // namespace

void readFile(std::FILE* file, std::uint32_t id, Fields& fields, ReadReport& report) noexcept
{
    Scanner scanner(file);
    readScanned(scanner, platform::fileSize(file), id, fields, report);
}

void readBytes(std::string_view bytes, std::uint32_t id, Fields& fields, ReadReport& report) noexcept
{
    Scanner scanner(bytes);
    readScanned(scanner, bytes.size(), id, fields, report);
}

ReadReport explainFile(const std::wstring& path, unsigned long id)
{
    ReadReport report;
    const platform::File file = platform::openFile(path, platform::OpenMode::read);
    if (!file) {
        report.status = kCannotOpen;
        report.expected = "a file that can be opened";
        return report;
    }
    ScratchSet scratch;
    Fields fields = scratch.fields();
    readFile(file.get(), static_cast<std::uint32_t>(id), fields, report);
    return report;
}

} // namespace kor::params
