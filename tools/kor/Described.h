// What was declared of the command line. The help, the manual pages and the completion are made of it, and nothing
// else.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kor::tool {

/// What may stand for a value: the completion offers it.
struct Values {
    enum class Kind {
        plain,      ///< one of the words; without words a number or a text that cannot be foreseen
        file,       ///< or one of the words
        output,     ///< a file that the command writes
        directory,  ///< of parameter files
        sensorId,   ///< of the parameter files in the directory that --prm names
        list,       ///< words with commas between them
        assignment, ///< WORD=VALUE
    };
    Kind kind = Kind::plain;
    std::vector<std::string> words{};
    std::vector<std::string> endings{}; ///< of the names of files, without the point in front
    std::vector<std::string> units{};   ///< what may stand behind a number
};

Values oneOf(std::vector<std::string> words);
Values listOf(std::vector<std::string> words);
Values assignmentTo(std::vector<std::string> words);
Values fileNamed(std::vector<std::string> endings);
Values outputNamed(std::vector<std::string> endings);
Values parameterDirectory();
Values sensorId();

/// The words of a text that lists them: "static, circle or roll".
std::vector<std::string> wordsIn(std::string_view text);

/// Endings of the names of files with rows, which may be compressed: csv, csv.gz, csv.zst and so on.
std::vector<std::string> compressible(const std::vector<std::string>& endings);

/// An option or an argument. Its texts end without a full stop.
struct DescribedOption {
    std::vector<std::string> names; ///< "-o" and "--output"; of an argument "FILE"
    std::string value{};            ///< stands for the value; empty for a flag and an argument
    std::string text{};             ///< a line break in it stays one
    std::string more{};             ///< the manual page goes on with it, the help does not
    bool required = false;
    bool repeatable = false; ///< of an argument: there may be several
    Values values{};

    bool isArgument() const { return names.front().front() != '-'; }
    bool takesValue() const { return !value.empty(); }

    DescribedOption& moreInManual(const std::string& sentences);
    DescribedOption& takes(Values offered);
};

struct Example {
    std::string what; ///< ends without a colon
    std::vector<std::string> commands;
};

/// A place in the file system that a command knows.
struct DescribedFile {
    std::string name;
    std::string what;
};

/// The program, a group of subcommands or a subcommand. Paragraphs of a text have an empty line between them.
struct Described {
    std::string name;                       ///< as the command line calls it: "kor prm show"
    std::string what{};                     ///< in one line, without a full stop
    std::string about{};                    ///< the help and the manual page
    std::string more{};                     ///< the manual page goes on with it
    std::vector<DescribedOption> options{}; ///< arguments too
    std::vector<Example> examples{};
    std::vector<DescribedFile> environment{}; ///< variables
    std::vector<DescribedFile> files{};
    std::string seeAlso{};
    std::vector<std::unique_ptr<Described>> below{};

    /// Whether it writes a file that the command line names.
    bool writesFiles() const;
};

/// The same one or that which has this name below it; nothing if there is none.
const Described* find(const Described& from, std::string_view name);

/// An option as the command line has it, "-o, --output RESULTS", or an argument, "RECORDING...".
std::string formOf(const DescribedOption& option);

/// What a command line begins with and consists of: "kor", then words as "--prm DIR", "[OPTIONS]", "RECORDING...".
std::vector<std::string> synopsisOf(const Described& command);

/// Exit statuses and their meaning for a command; for the program those of all commands.
struct DescribedStatus {
    int status;
    std::string meaning;
    bool special; ///< the command gives it a meaning of its own
};
std::vector<DescribedStatus> statusesOf(const Described& command);

/// Breaks a text of ASCII into lines of at most so many characters, where its words permit; its own line breaks stay.
std::vector<std::string> filled(std::string_view text, std::size_t width);

/// A command on lines of at most so many characters, which end in a backslash where it goes on.
std::vector<std::string> brokenCommand(std::string_view command, std::size_t width);

} // namespace kor::tool
