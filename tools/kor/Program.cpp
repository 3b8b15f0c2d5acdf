#include "tools/kor/Program.h"

#include <string>
#include <utility>

#include "platform/Files.h"
#include "tools/kor/Commands.h"
#include "tools/kor/ManualPage.h"

namespace kor::tool {

Described describedProgram()
{
    Described program;
    program.name = "kor";
    program.what = "Replay, simulate, compare and plot recordings of a KOR sensor";
    program.about =
        "A KOR sensor is a motorised target with six degrees of freedom that a laser tracker follows. kor feeds "
        "recordings of its raw readings to the library KORInterface, which turns them into calibrated angles, "
        "corrected tilts, temperatures and an orientation. kor also makes such recordings of a simulated sensor.\n\n"
        "kor SUBCOMMAND --help describes a subcommand.";
    program.more =
        "The parameter file of sensor N is DIR/TgN.prm: the option --prm gives the directory DIR, and --id gives N.\n\n"
        "The value of an option follows it, as in --id 1005 or --id=1005. Everything after -- is an argument, even if "
        "it begins with a hyphen.";
    program.options = {
        {.names = {"-h", "--help"}, .text = "Print this help and exit"},
        {.names = {"--version"}, .text = "Print the version and exit"},
        {.names = {"--bash-completion"},
         .text = "Print a script that completes the command line in bash, and exit",
         .more = "The packages install this script. Without them, eval \"$(kor --bash-completion)\" loads it into the "
                 "current shell"},
        {.names = {"--manual"},
         .value = "DIR",
         .text = "Write the manual pages into a directory and exit",
         .values = {.kind = Values::Kind::directory}},
    };
    program.examples = {
        {"Orientations of a recording of sensor 1005, whose parameter file is calibration/Tg1005.prm",
         {"kor replay --prm calibration --id 1005 run.csv -o run_results.csv"}},
        {"A simulated recording, how far its results are from the truth, and all of it on a page for the browser",
         {"kor simulate --prm calibration --id 1005 --motion random -o sim.csv --truth sim_truth.csv",
          "kor replay --prm calibration --id 1005 sim.csv -o sim_results.csv",
          "kor compare sim_results.csv sim_truth.csv --tolerance 0.05arcsec",
          "kor report sim_results.csv --truth sim_truth.csv --prm calibration --id 1005 -o report.html"}},
    };
    program.environment = {
        {"DISPLAY", "If DISPLAY or WAYLAND_DISPLAY is set, there is a desktop, on which kor plot opens a window unless "
                    "-o names a file"},
        {"PATH", "The directories in which gnuplot(1) is looked for"},
    };
    program.files = {
        {"DIR/TgN.prm", "The parameter file of sensor N, a text file"},
        {"NAME.csv, NAME.korraw", "A recording as CSV and as binary records of 68 bytes"},
        {"NAME.csv, NAME.korinfo", "Results as CSV and as binary"},
        {".kor.*.tmp", "Results that are not complete yet, in the directory where the complete file will be. If a "
                       "killed process leaves such a file, the next run that writes into that directory removes it. A "
                       "file that is replaced keeps its permissions; symbolic links are followed"},
        {"/usr/share/doc/kor-tools/docs/formats.md",
         "All file formats, column by column. In a release archive this file is docs/formats.md"},
        {"/usr/share/doc/kor-tools/docs/accuracy.md", "How exact the orientations are"},
        {"/usr/share/doc/kor-tools/examples/uncertainty.json",
         "Example for kor accuracy --uncertainty: the standard uncertainties of the inputs"},
        {"/usr/share/doc/kor-tools/data/polarizer",
         "A simulated sensor: parameter file, recording and true orientations"},
    };
    program.seeAlso =
        "The page of each subcommand, and the documents that FILES lists. KORInterface, the library, comes with the "
        "package libkorinterface-dev; its headers in /usr/include/KORInterface describe its calls, and "
        "/usr/share/doc/libkorinterface-dev/examples/host.cpp is a program that uses it.";
    return program;
}

namespace {

void writePages(const Described& command, const Described& program, const std::string& directory)
{
    const std::string name = manualName(command) + ".1";
    writeOutput(platform::textOf(platform::pathFrom(directory) / name), manualPage(command, program));
    for (const auto& sub : command.below) {
        writePages(*sub, program, directory);
    }
}

} // namespace

void writeManual(const Described& program, const std::string& directory)
{
    writePages(program, program, directory);
}

} // namespace kor::tool
