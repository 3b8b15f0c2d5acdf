#include "params/file/Document.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <span>
#include <system_error>
#include <utility>

#include "KORInterface/Status.h"
#include "params/file/Messages.h"
#include "params/file/Reader.h"
#include "params/file/Scanner.h"
#include "platform/Decimal.h"
#include "platform/Text.h"

namespace kor::params {

namespace {

constexpr char kTextEnd = '\x1A';

std::uint32_t narrow(std::uint64_t number)
{
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(number, std::numeric_limits<std::uint32_t>::max()));
}

// The same walk as the reader's and the same calls of the scanner, but one value at a time, so that each is known.
class Apart {
public:
    Apart(Document& document, std::optional<std::uint32_t> id)
        : m_out(document), m_id(id), m_room(document.bytes.size()), m_in(std::string_view(document.bytes))
    {
    }

    void run()
    {
        if (walk()) {
            m_out.block = "";
            m_out.restAt = narrow(std::min<std::uint64_t>(m_in.consumed(), m_out.textEnd));
            m_out.restLine = narrow(m_in.line());
        }
    }

private:
    bool walk()
    {
        for (std::size_t index = 0; index < kBlocks.size(); ++index) {
            const Block& block = kBlocks[index];
            if (block.modeSevenUp && m_out.mode < kFirstLongMode) {
                break;
            }
            m_out.block = block.title;
            if (m_in.atEnd()) {
                if (block.atEnd == AtEnd::fail) {
                    return fail(block.message, m_in.line(), block.title, kEndOfFile);
                }
            } else if (!readTitle(block, index) || !readValues(block)) {
                return false;
            }
        }
        return true;
    }

    bool fail(unsigned message, std::size_t line, const char* expected, std::string_view found)
    {
        m_out.status = kFormatError;
        m_out.messageId = message;
        m_out.line = narrow(line);
        m_out.expected = expected;
        m_out.found = excerptOf(found);
        m_out.restAt = m_out.textEnd;
        m_out.restLine = m_out.line;
        return false;
    }

    bool failAtValue(unsigned message, const char* expected)
    {
        const std::size_t line = m_in.itemLine();
        const bool any = m_in.words(1, m_text) == 1;
        return fail(message, line, expected, any ? std::string_view(m_text) : kEndOfFile);
    }

    bool readTitle(const Block& block, std::size_t index)
    {
        m_in.skipSpace();
        const std::size_t line = m_in.line();
        if (m_in.takeTitle(block.title)) {
            m_text = block.title;
        } else {
            const bool any = m_in.words(block.words, m_text) > 0;
            if (!holdsTitle(m_text, block.title)) {
                return fail(block.message, line, block.title, any ? std::string_view(m_text) : kEndOfFile);
            }
        }
        m_block = &m_out.blocks.emplace_back();
        m_block->index = index;
        m_block->title = m_text;
        m_block->line = m_block->lastLine = narrow(line);
        return true;
    }

    // Where the last item that was looked for stands. For a number that was read, item() goes on to the next white
    // space, which may be beyond its end.
    Item itemHere(std::string_view text, bool readable, std::size_t length)
    {
        Item item;
        item.at = narrow(static_cast<std::size_t>(text.data() - m_out.bytes.data()));
        item.length = narrow(length);
        item.line = narrow(m_in.itemLine());
        item.readable = readable;
        m_block->lastLine = item.line;
        return item;
    }

    bool readInteger(std::int64_t& value)
    {
        const bool readable = m_in.integer(value);
        const std::string_view text = m_in.item();
        m_block->whole = itemHere(text, readable, readable ? m_in.taken() : text.size());
        m_block->unread += readable ? 0 : 1;
        if (readable) {
            m_block->number = value;
            m_block->whole.single = static_cast<float>(value);
        }
        return readable;
    }

    void readWord(Item& word)
    {
        const bool any = m_in.words(1, m_text) == 1;
        word = itemHere(m_in.item(), any, any ? m_text.size() : 0);
    }

    // One formatted call of so many floats. Returned: how many of them were read.
    std::size_t readRow(std::size_t columns, std::vector<Item>& into)
    {
        std::size_t done = 0;
        for (; done < columns; ++done) {
            float value = 0.0F;
            const bool readable = m_in.floats(std::span(&value, 1)) == 1;
            const std::string_view text = m_in.item();
            into.push_back(itemHere(text, readable, readable ? m_in.taken() : text.size()));
            into.back().single = value;
            if (!readable) {
                break;
            }
        }
        const std::size_t missing = columns - done;
        m_block->unread += missing;
        into.insert(into.end(), missing > 0 ? missing - 1 : 0, Item{});
        return done;
    }

    // Returned: how many rows were read whole. Where one takes nothing of the text, every further one would end at the
    // same place.
    std::uint64_t readRows(std::uint64_t rows, std::size_t columns)
    {
        std::uint64_t whole = 0;
        for (std::uint64_t row = 0; row < rows; ++row) {
            const std::uint64_t before = m_in.consumed();
            if (readRow(columns, m_block->values) == columns) {
                ++whole;
            } else if (m_in.consumed() == before) {
                m_block->unread += (rows - row - 1) * columns;
                break;
            }
        }
        return whole;
    }

    bool readValues(const Block& block)
    {
        switch (block.layout) {
        case Layout::fileId:
            return readFileId();
        case Layout::integer: {
            std::int64_t value = 0;
            if (readInteger(value)) {
                m_out.mode = saturated(value);
            }
            return true;
        }
        case Layout::word:
            readWord(m_block->word);
            return true;
        case Layout::rows:
            readRows(block.rows, block.columns);
            return true;
        case Layout::separate:
            for (std::size_t i = 0; i < block.columns; ++i) {
                readRow(1, m_block->values);
            }
            return true;
        case Layout::encoderTable:
            return readTable(block);
        case Layout::tiltTable:
            if (!readTable(block)) {
                return false;
            }
            readRow(kTiltExtras, m_block->extras);
            readWord(m_block->word);
            return true;
        }
        return false;
    }

    bool readFileId()
    {
        const char* const expected = "the ID of the sensor";
        std::int64_t value = 0;
        if (!readInteger(value)) {
            return failAtValue(kIdMismatch, expected);
        }
        const bool fits =
            value >= std::numeric_limits<std::int32_t>::min() && value <= std::numeric_limits<std::uint32_t>::max();
        if (!fits || (m_id && static_cast<std::uint32_t>(value) != *m_id)) {
            return fail(kIdMismatch, m_in.itemLine(), expected, std::to_string(value));
        }
        return true;
    }

    bool readTable(const Block& block)
    {
        std::int64_t count = 0;
        if (!readInteger(count)) {
            return failAtValue(block.message, "a row count");
        }
        if (!m_room.holds(count, m_in.consumed())) {
            return fail(block.message, m_in.itemLine(), "a row count that the file has room for",
                        std::to_string(count));
        }
        const auto rows = static_cast<std::uint64_t>(count);
        // A number and what separates it from the next one take two bytes: room for more than are there is not needed.
        const std::uint64_t most = (m_out.bytes.size() - m_in.consumed()) / 2;
        m_block->values.reserve(static_cast<std::size_t>(std::min(rows * block.columns, most + block.columns)));
        m_room.note(rows, readRows(rows, block.columns));
        return true;
    }

    Document& m_out;
    std::optional<std::uint32_t> m_id;
    RowRoom m_room;
    Scanner m_in;
    DocumentBlock* m_block = nullptr;
    std::string m_text;
};

constexpr bool isStrayControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && !(byte >= '\t' && byte <= '\r')) || byte == 0x7F;
}

// Zeros in at least nine of ten places of one parity: the other halves of Latin characters.
bool hasZerosInTurn(std::string_view bytes)
{
    std::array<std::size_t, 2> zeros{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        zeros[i % 2] += bytes[i] == '\0' ? 1 : 0;
    }
    const std::size_t half = bytes.size() / 2;
    return half >= 2 && ((zeros[0] * 10 >= half * 9 && zeros[1] == 0) || (zeros[1] * 10 >= half * 9 && zeros[0] == 0));
}

} // namespace

Encoding encodingOf(std::string_view bytes)
{
    using namespace std::string_view_literals;
    constexpr std::array kPacked = {"\x1F\x8B"sv, "\x28\xB5\x2F\xFD"sv, "PK\x03\x04"sv, "BZh"sv, "\xFD\x37zXZ"sv};
    if (std::any_of(kPacked.begin(), kPacked.end(),
                    [bytes](std::string_view mark) { return bytes.starts_with(mark); })) {
        return Encoding::compressed;
    }
    constexpr std::size_t kEnough = 512;
    if (bytes.starts_with("\xFF\xFE"sv) || bytes.starts_with("\xFE\xFF"sv) ||
        hasZerosInTurn(bytes.substr(0, kEnough))) {
        return Encoding::utf16;
    }
    const std::string_view text = bytes.substr(0, bytes.find(kTextEnd));
    return std::any_of(text.begin(), text.end(), isStrayControl) ? Encoding::binary : Encoding::text;
}

double wideNumberOf(std::string_view text)
{
    const bool negative = text.starts_with('-');
    std::string_view digits = text.substr(negative || text.starts_with('+') ? 1 : 0);
    platform::PlainNumber plain;
    const char* const behind = platform::takePlainNumber(digits.data(), digits.data() + digits.size(), plain);
    double value = 0.0;
    if (behind != nullptr && behind == digits.data() + digits.size()) {
        value = platform::doubleOf(plain);
    } else {
        const bool hexadecimal = digits.size() > 1 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
        digits.remove_prefix(hexadecimal ? 2 : 0);
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value,
                                                  hexadecimal ? std::chars_format::hex : std::chars_format::general);
        if (error == std::errc::result_out_of_range) {
            value = platform::isTooLarge(digits, hexadecimal) ? std::numeric_limits<double>::infinity() : 0.0;
        }
    }
    return negative ? -value : value;
}

double Document::numberOf(const Item& item) const
{
    return item.readable ? wideNumberOf(textOf(item)) : 0.0;
}

const DocumentBlock* Document::find(Target target) const
{
    const auto place = std::find_if(blocks.begin(), blocks.end(),
                                    [target](const DocumentBlock& met) { return met.kind().target == target; });
    return place == blocks.end() ? nullptr : &*place;
}

Document takeApart(std::string bytes, std::optional<std::uint32_t> id)
{
    Document document;
    document.bytes = std::move(bytes);
    document.id = id;
    document.encoding = encodingOf(document.bytes);
    const std::size_t end = document.bytes.find(kTextEnd);
    document.textEnd = narrow(std::min(end, document.bytes.size()));
    if (end != std::string::npos) {
        const auto lines = std::count(document.bytes.begin(), document.bytes.begin() + document.textEnd, '\n');
        document.endLine = narrow(static_cast<std::uint64_t>(lines) + 1);
    }
    Apart(document, id).run();
    return document;
}

} // namespace kor::params
