#include "params/file/Check.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>
#include <string_view>
#include <utility>

#include "KORInterface/OrientationModel.h"
#include "KORInterface/Status.h"
#include "mek/CEncoder.h"
#include "mek/Matrix.h"
#include "mek/Spline.h"
#include "mek/Values.h"
#include "params/file/Fields.h"
#include "params/file/FileName.h"
#include "params/file/Messages.h"
#include "params/file/Reader.h"
#include "params/file/Writer.h"
#include "platform/Text.h"

namespace kor::params {

namespace {

using platform::inQuotes;

constexpr RuleText kRules[] = {
    {Rule::notText, "not-text", Severity::error, "the file is UTF-16, compressed or binary and not a text file"},
    {Rule::tooLarge, "too-large", Severity::error, "the file has more than 16 MiB"},
    {Rule::titleMissing, "title-missing", Severity::error, "the title of a block is not where the format expects it"},
    {Rule::blockOrder, "block-order", Severity::error,
     "a block stands in the file twice, or later than its place in the order"},
    {Rule::fileEnds, "file-ends", Severity::error, "the file ends before a block that it must have"},
    {Rule::unreadableValue, "unreadable-value", Severity::error, "a word stands where a number is expected"},
    {Rule::missingValue, "missing-value", Severity::error, "a row or block has too few numbers"},
    {Rule::surplusValue, "surplus-value", Severity::error, "a row or block has too many values"},
    {Rule::missingWord, "missing-word", Severity::error, "the owner, or the word behind a tilt table, is missing"},
    {Rule::rowCount, "row-count", Severity::error, "a table's count is not the number of its rows"},
    {Rule::modeRange, "mode-range", Severity::error, "the mount mode is not one of 0 to 10"},
    {Rule::idMismatch, "id-mismatch", Severity::error, "the ID in the file is not the one in the file's name"},
    {Rule::refused, "refused", Severity::error,
     "the library refuses the file for a reason that no other rule explains"},
    {Rule::modePendulum, "mode-pendulum", Severity::warning,
     "the mount mode is 0 or missing, and the pendulum model is used"},
    {Rule::blockMissing, "block-missing", Severity::warning,
     "the mount mode uses a block that is not there or not read, and defaults are used"},
    {Rule::tableEmpty, "table-empty", Severity::warning, "a table that the mount mode uses has fewer than two rows"},
    {Rule::tableOrder, "table-order", Severity::warning, "the readings of a table do not ascend throughout"},
    {Rule::tableDouble, "table-double", Severity::warning, "a reading stands twice in a table"},
    {Rule::tableGap, "table-gap", Severity::warning,
     "two readings are much farther apart than their neighbours: rows may be missing"},
    {Rule::tableLayout, "table-layout", Severity::warning,
     "a row of a table is spread over two lines while most are not: numbers may stand in wrong places"},
    {Rule::tiltRows, "tilt-rows", Severity::warning,
     "the tilt Y table has more rows than the tilt X table, and the library overwrites some of them"},
    {Rule::rollover, "rollover", Severity::warning,
     "the azimuth table does not close: it spans more than a turn, leaves much of it out, or jumps at its end"},
    {Rule::notMonotone, "not-monotone", Severity::warning,
     "a calibrated angle does not ascend, or descend, with its reading"},
    {Rule::overshoot, "overshoot", Severity::warning, "the spline through a tilt table swings beyond its points"},
    {Rule::notFinite, "not-finite", Severity::warning, "a number is nan, infinite or too large for single precision"},
    {Rule::implausible, "implausible", Severity::warning, "a number lies outside the plausible range of its field"},
    {Rule::notRotation, "not-rotation", Severity::warning, "a matrix is not a rotation to six digits"},
    {Rule::limitsReversed, "limits-reversed", Severity::warning, "a lower limit is not below its upper limit"},
    {Rule::ignoredText, "ignored-text", Severity::warning, "text behind the last block is ignored"},
    {Rule::precision, "precision", Severity::warning, "numbers have digits beyond single precision, which are lost"},
    {Rule::rewriteDrops, "rewrite-drops", Severity::warning,
     "a title has more text than the format gives it, which a rewrite drops"},
    {Rule::rewriteTruncates, "rewrite-truncates", Severity::warning,
     "numbers have more than the six decimals that a rewrite writes"},
    {Rule::blockIgnored, "block-ignored", Severity::note, "the mount mode does not use some of the blocks"},
    {Rule::rewriteRefused, "rewrite-refused", Severity::note, "CKorPrm::PrmFileCopy cannot rewrite the file"},
};

constexpr bool isInOrder()
{
    std::size_t i = 0;
    for (const RuleText& text : kRules) {
        if (static_cast<std::size_t>(text.rule) != i++) {
            return false;
        }
    }
    return i == static_cast<std::size_t>(Rule::rewriteRefused) + 1;
}
static_assert(isInOrder(), "one line for each rule, in the order of the enumeration");

// Six decimals leave up to 5e-7 in each element of a rotation. A dot product of two rows then is up to 2 sqrt(3) 5e-7
// off, the determinant up to 3 sqrt(3) 5e-7, both below 3e-6.
constexpr double kRotationTolerance = 5e-6;

// Rows of a table are evenly spaced or refined where the curve bends. A step is much larger than its neighbours from
// here on: a missing row doubles its step.
constexpr double kGap = 1.8;
// If two thirds of the steps are this near to the median, the table is meant to be even.
constexpr double kEven = 0.1;
constexpr double kEvenGap = 1.5;

// A correction may change between the last row and the first one a turn later as fast as anywhere in the table, and
// three times that before it counts as a jump; beside it the last of six decimals, rounded at both ends.
constexpr double kJump = 3.0;
constexpr double kLastDecimal = 1e-6;

// A natural spline through points of a straight or gently bent line stays between neighbouring points to far below a
// thousandth of their distance, but for the rounding of its value to single precision.
constexpr double kOvershoot = 1e-3;

// Up to eight significant digits a number loses at most about half a unit of the last one in single precision.
constexpr std::size_t kSingleDigits = 8;

// So many rows of a table are judged. No sensor's table is near that; it bounds the time that a hostile one takes.
constexpr std::size_t kMostRows = 100000;

std::string shortest(double number)
{
    std::array<char, 32> digits{};
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

std::string shortest(float number)
{
    std::array<char, 32> digits{};
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

std::string rounded(double number, int digits)
{
    std::array<char, 48> text{};
    return {text.data(),
            std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, digits).ptr};
}

std::string rangeText(const Field& field)
{
    const std::string span = shortest(field.least) + " to " + shortest(field.most);
    const std::string unit = *field.unit == '\0' ? std::string() : std::string(" ") + field.unit;
    return field.eitherSign ? "a magnitude of " + span + unit : span + unit;
}

// A number of a block, and where it stands there.
struct Number {
    const DocumentBlock& block;
    const Item& item;
    std::size_t index; // in the block's values, or in the extra row of a tilt table
    bool isExtra;

    bool isInTable() const
    {
        const Layout layout = block.kind().layout;
        return layout == Layout::encoderTable || layout == Layout::tiltTable;
    }

    // As the fields count them: those of a table by column.
    std::size_t value() const
    {
        const std::size_t columns = block.kind().columns;
        return isExtra ? columns + index : isInTable() ? index % columns : index;
    }

    // In words. Most numbers are in order, and nobody asks.
    std::string place() const
    {
        std::string row;
        if (isExtra) {
            row = "row of limits, ";
        } else if (isInTable()) {
            row = "row " + std::to_string(index / block.kind().columns + 1) + ", ";
        }
        return row + fieldName(block.kind(), value());
    }
};

class Checks {
public:
    Checks(const Document& document, std::optional<std::int32_t> mode, Findings& findings)
        : m_document(document), m_mode(mode.value_or(document.mode)), m_given(mode), m_model(ModelOf(m_mode)),
          m_findings(findings)
    {
    }

    void run()
    {
        checkMode();
        for (const DocumentBlock& block : m_document.blocks) {
            checkTitle(block);
            // Numbers of a block that was not read as it should be stand in wrong places.
            if (block.unread == 0 && !m_findings.anyError(block.kind().title)) {
                checkNumbers(block);
                checkBlock(block);
            }
        }
        checkTiltRows();
        if (m_document.status == kSuccess) {
            checkUse();
            checkRest();
        }
        checkRewrite();
    }

private:
    void add(Rule rule, std::uint32_t line, const char* block, std::string field, std::string found,
             std::string expected, std::string advice)
    {
        m_findings.add({rule, line, block, std::move(field), std::move(found), std::move(expected), std::move(advice)});
    }

    bool isUsed(const Block& block) const { return (modelsOf(block) & bitOf(m_model)) != 0; }

    std::string modeText() const { return "mount mode " + std::to_string(m_mode); }

    void checkMode();
    void checkTitle(const DocumentBlock& block);
    void checkNumbers(const DocumentBlock& block);
    void checkNumber(const Number& number);
    void checkPrecision(const Number& number);
    void checkBlock(const DocumentBlock& block);
    void checkMatrix(const DocumentBlock& block);
    bool checkOrder(const DocumentBlock& block);
    void checkGaps(const DocumentBlock& block);
    void checkLayout(const DocumentBlock& block);
    void checkRollover(const DocumentBlock& block);
    void checkEncoderCurve(const DocumentBlock& block);
    void checkTiltCurve(const DocumentBlock& block);
    void checkLimits(const DocumentBlock& block);
    void checkTiltRows();
    void checkUse();
    void checkRest();
    void checkRewrite();

    static std::size_t rowsOf(const DocumentBlock& block) { return std::min(block.values.size() / 2, kMostRows); }
    static double reading(const DocumentBlock& block, std::size_t row)
    {
        return static_cast<double>(block.values[2 * row].single);
    }
    static double second(const DocumentBlock& block, std::size_t row)
    {
        return static_cast<double>(block.values[2 * row + 1].single);
    }
    static std::uint32_t lineOf(const DocumentBlock& block, std::size_t row) { return block.values[2 * row].line; }
    static std::string rowText(std::size_t row) { return "row " + std::to_string(row + 1); }

    const Document& m_document;
    std::int32_t m_mode;
    std::optional<std::int32_t> m_given;
    OrientationModel m_model;
    Findings& m_findings;
};

void Checks::checkMode()
{
    const DocumentBlock* const block = m_document.find(Target::mountMode);
    const char* const title = "Mounting Mode";
    const std::uint32_t line = block == nullptr ? 0 : block->whole.line;
    const char* const choose =
        "write the mode of the sensor: 1, 2 dual level; 3, 4 pendulum; 5, 6 polarizer; 7, 8 three "
        "vectors; 9, 10 three vectors and two levels";
    if (block != nullptr && block->whole.readable && (block->number < 0 || block->number > 10)) {
        add(Rule::modeRange, line, title, "", std::to_string(block->number), "a mount mode from 1 to 10", choose);
        return;
    }
    if (m_given && *m_given != 0) {
        return;
    }
    if (block == nullptr ? m_document.status == kSuccess : block->whole.readable && block->number == 0) {
        add(Rule::modePendulum, line, title, "", block == nullptr ? "a file that ends before this block" : "0",
            "a mount mode from 1 to 10", std::string("the pendulum model is used; ") + choose);
    }
}

void Checks::checkTitle(const DocumentBlock& block)
{
    if (block.title != block.kind().title) {
        add(Rule::rewriteDrops, block.line, block.kind().title, "", inQuotes(block.title), inQuotes(block.kind().title),
            "harmless for reading; a rewrite writes the title of the format");
    }
}

void Checks::checkNumbers(const DocumentBlock& block)
{
    for (std::size_t i = 0; i < block.values.size(); ++i) {
        checkNumber({block, block.values[i], i, false});
    }
    for (std::size_t i = 0; i < block.extras.size(); ++i) {
        checkNumber({block, block.extras[i], i, true});
    }
}

void Checks::checkNumber(const Number& number)
{
    const Item& item = number.item;
    const Field& field = *fieldOf(number.block.kind(), number.value());
    const char* const title = number.block.kind().title;
    if (!std::isfinite(item.single)) {
        add(Rule::notFinite, item.line, title, number.place(), inQuotes(m_document.textOf(item)),
            "a number within single precision, " + rangeText(field),
            isUsed(number.block.kind())
                ? "write the right number; all that is computed with this one becomes nan or infinite"
                : "write a number; nothing is computed with this one in " + modeText());
        return;
    }
    const double wide = static_cast<double>(item.single);
    const double size = field.eitherSign ? std::fabs(wide) : wide;
    // Zeros fill the fields that only other models use.
    const bool counts = wide != 0.0 || (field.models & bitOf(m_model)) != 0;
    if (counts && !(size >= field.least && size <= field.most)) {
        add(Rule::implausible, item.line, title, number.place(), inQuotes(m_document.textOf(item)), rangeText(field),
            "look for a lost decimal point, a wrong unit or the number of another block");
    }
    checkPrecision(number);
}

void Checks::checkPrecision(const Number& number)
{
    const Item& item = number.item;
    const char* const title = number.block.kind().title;
    const std::string_view text = m_document.textOf(item);
    const std::size_t mark = text.find_first_of("eExXpP");
    const std::string_view mantissa = text.substr(0, mark);
    const std::size_t first = mantissa.find_first_of("123456789");
    if (first == std::string_view::npos) {
        return;
    }
    const auto isDigit = [](char c) { return c != '.'; }; // nothing else is left of a number there
    const auto digits = static_cast<std::size_t>(
        std::count_if(mantissa.begin() + static_cast<std::ptrdiff_t>(first), mantissa.end(), isDigit));
    const std::size_t point = mantissa.find('.');
    const std::size_t decimals = point == std::string_view::npos ? 0 : mantissa.size() - point - 1;
    if (digits > kSingleDigits) {
        int exponent = 0;
        if (mark != std::string_view::npos) {
            const std::size_t sign = text.substr(mark + 1).starts_with('+') ? 1 : 0;
            std::from_chars(text.data() + mark + 1 + sign, text.data() + text.size(), exponent);
        }
        const double lastDigit = std::pow(10.0, exponent - static_cast<double>(decimals));
        const double lost = std::fabs(m_document.numberOf(item) - static_cast<double>(item.single));
        if (lost > 0.5 * lastDigit) {
            add(Rule::precision, item.line, title, number.place(), inQuotes(text),
                "at most 8 digits; the library stores " + shortest(item.single),
                "the digits behind are lost, " + rounded(lost, 2) +
                    " here; nothing needs to be done if that is small enough");
        }
    }
    std::string copy;
    appendFloat(copy, item.single);
    if (static_cast<float>(wideNumberOf(copy)) != item.single) {
        add(Rule::rewriteTruncates, item.line, title, number.place(), inQuotes(text), "at most six decimals",
            "a rewrite by CKorPrm::PrmFileCopy would leave " + copy + " of it; keep this file and do not rewrite it");
    }
}

void Checks::checkBlock(const DocumentBlock& block)
{
    switch (block.kind().target) {
    case Target::localMatrix:
    case Target::machineMatrix:
        checkMatrix(block);
        break;
    case Target::azimuthTable:
    case Target::elevationTable:
        checkLayout(block);
        if (checkOrder(block)) {
            checkGaps(block);
            checkRollover(block);
            checkEncoderCurve(block);
        }
        break;
    case Target::levelXTable:
    case Target::levelYTable:
        checkLayout(block);
        checkLimits(block);
        if (checkOrder(block)) {
            checkGaps(block);
            checkTiltCurve(block);
        }
        break;
    default:
        break;
    }
}

void Checks::checkMatrix(const DocumentBlock& block)
{
    mek::Mat3 m{};
    for (std::size_t i = 0; i < 9; ++i) {
        m.m[i] = static_cast<double>(block.values[i].single);
        if (!std::isfinite(m.m[i])) {
            return; // told already
        }
    }
    const double* const a = m.m;
    const double determinant =
        a[0] * (a[4] * a[8] - a[5] * a[7]) - a[1] * (a[3] * a[8] - a[5] * a[6]) + a[2] * (a[3] * a[7] - a[4] * a[6]);
    // Largest element of m m' - I.
    double deviation = 0.0;
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) {
            double sum = r == c ? -1.0 : 0.0;
            for (std::size_t k = 0; k < 3; ++k) {
                sum += a[3 * r + k] * a[3 * c + k];
            }
            deviation = std::max(deviation, std::fabs(sum));
        }
    }
    if (deviation <= kRotationTolerance && std::fabs(determinant - 1.0) <= kRotationTolerance) {
        return;
    }
    double inverse[9];
    std::copy(std::begin(m.m), std::end(m.m), inverse);
    const bool isSingular = !mek::MatrixInverse(inverse, 3);
    add(Rule::notRotation, block.values.front().line, block.kind().title, "",
        "determinant " + rounded(determinant, 7) + ", rows that differ from right angles and unit length by up to " +
            rounded(deviation, 2),
        "a rotation: determinant 1, rows at right angles and of unit length, to six digits",
        isSingular ? "the matrix is singular, and the library then uses it in place of its inverse; write the right one"
        : determinant < 0 ? "a row or a sign is wrong: this one mirrors"
                          : "look for a wrong sign or digit; orientations are off by the same amount");
}

bool Checks::checkOrder(const DocumentBlock& block)
{
    const std::size_t rows = rowsOf(block);
    if (rows < 2) {
        if (isUsed(block.kind())) {
            add(Rule::tableEmpty, block.whole.line, block.kind().title, "row count", std::to_string(rows),
                "two rows or more",
                rows == 0 ? "without rows nothing is corrected; put the table back"
                          : "one row is not enough for a correction");
        }
        return false;
    }
    // A spline may also be laid through readings that descend throughout.
    const bool mayDescend = block.kind().layout == Layout::tiltTable;
    std::size_t down = 0;
    for (std::size_t row = 1; row < rows; ++row) {
        if (!std::isfinite(reading(block, row)) || !std::isfinite(reading(block, row - 1))) {
            return false; // told already
        }
        down += reading(block, row) < reading(block, row - 1) ? 1 : 0;
    }
    const double sign = mayDescend && down > rows / 2 ? -1.0 : 1.0;
    bool ordered = true;
    for (std::size_t row = 1; row < rows; ++row) {
        const double here = reading(block, row);
        const double before = reading(block, row - 1);
        if (sign * here > sign * before) {
            continue;
        }
        ordered = false;
        const bool same = here == before;
        add(same ? Rule::tableDouble : Rule::tableOrder, lineOf(block, row), block.kind().title, rowText(row),
            "reading " + shortest(block.values[2 * row].single) + " behind " +
                shortest(block.values[2 * row - 2].single),
            sign > 0 ? "readings that ascend strictly" : "readings that descend strictly",
            same ? "take one of the two rows out, and correct the count" : "put the rows in order");
    }
    return ordered;
}

void Checks::checkGaps(const DocumentBlock& block)
{
    const std::size_t rows = rowsOf(block);
    if (rows < 4) {
        return; // nothing to compare with
    }
    std::vector<double> steps;
    for (std::size_t row = 1; row < rows; ++row) {
        steps.push_back(std::fabs(reading(block, row) - reading(block, row - 1)));
    }
    std::vector<double> sorted = steps;
    std::sort(sorted.begin(), sorted.end());
    const double median = sorted[sorted.size() / 2];
    const auto even = static_cast<std::size_t>(std::count_if(
        steps.begin(), steps.end(), [median](double step) { return std::fabs(step - median) <= kEven * median; }));
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const double left = i > 0 ? steps[i - 1] : steps[i + 1];
        const double right = i + 1 < steps.size() ? steps[i + 1] : left;
        const bool large =
            3 * even >= 2 * steps.size() ? steps[i] > kEvenGap * median : steps[i] > kGap * std::max(left, right);
        if (large) {
            add(Rule::tableGap, lineOf(block, i + 1), block.kind().title, rowText(i + 1),
                "a step of " + rounded(steps[i], 6) + " from " + shortest(block.values[2 * i].single) + " to " +
                    shortest(block.values[2 * i + 2].single),
                "steps of about " + rounded(median, 6), "look for missing rows before this one");
        }
    }
}

void Checks::checkLayout(const DocumentBlock& block)
{
    std::size_t split = 0;
    const std::size_t rows = rowsOf(block);
    for (std::size_t row = 0; row < rows; ++row) {
        split += block.values[2 * row].line != block.values[2 * row + 1].line ? 1 : 0;
    }
    for (std::size_t row = 0; row < rows && split * 2 < rows && split > 0; ++row) {
        if (block.values[2 * row].line != block.values[2 * row + 1].line) {
            add(Rule::tableLayout, block.values[2 * row].line, block.kind().title, rowText(row),
                "a row whose two numbers stand on lines " + std::to_string(block.values[2 * row].line) + " and " +
                    std::to_string(block.values[2 * row + 1].line),
                "both on one line, as most rows of this table", "look for a missing and a surplus number");
        }
    }
}

void Checks::checkRollover(const DocumentBlock& block)
{
    constexpr double kTurn = 360.0;
    // An elevation axis does not turn round, nor does an azimuth axis with stops.
    const DocumentBlock* const half = m_document.find(Target::encoderHalfRange);
    const bool hasStops = half != nullptr && half->values.size() == 2 && half->values[0].readable &&
                          half->values[0].single > 0.0F && half->values[0].single < 175.0F;
    const bool isWhole = block.values.size() / 2 <= kMostRows;
    if (block.kind().target != Target::azimuthTable || hasStops || !isWhole) {
        return;
    }
    const std::size_t rows = rowsOf(block);
    const double first = reading(block, 0);
    const double last = reading(block, rows - 1);
    const double open = kTurn - (last - first);
    double largestStep = 0.0;
    double largestChange = 0.0;
    for (std::size_t row = 1; row < rows; ++row) {
        largestStep = std::max(largestStep, reading(block, row) - reading(block, row - 1));
        // The rows at both ends are those in question.
        largestChange = row == 1 || row + 1 == rows
                            ? largestChange
                            : std::max(largestChange, std::fabs(second(block, row) - second(block, row - 1)));
    }
    const std::uint32_t line = lineOf(block, rows - 1);
    const std::string span = shortest(block.values[0].single) + " to " + shortest(block.values[2 * rows - 2].single);
    if (open < 0.0) {
        add(Rule::rollover, line, block.kind().title, rowText(rows - 1), "readings from " + span,
            "at most one turn of 360 degrees", "take out the rows of the second turn");
    } else if (open > 2.0 * largestStep) {
        add(Rule::rollover, line, block.kind().title, rowText(rows - 1),
            "readings from " + span + ", which leave " + rounded(open, 6) + " degrees of the turn out",
            "rows for the whole turn",
            "put the missing rows back; in that gap the correction runs in a straight line from the last row to the "
            "first");
    } else if (rows > 3) {
        const double jump = std::fabs(second(block, rows - 1) - second(block, 0));
        const double share = open < largestStep ? open / largestStep : 1.0;
        const double most = kJump * largestChange * std::max(share, 0.0) + 2 * kLastDecimal;
        if (std::isfinite(jump) && jump > most) {
            add(Rule::rollover, line, block.kind().title, rowText(rows - 1),
                "corrections " + shortest(block.values[2 * rows - 1].single) + " in the last row and " +
                    shortest(block.values[1].single) + " in the first, " + rounded(open, 6) + " degrees apart",
                "a difference of at most " + rounded(most, 2),
                "the curve goes round: the first row follows the last one a turn later; look for a wrong correction");
        }
    }
}

void Checks::checkEncoderCurve(const DocumentBlock& block)
{
    const std::size_t rows = rowsOf(block);
    std::vector<float> table;
    for (std::size_t i = 0; i < 2 * rows; ++i) {
        table.push_back(block.values[i].single);
        if (!std::isfinite(table.back())) {
            return; // told already
        }
    }
    mek::CEncoder encoder;
    encoder.setCalTable(table.data(), static_cast<int>(rows));
    for (std::size_t row = 1; row < rows; ++row) {
        const float before = encoder.encCalibration(table[2 * row - 2]);
        const float here = encoder.encCalibration(table[2 * row]);
        if (!(here > before)) {
            add(Rule::notMonotone, lineOf(block, row), block.kind().title, rowText(row),
                "calibrated angle " + shortest(here) + " behind " + shortest(before),
                "calibrated angles that ascend with their readings",
                "look for a wrong correction in this row or the one before");
        }
    }
}

void Checks::checkTiltCurve(const DocumentBlock& block)
{
    const std::size_t rows = rowsOf(block);
    std::vector<float> x;
    std::vector<float> y;
    for (std::size_t row = 0; row < rows; ++row) {
        x.push_back(block.values[2 * row].single);
        y.push_back(block.values[2 * row + 1].single);
        if (!std::isfinite(y.back())) {
            return; // told already
        }
    }
    std::vector<double> steps;
    for (std::size_t row = 1; row < rows; ++row) {
        steps.push_back(static_cast<double>(y[row]) - static_cast<double>(y[row - 1]));
    }
    const auto up = static_cast<std::size_t>(std::count_if(steps.begin(), steps.end(), [](double s) { return s > 0; }));
    const double sign = 2 * up >= steps.size() ? 1.0 : -1.0;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (!(sign * steps[i] > 0)) {
            add(Rule::notMonotone, lineOf(block, i + 1), block.kind().title, rowText(i + 1),
                "angle " + shortest(y[i + 1]) + " behind " + shortest(y[i]),
                sign > 0 ? "angles that ascend with their rows" : "angles that descend with their rows",
                "look for a wrong angle in this row or the one before");
        }
    }
    std::vector<double> coefficients(4 * rows);
    const int segments = static_cast<int>(rows) - 1;
    mek::CubicSplines(x.data(), y.data(), segments, coefficients.data());
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const double low = static_cast<double>(std::min(y[i], y[i + 1]));
        const double high = static_cast<double>(std::max(y[i], y[i + 1]));
        // Where the points themselves turn round, the curve may swing beyond them.
        const bool straight =
            (i == 0 || steps[i - 1] * steps[i] > 0) && (i + 1 == steps.size() || steps[i] * steps[i + 1] > 0);
        const double tolerance = kOvershoot * (high - low) + 2.0 * std::numeric_limits<float>::epsilon() *
                                                                 std::max(std::fabs(low), std::fabs(high));
        constexpr int kPoints = 16;
        double worst = 0.0;
        float where = 0.0F;
        for (int k = 1; k < kPoints && straight; ++k) {
            const float at = x[i] + (x[i + 1] - x[i]) * (static_cast<float>(k) / kPoints);
            bool outside = false;
            const double value =
                static_cast<double>(mek::CalcSpline(false, x.data(), coefficients.data(), segments, at, &outside));
            const double excess = std::max(low - value, value - high);
            if (excess > worst) {
                worst = excess;
                where = at;
            }
        }
        if (worst > tolerance) {
            add(Rule::overshoot, lineOf(block, i), block.kind().title, rowText(i),
                "a spline that swings " + rounded(worst, 3) + " degrees beyond its points at reading " +
                    shortest(where),
                "a curve that stays between neighbouring points",
                "look for a wrong reading or angle in the rows around; a single one makes the curve swing");
        }
    }
}

void Checks::checkLimits(const DocumentBlock& block)
{
    if (!(block.extras[0].single < block.extras[1].single)) {
        add(Rule::limitsReversed, block.extras[0].line, block.kind().title, "row of limits",
            shortest(block.extras[0].single) + " to " + shortest(block.extras[1].single),
            "a lower limit below the upper one", "write the lower limit first");
    }
}

void Checks::checkTiltRows()
{
    const DocumentBlock* const x = m_document.find(Target::levelXTable);
    const DocumentBlock* const y = m_document.find(Target::levelYTable);
    if (x == nullptr || y == nullptr || x->unread > 0 || y->unread > 0 || y->number <= x->number) {
        return;
    }
    add(Rule::tiltRows, y->whole.line, y->kind().title, "row count",
        std::to_string(y->number) + " rows, and " + std::to_string(x->number) + " in the tilt X table",
        "no more rows than the tilt X table has",
        "the library stores the limits of this table behind as many rows as the tilt X table has, and overwrites rows "
        "of this table there; give both tables the same number of rows");
}

void Checks::checkUse()
{
    std::string unused;
    std::uint32_t firstUnused = 0;
    for (std::size_t i = 0; i < kBlocks.size(); ++i) {
        const Block& block = kBlocks[i];
        const DocumentBlock* const met = block.target == Target::nothing ? nullptr : m_document.find(block.target);
        if (block.target == Target::mountMode || modelsOf(block) == 0) {
            continue;
        }
        if (isUsed(block) && met == nullptr) {
            const char* const instead =
                block.target == Target::levelYTable ? "level Y then passes uncorrected and counts as outside its table"
                : block.target == Target::scaleFactors ? "the factors are then 0, 0, 0, 0, 1, 1, 1, 0"
                                                       : "its values are then zeros";
            add(Rule::blockMissing, 0, block.title, "", "a file without this block",
                "the block, which " + modeText() + " uses", instead);
        } else if (!isUsed(block) && met != nullptr) {
            unused += (unused.empty() ? "" : ", ") + std::string(block.title);
            firstUnused = firstUnused == 0 ? met->line : firstUnused;
        }
    }
    if (!unused.empty()) {
        add(Rule::blockIgnored, firstUnused, "", "", unused, "blocks that " + modeText() + " uses",
            "nothing needs to be done; changes in these blocks do not change the orientation");
    }
}

void Checks::checkRest()
{
    const std::string_view rest = platform::trimmed(m_document.rest(), " \t\n\v\f\r");
    const std::string_view line = rest.substr(0, rest.find_first_of("\r\n"));
    if (!rest.empty()) {
        const bool isShort = m_document.mode < kFirstLongMode;
        const auto lines = 1 + std::count(rest.begin(), rest.end(), '\n');
        add(Rule::ignoredText, m_document.restLine, "", "",
            inQuotes(line) + (lines > 1 ? " and " + std::to_string(lines - 1) + " more lines" : ""),
            isShort ? "the end of the file behind Mounting Mode " + std::to_string(m_document.mode)
                    : std::string("the end of the file behind DynamicParameters"),
            isShort ? "the library reads blocks behind the mount mode in modes 7 and above only; take the text out, or "
                      "correct the mode"
                    : "take the text out");
    }
    if (m_document.endLine > 0 && m_document.textEnd + 1 < m_document.bytes.size()) {
        add(Rule::ignoredText, m_document.endLine, "", "",
            "a byte 0x1A with " + std::to_string(m_document.bytes.size() - m_document.textEnd - 1) + " bytes behind it",
            "the end of the file", "the text ends at such a byte; take it out if the text behind it matters");
    }
}

void Checks::checkRewrite()
{
    const DocumentBlock* const mode = m_document.find(Target::mountMode);
    if (m_document.status == kSuccess && mode != nullptr) {
        add(Rule::rewriteRefused, mode->line, mode->kind().title, "", "a file with this block",
            "a file that ends before it",
            "CKorPrm::PrmFileCopy refuses it with 619 and leaves the file as it is" +
                std::string(m_mode >= kFirstLongMode ? "; it would also drop DynamicParameters" : ""));
    }
}

const char* nameOf(Encoding encoding)
{
    switch (encoding) {
    case Encoding::utf16:
        return "UTF-16, two bytes for each character";
    case Encoding::compressed:
        return "a compressed file";
    default:
        return "a binary file, with zeros or other control characters";
    }
}

} // namespace

std::span<const RuleText> rules()
{
    return kRules;
}

const RuleText& textOf(Rule rule)
{
    return kRules[static_cast<std::size_t>(rule)];
}

void Findings::add(CheckFinding finding)
{
    constexpr std::size_t kMost = 3;
    const auto isSame = [&finding](const CheckFinding& other) {
        return other.rule == finding.rule && std::strcmp(other.block, finding.block) == 0;
    };
    // The numbers that these two rules complain of usually fill whole blocks.
    const bool once = finding.rule == Rule::precision || finding.rule == Rule::rewriteTruncates;
    const auto same = static_cast<std::size_t>(std::count_if(m_all.begin(), m_all.end(), isSame));
    if (same < (once ? 1 : kMost)) {
        m_all.push_back(std::move(finding));
    } else {
        ++std::find_if(m_all.rbegin(), m_all.rend(), isSame)->more;
    }
}

bool Findings::any(Severity severity) const
{
    return std::any_of(m_all.begin(), m_all.end(),
                       [severity](const CheckFinding& finding) { return textOf(finding.rule).severity == severity; });
}

bool Findings::anyError(const char* block) const
{
    return std::any_of(m_all.begin(), m_all.end(), [block](const CheckFinding& finding) {
        return textOf(finding.rule).severity == Severity::error && std::strcmp(finding.block, block) == 0;
    });
}

std::vector<CheckFinding> Findings::take()
{
    std::stable_sort(m_all.begin(), m_all.end(),
                     [](const CheckFinding& a, const CheckFinding& b) { return a.line < b.line; });
    return std::move(m_all);
}

std::vector<CheckFinding> check(const Document& document, std::optional<std::int32_t> mode)
{
    Findings findings;
    if (document.tooLarge) {
        findings.add({Rule::tooLarge, 0, "", "", document.found, document.expected,
                      "a parameter file has some thousand bytes; this is another file"});
        return findings.take();
    }
    if (document.encoding != Encoding::text) {
        findings.add({Rule::notText, 1, "", "", nameOf(document.encoding), "a text file of one byte for each character",
                      document.encoding == Encoding::utf16        ? "save it as UTF-8 or in the system's 8-bit encoding"
                      : document.encoding == Encoding::compressed ? "unpack it"
                                                                  : "this is another file, or a damaged one"});
        return findings.take();
    }
    // A file of another sensor may be sound for all that.
    const bool isMismatch = document.status != kSuccess && document.messageId == kIdMismatch &&
                            document.blocks.front().whole.readable && document.id;
    if (isMismatch) {
        const DocumentBlock& serial = document.blocks.front();
        findings.add({Rule::idMismatch, serial.whole.line, serial.kind().title, "", std::to_string(serial.number),
                      std::to_string(static_cast<std::int32_t>(*document.id)) + ", the ID in the file's name",
                      "correct the ID, or give the file the name " +
                          fileNameOf(static_cast<std::int32_t>(saturated(serial.number)))});
    }
    std::optional<Document> anyId;
    if (isMismatch) {
        anyId = takeApart(document.bytes, std::nullopt);
    }
    const Document& whole = anyId ? *anyId : document;
    std::uint64_t unread = 0;
    for (const DocumentBlock& block : whole.blocks) {
        unread += block.unread;
    }
    if (whole.status != kSuccess || unread > 0) {
        explainStructure(whole, findings);
        if (!findings.any(Severity::error)) {
            findings.add({Rule::refused, whole.line, whole.block, "",
                          whole.found == kEndOfFile ? whole.found : inQuotes(whole.found), whole.expected,
                          "correct this line"});
        }
    }
    Checks(whole, mode, findings).run();
    return findings.take();
}

std::string sentence(const std::string& file, const CheckFinding& finding)
{
    std::string text = file;
    const auto part = [&text](const std::string& more) { text += (text.empty() ? "" : ": ") + more; };
    if (finding.line > 0) {
        part("line " + std::to_string(finding.line));
    }
    if (*finding.block != '\0') {
        part("block \"" + std::string(finding.block) + "\"");
    }
    if (!finding.field.empty()) {
        part(finding.field);
    }
    part("found " + finding.found + ", expected " + finding.expected + "; " + finding.advice);
    if (finding.more > 0) {
        text += " (and " + std::to_string(finding.more) + " more of this kind in the block)";
    }
    return text;
}

} // namespace kor::params
