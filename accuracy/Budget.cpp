#include "accuracy/Budget.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kor::accuracy {

using namespace simulation;

namespace {

double largest(const Vec3& v)
{
    return std::max({std::fabs(v[0]), std::fabs(v[1]), std::fabs(v[2])});
}

} // namespace

Sensitivity sensitivityTo(const Input& input, const State& at, const Mat3& reference)
{
    constexpr int kSteps = 10;
    Sensitivity result{input.group,
                       input.name,
                       input.unit,
                       input.value,
                       input.arcSeconds,
                       {},
                       std::numeric_limits<double>::infinity()};
    Vec3 previous{};
    double step = input.step;
    for (int i = 0; i < kSteps; ++i, step *= 0.5) {
        State up = at;
        State down = at;
        const double width = input.shift(up, step) - input.shift(down, -step);
        const Vec3 high = turnBetween(orientationOf(up), reference);
        const Vec3 low = turnBetween(orientationOf(down), reference);
        Vec3 slope{};
        for (std::size_t k = 0; k < 3; ++k) {
            slope[k] = (high[k] - low[k]) / width * kArcSecondsPerRadian;
        }
        if (i > 0) {
            const double difference = input.resolution / step +
                                      largest({slope[0] - previous[0], slope[1] - previous[1], slope[2] - previous[2]});
            if (difference < result.uncertainty) {
                result.uncertainty = difference;
                result.turn = slope;
            }
        }
        previous = slope;
    }
    return result;
}

std::optional<Budget> budgetOf(const SensorParameters& sensor, const Pose& pose)
{
    std::optional<State> at = stateOf(sensor, pose);
    if (!at) {
        return std::nullopt;
    }
    Budget budget;
    budget.mode = sensor.mode;
    budget.pose = pose;
    const Mat3 reference = orientationOf(*at);
    budget.off = angleBetween(reference, pose.base);
    for (const Input& input : inputsOf(*at)) {
        budget.inputs.push_back(sensitivityTo(input, *at, reference));
    }
    return budget;
}

} // namespace kor::accuracy
