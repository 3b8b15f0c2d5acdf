#include "literal/TwoLevel.h"

#include "literal/Support.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace kor_test {

namespace literal {

namespace {

// Rotation that carries the frame of gravity s and sight dir onto that of the vertical and the measured direction.
void frames(double* s, double* dir, double horiz, double vert, double* out)
{
    double c[3];
    double e2[3];
    CrossMultiply(s, dir, c);
    normalise(c);
    CrossMultiply(c, dir, e2);
    double m1[9] = {c[0], dir[0], e2[0], c[1], dir[1], e2[1], c[2], dir[2], e2[2]};
    const double hr = horiz * kRad;
    const double vr = vert * kRad;
    double e[3] = {-std::cos(vr) * std::sin(hr), std::cos(hr) * std::cos(vr), std::sin(vr)};
    double down[3] = {0.0, 0.0, -1.0};
    double f[3];
    double m[3];
    CrossMultiply(down, e, f);
    normalise(f);
    CrossMultiply(f, e, m);
    const double m2[9] = {f[0], e[0], m[0], f[1], e[1], m[1], f[2], e[2], m[2]};
    MatrixTransform(m1);
    MatrixMultiply(m2, m1, 3, 3, 3, out);
}

// Rx Ry Rz
void fromEuler(const Euler& angles, double* out)
{
    double x[9];
    double y[9];
    double z[9];
    double xy[9];
    rotation_x(x, angles.x);
    rotation_y(y, angles.y);
    rotation_z(z, angles.z);
    MatrixMultiply(x, y, 3, 3, 3, xy);
    MatrixMultiply(xy, z, 3, 3, 3, out);
}

} // namespace

void sightAtZero(double degrees1, double degrees2, double* u)
{
    const double t1 = std::tan(degrees1 * kRad);
    const double t2 = std::tan(degrees2 * kRad);
    const double n = std::sqrt(t1 * t1 + 1.0 + t2 * t2);
    u[0] = t1 / n;
    u[1] = 1.0 / n;
    u[2] = t2 / n;
}

void levelAxis(const float* level, double* a)
{
    const double t1 = std::tan(static_cast<double>(level[3]) * kRad);
    const double t2 = std::tan(static_cast<double>(level[4]) * kRad);
    const double n = std::sqrt(t1 * t1 + 1.0 + t2 * t2);
    a[0] = 1.0 / n;
    a[1] = t1 / n;
    a[2] = t2 / n;
}

void elevationAxis(float degrees, double* a)
{
    const double c = static_cast<double>(degrees) * kRad;
    a[0] = std::cos(c);
    a[1] = 0.0;
    a[2] = std::sin(c);
}

bool getF1(int parity, const float* level, double degrees, double* dir, double horiz, double vert, double* out)
{
    double a[3];
    levelAxis(level, a);
    double g[3] = {0.0, 0.0, parity != 0 ? 1.0 : -1.0};
    double s[3];
    const double offset = static_cast<double>(level[5]);
    const double scale = static_cast<double>(level[6]);
    solveVectorsRelAng(g, dir, a, vert + 90.0, 90.0 - (offset + degrees) * scale, s);
    frames(s, dir, horiz, vert, out);
    return true;
}

bool getF1v2(int parity, double* axis, double degrees, double* dir, double horiz, double vert, double* out)
{
    double g[3] = {0.0, 0.0, parity != 0 ? 1.0 : -1.0};
    double s[3];
    if (solveVectorsRelAng(g, dir, axis, vert + 90.0, 90.0 - degrees, s) != 0) {
        return false;
    }
    frames(s, dir, horiz, vert, out);
    return true;
}

Euler euler(const double* m)
{
    Euler angles;
    angles.x = std::atan2(-m[5], m[8]);
    angles.z = std::atan2(-m[1], m[0]);
    angles.y = std::atan2(m[2], std::cos(angles.x) * m[8] - std::sin(angles.x) * m[5]);
    return angles;
}

bool compensate(double degrees, double acceleration, double& out)
{
    const double x = std::sin(degrees * kRad) + acceleration / 9800.0;
    if (x > 1.0 || x < -1.0) {
        return false;
    }
    out = std::asin(x) * kDeg;
    return true;
}

} // namespace literal

void LiteralAverage::feed(double& value)
{
    const std::uint32_t index = count % 80u;
    buffer[index] = value;
    const std::uint32_t used = count >= 80u ? 80u : count;
    if (used > 0) {
        double sum = 0.0;
        for (std::uint32_t i = 0; i < used; ++i) {
            sum = sum + buffer[i];
        }
        value = sum / static_cast<double>(used);
    }
    count = count + 1;
}

bool LiteralEstimator::feed(const double* pos, const double* axis, std::uint32_t counter, double time, double& along)
{
    along = 0.0;
    const std::uint32_t i0 = (counter * 2u) % 102u;
    const std::uint32_t i1 = (counter * 2u + 1u) % 102u;
    double v[3] = {};
    double a[3] = {};
    if (counter >= 51u) {
        for (int i = 0; i < 3; ++i) {
            v[i] = literal::lineSlope(51, position[i]);
        }
    }
    for (int i = 0; i < 3; ++i) {
        position[i][i0] = time;
        position[i][i1] = pos[i];
    }
    if (counter < 51u) {
        return false;
    }
    if (counter >= 102u) {
        for (int i = 0; i < 3; ++i) {
            a[i] = literal::lineSlope(51, velocity[i]);
        }
    }
    for (int i = 0; i < 3; ++i) {
        velocity[i][i0] = time;
        velocity[i][i1] = v[i];
    }
    if (counter < 102u) {
        return false;
    }
    std::memcpy(acceleration, a, sizeof(a));
    literal::MatrixMultiply(a, axis, 1, 3, 1, &along);
    return true;
}

bool LiteralV1::run(const Call& call, double* io)
{
    if (call.excluded1 && call.excluded2) {
        return false;
    }
    const double q[3] = {static_cast<double>(prm.qvc[0]), static_cast<double>(prm.qvc[2]),
                         static_cast<double>(prm.qvc[1])};
    const double p[3] = {io[0], io[1], io[2]};
    const double raw[2] = {io[3], io[4]};
    if (!m_process.begun) {
        m_process.begun = true;
        m_process.ref7 = io[7];
        m_process.ref8 = io[8];
        m_process.smooth[0] = io[3];
        m_process.smooth[1] = io[4];
    }
    double spherical[3] = {p[0], p[1], p[2]};
    literal::ConvertCartesianToSphericalCoordinates(spherical);
    const double h = spherical[0];
    const double v = spherical[1];
    double axis[3];
    literal::elevationAxis(prm.qvc[5], axis);
    double u[3];
    literal::sightAtZero(static_cast<double>(prm.qvc[3]), static_cast<double>(prm.qvc[4]), u);
    const double azDeg = prm.azRef * literal::kDeg;
    const double elDeg = prm.elRef * literal::kDeg;
    double r[3];
    literal::mlaRotateAroundAxis(axis, io[6] - elDeg, u, r);
    driftA = driftA + (io[7] - m_process.ref7) * 0.001;
    driftB = driftB + (io[8] - m_process.ref8) * 0.001;

    double rotation[2][9] = {};
    double centre[2][3] = {};
    const std::uint32_t counter[2] = {call.counter1, call.counter2};
    const double time[2] = {call.time1, call.time2};
    const std::array<float, 7>* level[2] = {&prm.level1, &prm.level2};
    const auto runPath = [&](int k) {
        const float* l = level[k]->data();
        double value = raw[k];
        literal::getF1(prm.parity, l, value, r, h, v, rotation[k]);
        double offset[3];
        literal::MatrixMultiply(rotation[k], q, 3, 3, 1, offset);
        for (int i = 0; i < 3; ++i) {
            centre[k][i] = p[i] - offset[i];
        }
        const double sensitive[3] = {1.0, std::tan(static_cast<double>(l[3]) * literal::kRad),
                                     std::tan(static_cast<double>(l[4]) * literal::kRad)};
        double w[3];
        literal::MatrixMultiply(rotation[k], sensitive, 3, 3, 1, w);
        literal::normalise(w);
        if (!path[k].estimator.feed(centre[k], w, counter[k], time[k], path[k].along)) {
            return false;
        }
        path[k].average.feed(value);
        if (k == 1) {
            lastLevel2 = value;
        }
        path[k].filtered = value;
        literal::compensate(value, path[k].along, value);
        m_process.smooth[k] = m_process.smooth[k] + (value - m_process.smooth[k]) * 0.006000000000000005;
        value = m_process.smooth[k] + driftB;
        literal::getF1(prm.parity, l, value, r, h, v, rotation[k]);
        return true;
    };

    double out[9];
    double d[3];
    const auto finish = [&](const double* rot) {
        std::memcpy(out, rot, sizeof(out));
        double offset[3];
        literal::MatrixMultiply(out, q, 3, 3, 1, offset);
        for (int i = 0; i < 3; ++i) {
            d[i] = p[i] - offset[i];
        }
    };
    if (call.excluded1 || call.excluded2) {
        const int k = call.excluded1 ? 1 : 0;
        if (!runPath(k)) {
            return false;
        }
        finish(rotation[k]);
    } else {
        const bool first = runPath(0);
        const bool second = runPath(1);
        if (first && second) {
            const literal::Euler a = literal::euler(rotation[0]);
            const literal::Euler b = literal::euler(rotation[1]);
            double blend[9];
            literal::fromEuler({(a.x + b.x) * 0.5, (a.y + b.y) * 0.5, (a.z + b.z) * 0.5}, blend);
            finish(blend);
        } else if (first || second) {
            const int k = first ? 0 : 1;
            std::memcpy(out, rotation[k], sizeof(out));
            std::memcpy(d, centre[k], sizeof(d));
        } else {
            m_process.smooth[0] = raw[0];
            m_process.smooth[1] = raw[1];
            return false;
        }
    }
    for (std::size_t i = 0; i < 3; ++i) {
        residual[i] = static_cast<float>(d[i]);
    }
    double z[9];
    literal::rotation_z(z, -(io[5] - azDeg) * literal::kRad);
    literal::MatrixMultiply(out, z, 3, 3, 3, io);
    return true;
}

void LiteralV2Process::accelerate(const double* position, double* acceleration)
{
    const int j = historyIndex;
    historyIndex = (j + 1) % 7;
    for (int i = 0; i < 3; ++i) {
        history[i][j] = position[i];
        const auto back = [&](int k) { return history[i][(j - k + 7) % 7]; };
        acceleration[i] =
            625.0 * (back(0) + 2.0 * back(1) - back(2) - 4.0 * back(3) - back(4) + 2.0 * back(5) + back(6));
    }
}

int LiteralV2::lagged(float lag) const
{
    int rows = 0;
    if (lag <= -2147483648.0F) {
        rows = std::numeric_limits<int>::min();
    } else if (lag >= 2147483648.0F) {
        rows = std::numeric_limits<int>::max();
    } else if (!std::isnan(lag)) {
        rows = static_cast<int>(lag);
    }
    return (ringIndex - rows % 51 + 102) % 51;
}

void LiteralV2::filter(double* sample)
{
    const auto row = [this](int k) { return (ringIndex + 51 - k) % 51; };
    for (int c = 0; c < 9; ++c) {
        rawRing[row(0)][c] = sample[c];
    }
    for (int c = 0; c < 9; ++c) {
        if (c < 5) {
            double sum = 0.0;
            for (int k = 0; k < 5; ++k) {
                sum = sum + rawRing[row(k)][c];
            }
            sample[c] = sum / 5.0;
        } else {
            sample[c] = rawRing[row(2)][c];
        }
    }
}

void LiteralV2::filterPair(double* pair)
{
    const auto row = [this](int k) { return (ringIndex + 51 - k) % 51; };
    for (int c = 0; c < 2; ++c) {
        psdRing[row(0)][c] = pair[c];
        double sum = 0.0;
        for (int k = 0; k < 5; ++k) {
            sum = sum + psdRing[row(k)][c];
        }
        pair[c] = sum / 5.0;
    }
}

bool LiteralV2::run(const Call& call, double* buffer)
{
    if (call.excluded1 && call.excluded2) {
        return false;
    }
    LiteralV2Process& s = m_process;
    double io[9];
    std::memcpy(io, buffer, sizeof(io));
    double pair[2] = {static_cast<double>(prm.qvc[3]), static_cast<double>(prm.qvc[4])};
    const double q[3] = {static_cast<double>(prm.qvc[0]), static_cast<double>(prm.qvc[2]),
                         static_cast<double>(prm.qvc[1])};
    const double g = static_cast<double>(prm.dynamic[3]);
    if (!s.begun) {
        s.begun = true;
        s.level[0].reference = io[3];
        s.level[1].reference = io[4];
        s.ref7 = io[7];
        s.ref8 = io[8];
        s.lastTime1 = call.time1;
        s.lastTime2 = call.time2;
    }
    if (!(call.time1 == s.lastTime1 && call.time2 == s.lastTime2)) {
        if (!sample(call, io, pair, q, g)) {
            return false;
        }
    }
    std::memcpy(buffer, s.out, sizeof(s.out));
    return true;
}

bool LiteralV2::sample(const Call& call, double* io, double* pair, const double* q, double g)
{
    LiteralV2Process& s = m_process;
    const int r = ringIndex;
    const int rowA = lagged(prm.dynamic[4]);
    const int rowB = lagged(prm.dynamic[5]);
    s.lastTime1 = call.time1;
    s.lastTime2 = call.time2;

    filter(io);
    std::memcpy(filteredRing[r], io, sizeof(filteredRing[r]));
    filterPair(pair);
    std::memcpy(psdFilteredRing[r], pair, sizeof(psdFilteredRing[r]));
    ringIndex = (r + 1) % 51;

    if (filteredRing[4][3] == 0.0) {
        return false;
    }

    const bool excluded[2] = {call.excluded1, call.excluded2};
    const std::array<float, 7>* prmOf[2] = {&prm.level1, &prm.level2};
    const auto angleOf = [&](int k, double reading) {
        return (static_cast<double>((*prmOf[k])[5]) + reading) * static_cast<double>((*prmOf[k])[6]);
    };
    int c[2];
    for (int k = 0; k < 2; ++k) {
        c[k] = excluded[k] ? 0 : s.level[k].usable + 1;
    }

    if (!s.warmDone && io[7] != 0.0) {
        s.warmCount = s.warmCount + 1;
        if (s.warmCount > 200) {
            s.sum8 = s.sum8 + io[8];
            s.sum7 = s.sum7 + io[7];
        }
        if (s.warmCount == 400) {
            s.ref7 = s.sum7 / 200.0;
            s.ref8 = s.sum8 / 200.0;
            s.warmDone = true;
            s.level[0].out = angleOf(0, filteredRing[rowB][3]);
            s.level[1].out = angleOf(1, filteredRing[rowB][4]);
        }
    }

    const int rowB1 = (rowB + 50) % 51;
    const double newer = static_cast<double>(prm.dynamic[0]);
    for (int k = 0; k < 2; ++k) {
        s.level[k].value = (1.0 - newer) * filteredRing[rowB1][3 + k] + newer * filteredRing[rowB][3 + k];
        s.level[k].usable = c[k];
        levelValue[k] = s.level[k].value;
        s.level[k].value = angleOf(k, s.level[k].value);
    }

    const double p[3] = {filteredRing[rowA][0], filteredRing[rowA][1], filteredRing[rowA][2]};
    const double azDeg = filteredRing[rowA][5] - prm.azRef * literal::kDeg;
    double spherical[3] = {p[0], p[1], p[2]};
    literal::ConvertCartesianToSphericalCoordinates(spherical);
    double axis[3];
    literal::elevationAxis(prm.qvc[5], axis);
    double u[3];
    literal::sightAtZero(psdFilteredRing[rowA][0], psdFilteredRing[rowA][1], u);
    double dir[3];
    literal::mlaRotateAroundAxis(axis, filteredRing[rowA][6] - prm.elRef * literal::kDeg, u, dir);

    double a[2][3];
    double w[2][3];
    if (std::isnan(s.rotation[0])) {
        for (double& element : s.rotation) {
            element = 0.0;
        }
    }
    for (int k = 0; k < 2; ++k) {
        literal::levelAxis(prmOf[k]->data(), a[k]);
        literal::MatrixMultiply(s.rotation, a[k], 3, 3, 1, w[k]);
        if (std::sqrt(w[k][0] * w[k][0] + w[k][1] * w[k][1] + w[k][2] * w[k][2]) != 0.0) {
            literal::normalise(w[k]);
        }
        axisZRing[r][k] = w[k][2];
    }

    s.accelerate(io, acceleration);
    for (int k = 0; k < 2; ++k) {
        literal::MatrixMultiply(acceleration, w[k], 1, 3, 1, &along[k]);
        literal::compensate(s.level[k].value, along[k], s.level[k].compensated);
    }

    const double t7 = (filteredRing[rowA][7] - s.ref7) * 0.01 * static_cast<double>(prm.dynamic[1]);
    const double t8 = (filteredRing[rowA][8] - s.ref8) * 0.01 * static_cast<double>(prm.dynamic[2]);
    for (int k = 0; k < 2; ++k) {
        const double horizontal = std::sqrt(w[k][0] * w[k][0] + w[k][1] * w[k][1]);
        if (horizontal != 0.0) {
            w[k][0] = w[k][0] / horizontal;
            w[k][1] = w[k][1] / horizontal;
        }
        LiteralV2Process::Level& l = s.level[k];
        l.k = t7 * (s.rotation[4] * w[k][0] - s.rotation[1] * w[k][1]);
        l.m = t8 * (s.rotation[5] * w[k][0] - s.rotation[2] * w[k][1]);
        l.s = (l.s + l.k) * g;
        l.t = (l.t + l.m) * g;
    }

    double* solved[2] = {s.rotation, s.second};
    for (int k = 0; k < 2; ++k) {
        LiteralV2Process::Level& l = s.level[k];
        if (c[k] < 11) {
            l.compensated = l.k + l.out + l.m;
        }
        const double smoothed = (l.compensated - l.reference) * (1.0 - g) + l.reference;
        l.out = smoothed + l.s + l.t;
        if (excluded[k]) {
            l.out = l.value;
        }
        l.reference = smoothed;
        literal::getF1v2(prm.parity, a[k], l.out, dir, spherical[0], spherical[1], solved[k]);
    }

    const literal::Euler first = literal::euler(s.rotation);
    const literal::Euler second = literal::euler(s.second);
    const bool long1 = c[0] >= 11;
    const bool long2 = c[1] >= 11;
    double weight = long1 == long2 ? 0.5 : (long1 ? 1.0 : 0.0);
    if (c[0] + c[1] - 20 > 0) {
        const double ratio = static_cast<double>(c[0] - 10) / static_cast<double>(c[0] + c[1] - 20);
        const double t = ratio * ratio;
        weight = t <= 1.0 ? t : 1.0;
    }
    s.weight = weight;
    literal::fromEuler({(1.0 - weight) * second.x + weight * first.x, (1.0 - weight) * second.y + weight * first.y,
                        (1.0 - weight) * second.z + weight * first.z},
                       s.rotation);

    double offset[3];
    literal::MatrixMultiply(s.rotation, q, 3, 3, 1, offset);
    for (std::size_t i = 0; i < 3; ++i) {
        residual[i] = static_cast<float>(p[i] - offset[i]);
    }
    double z[9];
    literal::rotation_z(z, -azDeg * literal::kRad);
    literal::MatrixMultiply(s.rotation, z, 3, 3, 3, s.out);
    return true;
}

} // namespace kor_test
