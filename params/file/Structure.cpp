// Explains a file that cannot be read as it should be.
//
// A read goes from item to item and does not look at lines: a number that is missing shifts all that follow, and what
// is wrong shows somewhere else, or not at all. Here the file is first divided at its titles, and then each block is
// held against what it should consist of.
#include <algorithm>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "params/file/Blocks.h"
#include "params/file/Check.h"
#include "params/file/Document.h"
#include "params/file/Fields.h"
#include "params/file/Scanner.h"
#include "platform/Text.h"

namespace kor::params {

namespace {

using platform::inQuotes;

constexpr std::string_view kSpace = " \t\n\v\f\r";

struct Token {
    std::string_view text;
    std::uint32_t line = 1;
    bool begins = false; // its line
    bool number = false; // from its first to its last byte
};

// The tokens of one line of a block.
struct Line {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t size() const { return end - begin; }
};

// A title that was found.
struct Segment {
    std::size_t block = 0;
    std::size_t title = 0; // its first token
};

bool isNumber(std::string_view text)
{
    Scanner scanner(text);
    float value = 0.0F;
    return scanner.floats({&value, 1}) == 1 && scanner.consumed() == text.size();
}

bool isWhole(std::string_view text)
{
    Scanner scanner(text);
    std::int64_t value = 0;
    return scanner.integer(value) && scanner.consumed() == text.size();
}

std::int64_t wholeOf(std::string_view text)
{
    Scanner scanner(text);
    std::int64_t value = 0;
    scanner.integer(value);
    return value;
}

std::string plural(std::uint64_t number, const char* one)
{
    return std::to_string(number) + " " + one + (number == 1 ? "" : "s");
}

std::string title(std::size_t block)
{
    return "the title \"" + std::string(kBlocks[block].title) + "\"";
}

class Structure {
public:
    Structure(const Document& document, Findings& findings) : m_document(document), m_findings(findings)
    {
        cut();
        findTitles();
    }

    void explain();

private:
    void cut();
    void findTitles();
    std::string wordsFrom(std::size_t at) const;
    std::size_t endOfLine(std::size_t at, std::size_t limit) const;
    std::uint32_t lineBefore(std::size_t at) const;
    std::vector<Line> linesOf(std::size_t begin, std::size_t end) const;
    bool isAllWords(const Line& line) const;
    bool isTitleOf(std::size_t at, std::size_t block) const;

    void add(Rule rule, std::uint32_t line, std::size_t block, std::string field, std::string found,
             std::string expected, std::string advice)
    {
        m_findings.add({rule, line, kBlocks[block].title, std::move(field), std::move(found), std::move(expected),
                        std::move(advice)});
    }

    void addUnreadable(std::size_t at, std::size_t block, std::string field, const char* expected)
    {
        const std::string_view text = m_tokens[at].text;
        const bool comma = text.find(',') != std::string_view::npos;
        add(Rule::unreadableValue, m_tokens[at].line, block, std::move(field), inQuotes(text), expected,
            comma ? "write a decimal point, and nothing between thousands"
                  : "put the number there; the library keeps what was there before, or 0");
    }

    bool followsTitleOf(std::size_t block, std::size_t at) const
    {
        return at < m_segments.size() && m_segments[at].block == block;
    }

    std::size_t bodyOf(std::size_t block, std::size_t begin, std::size_t limit);
    std::size_t integerBody(std::size_t block, std::size_t begin, std::size_t limit);
    std::size_t wordBody(std::size_t block, std::size_t begin, std::size_t limit);
    std::size_t rowsBody(std::size_t block, std::size_t begin, std::size_t limit);
    std::size_t tableBody(std::size_t block, std::size_t begin, std::size_t limit);
    void compareRows(std::size_t block, const std::vector<Line>& rows, std::int64_t count, std::size_t countAt);
    std::vector<Line> withoutExtras(std::size_t block, std::vector<Line> lines, std::int64_t count,
                                    std::size_t countAt);
    void missingTitle(std::size_t block, std::uint32_t line, std::string found);
    void tellEnd(std::size_t due);
    void tellSurplus(std::size_t due, std::size_t at);

    // Where the next title that is known stands, or the end.
    std::size_t nextTitle() const { return m_next < m_segments.size() ? m_segments[m_next].title : m_tokens.size(); }

    const Document& m_document;
    Findings& m_findings;
    std::vector<Token> m_tokens;
    std::vector<Segment> m_segments;
    std::size_t m_next = 0; // of m_segments
    std::uint32_t m_lastLine = 1;
    std::int64_t m_mode = 0;
};

void Structure::cut()
{
    // Beyond this a file is not a parameter file that a person could put right.
    constexpr std::size_t kEnough = std::size_t{1} << 20;
    const std::string_view text =
        std::string_view(m_document.bytes).substr(0, std::min<std::size_t>(m_document.textEnd, kEnough));
    std::uint32_t line = 1;
    bool begins = true;
    for (std::size_t at = 0; at < text.size();) {
        if (kSpace.find(text[at]) != std::string_view::npos) {
            begins = begins || text[at] == '\n';
            line += text[at] == '\n' ? 1 : 0;
            ++at;
            continue;
        }
        const std::size_t end = std::min(text.find_first_of(kSpace, at), text.size());
        const std::string_view token = text.substr(at, end - at);
        m_tokens.push_back({token, line, begins, isNumber(token)});
        begins = false;
        at = end;
    }
    m_lastLine = line;
}

bool Structure::isTitleOf(std::size_t at, std::size_t block) const
{
    const std::size_t words = kBlocks[block].words;
    if (at + words > m_tokens.size() || m_tokens[at + words - 1].line != m_tokens[at].line) {
        return false;
    }
    std::string joined;
    for (std::size_t i = at; i < at + words; ++i) {
        joined += (i == at ? "" : " ") + std::string(m_tokens[i].text);
    }
    return holdsTitle(joined, kBlocks[block].title);
}

void Structure::findTitles()
{
    for (std::size_t at = 0; at < m_tokens.size(); ++at) {
        if (!m_tokens[at].begins || m_tokens[at].number) {
            continue;
        }
        std::size_t found = 0;
        while (found < kBlocks.size() && !isTitleOf(at, found)) {
            ++found;
        }
        if (found < kBlocks.size()) {
            m_segments.push_back({found, at});
            at += kBlocks[found].words - 1;
            // An owner may be called anything, unless it is missing.
            at += kBlocks[found].layout == Layout::word && !isTitleOf(at + 1, found + 1) ? 1 : 0;
        }
    }
}

// The rest of a token's line, in quotes, as far as these show it.
std::string Structure::wordsFrom(std::size_t at) const
{
    constexpr std::size_t kEnough = 200;
    std::string joined;
    for (std::size_t i = at; i < m_tokens.size() && m_tokens[i].line == m_tokens[at].line && joined.size() < kEnough;
         ++i) {
        joined += (i == at ? "" : " ") + std::string(m_tokens[i].text);
    }
    return inQuotes(joined);
}

std::size_t Structure::endOfLine(std::size_t at, std::size_t limit) const
{
    std::size_t end = at;
    while (end < limit && m_tokens[end].line == m_tokens[at].line) {
        ++end;
    }
    return end;
}

// Of what stands before a token: its title at least.
std::uint32_t Structure::lineBefore(std::size_t at) const
{
    return m_tokens[at - 1].line;
}

std::vector<Line> Structure::linesOf(std::size_t begin, std::size_t end) const
{
    std::vector<Line> lines;
    for (std::size_t at = begin; at < end;) {
        lines.push_back({at, endOfLine(at, end)});
        at = lines.back().end;
    }
    return lines;
}

bool Structure::isAllWords(const Line& line) const
{
    for (std::size_t at = line.begin; at < line.end; ++at) {
        if (m_tokens[at].number) {
            return false;
        }
    }
    return true;
}

void Structure::missingTitle(std::size_t block, std::uint32_t line, std::string found)
{
    add(Rule::titleMissing, line, block, "", std::move(found), title(block),
        "the blocks stand in a fixed order, each under its title; write the title there, with its block if that is "
        "missing too");
}

std::size_t Structure::integerBody(std::size_t block, std::size_t begin, std::size_t limit)
{
    const bool isMode = kBlocks[block].target == Target::mountMode;
    const char* const expected =
        isMode ? "the mount mode, a whole number from 1 to 10" : "the ID of the sensor, a whole number";
    if (begin == limit) {
        add(Rule::missingValue, lineBefore(begin), block, "", "nothing", expected,
            isMode ? "write the mount mode; without it the library takes 0, and the pendulum model"
                   : "write the ID that the file's name has");
        return begin;
    }
    if (!isWhole(m_tokens[begin].text)) {
        addUnreadable(begin, block, "", expected);
    } else if (isMode) {
        m_mode = wholeOf(m_tokens[begin].text);
    }
    return begin + 1;
}

std::size_t Structure::wordBody(std::size_t block, std::size_t begin, std::size_t limit)
{
    if (begin == limit) {
        add(Rule::missingWord, lineBefore(begin), block, "", "nothing", "one word",
            "write a word, any will do; without it the next title loses its first one");
        return begin;
    }
    return begin + 1;
}

std::size_t Structure::rowsBody(std::size_t block, std::size_t begin, std::size_t limit)
{
    const Block& kind = kBlocks[block];
    const std::size_t columns = kind.columns;
    const std::size_t wanted = columns * std::max<std::size_t>(kind.rows, 1);
    std::size_t done = 0;
    std::size_t at = begin;
    for (; done < wanted && at < limit; ++done, ++at) {
        if (m_tokens[at].number) {
            continue;
        }
        // A line of words alone, where the next title is not known: probably that title, misspelt.
        if (m_tokens[at].begins && isAllWords({at, endOfLine(at, limit)}) && at > begin &&
            !followsTitleOf(block + 1, m_next)) {
            break;
        }
        addUnreadable(at, block, fieldName(kind, done), "a number");
    }
    if (done == wanted) {
        const std::vector<Line> lines = linesOf(begin, limit);
        const auto row =
            std::find_if(lines.begin(), lines.end(), [columns](const Line& l) { return l.size() > columns; });
        if (at == limit || row == lines.end() || !followsTitleOf(block + 1, m_next)) {
            return at;
        }
        add(Rule::surplusValue, m_tokens[row->begin].line, block,
            kind.rows > 1 ? "row " + std::to_string(row - lines.begin() + 1) : std::string(),
            plural(row->size(), "value") + ", " + wordsFrom(row->begin), plural(columns, "number"),
            "take out what is too much; the library takes the last of it for the next title");
        return limit;
    }
    // The first row that is not whole, if the numbers stand in rows.
    std::uint32_t line = lineBefore(at);
    std::string field;
    std::string found = plural(done, "number");
    std::string expected = plural(wanted, "number");
    const std::vector<Line> lines = linesOf(begin, at);
    for (std::size_t row = 0; kind.rows > 1 && row < lines.size(); ++row) {
        if (lines[row].size() != columns) {
            line = m_tokens[lines[row].begin].line;
            field = "row " + std::to_string(row + 1);
            found = plural(lines[row].size(), "number") + ", " + wordsFrom(lines[row].begin);
            expected = plural(columns, "number");
            break;
        }
    }
    add(Rule::missingValue, line, block, field, found, expected,
        "put the missing number back; those that the library does not find keep what was there before, or 0");
    return at;
}

// The rows of a tilt table without the row of its limits, which is held against its form.
std::vector<Line> Structure::withoutExtras(std::size_t block, std::vector<Line> lines, std::int64_t count,
                                           std::size_t countAt)
{
    const char* const expected = "3 numbers: lower limit, upper limit, and a third";
    if (lines.empty() || (lines.back().size() == 2 && static_cast<std::int64_t>(lines.size()) == count)) {
        add(Rule::missingValue, m_tokens[lines.empty() ? countAt : lines.back().begin].line, block, "row of limits",
            "nothing behind the rows", expected, "write the row of the limits behind the rows of the table");
        return lines;
    }
    const Line last = lines.back();
    lines.pop_back();
    if (last.size() != kTiltExtras) {
        const bool few = last.size() < kTiltExtras;
        add(few ? Rule::missingValue : Rule::surplusValue, m_tokens[last.begin].line, block, "row of limits",
            plural(last.size(), "number") + ", " + wordsFrom(last.begin), expected,
            few ? "put the missing number back; the library takes the next word for it"
                : "take the surplus number out");
    }
    return lines;
}

void Structure::compareRows(std::size_t block, const std::vector<Line>& rows, std::int64_t count, std::size_t countAt)
{
    constexpr std::size_t kColumns = 2;
    std::size_t odd = 0;
    for (const Line& row : rows) {
        odd += row.size() == kColumns ? 0 : 1;
    }
    const std::size_t numbers = rows.empty() ? 0 : rows.back().end - rows.front().begin;
    // Where most lines are rows, the others are what is wrong; a table may also be written without regard to lines.
    if (odd * 2 <= rows.size()) {
        for (std::size_t i = 0; i < rows.size() && odd > 0; ++i) {
            const Line& row = rows[i];
            if (row.size() == kColumns) {
                continue;
            }
            const bool few = row.size() < kColumns;
            add(few ? Rule::missingValue : Rule::surplusValue, m_tokens[row.begin].line, block,
                "row " + std::to_string(i + 1), plural(row.size(), "number") + ", " + wordsFrom(row.begin),
                "2 numbers, reading and " + std::string(fieldName(kBlocks[block], 1)),
                few ? "put the missing number back; all numbers behind it are read into the wrong places"
                    : "take the surplus number out; all numbers behind it are read into the wrong places");
        }
        if (static_cast<std::int64_t>(rows.size()) != count) {
            add(Rule::rowCount, m_tokens[countAt].line, block, "row count", std::to_string(count),
                std::to_string(rows.size()) + ", the rows that follow",
                count > static_cast<std::int64_t>(rows.size())
                    ? "correct the count, or put the missing rows back; those that the library does not find are zeros"
                    : "correct the count, or take the surplus rows out; the library takes the first of them for a "
                      "title");
        }
        return;
    }
    add(Rule::rowCount, m_tokens[countAt].line, block, "row count", std::to_string(count),
        plural(numbers, "number") + " follow, 2 for each row", "correct the count or the rows");
}

std::size_t Structure::tableBody(std::size_t block, std::size_t begin, std::size_t limit)
{
    const bool tilt = kBlocks[block].layout == Layout::tiltTable;
    if (begin == limit) {
        add(Rule::missingValue, lineBefore(begin), block, "row count", "nothing", "a row count", "write the table");
        return begin;
    }
    // Up to the first line of words alone: the word of a tilt table, or a title that is not known.
    std::vector<Line> lines = linesOf(begin + 1, limit);
    std::size_t dataLines = 0;
    while (dataLines < lines.size() && !isAllWords(lines[dataLines])) {
        ++dataLines;
    }
    std::size_t at = dataLines < lines.size() ? lines[dataLines].begin : limit;
    lines.resize(dataLines);
    for (const Line& line : lines) {
        for (std::size_t i = line.begin; i < line.end; ++i) {
            if (!m_tokens[i].number) {
                addUnreadable(i, block, "", "a number");
            }
        }
    }
    const std::size_t numbers = at - begin - 1;
    const std::size_t extras = tilt ? kTiltExtras : 0;
    if (!isWhole(m_tokens[begin].text)) {
        addUnreadable(begin, block, "row count", "a row count, a whole number");
    } else {
        const std::int64_t count = wholeOf(m_tokens[begin].text);
        const bool fits = count >= 0 && static_cast<std::uint64_t>(count) <= numbers &&
                          2 * static_cast<std::uint64_t>(count) + extras == numbers;
        if (!fits) {
            compareRows(block, tilt ? withoutExtras(block, lines, count, begin) : lines, count, begin);
        }
    }
    if (tilt) {
        if (at == limit) {
            add(Rule::missingWord, lineBefore(at), block, "", "nothing behind the row of limits",
                "one word, usually the unit",
                "write a word, any will do; without it the next title loses its first one");
        } else {
            ++at;
        }
    }
    return at;
}

std::size_t Structure::bodyOf(std::size_t block, std::size_t begin, std::size_t limit)
{
    switch (kBlocks[block].layout) {
    case Layout::fileId:
    case Layout::integer:
        return integerBody(block, begin, limit);
    case Layout::word:
        return wordBody(block, begin, limit);
    case Layout::rows:
    case Layout::separate:
        return rowsBody(block, begin, limit);
    case Layout::encoderTable:
    case Layout::tiltTable:
        return tableBody(block, begin, limit);
    }
    return limit;
}

// The text has ended where a block is due.
void Structure::tellEnd(std::size_t due)
{
    static_assert(kBlocks.back().atEnd == AtEnd::fail);
    while (kBlocks[due].atEnd != AtEnd::fail) {
        ++due;
    }
    if (!kBlocks[due].modeSevenUp || m_mode >= kFirstLongMode) {
        add(Rule::fileEnds, m_lastLine, due, "", "end of file", title(due),
            kBlocks[due].modeSevenUp
                ? "mount mode " + std::to_string(m_mode) + " needs this block and those behind it; put them back"
                : std::string("this block and those behind it are missing; put them back"));
    }
}

// Something stands between the values of the block before and the title that is due.
void Structure::tellSurplus(std::size_t due, std::size_t at)
{
    const std::size_t before = due == 0 ? 0 : due - 1;
    std::string advice = "take out what stands between the block's last value and the next title";
    if (due == 0) {
        advice = "take out what stands before the first title";
    } else if (kBlocks[before].layout == Layout::word) {
        advice = "the owner is one word; join the words, with an underscore perhaps";
    }
    add(Rule::surplusValue, m_tokens[at].line, before, "", wordsFrom(at), title(due), advice);
}

void Structure::explain()
{
    std::size_t at = 0;
    for (std::size_t due = 0; due < kBlocks.size();) {
        if (kBlocks[due].modeSevenUp && m_mode < kFirstLongMode) {
            return; // what follows is ignored
        }
        const bool known = m_next < m_segments.size();
        const std::size_t limit = nextTitle();
        if (at < limit && known && m_segments[m_next].block == due) {
            tellSurplus(due, at);
            at = limit;
        } else if (at < limit) {
            missingTitle(due, m_tokens[at].line, wordsFrom(at));
            if (!m_tokens[at].number) {
                at = endOfLine(at, limit);
            }
            at = bodyOf(due++, at, limit);
        } else if (!known) {
            tellEnd(due);
            return;
        } else if (const Segment& segment = m_segments[m_next]; segment.block == due) {
            ++m_next;
            at = bodyOf(due, segment.title + kBlocks[due].words, nextTitle());
            ++due;
        } else if (segment.block > due) {
            missingTitle(due, m_tokens[segment.title].line, wordsFrom(segment.title));
            ++due;
        } else {
            add(Rule::blockOrder, m_tokens[segment.title].line, segment.block, "", wordsFrom(segment.title), title(due),
                "each block stands once and in its place; take this one out or move it");
            ++m_next;
            at = nextTitle();
        }
    }
}

} // namespace

void explainStructure(const Document& document, Findings& findings)
{
    Structure(document, findings).explain();
}

} // namespace kor::params
