// The subcommands: each lives in a source file of its own and declares itself to the command line.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/kor/Message.h"

namespace CLI {
class App;
}

namespace kor::tool {

/// What a subcommand is added to (CommandLine.h).
struct CommandGroup;

struct Command {
    CLI::App* app;            ///< where the command line says whether it was chosen
    std::function<int()> run; ///< returns the exit status, or throws Failure
};

Command declareAccuracy(const CommandGroup& root);
Command declareCompare(const CommandGroup& root);
Command declareConvert(const CommandGroup& root);
Command declarePlot(const CommandGroup& root);
std::vector<Command> declarePrm(const CommandGroup& root); ///< a group: its subcommands
Command declareReplay(const CommandGroup& root);
Command declareReport(const CommandGroup& root);
Command declareSimulate(const CommandGroup& root);

/// Writes a file that appears complete or not at all; "-" is standard output. Throws Failure.
void writeOutput(const std::string& path, const std::string& text);
void print(const std::string& text); ///< to standard output

/// The command line that the program was started with, words in quotation marks where they need them.
std::string commandLine();

/// One line or several on standard error, the tool's name in front. Never fails.
void complain(const std::string& text);
void warn(const std::string& text);
void tell(const std::string& text); ///< as it is, without the name

/// While it exists, complain and warn collect what they are given. What nobody takes is printed at its end.
class MessageCollector {
public:
    MessageCollector();
    ~MessageCollector();
    MessageCollector(const MessageCollector&) = delete;
    MessageCollector& operator=(const MessageCollector&) = delete;

    std::vector<Message> take();

private:
    friend void complain(const std::string& text);
    friend void warn(const std::string& text);
    std::vector<Message> m_messages;
};

} // namespace kor::tool
