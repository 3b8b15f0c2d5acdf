#include "simulation/WayPoints.h"

#include <algorithm>
#include <array>
#include <cmath>

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

} // namespace kor::simulation
