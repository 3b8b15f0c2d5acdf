#include "tools/kor/ManualPage.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <set>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace kor::tool {

namespace {

// The day on which the texts were last changed, which readers of a page look for. Pages are the same whenever they are
// made.
constexpr const char* kDate = "2026-11-22";
constexpr std::size_t kSourceColumns = 78;

// What troff would take for its own.
std::string troffText(std::string_view text, bool isCode)
{
    std::string safe;
    for (const char c : text) {
        switch (c) {
        case '\\':
            safe += "\\e";
            break;
        case '-':
            safe += isCode ? "\\-" : "-";
            break;
        case '\'':
            safe += isCode ? "\\(aq" : "'";
            break;
        case '`':
            safe += "\\(ga";
            break;
        case '^':
            safe += "\\(ha";
            break;
        case '~':
            safe += "\\(ti";
            break;
        default:
            safe += c;
        }
    }
    return safe;
}

std::string bold(std::string_view text)
{
    return "\\fB" + troffText(text, true) + "\\fR";
}

std::string italic(std::string_view text)
{
    return "\\fI" + troffText(text, true) + "\\fR";
}

bool isCapital(char c)
{
    return c >= 'A' && c <= 'Z';
}

bool isLetterOrDigit(char c)
{
    return isCapital(c) || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

// Writes one page.
class PageWriter {
public:
    PageWriter(const Described& command, const Described& program) : m_command(command), m_program(program)
    {
        for (const DescribedOption& option : command.options) {
            addPlaceholders(option.isArgument() ? option.names.front() : option.value);
        }
    }

    std::string page()
    {
        m_page = ".\\\" Made by kor --manual; the texts are in tools/kor.\n";
        m_page += fmt::format(".TH {} 1 {} KORInterface \"User Commands\"\n",
                              troffText(upper(manualName(m_command)), true), kDate);
        m_page += ".nh\n.ad l\n"; // options and names of files stay in one piece
        section("NAME");
        std::string what = m_command.what;
        what.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(what.front())));
        m_page += fmt::format("{} \\- {}\n", troffText(manualName(m_command), true), troffText(what, false));
        synopsis();
        section("DESCRIPTION");
        paragraphs(m_command.about + (m_command.more.empty() || m_command.about.empty() ? "" : "\n\n") +
                   m_command.more);
        subcommands();
        optionList("ARGUMENTS", true);
        optionList("OPTIONS", false);
        section("EXIT STATUS");
        for (const DescribedStatus& status : statusesOf(m_command)) {
            m_page += fmt::format(".TP\n.B {}\n", status.status);
            sentences(status.meaning);
        }
        places("ENVIRONMENT", m_command.environment);
        places("FILES", m_command.files);
        examples();
        seeAlso();
        return m_page;
    }

private:
    static std::string upper(std::string text)
    {
        for (char& c : text) {
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        return text;
    }

    void addPlaceholders(std::string_view form)
    {
        std::string word;
        for (std::size_t i = 0; i <= form.size(); ++i) {
            if (i < form.size() && isCapital(form[i])) {
                word += form[i];
            } else if (!word.empty()) {
                m_placeholders.insert(word);
                word.clear();
            }
        }
    }

    void section(const std::string& name)
    {
        m_page += ".SH " + (name.find(' ') == std::string::npos ? name : '"' + name + '"') + "\n";
    }

    // Words that stand for something in italics, all else as it is.
    std::string withPlaceholders(std::string_view word, bool isBold) const
    {
        std::string marked;
        for (std::size_t i = 0; i < word.size();) {
            std::size_t end = i;
            while (end < word.size() && isCapital(word[end])) {
                ++end;
            }
            const bool isTimes = end + 1 < word.size() && word[end] == 'x' && isCapital(word[end + 1]); // WxH
            const bool isAlone = end == word.size() || isTimes || !isLetterOrDigit(word[end]);
            if (end > i && isAlone && m_placeholders.count(std::string(word.substr(i, end - i))) > 0) {
                marked += italic(word.substr(i, end - i));
                i = end;
                continue;
            }
            end = std::max(end, i + 1);
            while (end < word.size() && !isCapital(word[end])) {
                ++end;
            }
            const std::string_view part = word.substr(i, end - i);
            marked += isBold ? bold(part) : troffText(part, isCode(word));
            i = end;
        }
        return marked;
    }

    static bool isCode(std::string_view word)
    {
        return word.find_first_of("/._$=*0123456789") != std::string_view::npos;
    }

    // A word of a sentence; `inCommand` is so much of the name of a command as the words before it make.
    std::string markedWord(const std::string& word, std::string& inCommand)
    {
        std::size_t begin = 0;
        while (begin < word.size() && (word[begin] == '(' || word[begin] == '"')) {
            ++begin;
        }
        std::size_t end = word.size();
        while (end > begin && std::string_view(".,;:)\"").find(word[end - 1]) != std::string_view::npos) {
            --end;
        }
        const bool isPage =
            word.size() > end && word.compare(end, 1, ")") == 0 && end > begin + 2 && word[end - 2] == '(';
        if (isPage) {
            ++end; // gnuplot(1)
        }
        const std::string core = word.substr(begin, end - begin);
        std::string marked;
        const std::string longer = inCommand.empty() ? core : inCommand + " " + core;
        if (const Described* const named = begin == 0 || inCommand.empty() ? find(m_program, longer) : nullptr) {
            marked = bold(core);
            inCommand = end == word.size() ? named->name : "";
            if (named != &m_program && named != &m_command) {
                m_mentioned.insert(named->name);
            }
        } else {
            inCommand.clear();
            if (isPage) {
                marked = bold(core.substr(0, core.size() - 3)) + core.substr(core.size() - 3);
            } else if (core.size() > 1 && core[0] == '-' && (core[1] == '-' || isLetterOrDigit(core[1])) &&
                       !std::isdigit(static_cast<unsigned char>(core[1]))) {
                marked = withPlaceholders(core, true);
            } else {
                marked = core == "-" ? "\\-" : withPlaceholders(core, false);
            }
        }
        return troffText(word.substr(0, begin), false) + marked + troffText(word.substr(end), false);
    }

    // Ends a line of the page's source.
    void put(std::string& line)
    {
        if (!line.empty()) {
            m_page += (line.front() == '.' || line.front() == '\'' ? "\\&" : "") + line + "\n";
        }
        line.clear();
    }

    // Sentences, each of which begins a line of the source.
    void filledLines(std::string_view text)
    {
        std::string inCommand;
        std::string line;
        for (const std::string& word : filled(text, 1)) {
            const std::string marked = markedWord(word, inCommand);
            if (!line.empty() && line.size() + 1 + marked.size() > kSourceColumns) {
                put(line);
            }
            line += (line.empty() ? "" : " ") + marked;
            if (word.ends_with('.') && !word.ends_with("..")) {
                put(line);
            }
        }
        put(line);
    }

    // A text with its own line breaks, and a full stop unless a colon leads on.
    void sentences(std::string text)
    {
        text += text.ends_with('.') || text.ends_with(':') ? "" : ".";
        bool isFirst = true;
        for (const std::string& line : filled(text, text.size())) {
            m_page += isFirst ? "" : ".br\n";
            filledLines(line);
            isFirst = false;
        }
    }

    void paragraphs(std::string_view all)
    {
        bool isFirst = true;
        while (!all.empty()) {
            const std::size_t end = std::min(all.find("\n\n"), all.size());
            if (!isFirst) {
                m_page += ".PP\n";
            }
            sentences(std::string(all.substr(0, end)));
            all.remove_prefix(std::min(end + 2, all.size()));
            isFirst = false;
        }
    }

    void synopsis()
    {
        section("SYNOPSIS");
        const std::vector<std::string> words = synopsisOf(m_command);
        std::string line = bold(words.front());
        for (std::size_t i = 1; i < words.size(); ++i) {
            line += "\n" + withPlaceholders(words[i], words[i].front() == '-');
        }
        m_page += line + "\n";
        if (m_command.below.empty()) {
            return;
        }
        m_page += ".br\n" + bold(m_command.name) + "\n\\fISUBCOMMAND\\fR\n" + bold("--help") + "\n";
    }

    void subcommands()
    {
        if (m_command.below.empty()) {
            return;
        }
        section("SUBCOMMANDS");
        for (const auto& sub : m_command.below) {
            m_page += fmt::format(".TP\n.BR {} (1)\n", troffText(manualName(*sub), true));
            sentences(sub->what);
        }
    }

    void optionList(const std::string& heading, bool arguments)
    {
        bool isFirst = true;
        for (const DescribedOption& option : m_command.options) {
            if (option.isArgument() != arguments) {
                continue;
            }
            if (isFirst) {
                section(heading);
            }
            isFirst = false;
            std::string form;
            for (const std::string& name : option.names) {
                form += (form.empty() ? "" : ", ") + (arguments ? withPlaceholders(name, false) : bold(name));
            }
            form += option.takesValue()              ? " " + withPlaceholders(option.value, true)
                    : arguments && option.repeatable ? "..."
                                                     : "";
            m_page += ".TP\n" + form + "\n";
            sentences(option.text + (option.more.empty() ? "" : ". " + option.more) +
                      (option.required && !arguments ? ". Required" : ""));
        }
    }

    void places(const std::string& heading, const std::vector<DescribedFile>& entries)
    {
        if (entries.empty()) {
            return;
        }
        section(heading);
        for (const DescribedFile& entry : entries) {
            m_page += ".TP\n" + italic(entry.name) + "\n";
            sentences(entry.what);
        }
    }

    void examples()
    {
        if (m_command.examples.empty()) {
            return;
        }
        section("EXAMPLES");
        for (std::size_t i = 0; i < m_command.examples.size(); ++i) {
            const Example& example = m_command.examples[i];
            m_page += i > 0 ? ".PP\n" : "";
            sentences(example.what + ":");
            m_page += ".PP\n.RS 4\n.nf\n";
            for (const std::string& command : example.commands) {
                for (const std::string& line : brokenCommand(command, kSourceColumns - 4)) {
                    m_page += troffText(line, true) + "\n";
                }
            }
            m_page += ".fi\n.RE\n";
        }
    }

    void seeAlso()
    {
        section("SEE ALSO");
        if (!m_command.seeAlso.empty()) {
            paragraphs(m_command.seeAlso);
            return;
        }
        std::set<std::string> names = m_mentioned;
        for (std::string name = m_command.name; name != m_program.name;) {
            name.erase(name.rfind(' '));
            names.insert(name);
        }
        std::string line;
        for (const std::string& name : names) {
            line += fmt::format("{}.BR {} (1)", line.empty() ? "" : ",\n",
                                troffText(manualName(*find(m_program, name)), true));
        }
        m_page += line + "\n";
    }

    const Described& m_command;
    const Described& m_program;
    std::set<std::string> m_placeholders{"NAME", "SUBCOMMAND", "OPTIONS"};
    std::set<std::string> m_mentioned; // other commands
    std::string m_page;
};

} // namespace

std::string manualName(const Described& command)
{
    std::string name = command.name;
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

std::string manualPage(const Described& command, const Described& program)
{
    return PageWriter(command, program).page();
}

} // namespace kor::tool
