#include "tools/kor/PrmDifference.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <string_view>

#include <fmt/format.h>

#include "platform/Text.h"

namespace kor::tool {

namespace {

constexpr const char* kNotReadable = "not readable";
constexpr std::string_view kReading = "reading";

std::string numberText(const PrmNumber& number)
{
    return number ? shortestText(*number) : kNotReadable;
}

bool areEqual(const PrmNumber& a, const PrmNumber& b, double tolerance)
{
    if (!a || !b) {
        return !a && !b;
    }
    return *a == *b || (std::isnan(*a) && std::isnan(*b)) ||
           std::fabs(static_cast<double>(*a) - static_cast<double>(*b)) <= tolerance;
}

std::optional<double> changeOf(const PrmNumber& a, const PrmNumber& b)
{
    if (!a || !b || !std::isfinite(*a) || !std::isfinite(*b)) {
        return std::nullopt;
    }
    return static_cast<double>(*b) - static_cast<double>(*a);
}

bool ascends(std::span<const PrmNumber> values, std::size_t columns)
{
    for (std::size_t i = 0; i + columns < values.size(); i += columns) {
        if (!values[i] || !values[i + columns] || !(*values[i] < *values[i + columns])) {
            return false;
        }
    }
    return true;
}

class Comparison {
public:
    Comparison(std::uint32_t kind, const PrmBlock& a, const PrmBlock& b, double tolerance)
        : m_kind(kind), m_form(ParameterBlockKindOf(kind)), m_a(a), m_b(b), m_tolerance(tolerance)
    {
    }

    PrmBlockDifference made()
    {
        m_made.kind = m_kind;
        m_made.inA = m_a.present;
        m_made.inB = m_b.present;
        if (!m_a.present || !m_b.present) {
            return std::move(m_made);
        }
        if (isTable(m_form)) {
            compareTable();
        } else {
            compareNumbers(m_a.values, m_b.values, 0, std::nullopt);
            if (m_a.integer != m_b.integer) {
                const auto text = [](const std::optional<std::int64_t>& integer) {
                    return integer ? std::to_string(*integer) : kNotReadable;
                };
                m_made.values.push_back({.a = text(m_a.integer), .b = text(m_b.integer)});
            }
        }
        compareNumbers(m_a.extras, m_b.extras, m_form.columns, std::nullopt);
        if (m_a.word != m_b.word) {
            m_made.values.push_back({.field = m_form.layout == ParameterLayout::tiltTable ? "word" : "",
                                     .a = platform::shown(m_a.word),
                                     .b = platform::shown(m_b.word),
                                     .isWord = true});
        }
        return std::move(m_made);
    }

private:
    PrmDifference named(std::size_t field) const
    {
        const ParameterField found = ParameterFieldOf(m_kind, static_cast<std::uint32_t>(field));
        return {.field = found.name, .unit = found.unit};
    }

    // Values that follow each other and have names from `field` on.
    void compareNumbers(std::span<const PrmNumber> a, std::span<const PrmNumber> b, std::size_t field,
                        std::optional<std::size_t> row)
    {
        for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
            if (!areEqual(a[i], b[i], m_tolerance)) {
                PrmDifference value = named(field + i);
                value.row = row;
                value.reading = row ? a.front() : PrmNumber();
                value.a = numberText(a[i]);
                value.b = numberText(b[i]);
                value.change = changeOf(a[i], b[i]);
                m_made.values.push_back(value);
            }
        }
    }

    std::span<const PrmNumber> rowOf(const PrmBlock& block, std::size_t row) const
    {
        return std::span(block.values).subspan(row * m_form.columns, m_form.columns);
    }

    // A row that only one side has.
    void add(const PrmBlock& block, std::size_t row)
    {
        const std::span<const PrmNumber> values = rowOf(block, row);
        std::string text;
        for (const PrmNumber& value : values) {
            text += (text.empty() ? "" : ", ") + numberText(value);
        }
        PrmDifference found{.field = "row", .row = row + 1, .reading = values.front()};
        (&block == &m_a ? found.a : found.b) = text;
        m_made.values.push_back(found);
    }

    void compareTable()
    {
        const std::size_t rowsOfA = m_a.values.size() / m_form.columns;
        const std::size_t rowsOfB = m_b.values.size() / m_form.columns;
        m_made.rowsOfA = rowsOfA;
        m_made.rowsOfB = rowsOfB;
        const bool byReading =
            rowsOfA != rowsOfB && ascends(m_a.values, m_form.columns) && ascends(m_b.values, m_form.columns);
        std::size_t a = 0;
        std::size_t b = 0;
        while (a < rowsOfA || b < rowsOfB) {
            const bool onlyA = b == rowsOfB || (byReading && a < rowsOfA && before(a, b));
            const bool onlyB = !onlyA && (a == rowsOfA || (byReading && after(a, b)));
            if (onlyA) {
                add(m_a, a++);
            } else if (onlyB) {
                add(m_b, b++);
            } else {
                compareNumbers(rowOf(m_a, a), rowOf(m_b, b), 0, a + 1);
                ++a;
                ++b;
            }
        }
    }

    bool before(std::size_t a, std::size_t b) const
    {
        const PrmNumber& readingOfA = rowOf(m_a, a).front();
        const PrmNumber& readingOfB = rowOf(m_b, b).front();
        return readingOfA < readingOfB && !areEqual(readingOfA, readingOfB, m_tolerance);
    }

    bool after(std::size_t a, std::size_t b) const
    {
        const PrmNumber& readingOfA = rowOf(m_a, a).front();
        const PrmNumber& readingOfB = rowOf(m_b, b).front();
        return readingOfB < readingOfA && !areEqual(readingOfA, readingOfB, m_tolerance);
    }

    std::uint32_t m_kind;
    ParameterBlockKind m_form;
    const PrmBlock& m_a;
    const PrmBlock& m_b;
    double m_tolerance;
    PrmBlockDifference m_made;
};

// "+0.0021 degrees (7.56 arc-seconds)".
std::string changeText(const PrmDifference& value)
{
    if (!value.change) {
        return {};
    }
    constexpr double kArcSeconds = 3600.0;
    const std::string number = fmt::format("{:+.6g}", *value.change);
    if (value.unit == "degrees") {
        return fmt::format("{} degrees ({:.4g} arc-seconds)", number, *value.change * kArcSeconds);
    }
    // The readings of a level have no unit but the name of their column.
    return value.unit.empty() || value.unit == kReading ? number : number + " " + value.unit;
}

std::string lineOf(const PrmDifference& value)
{
    const std::string place =
        value.row ? fmt::format("row {:<5} at {:<11}", *value.row, numberText(value.reading)) : std::string();
    if (value.a.empty() || value.b.empty()) {
        return fmt::format("  {} only in {}: {}\n", place, value.a.empty() ? "B" : "A", value.a + value.b);
    }
    const std::string name = fmt::format("{}{}{}", place, place.empty() ? "" : " ", nameInWords(value.field));
    std::string line =
        fmt::format("  {:<{}} {:>12} -> {:<12} {}", name, value.row ? 34 : 18, value.a, value.b, changeText(value));
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

// "3 of 37 rows differ; largest change of correction +0.0021 degrees in row 14".
std::string tableHead(const PrmBlockDifference& block)
{
    std::string text;
    std::vector<std::size_t> rows;
    const PrmDifference* largest = nullptr;
    for (const PrmDifference& value : block.values) {
        if (value.row && !value.a.empty() && !value.b.empty()) {
            rows.push_back(*value.row);
            if (value.change && (largest == nullptr || std::fabs(*value.change) > std::fabs(*largest->change))) {
                largest = &value;
            }
        }
    }
    if (*block.rowsOfA != *block.rowsOfB) {
        text = fmt::format("{} rows in A, {} in B", *block.rowsOfA, *block.rowsOfB);
    }
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    if (!rows.empty()) {
        text += fmt::format("{}{} of {} rows {}", text.empty() ? "" : "; ", rows.size(), *block.rowsOfA,
                            rows.size() == 1 ? "differs" : "differ");
    }
    if (largest != nullptr && rows.size() > 1) {
        text += fmt::format("; largest change: {} {} in row {}", nameInWords(largest->field), changeText(*largest),
                            *largest->row);
    }
    return text.empty() ? text : ": " + text;
}

} // namespace

std::vector<PrmBlockDifference> differencesOf(const PrmContent& a, const PrmContent& b, double tolerance)
{
    std::vector<PrmBlockDifference> blocks;
    for (std::uint32_t kind = 0; kind < a.blocks.size(); ++kind) {
        PrmBlockDifference block = Comparison(kind, a.blocks[kind], b.blocks[kind], tolerance).made();
        if (block.inA != block.inB || !block.values.empty()) {
            blocks.push_back(std::move(block));
        }
    }
    return blocks;
}

std::string differenceText(const std::vector<PrmBlockDifference>& blocks, std::size_t mostRows)
{
    std::string text;
    for (const PrmBlockDifference& block : blocks) {
        text += ParameterBlockKindOf(block.kind).title;
        if (block.inA != block.inB) {
            text += fmt::format(": only in {}\n", block.inA ? "A" : "B");
            continue;
        }
        text += (block.rowsOfA ? tableHead(block) : "") + "\n";
        std::size_t rows = 0;
        for (const PrmDifference& value : block.values) {
            rows += value.row ? 1 : 0;
            text += value.row && rows > mostRows ? "" : lineOf(value);
        }
        if (rows > mostRows) {
            text += fmt::format("  and {} more values of rows; --all lists them\n", rows - mostRows);
        }
    }
    return text;
}

std::size_t differenceCount(const std::vector<PrmBlockDifference>& blocks)
{
    std::size_t count = 0;
    for (const PrmBlockDifference& block : blocks) {
        count += std::max<std::size_t>(block.values.size(), 1);
    }
    return count;
}

} // namespace kor::tool
