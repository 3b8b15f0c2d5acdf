#include "params/file/Writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <exception>

#include "KORInterface/Status.h"
#include "platform/Files.h"

namespace kor::params {

namespace {

// Kept [rewriting-table-end]: stands for the word behind a tilt table when the file has none. An empty line there would
// make the next title's first word that word, and the copy unreadable.
constexpr const char* kTableEnd = "End";

constexpr std::string_view kTab = "\t";

class Copy {
public:
    Copy(Scanner& in, std::uint64_t size, platform::File& out, std::int32_t mountMode, float (&dynamicParameters)[7])
        : m_in(in), m_room(size), m_out(out), m_mountMode(mountMode), m_dynamicParameters(dynamicParameters)
    {
    }

    CopyReport run(std::span<const Block> blocks)
    {
        for (const Block& block : blocks) {
            // Kept [rewriting-object-mode]: the object's mount mode decides on the model blocks, not the file's.
            if (block.modeSevenUp && m_mountMode < kFirstLongMode) {
                break;
            }
            const bool copied = m_in.atEnd() ? writeDefaults(block) : copyTitle(block) && copyValues(block);
            flush();
            if (!copied) {
                return {.messageId = block.copy.message != 0 ? block.copy.message : block.message, .digest = m_digest};
            }
        }
        return {.complete = true, .digest = m_digest};
    }

private:
    // The file has ended before the block; false when it must not.
    bool writeDefaults(const Block& block)
    {
        if (block.atEnd != AtEnd::defaults) {
            return block.atEnd == AtEnd::skip; // Kept [rewriting-without-table-y]: the factors follow table X
        }
        putLine(block.title);
        if (block.layout == Layout::integer) {
            putInteger(0);
            return true;
        }
        // Kept [rewriting-seven-factors]: seven of eight. A read of the copy meets the next title instead of the eighth
        // and leaves that factor as it was.
        const std::size_t count = block.copy.defaults != 0 ? block.copy.defaults : block.columns;
        for (std::size_t i = 0; i < count; ++i) {
            putFloat(block.target == Target::scaleFactors ? kDefaultScaleFactors[i] : 0.0F, kTab);
        }
        m_text += platform::lineEnd();
        return true;
    }

    bool copyTitle(const Block& block)
    {
        // Kept [rewriting-mounting-mode]: that block is refused with 619: its line is searched for the tilt Y title.
        const char* const tested = block.copy.testedTitle != nullptr ? block.copy.testedTitle : block.title;
        if (!m_in.wordsHold(block.words, tested, m_word)) {
            return false;
        }
        if (!block.copy.omitted) {
            putLine(block.title);
        }
        return true;
    }

    bool copyValues(const Block& block)
    {
        // Kept [rewriting-dynamic-parameters]: the last block is read into the object and left out of the copy.
        if (block.copy.omitted) {
            m_in.floats(m_dynamicParameters);
            return true;
        }
        switch (block.layout) {
        case Layout::fileId:
            putInteger(readFileId());
            return true;
        case Layout::integer:
            putInteger(saturated(readInteger()));
            return true;
        case Layout::word:
            m_in.words(1, m_word); // Kept [rewriting-words]: of any length and bytes
            putLine(m_word);
            return true;
        case Layout::rows:
            copyRows(block.rows, block.columns);
            return true;
        case Layout::separate:
            for (std::size_t i = 0; i < block.columns; ++i) {
                std::array<float, 1> value{};
                m_in.floats(value);
                putFloat(value[0], block.copy.ownLines ? platform::lineEnd() : kTab);
            }
            if (!block.copy.ownLines) {
                m_text += platform::lineEnd();
            }
            return true;
        case Layout::encoderTable:
            return copyTable(block.columns);
        case Layout::tiltTable:
            if (!copyTable(block.columns)) {
                return false;
            }
            copyRows(1, kTiltExtras);
            putLine(m_in.words(1, m_word) == 1 ? std::string_view(m_word) : kTableEnd);
            return true;
        }
        return false;
    }

    // Kept [rewriting-counts, rewriting-large-tables]: a count that the rest of the file has no room for fails before
    // it fills the disk, and so does a large table whose rows are not there.
    bool copyTable(std::size_t columns)
    {
        std::int64_t count = 0;
        if (!m_in.integer(count) || !m_room.holds(count, m_in.consumed())) {
            return false;
        }
        putInteger(saturated(count));
        return copyRows(static_cast<std::size_t>(count), columns);
    }

    // Kept [rewriting-unread-values]: a value that does not parse is 0, as are those behind it; not in a large table.
    bool copyRows(std::size_t rows, std::size_t columns)
    {
        const bool isLarge = rows > static_cast<std::size_t>(RowRoom::kManyRows);
        for (std::size_t row = 0; row < rows; ++row) {
            std::array<float, kMostColumns> storage{};
            const std::span<float> values = std::span(storage).first(columns);
            if (m_in.floats(values) < columns && isLarge) {
                return false;
            }
            for (const float& value : values) {
                putFloat(value, &value == &values.back() ? platform::lineEnd() : kTab);
            }
            constexpr std::size_t kEnough = 65536;
            if (m_text.size() >= kEnough) {
                flush();
            }
        }
        return true;
    }

    std::int64_t readInteger()
    {
        std::int64_t value = 0;
        m_in.integer(value);
        return value;
    }

    // An ID beyond the signed range is the same 32 bits as a negative one.
    std::int32_t readFileId()
    {
        const std::int64_t id = readInteger();
        return id > 0 && id <= std::numeric_limits<std::uint32_t>::max()
                   ? static_cast<std::int32_t>(static_cast<std::uint32_t>(id))
                   : saturated(id);
    }

    void putLine(std::string_view text)
    {
        m_text += text;
        m_text += platform::lineEnd(); // Kept [rewriting-line-ends]: the system's
    }

    void putInteger(std::int32_t value)
    {
        std::array<char, 16> digits{};
        putLine({digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr});
    }

    void putFloat(float value, std::string_view separator)
    {
        appendFloat(m_text, value);
        m_text += separator;
    }

    // An error stays with the file until it is closed, and is asked for then.
    void flush()
    {
        m_out.write(m_text);
        m_digest.add(m_text);
        m_text.clear();
    }

    Scanner& m_in;
    RowRoom m_room;
    platform::File& m_out;
    std::int32_t m_mountMode;
    float (&m_dynamicParameters)[7];
    std::string m_word;
    std::string m_text; // not yet written
    Digest m_digest;    // of what is
};

bool holds(const std::string& path, const Digest& wanted)
{
    platform::File file = platform::openFile(path, platform::OpenMode::read);
    if (!file) {
        return false;
    }
    Digest found;
    std::array<char, 16384> buffer;
    for (std::ptrdiff_t length = 0; (length = file.read(buffer.data(), buffer.size())) > 0;) {
        found.add({buffer.data(), static_cast<std::size_t>(length)});
    }
    return found == wanted;
}

RewriteReport rewrite(const std::string& path, std::int32_t mountMode, float (&dynamicParameters)[7], const Wait& wait)
{
    const platform::FileStatus status = platform::fileStatus(path);
    if (!status.exists) {
        return {}; // Kept [rewriting-gives-0]: although nothing is rewritten
    }
    if (!status.isRegular) {
        return {.status = kCannotOpen}; // Kept [rewriting-regular-file]: and nothing is touched
    }
    // Kept [rewriting-read-only-bit]: the file stays writable, also when the copying fails.
    if (status.readOnly) {
        platform::setReadOnly(path, false);
    }

    platform::File source = platform::openFile(path, platform::OpenMode::read);
    // Kept [rewriting-through-links]: opening the copy empties it, so it must not be the file itself.
    if (!source || source.id() == platform::fileId(kTemporaryName)) {
        return {.status = kCannotOpen};
    }
    // Kept [rewriting-temporary-file]: in the current directory, shared by all that rewrite there, and overwritten.
    platform::File copy = platform::openFile(kTemporaryName, platform::OpenMode::write);
    if (!copy) {
        return {.status = kCannotOpen};
    }
    copy.copyPermissions(source); // Kept [rewriting-ownership]: and owner and group

    Scanner scanner(source);
    const CopyReport copied = copyBlocks(kBlocks, scanner, source.size(), copy, mountMode, dynamicParameters);
    const bool reachedDisk = copy.sync(); // Kept [rewriting-reaches-disk]: the replacement does so below
    const bool written = copy.close() && reachedDisk;
    source = platform::File(); // Kept [rewriting-closes-files]: on other paths both close as they go
    if (!copied.complete) {
        return {.status = kFormatError, .messageId = copied.messageId};
    }
    if (!written) {
        return {.status = kCannotOpen}; // Kept [rewriting-failed-copy]: the file stays
    }

    // Kept [rewriting-waits, rewriting-in-one-step]: two waits, one before the file goes and one before the copy comes.
    // Both happen at once after the second, so that neither a kill nor a refused rename leaves the path empty.
    wait(kSettleMs);
    wait(kSettleMs);
    // Kept [rewriting-gives-0, rewriting-unlocked]: whether the copy has taken the file's place is not told. But
    // another call may have written its copy over this one, or the host may have changed the current directory.
    if (holds(kTemporaryName, copied.digest)) {
        platform::moveFile(kTemporaryName, path);
    }
    return {};
}

} // namespace

void Digest::add(std::string_view bytes) noexcept
{
    length += bytes.size();
    for (const char c : bytes) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ULL;
    }
}

void appendFloat(std::string& out, float value)
{
    // Written out, because the systems' libraries disagree on them.
    if (!std::isfinite(value)) {
        out += std::signbit(value) ? "-" : "";
        out += std::isnan(value) ? "nan" : "inf";
        return;
    }
    std::array<char, 64> digits; // the longest: sign, 39 digits, point, 6 digits
    out.append(digits.data(),
               std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed, 6).ptr);
}

CopyReport copyBlocks(std::span<const Block> blocks, Scanner& in, std::uint64_t size, platform::File& out,
                      std::int32_t mountMode, float (&dynamicParameters)[7])
{
    return Copy(in, size, out, mountMode, dynamicParameters).run(blocks);
}

RewriteReport rewriteFile(const std::string& path, std::int32_t mountMode, float (&dynamicParameters)[7],
                          const Wait& wait) noexcept
{
    try {
        return rewrite(path, mountMode, dynamicParameters, wait);
    } catch (const std::exception&) {
        return {.status = kFormatError};
    }
}

} // namespace kor::params
