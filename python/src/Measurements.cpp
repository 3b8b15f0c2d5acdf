// The simulated sensor and what is measured with it, and comparisons: the answers of the tool, from the same sources.
#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <pybind11/stl.h>

#include "KORInterface/Session.h"

#include "accuracy/Budget.h"
#include "accuracy/ClosedLoop.h"
#include "accuracy/Comparison.h"
#include "accuracy/Uncertainty.h"
#include "python/src/Arrays.h"
#include "python/src/Errors.h"
#include "python/src/Files.h"
#include "python/src/Lane.h"
#include "python/src/Module.h"
#include "python/src/Parameters.h"
#include "simulation/Simulator.h"
#include "simulation/WayPoints.h"
#include "tools/kor/AccuracyReport.h"
#include "tools/kor/CompareReport.h"
#include "tools/kor/CompareSides.h"
#include "tools/kor/SimulatedSensor.h"
#include "tools/kor/UncertaintyFile.h"
#include "tools/kor/UncertaintyReport.h"

namespace kor::python {

using namespace accuracy;
using namespace simulation;

namespace {

// A signal's handler has raised an exception.
struct Raised {};

// To be called now and then while something long is worked out.
class SignalsNowAndThen {
public:
    void operator()()
    {
        constexpr unsigned kOften = 1024;
        if (++m_calls % kOften == 0 && !signalsAreHandled()) {
            throw Raised();
        }
    }

private:
    unsigned m_calls = 0;
};

// Works something out without the interpreter's lock.
template <typename Work>
auto workedOut(const Work& work)
{
    std::optional<decltype(work())> result;
    {
        const py::gil_scoped_release unlocked;
        // The models of modes 9 and 10 may be among those that are asked: they begin as in a new process.
        const Hold values(twoLevelLane());
        FreshProcessValues();
        try {
            result = work();
        } catch (const Raised&) {
            result.reset();
        }
    }
    if (!result) {
        throwRaised();
    }
    return std::move(*result);
}

SensorParameters sensorOf(const Parameters& parameters, std::optional<std::int32_t> mode)
{
    CKorPrm prm = parameters.set(); // some of the get operations are not const
    return tool::sensorOf(prm, mode.value_or(parameters.mode()));
}

// The sensor of a parameter file, or typical ones: of one mode or of all ten.
std::vector<SensorParameters> sensorsOf(const Parameters* parameters, std::optional<std::int32_t> mode)
{
    if (parameters != nullptr) {
        return {sensorOf(*parameters, mode)};
    }
    std::vector<SensorParameters> sensors;
    for (int each = 1; each <= 10; ++each) {
        if (!mode || *mode == each) {
            sensors.push_back(typicalSensor(each, false));
        }
    }
    return sensors;
}

using SixNumbers = std::array<double, 6>; // of a pose: target point, roll, pitch and yaw
using SevenNumbers = std::array<double, 7>;

Pose poseOf(const std::optional<SixNumbers>& given, int mode)
{
    if (!given) {
        return typicalPose(mode);
    }
    const SixNumbers& v = *given;
    return wayPointMotion({{0.0, {v[0], v[1], v[2]}, v[3], v[4], v[5]}})->pose(0.0);
}

Fault unseenTracker(int mode)
{
    return {"usage",
            "pose: in mount mode " + std::to_string(mode) + " the sensor cannot look at the tracker in this pose"};
}

// The name of a motion, the path of a file of way-points behind "file:", or way-points themselves.
using MotionRequest = std::variant<std::string, std::vector<SevenNumbers>>;
constexpr std::string_view kFile = "file:";

std::unique_ptr<Motion> motionOf(const MotionRequest& request, int mode, std::uint64_t seed)
{
    if (const auto* const points = std::get_if<std::vector<SevenNumbers>>(&request)) {
        std::vector<WayPoint> way;
        for (const SevenNumbers& v : *points) {
            way.push_back({v[0], {v[1], v[2], v[3]}, v[4], v[5], v[6]});
        }
        auto motion = wayPointMotion(way);
        if (!motion) {
            throw Fault("usage", "motion: the times of way-points have to ascend, and there has to be one");
        }
        return motion;
    }
    const auto& name = std::get<std::string>(request);
    if (name.starts_with(kFile)) {
        const recordings::WayPointFile file = recordings::readWayPoints(name.substr(kFile.size()));
        if (file.problem) {
            throw Fault(file.problem);
        }
        return wayPointMotion(file.points);
    }
    auto motion = builtInMotion(name, mode, seed);
    if (!motion) {
        throw Fault("usage", "motion: found " + name + ", expected " + kMotionNames +
                                 ", a pathlib.Path of a file of way-points, or an array of them");
    }
    return motion;
}

using ByChannel = std::map<std::string, double>;

void take(const ByChannel& given, const char* name, std::array<double, kChannels.size()>& into)
{
    for (const auto& [channel, value] : given) {
        const std::optional<std::size_t> at = channelNamed(channel);
        if (!at) {
            std::string names;
            for (const recordings::Column& column : kChannels) {
                names.append(names.empty() ? "" : ", ").append(column.name);
            }
            throw Fault(
                "usage",
                std::string(name).append(": found ").append(channel).append(", expected a channel of ").append(names));
        }
        into[*at] = value;
    }
}

struct Simulated {
    std::vector<KOR_RAWINFO> samples;
    std::vector<recordings::Truth> truths;
    std::vector<std::uint32_t> notes; // index of each truth's note
    std::vector<std::string> names;
    std::uint64_t dropped = 0;
};

Simulated simulated(const SimulationPlan& plan, const Motion& motion, std::uint64_t count)
{
    Simulated result;
    Simulator simulator(plan, motion);
    SignalsNowAndThen signals;
    SimulatedSample sample;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (!simulator.next(sample)) {
            throw Fault("bad data", simulator.problem());
        }
        signals();
        if (sample.dropped) {
            ++result.dropped;
            continue;
        }
        auto name = std::find(result.names.begin(), result.names.end(), sample.note);
        if (name == result.names.end()) {
            name = result.names.insert(name, sample.note);
        }
        result.notes.push_back(static_cast<std::uint32_t>(name - result.names.begin()));
        result.samples.push_back(sample.raw);
        result.truths.push_back(truthOf(sample));
    }
    return result;
}

py::tuple simulate(const Parameters& parameters, const MotionRequest& motion, std::optional<std::int32_t> mode,
                   std::uint64_t count, double rate, std::uint64_t seed, std::uint32_t firstStamp,
                   std::uint64_t reference, const ByChannel& noise, const ByChannel& bias, const ByChannel& quantum,
                   double dropped, double badStatus, double levelOut, double nan,
                   const std::vector<std::pair<std::uint64_t, std::int64_t>>& jumps)
{
    SimulationPlan plan;
    plan.sensor = sensorOf(parameters, mode);
    plan.seed = seed;
    plan.rate = rate;
    plan.firstStamp = firstStamp;
    plan.reference = reference;
    take(noise, "noise", plan.faults.noise);
    take(bias, "bias", plan.faults.bias);
    take(quantum, "quantise", plan.faults.quantum);
    plan.faults.dropped = dropped;
    plan.faults.badStatus = badStatus;
    plan.faults.levelOut = levelOut;
    plan.faults.nan = nan;
    plan.faults.jumps = jumps;
    const std::unique_ptr<Motion> path = motionOf(motion, plan.sensor.mode, seed);
    Simulated found = workedOut([&] { return simulated(plan, *path, count); });
    return py::make_tuple(arrayOf(std::move(found.samples), rawType()), truthArrays(found.truths),
                          copyOf(found.notes.data(), {found.notes.size()}), found.names, found.dropped);
}

std::string measured(std::optional<std::int32_t> mode, std::uint64_t poses, std::uint64_t seed)
{
    return workedOut([&] {
        std::vector<Finding> findings;
        SignalsNowAndThen signals;
        for (int each = 1; each <= 10; ++each) {
            for (const Stratum& stratum : !mode || *mode == each ? strataOf(each) : std::vector<Stratum>()) {
                findings.push_back(measure(each, stratum, poses, seed, [&signals](std::uint64_t) { signals(); }));
            }
        }
        return tool::accuracyJson(findings, seed);
    });
}

std::string budget(const Parameters* parameters, std::optional<std::int32_t> mode,
                   const std::optional<SixNumbers>& pose)
{
    const std::vector<SensorParameters> sensors = sensorsOf(parameters, mode);
    return workedOut([&] {
        std::vector<Budget> budgets;
        for (const SensorParameters& sensor : sensors) {
            const std::optional<Budget> found = budgetOf(sensor, poseOf(pose, sensor.mode));
            if (!found) {
                throw unseenTracker(sensor.mode);
            }
            budgets.push_back(*found);
        }
        return tool::budgetJson(budgets);
    });
}

std::string uncertainty(const std::string& path, const Parameters* parameters, std::optional<std::int32_t> mode,
                        const std::optional<SixNumbers>& pose, std::uint64_t trials, std::uint64_t seed)
{
    const std::vector<InputUncertainty> inputs = tool::readUncertainties(path);
    const std::vector<SensorParameters> sensors = sensorsOf(parameters, mode);
    MonteCarloPlan plan;
    plan.trials = trials;
    plan.seed = seed;
    return workedOut([&] {
        std::vector<Uncertainty> found;
        SignalsNowAndThen signals;
        for (const SensorParameters& sensor : sensors) {
            const auto one = uncertaintyOf(sensor, poseOf(pose, sensor.mode), inputs, plan, [&signals] { signals(); });
            if (!one) {
                throw unseenTracker(sensor.mode);
            }
            found.push_back(*one);
        }
        return tool::uncertaintyJson(found, plan);
    });
}

py::tuple compare(const std::string& a, const std::string& b, const std::optional<std::string>& note, std::int64_t lag)
{
    const Warnings warnings;
    std::string json;
    {
        const py::gil_scoped_release unlocked;
        const tool::Sides sides = tool::readSides(a, b, note);
        for (const tool::Side* side : {&sides.first, &sides.second}) {
            tool::warnOfNoRotation(*side);
        }
        const Comparison found = compared(sides.first.series, sides.second.series, sides.columns, lag);
        tool::refuseIfNothing(sides.first, sides.second, found);
        json = tool::comparisonJson(sides, found, {});
    }
    return py::make_tuple(json, warnings.list());
}

} // namespace

void declareMeasurements(py::module_& module)
{
    py::list channels;
    for (const recordings::Column& column : kChannels) {
        channels.append(py::str(std::string(column.name)));
    }
    module.attr("CHANNELS") = py::tuple(channels);
    module.def("simulate", &simulate);
    module.def("accuracy", &measured);
    module.def("budget", &budget);
    module.def("uncertainty", &uncertainty);
    module.def("compare", &compare);
}

} // namespace kor::python
