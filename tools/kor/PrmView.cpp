#include "tools/kor/PrmView.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "KORInterface/OrientationModel.h"
#include "KORInterface/Session.h"

#include "platform/Text.h"

namespace kor::tool {

using platform::shown;

namespace {

constexpr std::string_view kNotRead = "NOT READABLE";

std::string textOf(const PrmNumber& number)
{
    return number ? shortestText(*number) : std::string(kNotRead);
}

// Blocks that have an effect only with an option of kor replay, or another one than on the orientation.
struct BlockNote {
    std::string_view title;
    const char* text;
};
constexpr BlockNote kNotes[] = {
    {"Local Coordinate Tranform Matrix", "with --mcs off"},
    {"Machine Coordinate Tranform Matrix", "with --mcs on; its inverse is applied"},
    {"Half Angle", "encoder limits only"},
    {"PSDX", "with --store and --psd"},
    {"PSDY", "with --store and --psd"},
    {"DynamicParameters", "with --store"},
};

class Viewer {
public:
    Viewer(const PrmContent& content, bool withRows)
        : m_content(content), m_mode(content.mode()), m_model(ModelOf(m_mode)), m_withRows(withRows)
    {
    }

    PrmView view()
    {
        for (m_kind = 0; m_kind < m_content.blocks.size(); ++m_kind) {
            m_form = ParameterBlockKindOf(m_kind);
            const PrmBlock& block = m_content.blocks[m_kind];
            m_line = block.line;
            if (block.present) {
                show(block);
            } else if (!m_form.modeSevenUp || m_mode >= kFirstLongMode) {
                put(m_form.title, absent());
            } else {
                m_view.leftOut += (m_view.leftOut.empty() ? "" : ", ") + std::string(m_form.title);
            }
        }
        return std::move(m_view);
    }

private:
    void put(std::string_view title, const std::string& rest)
    {
        m_view.lines.push_back({m_line, std::string(title), rest.substr(0, rest.find_last_not_of(' ') + 1)});
    }

    std::string absent() const
    {
        if (m_form.title == std::string_view("Scale Factor")) {
            return "not in the file: 0, 0, 0, 0, 1, 1, 1, 0 are used";
        }
        if (m_form.title == std::string_view("Mounting Mode")) {
            return "not in the file: mode 0 is used";
        }
        return isTable(m_form) ? "not in the file: level Y counts as outside its table"
                               : "not in the file: zeros are used";
    }

    // What the mode makes of the block.
    std::string useOfBlock() const
    {
        const bool used = ModelUsesBlock(m_model, m_kind);
        const auto* const note = std::find_if(std::begin(kNotes), std::end(kNotes), [this](const BlockNote& candidate) {
            return candidate.title == m_form.title;
        });
        if (used) {
            return note != std::end(kNotes) ? fmt::format("({})", note->text) : std::string();
        }
        if (m_form.title == std::string_view("Half Angle")) {
            return fmt::format("({})", note->text);
        }
        for (int mode = 1; mode <= 10; ++mode) {
            if (ModelUsesBlock(ModelOf(mode), m_kind)) {
                return fmt::format("(not used in mode {})", m_mode);
            }
        }
        return "(not used)";
    }

    void show(const PrmBlock& block)
    {
        switch (m_form.layout) {
        case ParameterLayout::integer:
            put(m_form.title, integerText(block));
            break;
        case ParameterLayout::word:
            put(m_form.title, fmt::format("{}  (not used)", shown(block.word)));
            break;
        case ParameterLayout::rows:
            m_form.rows > 1 ? showMatrix(block) : showValues(block);
            break;
        case ParameterLayout::separate:
            showValues(block);
            break;
        case ParameterLayout::encoderTable:
        case ParameterLayout::tiltTable:
            showTable(block);
            break;
        }
    }

    std::string integerText(const PrmBlock& block) const
    {
        const std::string text = block.integer ? std::to_string(*block.integer) : std::string(kNotRead);
        return m_form.title == std::string_view("Mounting Mode") ? fmt::format("{}  {}", text, ModelText(m_model))
                                                                 : text;
    }

    void showValues(const PrmBlock& block)
    {
        // Plain numbers without any use need no line each.
        if (!isUsedAnywhere() && *ParameterFieldOf(m_kind, 0).unit == '\0') {
            std::string text;
            for (const PrmNumber& value : block.values) {
                text += textOf(value) + "  ";
            }
            put(m_form.title, text + useOfBlock());
            return;
        }
        const bool blockUsed = ModelUsesBlock(m_model, m_kind);
        for (std::size_t i = 0; i < block.values.size(); ++i) {
            const auto field = static_cast<std::uint32_t>(i);
            const ParameterField meaning = ParameterFieldOf(m_kind, field);
            const std::string use = !blockUsed ? useOfBlock()
                                    : !ModelUsesField(m_model, m_kind, field)
                                        ? fmt::format("(not used in mode {})", m_mode)
                                    : i == 0 ? useOfBlock()
                                             : std::string();
            put(i == 0 ? m_form.title : "", fmt::format("{:<20} {:>14} {:<10} {}", nameInWords(meaning.name),
                                                        textOf(block.values[i]), meaning.unit, use));
        }
    }

    bool isUsedAnywhere() const
    {
        bool used = false;
        for (int mode = 1; mode <= 10; ++mode) {
            used = used || ModelUsesBlock(ModelOf(mode), m_kind);
        }
        return used;
    }

    void showMatrix(const PrmBlock& block)
    {
        for (std::size_t i = 0; i < block.values.size(); i += m_form.columns) {
            std::string text;
            for (std::size_t column = 0; column < m_form.columns; ++column) {
                text += fmt::format("{:>11} ", textOf(block.values[i + column]));
            }
            put(i == 0 ? m_form.title : "", text + (i == 0 ? " " + useOfBlock() : ""));
        }
    }

    // "0.5 to 356.9 degrees" of a column.
    std::string rangeOf(const PrmBlock& block, std::uint32_t column) const
    {
        std::optional<float> least;
        std::optional<float> most;
        for (std::size_t i = column; i < block.values.size(); i += m_form.columns) {
            if (const PrmNumber& value = block.values[i]; value && !(*value != *value)) {
                least = std::min(least.value_or(*value), *value);
                most = std::max(most.value_or(*value), *value);
            }
        }
        const ParameterField field = ParameterFieldOf(m_kind, column);
        if (!least) {
            return {};
        }
        // The unit of a level's readings is the word "reading" itself.
        const bool says = std::string_view(field.unit) == field.name;
        return fmt::format(", {}s {} to {}{}", nameInWords(field.name), shortestText(*least), shortestText(*most),
                           says || *field.unit == '\0' ? "" : " " + std::string(field.unit));
    }

    void showTable(const PrmBlock& block)
    {
        const std::size_t rows = block.values.size() / m_form.columns;
        put(m_form.title, fmt::format("{} {}{}{}  {}", rows, rows == 1 ? "row" : "rows", rangeOf(block, 0),
                                      rangeOf(block, 1), useOfBlock()));
        const auto unread = std::count(block.values.begin(), block.values.end(), PrmNumber());
        if (unread > 0) {
            put("", fmt::format("{}: {} of the values", kNotRead, unread));
        }
        for (std::size_t row = 0; m_withRows && row < rows; ++row) {
            put("", fmt::format("{:>4} {:>14} {:>14}", row + 1, textOf(block.values[2 * row]),
                                textOf(block.values[2 * row + 1])));
        }
        if (!block.extras.empty()) {
            std::string text;
            for (std::size_t i = 0; i < block.extras.size(); ++i) {
                text += fmt::format(
                    "{}{} {}", i > 0 ? ", " : "",
                    nameInWords(ParameterFieldOf(m_kind, static_cast<std::uint32_t>(m_form.columns + i)).name),
                    textOf(block.extras[i]));
            }
            put("", fmt::format("limits: {}; {}", text, shown(block.word)));
        }
    }

    const PrmContent& m_content;
    std::int32_t m_mode;
    OrientationModel m_model;
    bool m_withRows;
    std::uint32_t m_kind = 0;
    ParameterBlockKind m_form{};
    std::uint32_t m_line = 0;
    PrmView m_view;
};

} // namespace

PrmView viewOf(const PrmContent& content, bool withRows)
{
    return Viewer(content, withRows).view();
}

namespace {

constexpr int kTitleWidth = 36;

std::string linesOf(const PrmView& view, std::int32_t mode)
{
    std::string text;
    for (const PrmLine& line : view.lines) {
        const std::string number = line.title.empty() ? "" : line.line == 0 ? "-" : std::to_string(line.line);
        std::string shownLine = fmt::format("{:>4}  {:<{}}{}", number, line.title, kTitleWidth, line.content);
        shownLine.erase(shownLine.find_last_not_of(' ') + 1);
        text += shownLine + "\n";
    }
    if (!view.leftOut.empty()) {
        text += fmt::format("\nNot read in mount mode {}: {}.\n", mode, view.leftOut);
    }
    return text;
}

} // namespace

std::string textOf(const PrmContent& content, const std::string& title, bool withRows)
{
    const std::int32_t mode = content.mode();
    return fmt::format("{}\nsensor {}, mount mode {}: {}\n\nline  {:<{}}content\n{}", title, content.id(), mode,
                       ModelText(ModelOf(mode)), "block", kTitleWidth, linesOf(viewOf(content, withRows), mode));
}

} // namespace kor::tool
