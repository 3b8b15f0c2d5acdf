#include "tools/kor/PrmContent.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "KORInterface/Status.h"

#include "platform/Files.h"
#include "platform/Text.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

using platform::inQuotes;
using platform::shown;

namespace {

constexpr std::string_view kIdTitle = "Serial Number";
constexpr std::string_view kModeTitle = "Mounting Mode";
constexpr std::string_view kFactorTitle = "Scale Factor";

// An integer of the file as the library stores it.
std::int32_t saturated(std::int64_t value)
{
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

PrmNumber numberOf(const ParameterValue& value)
{
    return value.readable ? PrmNumber(value.single) : std::nullopt;
}

PrmBlock blockOf(const ParameterFile& file, std::uint32_t index, const ParameterBlock& block,
                 const ParameterBlockKind& kind, const std::string& title)
{
    PrmBlock made{.present = true, .line = block.line, .title = block.title, .word = block.word.text};
    if (block.whole.readable) {
        made.integer = kind.title == kModeTitle ? saturated(block.integer) : block.integer;
    }
    for (std::uint32_t i = 0; i < block.rows * block.columns; ++i) {
        made.values.push_back(numberOf(file.value(index, i)));
    }
    std::size_t values = std::size_t{kind.rows} * kind.columns;
    if (isTable(kind)) {
        if (block.integer > static_cast<std::int64_t>(kMostTableRows)) {
            throw Failure(kExitDataError,
                          fmt::format("{}: line {}: block \"{}\": found {} rows, expected at most {}", title,
                                      block.whole.line, kind.title, block.integer, kMostTableRows));
        }
        values = static_cast<std::size_t>(block.integer) * kind.columns;
    }
    made.values.resize(values);
    for (std::uint32_t i = 0; i < block.extras; ++i) {
        made.extras.push_back(numberOf(file.extra(index, i)));
    }
    return made;
}

// The value because of which a read does not find the next title: the first unreadable one of the last block. Empty if
// there is none.
std::string unreadableValue(const ParameterFile& file)
{
    if (file.blocks() == 0) {
        return {};
    }
    const std::uint32_t last = file.blocks() - 1;
    const ParameterBlock block = file.block(last);
    for (std::uint32_t i = 0; i < block.rows * block.columns + block.extras; ++i) {
        const std::uint32_t values = block.rows * block.columns;
        const ParameterValue value = i < values ? file.value(last, i) : file.extra(last, i - values);
        if (!value.readable && value.line > 0) {
            return fmt::format("line {}: block \"{}\": found {}, expected a number", value.line,
                               ParameterBlockKindOf(block.kind).title,
                               *value.text == '\0' ? "end of file" : inQuotes(value.text));
        }
    }
    return {};
}

void putRow(std::string& text, const PrmNumber* values, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        text += (i == 0 ? "" : "\t") + shortestText(values[i].value());
    }
    text += '\n';
}

void putBlock(std::string& text, const ParameterBlockKind& kind, const PrmBlock& block)
{
    text += fmt::format("{}\n", kind.title);
    switch (kind.layout) {
    case ParameterLayout::integer:
        text += fmt::format("{}\n", block.integer.value());
        return;
    case ParameterLayout::word:
        text += block.word + "\n";
        return;
    case ParameterLayout::separate:
        // As the library writes them: the scale factors one below the other, the values of other blocks in one line.
        for (const PrmNumber& value : block.values) {
            const bool ownLine = kind.title == kFactorTitle || &value == &block.values.back();
            text += shortestText(value.value()) + (ownLine ? "\n" : "\t");
        }
        return;
    case ParameterLayout::encoderTable:
    case ParameterLayout::tiltTable:
        text += fmt::format("{}\n", block.values.size() / kind.columns);
        break;
    case ParameterLayout::rows:
        break;
    }
    for (std::size_t i = 0; i < block.values.size(); i += kind.columns) {
        putRow(text, &block.values[i], kind.columns);
    }
    if (kind.layout == ParameterLayout::tiltTable) {
        putRow(text, block.extras.data(), block.extras.size());
        // A table without a word behind it would take the next title's first word for it.
        text += (block.word.empty() ? "End" : block.word) + "\n";
    }
}

} // namespace

PrmContent::PrmContent() : blocks(ParameterBlockKinds()) {}

PrmBlock& PrmContent::at(std::string_view title)
{
    return blocks[kindOf(title)];
}

const PrmBlock& PrmContent::at(std::string_view title) const
{
    return blocks[kindOf(title)];
}

// The library compares and names IDs as 32 bits: 4294967295 is -1.
std::int32_t PrmContent::id() const
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(at(kIdTitle).integer.value_or(0)));
}

std::int32_t PrmContent::mode() const
{
    return saturated(at(kModeTitle).integer.value_or(0));
}

std::uint32_t kindOf(std::string_view title)
{
    std::uint32_t kind = 0;
    while (kind < ParameterBlockKinds() && ParameterBlockKindOf(kind).title != title) {
        ++kind;
    }
    return kind;
}

bool isTable(const ParameterBlockKind& kind)
{
    return kind.layout == ParameterLayout::encoderTable || kind.layout == ParameterLayout::tiltTable;
}

std::string readWhole(const std::string& path, std::size_t most, const std::string& kind)
{
    const bool standard = path == "-";
    const std::string title = standard ? "standard input" : shown(path);
    platform::File file = standard ? platform::File::standard(platform::kStandardInput)
                                   : platform::openFile(path, platform::OpenMode::read);
    if (!file) {
        throw Failure(kExitNoInput, fmt::format("cannot open {}: {}", title, platform::whyUnreadable(path)));
    }
    std::string bytes;
    std::array<char, 16384> buffer;
    for (;;) {
        const std::ptrdiff_t length = file.read(buffer.data(), buffer.size());
        if (length < 0) {
            throw Failure(kExitIoError, fmt::format("cannot read {}: {}", title, platform::lastError()));
        }
        if (length == 0) {
            return bytes;
        }
        bytes.append(buffer.data(), static_cast<std::size_t>(length));
        if (bytes.size() > most) {
            throw Failure(kExitDataError,
                          fmt::format("{}: found more than {} bytes, which no {} has", title, most, kind));
        }
    }
}

PrmContent readPrm(const std::string& path)
{
    return prmOf(readWhole(path, kMostPrmBytes), shown(path));
}

PrmContent prmOf(std::string_view bytes, const std::string& title)
{
    ParameterFile file;
    if (const int status = LoadParameterBytes(file, bytes.data(), bytes.size()); status != kSuccess) {
        if (file.outOfMemory()) {
            throw noMemoryFor(title);
        }
        if (const std::string cause = unreadableValue(file); !cause.empty()) {
            throw Failure(kExitDataError, fmt::format("{}: {}; kor prm check tells more", title, cause));
        }
        throw Failure(kExitDataError,
                      fmt::format("{}: line {}: block \"{}\": found {}, expected {}; kor prm check tells more", title,
                                  file.line(), shown(file.block()), inQuotes(file.found()), shown(file.expected())));
    }
    PrmContent content;
    for (std::uint32_t index = 0; index < file.blocks(); ++index) {
        const ParameterBlock block = file.block(index);
        content.blocks[block.kind] = blockOf(file, index, block, ParameterBlockKindOf(block.kind), title);
        content.unread += block.unread;
    }
    content.restLine = file.restLine();
    content.restBytes = file.restBytes();
    return content;
}

std::string shortestText(float number)
{
    if (!std::isfinite(number)) {
        return std::string(std::signbit(number) ? "-" : "") + (std::isnan(number) ? "nan" : "inf");
    }
    std::array<char, 32> digits;
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

std::string nameInWords(std::string name)
{
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

std::string prmText(const PrmContent& content)
{
    std::string text;
    for (std::uint32_t kind = 0; kind < content.blocks.size(); ++kind) {
        if (content.blocks[kind].present) {
            putBlock(text, ParameterBlockKindOf(kind), content.blocks[kind]);
        }
    }
    return text;
}

std::string prmName(std::int32_t id)
{
    return fmt::format("Tg{}.prm", id);
}

std::optional<std::int32_t> idInName(const std::string& path)
{
    const std::string name = platform::textOf(platform::pathFrom(path).filename());
    constexpr std::string_view kBegin = "Tg";
    constexpr std::string_view kEnd = ".prm";
    if (!name.starts_with(kBegin) || !name.ends_with(kEnd) || name.size() < kBegin.size() + kEnd.size()) {
        return std::nullopt;
    }
    const std::string digits = name.substr(kBegin.size(), name.size() - kBegin.size() - kEnd.size());
    const std::optional<std::int32_t> id = platform::strictInteger<std::int32_t>(digits);
    return id && std::to_string(*id) == digits ? id : std::nullopt;
}

} // namespace kor::tool
