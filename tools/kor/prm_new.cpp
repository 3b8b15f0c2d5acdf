// kor prm new: a parameter file to begin with.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "KORInterface/OrientationModel.h"
#include "KORInterface/Session.h"

#include "platform/Files.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/MountMode.h"
#include "tools/kor/Options.h"
#include "tools/kor/PrmContent.h"
#include "tools/kor/prm.h"

namespace kor::tool {

namespace {

struct NewRequest {
    std::string mode;
    std::optional<std::string> id;
    std::string output = "-";
    bool force = false;
};

// Rows of evenly spaced readings whose second value is `scale` times the first.
std::vector<PrmNumber> tableRows(double first, double step, int rows, double scale)
{
    std::vector<PrmNumber> values;
    for (int row = 0; row < rows; ++row) {
        const double reading = first + step * row;
        values.emplace_back(static_cast<float>(reading));
        values.emplace_back(static_cast<float>(reading * scale));
    }
    return values;
}

void setTilt(PrmBlock& block, double span, double degrees)
{
    constexpr int kRows = 21; // steps of round numbers, which a rewrite keeps
    block.values = tableRows(-span, 2.0 * span / (kRows - 1), kRows, degrees / span);
    block.extras = {static_cast<float>(-span), static_cast<float>(span), 0.0F};
    block.word = "Degrees";
}

// A sensor without any deviation: every offset 0, every gain 1, every matrix the identity, every table a straight line.
PrmContent neutralContent(int mode, std::int32_t id)
{
    PrmContent content;
    for (std::uint32_t kind = 0; kind < content.blocks.size(); ++kind) {
        const ParameterBlockKind form = ParameterBlockKindOf(kind);
        PrmBlock& block = content.blocks[kind];
        block.present = !form.modeSevenUp || mode >= kFirstLongMode;
        block.values.assign(std::size_t{form.rows} * form.columns, 0.0F);
    }
    content.at("Serial Number").integer = id;
    content.at("Device Owner").word = "New";
    content.at("Mounting Mode").integer = mode;
    content.at("Transform Vector").values = {0.0F, 1.0F, 0.0F};
    for (const char* const matrix : {"Local Coordinate Tranform Matrix", "Machine Coordinate Tranform Matrix"}) {
        content.at(matrix).values = {1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F, 1.0F};
    }
    content.at("Thermal Compensation Factor").values = {0.0F, 1.0F, 0.0F, 1.0F};
    content.at("AZ Calibration Table").values = tableRows(0.0, 10.0, 36, 0.0);
    content.at("EL Calibration Table").values = tableRows(-60.0, 7.5, 17, 0.0);
    const bool hasRatio = ModelOf(mode) == OrientationModel::polarizer;
    constexpr double kSpan = 30.0; // degrees
    // Level X is the ratio of two readings there, of which level Y is the one below. The library takes the ratio where
    // that is beyond 2000.
    setTilt(content.at("Tilt X Calibration Table"), hasRatio ? 1.0 : kSpan, kSpan);
    setTilt(content.at("Tilt Y Calibration Table"), hasRatio ? 60000.0 : kSpan, kSpan);
    content.at("Scale Factor").values = {0.0F, 0.0F, 0.0F, 0.0F, 1.0F, 1.0F, 1.0F, 0.0F};
    content.at("Level_X").values.back() = 1.0F;
    // The second level stands across the first, as far as the line of sight leaves room: along that it measures
    // nothing.
    content.at("Level_Y").values.back() = 1.0F;
    content.at("Level_Y").values[3] = 45.0F;
    content.at("Half Angle").values = {180.0F, 60.0F};
    content.at("PSDX").values[1] = 1.0F;
    content.at("PSDY").values[1] = 1.0F;
    return content;
}

std::int32_t idOf(const NewRequest& request)
{
    const std::optional<std::int32_t> named = request.output == "-" ? std::nullopt : idInName(request.output);
    if (!request.id && !named) {
        throw Misuse("--id is required if the output is not named Tg<ID>.prm");
    }
    const std::int32_t id = request.id ? wholeOption<std::int32_t>("--id", *request.id) : *named;
    if (named && *named != id) {
        throw Misuse(
            fmt::format("--id: found {}, expected {}, the ID in the name {}", id, *named, shown(request.output)));
    }
    return id;
}

int runNew(const NewRequest& request)
{
    const std::int32_t mode = mountModeOption(request.mode);
    const std::int32_t id = idOf(request);
    // Somebody's calibration may stand there.
    if (request.output != "-" && !request.force && platform::fileStatus(request.output).isRegular) {
        throw Failure(
            kExitCannotCreate,
            fmt::format("{} exists already; choose another name, or replace it with --force", shown(request.output)));
    }
    writeOutput(request.output, prmText(neutralContent(mode, id)));
    noteName(request.output, id);
    return kExitOk;
}

} // namespace

Command declarePrmNew(const CommandGroup& group)
{
    const auto request = std::make_shared<NewRequest>();
    Subcommand command(group, "new", "Make a parameter file of a sensor without deviations");
    command.required("--mode", request->mode, "M", "Mount mode:\n" + mountModeNames("\n"))
        .takes(oneOf(mountModeWords()));
    command.option("--id", request->id, "N", "Sensor ID (default: the ID in the name of FILE)");
    command.option("-o,--output", request->output, "FILE", "The parameter file, DIR/TgN.prm (default: standard output)")
        .takes(outputNamed({"prm"}));
    command.flag("--force", request->force, "Replace a file that exists already");
    command.about("Offsets are 0, gains 1, matrices the identity and tables straight lines; replace them by the values "
                  "of the sensor. "
                  "Blocks that the mount mode does not read are left out.");
    command.example("A file for sensor 7 in mount mode 5", {"kor prm new --mode 5 -o Tg7.prm"});
    return command.runs([request] { return runNew(*request); });
}

} // namespace kor::tool
