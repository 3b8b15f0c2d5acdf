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
        "corrected "
        "tilts, temperatures and an orientation, and makes such recordings of a simulated sensor.\n\n"
        "kor SUBCOMMAND --help describes a subcommand.";
    program.more =
        "The parameter file of sensor N is DIR/TgN.prm, in which DIR is a directory that the command line names.\n\n"
        "An option's value stands behind it, as in --id 1005 or --id=1005. Behind -- there are arguments only.";
    program.options = {
        {.names = {"-h", "--help"}, .text = "Print this help and exit"},
        {.names = {"--version"}, .text = "Print the version and exit"},
        {.names = {"--bash-completion"},
         .text = "Print a script that completes the command line in bash, and exit",
         .more = "Packages have it installed already. Without them, eval \"$(kor --bash-completion)\" gives it to one "
                 "shell"},
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
        {"DISPLAY",
         "With this or WAYLAND_DISPLAY there is a desktop, on which kor plot opens a window unless it writes a "
         "file"},
        {"PATH", "Where gnuplot(1) is looked for"},
    };
    program.files = {
        {"DIR/TgN.prm", "The parameter file of sensor N, a text file"},
        {"NAME.csv, NAME.korraw", "A recording as CSV and as binary records of 68 bytes"},
        {"NAME.csv, NAME.korinfo", "Results as CSV and as binary"},
        {".kor.*.tmp",
         "Results that are not complete yet, beside the place where they will be. What a killed process has left is "
         "removed by the next run that writes there. Files that are replaced keep their permissions; symbolic links "
         "are "
         "followed"},
        {"/usr/share/doc/kor-tools/docs/formats.md",
         "All file formats, column by column. In an archive docs/formats.md"},
        {"/usr/share/doc/kor-tools/docs/accuracy.md", "How exact the orientations are; frames, signs and units"},
        {"/usr/share/doc/kor-tools/examples/uncertainty.json",
         "Standard uncertainties of the inputs for kor accuracy --uncertainty"},
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
