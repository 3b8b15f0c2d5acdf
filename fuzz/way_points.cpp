// Files of way-points, and the motion through them: it meets every one of them and stands still before the first and
// behind the last.
#include "Fuzz.h"
#include "recordings/Columns.h"
#include "recordings/WayPoints.h"
#include "simulation/WayPoints.h"

#include <charconv>
#include <cmath>
#include <span>

namespace {

using kor::recordings::WayPoint;
using kor_fuzz::require;

kor::recordings::WayPointFile read(std::string_view content)
{
    static kor_fuzz::MemoryFile memory;
    memory.write(content);
    return kor::recordings::readWayPoints(memory.path());
}

void appendNumber(std::string& text, double number)
{
    char digits[32];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

// Numbers with the shortest text that reads back as the same number.
std::string written(const std::vector<WayPoint>& points)
{
    std::string text = kor::recordings::headerLine(kor::recordings::kWayPointColumns) + "\n";
    for (const WayPoint& point : points) {
        appendNumber(text, point.time);
        for (const double number :
             {point.position[0], point.position[1], point.position[2], point.roll, point.pitch, point.yaw}) {
            text += ',';
            appendNumber(text, number);
        }
        text += '\n';
    }
    return text;
}

bool areSame(std::span<const WayPoint> a, std::span<const WayPoint> b)
{
    bool same = a.size() == b.size();
    for (std::size_t i = 0; same && i < a.size(); ++i) {
        same = a[i].time == b[i].time && a[i].position == b[i].position && a[i].roll == b[i].roll &&
               a[i].pitch == b[i].pitch && a[i].yaw == b[i].yaw;
    }
    return same;
}

double distance(const kor::simulation::Pose& pose, const WayPoint& point)
{
    double most = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        most = std::fmax(most, std::fabs(pose.position[i] - point.position[i]));
    }
    return most;
}

void move(const std::vector<WayPoint>& points)
{
    const auto motion = kor::simulation::wayPointMotion(points);
    require(motion != nullptr, "points that were read make a motion");
    for (std::size_t i = 0; i < points.size(); ++i) {
        const kor::simulation::Pose pose = motion->pose(points[i].time);
        // Positions are below 1e6 and the last step of the interpolation rounds relative to them.
        const bool apart = (i == 0 || points[i].time - points[i - 1].time > 1e-3) &&
                           (i + 1 == points.size() || points[i + 1].time - points[i].time > 1e-3);
        require(!apart || distance(pose, points[i]) < 1e-6, "the motion meets each way-point");
        if (i + 1 < points.size()) {
            motion->pose(0.5 * (points[i].time + points[i + 1].time));
        }
    }
    for (const double away : {1e-3, 1.0, 1e300, static_cast<double>(INFINITY)}) {
        require(distance(motion->pose(points.front().time - away), points.front()) < 1e-6 &&
                    distance(motion->pose(points.back().time + away), points.back()) < 1e-6,
                "the motion rests outside its time");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const kor::recordings::WayPointFile file = read({reinterpret_cast<const char*>(data), size});
    if (file.points.empty()) {
        const std::string text = kor::recordings::text(file.problem);
        require(file.problem && kor_fuzz::isShown(text), "a file without way-points has a problem to show");
        return 0;
    }
    require(!file.problem, "way-points come without a problem");
    require(areSame(read(written(file.points)).points, file.points), "written way-points are read as the same ones");
    move(file.points);
    return 0;
}
