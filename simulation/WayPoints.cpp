#include "simulation/WayPoints.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "platform/Text.h"
#include "recordings/Columns.h"
#include "recordings/Input.h"

namespace kor::simulation {

namespace {

using portable::kDegree;

using Quaternion = std::array<double, 4>; // w, x, y, z

Quaternion product(const Quaternion& a, const Quaternion& b)
{
    return {
        a[0] * b[0] - a[1] * b[1] - a[2] * b[2] - a[3] * b[3], a[0] * b[1] + a[1] * b[0] + a[2] * b[3] - a[3] * b[2],
        a[0] * b[2] - a[1] * b[3] + a[2] * b[0] + a[3] * b[1], a[0] * b[3] + a[1] * b[2] - a[2] * b[1] + a[3] * b[0]};
}

Quaternion quaternionOf(const WayPoint& point)
{
    const auto turn = [](double degrees, std::size_t axis) {
        Quaternion q = {portable::cosine(0.5 * degrees * kDegree), 0.0, 0.0, 0.0};
        q[axis] = portable::sine(0.5 * degrees * kDegree);
        return q;
    };
    return product(product(turn(point.yaw, 3), turn(point.pitch, 2)), turn(point.roll, 1));
}

Mat3 matrixOf(Quaternion q)
{
    const double size = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
    for (double& component : q) {
        component /= size;
    }
    const auto [w, x, y, z] = q;
    return {1.0 - 2.0 * (y * y + z * z), 2.0 * (x * y - w * z),       2.0 * (x * z + w * y),
            2.0 * (x * y + w * z),       1.0 - 2.0 * (x * x + z * z), 2.0 * (y * z - w * x),
            2.0 * (x * z - w * y),       2.0 * (y * z + w * x),       1.0 - 2.0 * (x * x + y * y)};
}

// Seven natural cubic splines on common times, by their second derivatives.
constexpr std::size_t kTracks = 7;
using Row = std::array<double, kTracks>;

class WayPointMotion : public Motion {
public:
    explicit WayPointMotion(const std::vector<WayPoint>& points)
    {
        for (const WayPoint& point : points) {
            Quaternion q = quaternionOf(point);
            if (!m_values.empty()) {
                // A quaternion and its negative are the same attitude: take the one on the shorter way.
                const Row& last = m_values.back();
                const double cosineHalf = last[3] * q[0] + last[4] * q[1] + last[5] * q[2] + last[6] * q[3];
                for (double& component : q) {
                    component = cosineHalf < 0.0 ? -component : component;
                }
            }
            m_times.push_back(point.time);
            m_values.push_back({point.position[0], point.position[1], point.position[2], q[0], q[1], q[2], q[3]});
        }
        solve();
    }

    Pose pose(double time) const override
    {
        const double within = std::clamp(time, m_times.front(), m_times.back());
        const auto next = std::upper_bound(m_times.begin(), m_times.end(), within);
        Row now = m_values.back();
        if (next != m_times.end()) {
            const auto i = static_cast<std::size_t>(next - m_times.begin()) - 1;
            const double h = m_times[i + 1] - m_times[i];
            const double b = (within - m_times[i]) / h;
            const double a = 1.0 - b;
            for (std::size_t k = 0; k < kTracks; ++k) {
                now[k] = a * m_values[i][k] + b * m_values[i + 1][k] +
                         ((a * a * a - a) * m_bends[i][k] + (b * b * b - b) * m_bends[i + 1][k]) * h * h / 6.0;
            }
        }
        return {matrixOf({now[3], now[4], now[5], now[6]}), {now[0], now[1], now[2]}, {}};
    }

private:
    // The tridiagonal system of the inner points, eliminated downwards and substituted upwards.
    void solve()
    {
        const std::size_t count = m_times.size();
        m_bends.assign(count, Row{});
        std::vector<double> upper(count, 0.0);
        for (std::size_t i = 1; i + 1 < count; ++i) {
            const double before = m_times[i] - m_times[i - 1];
            const double after = m_times[i + 1] - m_times[i];
            const double pivot = 2.0 * (before + after) - before * upper[i - 1];
            upper[i] = after / pivot;
            for (std::size_t k = 0; k < kTracks; ++k) {
                const double bend =
                    (m_values[i + 1][k] - m_values[i][k]) / after - (m_values[i][k] - m_values[i - 1][k]) / before;
                m_bends[i][k] = (6.0 * bend - before * m_bends[i - 1][k]) / pivot;
            }
        }
        for (std::size_t i = count - 1; i-- > 1;) {
            for (std::size_t k = 0; k < kTracks; ++k) {
                m_bends[i][k] -= upper[i] * m_bends[i + 1][k];
            }
        }
    }

    std::vector<double> m_times;
    std::vector<Row> m_values;
    std::vector<Row> m_bends; // second derivatives
};

constexpr auto& kColumns = recordings::kWayPointColumns;

std::string_view trimmed(std::string_view text)
{
    return platform::trimmed(text, " \t\r");
}

// Reads the header line first, then a way-point a line. Each function is false when the line is not as expected.
class WayPointReader {
public:
    explicit WayPointReader(const std::string& path) : m_path(path) {}

    WayPointFile read()
    {
        if (!readText()) {
            return {{}, m_problem};
        }
        std::string_view rest = m_text;
        if (rest.starts_with("\xef\xbb\xbf")) {
            rest.remove_prefix(3);
        }
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find('\n'), rest.size());
            ++m_line;
            if (!readLine(trimmed(rest.substr(0, end)))) {
                return {{}, m_problem};
            }
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        if (m_points.empty()) {
            recordings::Problem none = problem();
            none.line = 0;
            none.reason = "there is no way-point";
            none.advice = "write one below a header line with the columns " + recordings::headerLine(kColumns);
            return {{}, none};
        }
        return {m_points, {}};
    }

private:
    bool readText()
    {
        constexpr std::size_t kLargest = 64 * 1024 * 1024;
        const auto input = recordings::Input::open(m_path, m_problem);
        if (!input) {
            return false;
        }
        do {
            m_text += input->ahead();
            input->consume(input->ahead().size());
            if (m_text.size() > kLargest) {
                m_problem = problem();
                m_problem.reason = "the file is larger than 64 MB";
                return false;
            }
        } while (input->more());
        m_problem = input->problem();
        return !m_problem;
    }

    bool readLine(std::string_view line)
    {
        if (line.empty()) {
            return true;
        }
        std::vector<std::string_view> cells = platform::split(line, ',');
        std::transform(cells.begin(), cells.end(), cells.begin(), trimmed);
        if (!m_hasHeader) {
            m_hasHeader = true;
            return readHeader(cells);
        }
        return readRow(cells);
    }

    bool readHeader(const std::vector<std::string_view>& cells)
    {
        for (std::size_t i = 0; i < kColumns.size(); ++i) {
            const std::string_view name = kColumns[i].name;
            const auto at = std::find(cells.begin(), cells.end(), name);
            if (at == cells.end()) {
                return refuse("", "no column " + platform::inQuotes(name),
                              "the columns " + recordings::headerLine(kColumns));
            }
            if (std::count(cells.begin(), cells.end(), name) > 1) {
                return refuse("", "column " + platform::inQuotes(name) + " more than once", "it once");
            }
            m_place[i] = static_cast<std::size_t>(at - cells.begin());
        }
        return cells.size() == kColumns.size() ||
               refuse("", std::to_string(cells.size()) + " columns", std::to_string(kColumns.size()));
    }

    bool readRow(const std::vector<std::string_view>& cells)
    {
        if (cells.size() != kColumns.size()) {
            return refuse("", std::to_string(cells.size()) + " values", std::to_string(kColumns.size()));
        }
        std::array<double, kColumns.size()> values{};
        for (std::size_t i = 0; i < kColumns.size(); ++i) {
            const std::string_view cell = cells[m_place[i]];
            const auto [stop, error] = std::from_chars(cell.data(), cell.data() + cell.size(), values[i]);
            if (error != std::errc() || stop != cell.data() + cell.size() || !(std::fabs(values[i]) <= 1e6)) {
                return refuse(kColumns[i].name, platform::inQuotes(cell), "a number from -1e6 to 1e6");
            }
        }
        if (!m_points.empty() && !(values[0] > m_points.back().time)) {
            return refuse(kColumns[0].name, platform::inQuotes(cells[m_place[0]]),
                          "a later time than in the row before");
        }
        m_points.push_back({values[0], {values[1], values[2], values[3]}, values[4], values[5], values[6]});
        return true;
    }

    recordings::Problem problem() const
    {
        recordings::Problem problem;
        problem.kind = recordings::Problem::Kind::badData;
        problem.file = platform::shown(m_path);
        problem.line = m_line;
        return problem;
    }

    bool refuse(std::string_view column, const std::string& found, const std::string& expected)
    {
        m_problem = problem();
        m_problem.column = column;
        m_problem.found = found;
        m_problem.expected = expected;
        return false;
    }

    std::string m_path;
    std::string m_text;
    std::size_t m_line = 0;
    bool m_hasHeader = false;
    std::array<std::size_t, kColumns.size()> m_place{}; // of each column in the file
    std::vector<WayPoint> m_points;
    recordings::Problem m_problem;
};

} // namespace

std::unique_ptr<Motion> wayPointMotion(const std::vector<WayPoint>& points)
{
    for (std::size_t i = 1; i < points.size(); ++i) {
        if (!(points[i].time > points[i - 1].time)) {
            return nullptr;
        }
    }
    return points.empty() ? nullptr : std::make_unique<WayPointMotion>(points);
}

WayPointFile readWayPoints(const std::string& path)
{
    return WayPointReader(path).read();
}

} // namespace kor::simulation
