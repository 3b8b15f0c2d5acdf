// kor prm check: what is wrong or unusual with parameter files.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "KORInterface/ParameterCheck.h"
#include "KORInterface/ParameterFile.h"
#include "KORInterface/Status.h"

#include "platform/Files.h"
#include "platform/Text.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/MountMode.h"
#include "tools/kor/Options.h"
#include "tools/kor/ParameterFile.h"
#include "tools/kor/prm.h"

namespace kor::tool {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

struct CheckRequest {
    std::vector<std::string> paths;
    std::optional<std::string> mode;
    bool json = false;
    bool notes = false;
    bool ranges = false;
    bool rules = false;
};

const char* nameOf(CheckSeverity severity)
{
    return severity == CheckSeverity::error ? "error" : severity == CheckSeverity::warning ? "warning" : "note";
}

bool isParameterFileName(std::string name)
{
    for (char& c : name) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return name.starts_with("tg") && name.ends_with(".prm");
}

std::vector<std::string> filesOf(const std::string& directory)
{
    std::vector<std::string> files;
    std::error_code error;
    for (fs::directory_iterator at(platform::pathFrom(directory), error), end; !error && at != end;
         at.increment(error)) {
        if (isParameterFileName(platform::textOf(at->path().filename()))) {
            files.push_back(platform::textOf(at->path()));
        }
    }
    if (error) {
        throw Failure(kExitNoInput, fmt::format("cannot read the directory {}: {}", shown(directory), error.message()));
    }
    if (files.empty()) {
        throw Failure(
            kExitNoInput,
            fmt::format("{}: found no file of the name Tg*.prm, expected parameter files in this directory; name "
                        "the directory that holds them, or a file",
                        shown(directory)));
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string rangeTable()
{
    std::string text = fmt::format("{:<34} {:<20} {:>12} {:>12}  {}\n", "Block", "Field", "least", "most", "unit");
    for (std::uint32_t kind = 0; kind < ParameterBlockKinds(); ++kind) {
        const ParameterBlockKind block = ParameterBlockKindOf(kind);
        for (std::uint32_t i = 0; i < block.fields; ++i) {
            const ParameterField field = ParameterFieldOf(kind, i);
            text += fmt::format("{:<34} {:<20} {:>12} {:>12}  {}\n", block.title, field.name, field.least, field.most,
                                field.eitherSign ? fmt::format("{}{}either sign", field.unit, *field.unit ? ", " : "")
                                                 : std::string(field.unit));
        }
    }
    return text;
}

Json rangesJson()
{
    Json list = Json::array();
    for (std::uint32_t kind = 0; kind < ParameterBlockKinds(); ++kind) {
        const ParameterBlockKind block = ParameterBlockKindOf(kind);
        for (std::uint32_t i = 0; i < block.fields; ++i) {
            const ParameterField field = ParameterFieldOf(kind, i);
            list.push_back({{"block", block.title},
                            {"field", field.name},
                            {"least", field.least},
                            {"most", field.most},
                            {"eitherSign", field.eitherSign},
                            {"unit", field.unit}});
        }
    }
    return list;
}

std::string ruleTable()
{
    std::string text;
    for (std::uint32_t i = 0; i < CheckRules(); ++i) {
        const CheckRule rule = CheckRuleOf(i);
        text += fmt::format("{:<18} {:<8} {}\n", rule.name, nameOf(rule.severity), rule.meaning);
    }
    return text;
}

Json rulesJson()
{
    Json list = Json::array();
    for (std::uint32_t i = 0; i < CheckRules(); ++i) {
        const CheckRule rule = CheckRuleOf(i);
        list.push_back({{"rule", rule.name}, {"severity", nameOf(rule.severity)}, {"meaning", rule.meaning}});
    }
    return list;
}

std::string counted(std::uint32_t number, const char* what)
{
    return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

std::string textOf(const CheckReport& report, const std::string& path, bool notes)
{
    std::string text;
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        const CheckFinding finding = report.finding(i);
        if (finding.severity != CheckSeverity::note || notes) {
            text += fmt::format("{}: {} [{}]\n", nameOf(finding.severity), finding.text, finding.rule);
        }
    }
    if (report.status() != kSuccess) {
        text += fmt::format("{}: the library refuses this file with {}\n", shown(path),
                            resultText(report.status(), report.message()));
    }
    return text + fmt::format("{}: {}, {}\n", shown(path), counted(report.errors(), "error"),
                              counted(report.warnings(), "warning"));
}

Json jsonOf(const CheckReport& report, const std::string& path)
{
    Json findings = Json::array();
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        const CheckFinding finding = report.finding(i);
        findings.push_back({{"severity", nameOf(finding.severity)},
                            {"rule", finding.rule},
                            {"line", finding.line},
                            {"block", finding.block},
                            {"field", finding.field},
                            {"found", finding.found},
                            {"expected", finding.expected},
                            {"advice", finding.advice},
                            {"more", finding.more},
                            {"text", finding.text}});
    }
    return {{"file", path},
            {"status", report.status()},
            {"message", report.message()},
            {"messageText", MessageText(report.message())},
            {"errors", report.errors()},
            {"warnings", report.warnings()},
            {"notes", report.notes()},
            {"findings", findings}};
}

// JSON is UTF-8; a name that is not shows its foreign bytes as U+FFFD.
std::string dumped(const Json& json)
{
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

// The tables behind the check, without a file.
int describe(const CheckRequest& request)
{
    if (!request.paths.empty() || (request.ranges && request.rules)) {
        throw Misuse("--ranges and --rules are each given alone, without a file");
    }
    if (request.json) {
        print(dumped(request.ranges ? rangesJson() : rulesJson()));
    } else {
        print(request.ranges ? rangeTable() : ruleTable());
    }
    return kExitOk;
}

// What has been found so far, and with it the exit status.
struct Verdict {
    bool unopened = false;
    bool errors = false;
    bool warnings = false;

    void refuse(const std::string& text)
    {
        complain(text);
        unopened = true;
    }

    int status() const
    {
        if (unopened) {
            return kExitNoInput;
        }
        if (errors) {
            return kExitDataError;
        }
        return warnings ? kExitBeyondBound : kExitOk;
    }
};

// The files that were named, and those of the directories that were named.
std::vector<std::string> filesToCheck(const std::vector<std::string>& paths, Verdict& verdict)
{
    std::vector<std::string> files;
    for (const std::string& path : paths) {
        if (!platform::fileStatus(path).isDirectory) {
            files.push_back(path);
            continue;
        }
        try {
            const std::vector<std::string> found = filesOf(path);
            files.insert(files.end(), found.begin(), found.end());
        } catch (const Failure& failure) {
            verdict.refuse(failure.what());
        }
    }
    return files;
}

int check(const CheckRequest& request)
{
    if (request.ranges || request.rules) {
        return describe(request);
    }
    if (request.paths.empty()) {
        throw Misuse("FILE|DIR is required");
    }
    const std::int32_t mode = request.mode ? mountModeOption(*request.mode) : kModeOfFile;
    Verdict verdict;
    std::string text;
    Json list = Json::array();
    for (const std::string& path : filesToCheck(request.paths, verdict)) {
        CheckReport report;
        const int status = CheckParameterFile(path.c_str(), mode, report);
        if (status == kCannotOpen) {
            verdict.refuse(cannotOpenText(path));
            continue;
        }
        if (report.outOfMemory()) {
            throw noMemoryFor(shown(path));
        }
        verdict.errors = verdict.errors || report.errors() > 0 || status != kSuccess;
        verdict.warnings = verdict.warnings || report.warnings() > 0;
        if (request.json) {
            list.push_back(jsonOf(report, path));
        } else {
            text += textOf(report, path, request.notes);
        }
    }
    print(request.json ? dumped(list) : text);
    return verdict.status();
}

} // namespace

Command declarePrmCheck(const CommandGroup& group)
{
    const auto request = std::make_shared<CheckRequest>();
    Subcommand command(group, "check", "Tell what is wrong or unusual with parameter files");
    command
        .arguments(
            "FILE|DIR", request->paths,
            "Parameter files, or directories with files Tg*.prm. A file whose name is TgN.prm must hold the ID N")
        .takes(fileNamed({"prm"}));
    command.option("--mode", request->mode, "N", "Check the files for this mount mode, 1 to 10, in place of their own")
        .takes(oneOf(mountModeWords()));
    command.flag("--json", request->json, "Print JSON in place of lines");
    command.flag("--notes", request->notes, "Also print notes: facts that are worth knowing, but not wrong");
    command.flag("--ranges", request->ranges, "Print the plausible range of every field and exit");
    command.flag("--rules", request->rules, "Print the rules of the check and exit");
    command.about(
        "Each finding gives its line, what was found, what was expected and what to do. With several files, exit "
        "status 66 (a file cannot be opened) has precedence over 65 (errors), and 65 over 1 (warnings).");
    command.example("The parameter files of a directory", {"kor prm check calibration"});
    command.example("The rules of the check", {"kor prm check --rules"});
    return command.runs([request] { return check(*request); });
}

} // namespace kor::tool
