// kor prm diff: two parameter files, value by value.

#include <charconv>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "platform/Text.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Options.h"
#include "tools/kor/PrmContent.h"
#include "tools/kor/PrmDifference.h"
#include "tools/kor/prm.h"

namespace kor::tool {

namespace {

using Json = nlohmann::ordered_json;

struct DiffRequest {
    std::string a;
    std::string b;
    std::optional<std::string> tolerance;
    bool json = false;
    bool all = false;
};

double toleranceOf(const DiffRequest& request)
{
    if (!request.tolerance) {
        return 0.0;
    }
    const std::string& text = *request.tolerance;
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(value >= 0.0) ||
        value == std::numeric_limits<double>::infinity()) {
        throw Misuse(fmt::format("--tolerance: found {}, expected a number of at least 0", inQuotes(text)));
    }
    return value;
}

// What one side has. JSON has no numbers that are not finite: those are told as text.
Json sideOf(const std::string& text, bool isWord = false)
{
    if (isWord) {
        return text;
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isFinite = error == std::errc() && end == text.data() + text.size() && value - value == 0.0;
    return text.empty() ? Json() : isFinite ? Json(value) : Json(text);
}

std::string jsonOf(const DiffRequest& request, double tolerance, const std::vector<PrmBlockDifference>& blocks)
{
    Json list = Json::array();
    for (const PrmBlockDifference& block : blocks) {
        Json values = Json::array();
        for (const PrmDifference& value : block.values) {
            Json one = {{"field", value.field}, {"unit", value.unit}};
            if (value.row) {
                one["row"] = *value.row;
                one["reading"] = sideOf(value.reading ? shortestText(*value.reading) : "");
            }
            one["a"] = sideOf(value.a, value.isWord);
            one["b"] = sideOf(value.b, value.isWord);
            one["change"] = value.change ? Json(*value.change) : Json();
            values.push_back(one);
        }
        Json one = {{"block", ParameterBlockKindOf(block.kind).title}, {"in_a", block.inA}, {"in_b", block.inB}};
        if (block.rowsOfA) {
            one["rows_a"] = *block.rowsOfA;
            one["rows_b"] = *block.rowsOfB;
        }
        one["values"] = values;
        list.push_back(one);
    }
    const Json whole = {{"a", request.a}, {"b", request.b}, {"tolerance", tolerance}, {"blocks", list}};
    return whole.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

int runDiff(const DiffRequest& request)
{
    const double tolerance = toleranceOf(request);
    if (request.a == "-" && request.b == "-") {
        throw Misuse("standard input cannot be both files");
    }
    const PrmContent a = readPrm(request.a);
    const PrmContent b = readPrm(request.b);
    const std::vector<PrmBlockDifference> blocks = differencesOf(a, b, tolerance);
    if (request.json) {
        print(jsonOf(request, tolerance, blocks));
        return blocks.empty() ? kExitOk : kExitBeyondBound;
    }
    const std::string within = tolerance > 0.0 ? fmt::format(" within {:g}", tolerance) : std::string();
    if (blocks.empty()) {
        print(fmt::format("The files hold the same values{}.\n", within));
        return kExitOk;
    }
    constexpr std::size_t kMostRows = 10;
    const std::size_t count = differenceCount(blocks);
    print(fmt::format("A: {}\nB: {}\n\n{}\n{} {} in {} {}{}.\n", shown(request.a), shown(request.b),
                      differenceText(blocks, request.all ? std::numeric_limits<std::size_t>::max() : kMostRows), count,
                      count == 1 ? "difference" : "differences", blocks.size(), blocks.size() == 1 ? "block" : "blocks",
                      tolerance > 0.0 ? fmt::format(", larger than {:g}", tolerance) : std::string()));
    return kExitBeyondBound;
}

} // namespace

Command declarePrmDiff(const CommandGroup& group)
{
    const auto request = std::make_shared<DiffRequest>();
    Subcommand command(group, "diff", "Compare two parameter files value by value");
    command.required("A", request->a, "", "The first parameter file; - is standard input").takes(fileNamed({"prm"}));
    command.required("B", request->b, "", "The second parameter file").takes(fileNamed({"prm"}));
    command.option("--tolerance", request->tolerance, "T",
                   "Largest difference allowed between two numbers, in their unit (default: 0)");
    command.flag("--all", request->all, "List every row of a table that differs, not only the first ten");
    command.flag("--json", request->json, "Print JSON in place of text, with every row");
    command.about("Values are compared as the library stores them: 1.5 and 1.500000 are the same, and so are two "
                  "values that are both nan. If two tables differ in length, their rows are matched by the readings.");
    command.example("Whether a parameter file is the same after it was converted to JSON and back",
                    {"kor prm json calibration/Tg1005.prm -o sensor.json",
                     "kor prm from-json sensor.json -o Tg1005.prm", "kor prm diff calibration/Tg1005.prm Tg1005.prm"});
    return command.runs([request] { return runDiff(*request); });
}

} // namespace kor::tool
