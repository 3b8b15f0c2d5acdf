#include "literal/Geometric.h"

#include "literal/Values.h"

#include <cmath>

namespace kor_test::literal {

namespace {

// frame times the inverse of both axis rotations.
bool takeOutAxes(const Matrix& frame, double e1, double e2, double* out)
{
    Matrix axes = multiply(rotationZ(e1), rotationY(e2));
    const bool ok = literalInverse(axes);
    MatrixMultiply(frame.data(), axes.data(), 3, 3, 3, out);
    return ok;
}

} // namespace

bool dualLevel(const float* factors, double* io, double angle1, double angle2, DualLevelBranches* branches)
{
    DualLevelBranches taken;
    const double factor0 = static_cast<double>(factors[0]);
    const double factor1 = static_cast<double>(factors[1]);

    const double x = io[0];
    const double y = io[1];
    const double z = io[2];
    const double a3 = io[3] * kRad;
    const double a4 = -(io[4] * kRad);
    const double e1 = io[5] * kRad - angle1;
    const double e2 = angle2 - io[6] * kRad;
    const double h2 = y * y + x * x;
    const double n = std::sqrt(z * z + h2);
    Vector u = {0, 0, 0};
    if (n > 0) {
        u = {x / n, y / n, z / n};
    }
    const double phi = literalHorizontalAngle(x, y);

    const double w = (factor0 + 90.0) * kRad;
    double d = std::sin(a3) * std::sin(a3);
    d = d + std::sin(a4) * std::sin(a4);
    d = d - std::sin(a4) * (2 * std::sin(a3)) * std::cos(w);
    const double theta = std::asin(std::sqrt(d) / std::sin(w));

    Vector g = {0, 0, 1};
    taken.deadBand = std::fabs(a3) <= 1.745329251994e-5 && std::fabs(a4) <= 1.745329251994e-5;
    if (!taken.deadBand) {
        const double p = std::acos(std::sin(std::fabs(a4)) / std::sin(std::fabs(theta))) + factor1 * kRad;
        taken.acute = p < kHalfPi;
        double psi = 0.0;
        if (p < kHalfPi) {
            psi = std::asin(std::cos(p) * std::sin(theta));
        } else {
            psi = -std::asin(std::cos(kPi - p) * std::sin(theta));
        }
        if (a4 < 0) {
            psi = -psi;
        }
        double c = std::fabs(z / std::tan(theta)) / std::fabs(z / std::tan(a4));
        taken.limited = std::fabs(c) >= 1;
        taken.beyond = std::fabs(c) > 1;
        if (std::fabs(c) >= 1) {
            c = c / std::fabs(c);
        }
        const double beta = std::acos(c);
        const double alpha = std::acos(-std::tan(psi) * std::fabs(z) / std::sqrt(h2));
        double gamma = 0.0;
        if (a3 >= 0) {
            if (a3 > 0 && psi > 0) {
                taken.gamma = 0;
                gamma = alpha - beta;
            } else {
                taken.gamma = 1;
                gamma = kTwoPi - (alpha - beta);
            }
        } else if (psi > 0) {
            taken.gamma = 2;
            gamma = beta + alpha;
        } else if (psi < 0) {
            taken.gamma = 3;
            gamma = kTwoPi - (beta + alpha);
        } else {
            taken.gamma = 4;
            gamma = kTwoPi - (alpha - beta);
        }
        const double lambda = gamma + phi;
        g = {std::cos(lambda) * std::sin(theta), std::sin(lambda) * std::sin(theta), std::cos(theta)};
    }

    const Vector s1 = literalNormalised(literalCross(g, u));
    const Vector s2 = literalNormalised(literalCross(u, s1));
    const bool ok = takeOutAxes(literalColumns(u, s1, s2), e1, e2, io);
    if (branches != nullptr) {
        *branches = taken;
    }
    return ok;
}

bool pendulum(int parity, const float* factors, double* io, double angle1, double angle2, PendulumSearch* search,
              int limit)
{
    PendulumSearch log;
    double S[8];
    for (int i = 0; i < 8; ++i) {
        S[i] = static_cast<double>(factors[i]);
    }
    const double t = 1.7444444444444444e-5;
    const double x = io[0];
    const double y = io[1];
    const double z = io[2];

    double e1 = io[5] * kRad - angle1;
    double target = (S[1] + io[4]) * kRad;
    double e2 = angle2 - io[6] * kRad;
    if (parity == 1) {
        e1 = -e1;
        target = -target;
        e2 = -e2;
    }
    e1 = e1 * S[4];
    target = target * S[6];
    e2 = e2 * S[5];

    const double h2 = y * y + x * x;
    const double z2 = z * z;
    const double r = std::sqrt(z2 + h2);
    const double r2 = r * r;
    Vector u = {std::sqrt(0.3333333333333333), std::sqrt(0.3333333333333333), std::sqrt(0.3333333333333333)};
    if (r > 0) {
        u = {x / r, y / r, z / r};
    }
    const double phi = literalHorizontalAngle(x, y);
    const double a = S[0] * kRad + kHalfPi;
    const double b = kPi - a;
    const Vector p = {std::sin(S[3] * kRad) * std::cos(S[2] * kRad), std::cos(S[3] * kRad) * std::cos(S[2] * kRad),
                      std::sin(S[2] * kRad)};

    double rho = target;
    Matrix frame{};
    for (int i = 0; i < limit; ++i) {
        const double h = std::sqrt(h2);
        Vector D{};
        if (std::fabs(rho) < t) {
            ++log.cases[0];
            const double s = std::sqrt((r2 + 1000000.0) - std::cos(a) * (r * 2000.0));
            const double q = std::sqrt(s * s - z2);
            const double ang = phi - std::acos((q * q + h * h - 1000000.0) / ((h + h) * q));
            D = {x - std::cos(ang) * q, y - std::sin(ang) * q, z - z};
        } else if (z > 0 && rho > 0) {
            ++log.cases[1];
            const double w = z / std::sin(rho);
            const double s = std::sqrt(w * w + r2 - std::cos(a) * ((w + w) * r));
            const double c = z / std::tan(rho);
            const double ang = phi - std::acos((h * h + s * s - c * c) / ((h + h) * s));
            D = {x - std::cos(ang) * s, y - std::sin(ang) * s, z};
        } else if (z > 0 && rho < 0) {
            ++log.cases[2];
            const double minusRho = -rho;
            const double w = z / std::sin(minusRho);
            const double s = std::sqrt(w * w + r2 - std::cos(b) * ((w + w) * r));
            const double c = z / std::tan(minusRho);
            const double ang = std::acos((h * h + s * s - c * c) / ((h + h) * s)) + phi;
            D = {std::cos(ang) * s - x, std::sin(ang) * s - y, -z};
        } else if (z < 0 && rho > 0) {
            ++log.cases[3];
            const double minusZ = -z;
            const double w = minusZ / std::sin(rho);
            const double s = std::sqrt(w * w + r2 - std::cos(b) * ((w + w) * r));
            const double c = minusZ / std::tan(rho);
            const double ang = std::acos((h * h + s * s - c * c) / ((h + h) * s)) + phi;
            D = {std::cos(ang) * s - x, std::sin(ang) * s - y, -z};
        } else {
            ++log.cases[4];
            const double minusRho = -rho;
            const double minusZ = -z;
            const double w = minusZ / std::sin(minusRho);
            const double s = std::sqrt(w * w + r2 - std::cos(a) * ((w + w) * r));
            const double c = minusZ / std::tan(minusRho);
            const double ang = phi - std::acos((h * h + s * s - c * c) / ((h + h) * s));
            D = {x - std::cos(ang) * s, y - std::sin(ang) * s, z};
        }
        D = literalNormalised(D);
        const Vector C = literalNormalised(literalCross(u, D));
        const Vector E = literalNormalised(literalCross(D, C));
        frame = literalColumns(E, D, C);
        Matrix unturn = rotationY(e2);
        literalInverse(unturn);
        const Vector tilted = multiply(multiply(frame, unturn), p);
        const double error = std::asin(tilted[2]) - target;
        ++log.iterations;
        log.rho = rho;
        log.error = error;
        if (std::fabs(error) < t) {
            break;
        }
        rho = rho - error / 2.7;
    }
    log.target = target;

    const bool ok = takeOutAxes(frame, e1, e2, io);
    if (search != nullptr) {
        *search = log;
    }
    return ok;
}

bool polarizer(const float* factors, double* io, double angle1, double angle2)
{
    const double x = io[0];
    const double y = io[1];
    const double z = io[2];
    const double ry = (static_cast<double>(factors[1]) + io[4]) * kRad * static_cast<double>(factors[6]);
    const double rz0 = static_cast<double>(factors[0]) * kRad;
    const double rx = (angle2 - io[6] * kRad) * static_cast<double>(factors[5]);
    const double rz1 = -(io[5] * kRad - angle1) * static_cast<double>(factors[4]);
    const double r = std::sqrt(y * y + x * x + z * z);
    Matrix product = multiply(rotationZ(-std::atan2(x, y)), rotationX(std::asin(z / r)));
    product = multiply(product, rotationY(ry));
    product = multiply(product, rotationZ(rz0));
    product = multiply(product, rotationX(rx));
    product = multiply(product, rotationZ(rz1));
    for (std::size_t i = 0; i < 9; ++i) {
        io[i] = product[i];
    }
    return true;
}

bool threeVec(int parity, const float* qvc, const float* level1, double* io, double angle1, double angle2,
              float* offset, ThreeVecSolution* solution)
{
    double Q[6];
    for (int i = 0; i < 6; ++i) {
        Q[i] = static_cast<double>(qvc[i]);
    }
    double L[7];
    for (int i = 0; i < 7; ++i) {
        L[i] = static_cast<double>(level1[i]);
    }

    // Where the target point is seen.
    double seen[3] = {io[0], io[1], io[2]};
    ConvertCartesianToSphericalCoordinates(seen);
    const double az = seen[0];
    const double el = seen[1];

    // Elevation axis, level axis, line of sight.
    const Vector a = {std::cos(Q[5] * kRad), 0, std::sin(Q[5] * kRad)};
    const double t1 = std::tan(L[3] * kRad);
    const double t2 = std::tan(L[4] * kRad);
    const double len1 = std::sqrt(t1 * t1 + 1 + t2 * t2);
    const Vector l = {1 / len1, t1 / len1, t2 / len1};
    const double t3 = std::tan(Q[3] * kRad);
    const double t4 = std::tan(Q[4] * kRad);
    const double len2 = std::sqrt(t3 * t3 + 1 + t4 * t4);
    const Vector q0 = {t3 / len2, 1 / len2, t4 / len2};
    Vector r{};
    mlaRotateAroundAxis(a.data(), io[6] - angle2 * kDeg, q0.data(), r.data());

    // Gravity in the stage.
    const double A1 = el + 90.0;
    const double A2 = (-io[4] - L[5]) * L[6] + 90.0;
    const Vector g = {0, 0, parity != 0 ? 1.0 : -1.0};
    Vector x{};
    const int code = solveVectorsRelAng(g.data(), r.data(), l.data(), A1, A2, x.data());
    if (solution != nullptr) {
        solution->code = code;
        solution->second = literalDot(x, literalCross(r, l)) < 0;
    }

    // Sensor frame and tracker frame.
    const Vector ys = literalNormalised(literalCross(x, r));
    const Vector zs = literalCross(ys, r);
    const double azRad = az * kRad;
    const double elRad = el * kRad;
    const Vector d = {-std::cos(elRad) * std::sin(azRad), std::cos(azRad) * std::cos(elRad), std::sin(elRad)};
    const Vector w = literalNormalised(literalCross(g, d));
    const Vector v = literalCross(w, d);
    const Matrix P = multiply(literalColumns(w, d, v), transposed(literalColumns(ys, r, zs)));

    const Vector moved = multiply(P, Vector{Q[0], Q[2], Q[1]});
    offset[0] = static_cast<float>(moved[0]);
    offset[1] = static_cast<float>(moved[2]);
    offset[2] = static_cast<float>(moved[1]);
    const Matrix turn = rotationZ(-(io[5] - angle1 * kDeg) * kRad);
    MatrixMultiply(P.data(), turn.data(), 3, 3, 3, io);
    return true;
}

} // namespace kor_test::literal
