#include "recordings/Table.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "platform/Text.h"
#include "recordings/BinaryResults.h"

namespace kor::recordings {

using platform::inQuotes;

std::size_t Records::columnNamed(std::string_view name) const
{
    const std::string wanted = folded(name);
    const auto at = std::find_if(m_kind.columns.begin(), m_kind.columns.end(),
                                 [&wanted](const Column& column) { return folded(column.name) == wanted; });
    return static_cast<std::size_t>(at - m_kind.columns.begin());
}

bool Records::note(std::size_t column)
{
    const bool first = !m_has[column];
    m_has[column] = true;
    return first;
}

void Records::warnOfOther(std::string_view name)
{
    Problem warning = badContent();
    warning.reason = "column " + inQuotes(name) + " is not a column of " + std::string(m_kind.name) + ": left out";
    m_warnings.push_back(std::move(warning));
}

std::string Records::missing() const
{
    std::string names;
    for (std::size_t i = 0; i < m_kind.columns.size(); ++i) {
        if (!m_has[i] && !m_kind.columns[i].optional) {
            names += (names.empty() ? "" : ", ") + std::string(m_kind.columns[i].name);
        }
    }
    return names;
}

// A problem with the line handed out last; false, for the caller to return.
bool CsvRecords::refuse(std::string found, std::string expected)
{
    m_problem = badContent();
    m_problem.line = m_lines.number();
    m_problem.found = std::move(found);
    m_problem.expected = std::move(expected);
    return false;
}

bool CsvRecords::begin()
{
    const std::string_view start = beginning(m_input);
    m_input.consume(start.size() - withoutMark(start).size());
    std::string_view line;
    do {
        switch (m_lines.next(line)) {
        case Lines::Step::tooLong:
        case Lines::Step::failed:
            m_problem = m_lines.problem();
            return false;
        case Lines::Step::end:
            refuse("no header line", "one with the columns " + headerLine(m_kind.columns));
            m_problem.line = 0;
            return false;
        case Lines::Step::pending:
        case Lines::Step::line:
            break;
        }
    } while (isBlank(line));
    return readHeader(line);
}

bool CsvRecords::readHeader(std::string_view line)
{
    m_texts.resize(m_kind.columns.size());
    for (const std::string& name : cellsOf(line)) {
        const std::size_t index = columnNamed(name);
        if (index == m_kind.columns.size()) {
            warnOfOther(name);
            m_places.push_back({nullptr, Type::text, 0});
            continue;
        }
        const Column& column = m_kind.columns[index];
        if (!note(index)) {
            return refuse("column " + std::string(column.name) + " twice", "it once");
        }
        m_places.push_back({&column, column.type, column.offset});
    }
    if (!missing().empty()) {
        return refuseHeader(line);
    }
    if (m_kind.othersRefused && !m_warnings.empty()) {
        std::string others;
        for (const std::string& name : cellsOf(line)) {
            if (columnNamed(name) == m_kind.columns.size()) {
                others += (others.empty() ? "column " : ", ") + inQuotes(name);
            }
        }
        return refuse(others, "only the columns " + headerLine(m_kind.columns));
    }
    return true;
}

// What the header seems to be instead, or what it lacks.
bool CsvRecords::refuseHeader(std::string_view line)
{
    const Recognised recognised = recognise(line);
    if (recognised.content == m_kind.csv || recognised.what.starts_with("text ")) {
        return refuse("the header " + inQuotes(line), "also the columns " + missing());
    }
    refuse(recognised.what, std::string(m_kind.name));
    m_problem.advice = recognised.advice;
    return false;
}

Step CsvRecords::next(void* record)
{
    for (;;) {
        switch (m_lines.next(m_line)) {
        case Lines::Step::end:
            return Step::end;
        case Lines::Step::pending:
            return Step::pending;
        case Lines::Step::tooLong:
            m_problem = m_lines.problem();
            return Step::bad;
        case Lines::Step::failed:
            m_problem = m_lines.problem();
            return Step::failed;
        case Lines::Step::line:
            if (isBlank(m_line)) {
                continue;
            }
            return readRow(m_line, static_cast<char*>(record)) ? Step::sample : Step::bad;
        }
    }
}

bool CsvRecords::readRow(std::string_view line, char* record)
{
    std::memset(record, 0, m_kind.recordSize);
    const char* at = line.data();
    const char* const end = at + line.size();
    for (std::size_t i = 0; i < m_places.size(); ++i) {
        const Place& place = m_places[i];
        char* const into = record + place.offset;
        const bool last = i + 1 == m_places.size();

        // Nearly every cell is a plain number that ends where the cell does.
        const char* stop = readNumber(place.type, at, end, into);
        if (stop == nullptr || (stop == end ? !last : last || *stop != ',')) {
            const Cell cell = cellAt(at, end, ',', m_unquoted);
            stop = cell.end;
            if (cell.fault == Cell::Fault::none && (stop == end) != last) {
                return refuseCount(line);
            }
            if (!readUnusual(cell, place, into)) {
                return false;
            }
        }
        at = last ? stop : stop + 1;
    }
    return true;
}

bool CsvRecords::refuseCount(std::string_view line)
{
    const std::size_t count = cellsOf(line).size();
    refuse(std::to_string(count) + (count == 1 ? " field" : " fields"), std::to_string(m_places.size()));
    if (count > m_places.size()) {
        m_problem.advice = "numbers have a decimal point, and a text that holds a comma stands in quotation marks";
        return false;
    }
    for (const Separator& separator : kSeparators) {
        if (separator.character != ',' && cellsOf(line, separator.character).size() == m_places.size()) {
            m_problem.expected += ", separated by commas and not by " + std::string(separator.name);
        }
    }
    return false;
}

// A cell that is left out, or a value in one of the rarer forms, or neither.
bool CsvRecords::readUnusual(const Cell& cell, const Place& place, char* into)
{
    if (cell.fault == Cell::Fault::quoteNotClosed) {
        refuse(inQuotes(cell.text), "the quotation mark that closes it");
        m_problem.advice = "a cell must not hold a line break";
    } else if (cell.fault == Cell::Fault::textBehindQuote) {
        refuse("text behind the quoted " + inQuotes(cell.text), "a comma");
    } else if (place.column == nullptr ||
               (place.type == Type::text ? keepText(cell.text, place, into) : readValue(place.type, cell.text, into))) {
        return true;
    } else {
        refuse(inQuotes(cell.text), std::string(expectation(place.type)));
        if (saysMissing(cell.text)) {
            m_problem.advice = "only columns of floating-point numbers can have missing values";
        }
        if (cell.text.empty()) {
            m_problem.reason = "the cell is empty";
            m_problem.found.clear();
        }
    }
    m_problem.column = place.column == nullptr ? "" : place.column->name;
    return false;
}

// A word stays here while the record points to it.
bool CsvRecords::keepText(std::string_view text, const Place& place, char* into)
{
    const bool isWord =
        std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f' && c != ',' && c != '"'; });
    if (!isWord || text.size() > kLongestText) {
        return false;
    }
    std::string& kept = m_texts[static_cast<std::size_t>(place.column - m_kind.columns.data())];
    kept = text;
    const char* const pointer = kept.c_str();
    std::memcpy(into, &pointer, sizeof pointer);
    return true;
}

std::string CsvRecords::textOf(std::size_t column) const
{
    const std::vector<std::string> cells = cellsOf(m_line);
    for (std::size_t i = 0; i < std::min(cells.size(), m_places.size()); ++i) {
        if (m_places[i].column == &m_kind.columns[column]) {
            return cells[i];
        }
    }
    return {};
}

bool PlainRecords::begin()
{
    for (std::size_t column = 0; column < m_kind.columns.size(); ++column) {
        note(column);
    }
    return true;
}

Step PlainRecords::nextBytes(std::size_t size, std::string_view& bytes)
{
    while (m_input.ahead().size() < size && m_input.more()) {
    }
    bytes = m_input.ahead().substr(0, size);
    if (bytes.size() < size && m_input.problem()) {
        m_problem = m_input.problem();
        m_problem.record = m_problem.kind == Problem::Kind::badData ? m_record + 1 : 0;
        m_problem.byte = m_input.consumed();
        return Step::failed;
    }
    if (bytes.size() < size && m_input.mustWait()) {
        return Step::pending;
    }
    if (bytes.empty()) {
        return Step::end;
    }
    ++m_record;
    m_byte = m_input.consumed();
    m_input.consume(bytes.size());
    if (bytes.size() < size) {
        refuseRecord(std::to_string(bytes.size()) + (bytes.size() == 1 ? " byte" : " bytes") + " before the end",
                     std::to_string(size));
        return Step::bad;
    }
    return Step::sample;
}

void PlainRecords::refuseRecord(std::string found, std::string expected)
{
    m_problem = badContent();
    m_problem.record = m_record;
    m_problem.byte = m_byte;
    m_problem.found = std::move(found);
    m_problem.expected = std::move(expected);
}

Step PlainRecords::next(void* record)
{
    std::string_view bytes;
    const Step step = nextBytes(m_kind.recordSize, bytes);
    if (step == Step::sample) {
        std::memcpy(record, bytes.data(), bytes.size());
    }
    return step;
}

bool PackedRecords::refuse(std::string reason)
{
    m_problem = badContent();
    m_problem.reason = "in the header of the binary results " + std::move(reason);
    return false;
}

bool PackedRecords::await(std::size_t size)
{
    while (m_input.ahead().size() < size && m_input.more()) {
    }
    if (m_input.ahead().size() >= size) {
        return true;
    }
    if (m_input.problem()) {
        m_problem = m_input.problem();
        return false;
    }
    return refuse("there are " + std::to_string(m_input.ahead().size()) + " bytes before the end, expected " +
                  std::to_string(size));
}

bool PackedRecords::begin()
{
    BinaryHeader header;
    if (!await(kFixedHeader)) {
        return false;
    }
    if (std::string wrong = readFixedHeader(m_input.ahead(), header); !wrong.empty()) {
        return refuse(std::move(wrong));
    }
    if (!await(header.headerSize)) {
        return false;
    }
    if (std::string wrong = readColumnTable(m_input.ahead(), header); !wrong.empty()) {
        return refuse(std::move(wrong));
    }
    m_input.consume(header.headerSize);
    m_size = header.recordSize;
    for (const PackedColumn& column : header.columns) {
        const std::size_t index = columnNamed(column.name);
        if (index == m_kind.columns.size() || m_kind.columns[index].type != column.type) {
            warnOfOther(column.name);
            continue;
        }
        if (!note(index)) {
            return refuse("column " + column.name + " stands twice");
        }
        m_places.push_back({&m_kind.columns[index], column.offset});
    }
    return missing().empty() || refuse("the columns " + missing() + " are missing");
}

Step PackedRecords::next(void* record)
{
    std::string_view bytes;
    if (const Step step = nextBytes(m_size, bytes); step != Step::sample) {
        return step;
    }
    std::memset(record, 0, m_kind.recordSize);
    for (const Place& place : m_places) {
        const Type type = place.column->type;
        const char* const from = bytes.data() + place.from;
        const auto byte = static_cast<unsigned char>(*from);
        if ((type == Type::flag && byte > 1) || (type == Type::outcome && byte >= kOutcomeNames.size())) {
            refuseRecord(std::to_string(byte), type == Type::flag ? std::string(expectation(type))
                                                                  : "the number of an outcome, 0 to " +
                                                                        std::to_string(kOutcomeNames.size() - 1));
            m_problem.column = place.column->name;
            return Step::bad;
        }
        std::memcpy(static_cast<char*>(record) + place.column->offset, from, packedSize(type));
    }
    return Step::sample;
}

} // namespace kor::recordings
