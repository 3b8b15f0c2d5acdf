// The support library's routines as plain loops over arrays, under its names; nothing is shared with the library.
//
// The order of every sum and product is that of the library, to the bit. Nothing is remembered from one call to the
// next.
#pragma once

#include <cmath>
#include <cstddef>
#include <limits>

namespace kor_test::literal {

inline constexpr double kRad = 0.01745329251994; // per degree
inline constexpr double kDeg = 57.29577951308;   // per radian
inline constexpr double kPi = 3.14159265359;
inline constexpr double kHalfPi = 1.570796326795;
inline constexpr double kThreeHalvesPi = 4.7123889803850005;
inline constexpr double kTwoPi = 6.28318530718;

inline void CrossMultiply(const double* a, const double* b, double* out)
{
    const double x = a[1] * b[2] - a[2] * b[1];
    const double y = a[2] * b[0] - a[0] * b[2];
    const double z = a[0] * b[1] - a[1] * b[0];
    out[0] = x;
    out[1] = y;
    out[2] = z;
}

inline double dotProduct(const double* a, const double* b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline void normalise(double* v)
{
    const double length = std::sqrt(dotProduct(v, v));
    v[0] = v[0] / length;
    v[1] = v[1] / length;
    v[2] = v[2] / length;
}

inline void MatrixMultiply(const double* a, const double* b, int r, int n, int c, double* out)
{
    for (int i = 0; i < r; ++i) {
        for (int j = 0; j < c; ++j) {
            double sum = a[i * n] * b[j];
            for (int t = 1; t < n; ++t) {
                sum = sum + a[i * n + t] * b[t * c + j];
            }
            out[i * c + j] = sum;
        }
    }
}

// In place, for the 3 x 3 matrices of this system.
inline void MatrixTransform(double* m)
{
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < i; ++j) {
            const double element = m[3 * i + j];
            m[3 * i + j] = m[3 * j + i];
            m[3 * j + i] = element;
        }
    }
}

inline void EyeMatrix(double* m, int n)
{
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            m[i * n + j] = i == j ? 1.0 : 0.0;
        }
    }
}

// Gauss-Jordan elimination of [m | I] with partial pivoting, n up to 3. A singular matrix, or one with a NaN among the
// candidates of a pivot, stays as it was.
inline bool MatrixInverse(double* m, int n)
{
    if (n < 1 || n > 3) {
        return false;
    }
    double largest = 0.0;
    for (int i = 0; i < n * n; ++i) {
        if (std::fabs(m[i]) > largest) {
            largest = std::fabs(m[i]);
        }
    }
    const double limit = static_cast<double>(n) * std::numeric_limits<double>::epsilon() * largest;
    double work[3][6];
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            work[i][j] = m[i * n + j];
            work[i][n + j] = i == j ? 1.0 : 0.0;
        }
    }
    for (int k = 0; k < n; ++k) {
        int best = k;
        for (int i = k; i < n; ++i) {
            if (std::isnan(work[i][k])) {
                return false;
            }
            if (std::fabs(work[i][k]) > std::fabs(work[best][k])) {
                best = i;
            }
        }
        if (!(std::fabs(work[best][k]) > limit)) {
            return false;
        }
        for (int j = 0; j < 2 * n; ++j) {
            const double element = work[best][j];
            work[best][j] = work[k][j];
            work[k][j] = element;
        }
        const double pivot = work[k][k];
        for (int j = 0; j < 2 * n; ++j) {
            work[k][j] = work[k][j] / pivot;
        }
        for (int i = 0; i < n; ++i) {
            if (i == k) {
                continue;
            }
            const double factor = work[i][k];
            for (int j = 0; j < 2 * n; ++j) {
                work[i][j] = work[i][j] - factor * work[k][j];
            }
        }
    }
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            m[i * n + j] = work[i][n + j];
        }
    }
    return true;
}

inline void store(double* out, double m0, double m1, double m2, double m3, double m4, double m5, double m6, double m7,
                  double m8)
{
    out[0] = m0;
    out[1] = m1;
    out[2] = m2;
    out[3] = m3;
    out[4] = m4;
    out[5] = m5;
    out[6] = m6;
    out[7] = m7;
    out[8] = m8;
}

inline void rotation_x(double* m, double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    store(m, 1.0, 0.0, 0.0, 0.0, c, -s, 0.0, s, c);
}

inline void rotation_y(double* m, double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    store(m, c, 0.0, s, 0.0, 1.0, 0.0, -s, 0.0, c);
}

inline void rotation_z(double* m, double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    store(m, c, -s, 0.0, s, c, 0.0, 0.0, 0.0, 1.0);
}

inline void mlaRotateAroundAxis(const double* axis, double angle, const double* v, double* out)
{
    const double c = std::cos(angle * kRad);
    const double s = std::sin(angle * kRad);
    double across[3];
    CrossMultiply(axis, v, across);
    const double along = dotProduct(axis, v);
    for (int i = 0; i < 3; ++i) {
        out[i] = v[i] * c + across[i] * s + axis[i] * along * (1.0 - c);
    }
}

inline void ConvertCartesianToSphericalCoordinates(double* v)
{
    const double x = v[0];
    const double y = v[1];
    const double z = v[2];
    v[0] = std::atan2(-x, y) * kDeg;
    v[1] = std::atan2(z, std::sqrt(x * x + y * y)) * kDeg;
    v[2] = std::sqrt(x * x + y * y + z * z);
}

// The direction that makes angle1 with v and angle2 with a, on the side of g.
inline int solveVectorsRelAng(const double* g, const double* v, const double* a, double angle1, double angle2,
                              double* out)
{
    const double p = std::cos(angle1 * kRad);
    const double q = std::cos(angle2 * kRad);
    const double c = dotProduct(v, a);
    const double det = 1.0 - c * c;
    if (!(det >= 1e-12)) {
        out[0] = 0.0;
        out[1] = 0.0;
        out[2] = 0.0;
        return 2;
    }
    const double alpha = (p - c * q) / det;
    const double beta = (q - c * p) / det;
    double s[3];
    for (int i = 0; i < 3; ++i) {
        s[i] = alpha * v[i] + beta * a[i];
    }
    const double h2 = 1.0 - dotProduct(s, s);
    if (h2 < -1e-9) {
        normalise(s);
        for (int i = 0; i < 3; ++i) {
            out[i] = s[i];
        }
        return 1;
    }
    double n[3];
    CrossMultiply(v, a, n);
    normalise(n);
    const double h = std::sqrt(h2 < 0.0 ? 0.0 : h2);
    double first[3];
    double second[3];
    for (int i = 0; i < 3; ++i) {
        first[i] = s[i] + h * n[i];
        second[i] = s[i] - h * n[i];
    }
    const double* chosen = dotProduct(second, g) > dotProduct(first, g) ? second : first;
    for (int i = 0; i < 3; ++i) {
        out[i] = chosen[i];
    }
    return 0;
}

// Slope of the straight line of least squares through interleaved (x, y) pairs; 0 when all x are equal.
inline double lineSlope(int count, const double* xy)
{
    bool equal = true;
    for (int i = 1; i < count; ++i) {
        if (xy[2 * i] != xy[0]) {
            equal = false;
        }
    }
    if (equal) {
        return 0.0;
    }
    double sumX = 0.0;
    double sumY = 0.0;
    for (int i = 0; i < count; ++i) {
        sumX = sumX + xy[2 * i];
        sumY = sumY + xy[2 * i + 1];
    }
    const double meanX = sumX / static_cast<double>(count);
    const double meanY = sumY / static_cast<double>(count);
    double covariance = 0.0;
    double variance = 0.0;
    for (int i = 0; i < count; ++i) {
        const double dx = xy[2 * i] - meanX;
        covariance = covariance + dx * (xy[2 * i + 1] - meanY);
        variance = variance + dx * dx;
    }
    return covariance / variance;
}

// Value of a natural cubic spline, continued by straight lines beyond its ends.
inline float CalcSpline(bool checkRange, const float* knots, const double* coeffs, int segments, float x,
                        bool* outOfRange)
{
    if (knots == nullptr || coeffs == nullptr || segments < 1) {
        *outOfRange = checkRange;
        return x;
    }
    const float first = knots[0];
    const float last = knots[segments];
    const bool inside = (first <= x && x <= last) || (last <= x && x <= first);
    *outOfRange = checkRange && !inside;
    if (std::isnan(x)) {
        return x;
    }
    const bool ascending = first <= last;
    if (ascending ? x < first : x > first) {
        const double t = static_cast<double>(x) - static_cast<double>(knots[0]);
        return static_cast<float>(coeffs[0] + coeffs[1] * t);
    }
    if (ascending ? x > last : x < last) {
        const double* c = coeffs + 4 * (segments - 1);
        const double begin = static_cast<double>(knots[segments - 1]);
        const double h = static_cast<double>(last) - begin;
        const double t = static_cast<double>(x) - begin;
        const double end = c[0] + h * (c[1] + h * (c[2] + h * c[3]));
        const double slope = c[1] + h * (2.0 * c[2] + h * (3.0 * c[3]));
        return static_cast<float>(end + slope * (t - h));
    }
    int low = 0;
    int high = segments;
    while (high - low > 1) {
        const int middle = low + (high - low) / 2;
        if (ascending ? knots[middle] <= x : knots[middle] >= x) {
            low = middle;
        } else {
            high = middle;
        }
    }
    const double* c = coeffs + 4 * low;
    const double t = static_cast<double>(x) - static_cast<double>(knots[low]);
    return static_cast<float>(c[0] + t * (c[1] + t * (c[2] + t * c[3])));
}

// One encoder axis: rows of (reading, correction).
class Encoder {
public:
    void setCalTable(const float* table, int count)
    {
        m_table = table;
        m_count = table == nullptr ? 0 : count;
    }

    float encCalibration(float reading) const
    {
        if (m_count < 1 || !std::isfinite(reading)) {
            return reading;
        }
        const double r = static_cast<double>(reading);
        return narrowed(r + correction(r, false), reading);
    }

    float inverseEncCalibration(float angle) const
    {
        if (m_count < 1 || !std::isfinite(angle)) {
            return angle;
        }
        const double a = static_cast<double>(angle);
        return narrowed(a - correction(a, true), angle);
    }

private:
    // Beginning of a row along the readings, or along the calibrated angles.
    double key(int row, bool calibrated) const
    {
        const double reading = static_cast<double>(m_table[2 * row]);
        return calibrated ? reading + static_cast<double>(m_table[2 * row + 1]) : reading;
    }

    double correction(double position, bool calibrated) const
    {
        const double first = key(0, calibrated);
        double p = position;
        if (!(position - first >= 0.0 && position - first < 360.0)) {
            double offset = std::fmod(std::fmod(position, 360.0) - first, 360.0);
            if (offset < 0.0) {
                offset = offset + 360.0;
            }
            p = first + offset;
        }
        int row = 0;
        int high = m_count;
        while (high - row > 1) {
            const int middle = row + (high - row) / 2;
            if (key(middle, calibrated) <= p) {
                row = middle;
            } else {
                high = middle;
            }
        }
        const int next = row + 1 < m_count ? row + 1 : 0;
        const double begin = key(row, calibrated);
        const double end = next == 0 ? first + 360.0 : key(next, calibrated);
        const double width = end - begin;
        const double here = static_cast<double>(m_table[2 * row + 1]);
        if (!(width > 0.0)) {
            return here;
        }
        double part = (p - begin) / width;
        if (part < 0.0) {
            part = 0.0;
        }
        if (part > 1.0) {
            part = 1.0;
        }
        return here + (static_cast<double>(m_table[2 * next + 1]) - here) * part;
    }

    static float narrowed(double value, float argument)
    {
        const double most = static_cast<double>(std::numeric_limits<float>::max());
        return std::fabs(value) <= most ? static_cast<float>(value) : argument;
    }

    const float* m_table = nullptr;
    int m_count = 0;
};

} // namespace kor_test::literal
