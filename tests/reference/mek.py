"""The support routines: matrices, vectors, fits, splines and the encoder calibration.

Sums of products run in the order of their index, starting from the first product. Matrices are
flat row-major lists; vectors are lists. Routines return their results instead of writing to a
pointer, except where "in place" is part of what they do.
"""

from ieee import NAN, acos, asin, atan2, cos, div, f32, isfinite, sin, sqrt  # noqa: F401
import math

DEGREE = 0.01745329251994  # degrees to radians, shortened
RADIAN = 57.29577951308  # radians to degrees, shortened


# Matrices ---------------------------------------------------------------------------------------


def matrix_multiply(a, b, r, n, c):
    out = [0.0] * (r * c)
    for i in range(r):
        for j in range(c):
            total = a[i * n] * b[j]
            for t in range(1, n):
                total += a[i * n + t] * b[t * c + j]
            out[i * c + j] = total
    return out


def mul3(a, b):
    return matrix_multiply(a, b, 3, 3, 3)


def mul3v(a, v):
    return matrix_multiply(a, v, 3, 3, 1)


def matrix_inverse(m, n):
    """Inverts the n x n matrix in the list m in place; False leaves m as it was.

    Gauss-Jordan on [M | I] with partial pivoting: of equal candidates the upper row is the pivot.
    """
    if n < 1:
        return False
    largest = 0.0
    for x in m[: n * n]:
        if abs(x) > largest:
            largest = abs(x)
    threshold = n * 2.0**-52 * largest

    width = 2 * n
    rows = [
        [m[i * n + j] for j in range(n)] + [1.0 if j == i else 0.0 for j in range(n)]
        for i in range(n)
    ]
    for column in range(n):
        pivot_row = column
        for i in range(column, n):
            if rows[i][column] != rows[i][column]:
                return False
            if abs(rows[i][column]) > abs(rows[pivot_row][column]):
                pivot_row = i
        if not abs(rows[pivot_row][column]) > threshold:
            return False
        rows[column], rows[pivot_row] = rows[pivot_row], rows[column]

        pivot = rows[column][column]
        rows[column] = [x / pivot for x in rows[column]]
        for i in range(n):
            if i != column:
                factor = rows[i][column]
                for j in range(width):
                    rows[i][j] = rows[i][j] - factor * rows[column][j]
    for i in range(n):
        for j in range(n):
            m[i * n + j] = rows[i][n + j]
    return True


def matrix_transform(m, r, c):
    """Transposes the r x c matrix in the list m in place."""
    m[: r * c] = [m[i * c + j] for j in range(c) for i in range(r)]


def eye(n):
    return [1.0 if i == j else 0.0 for i in range(n) for j in range(n)]


def cross(a, b):
    return [
        a[1] * b[2] - a[2] * b[1],
        a[2] * b[0] - a[0] * b[2],
        a[0] * b[1] - a[1] * b[0],
    ]


def rotation_x(angle):
    c, s = cos(angle), sin(angle)
    return [1.0, 0.0, 0.0, 0.0, c, -s, 0.0, s, c]


def rotation_y(angle):
    c, s = cos(angle), sin(angle)
    return [c, 0.0, s, 0.0, 1.0, 0.0, -s, 0.0, c]


def rotation_z(angle):
    c, s = cos(angle), sin(angle)
    return [c, -s, 0.0, s, c, 0.0, 0.0, 0.0, 1.0]


# Vectors and angles -------------------------------------------------------------------------------


def dot(a, b):
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]


def length(v):
    return sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2])


def normalised(v):
    n = length(v)
    return [div(v[0], n), div(v[1], n), div(v[2], n)]


def rotate_around_axis(axis, angle, v):
    """mlaRotateAroundAxis: v turned about the unit vector axis by angle degrees."""
    c, s = cos(angle * DEGREE), sin(angle * DEGREE)
    x = cross(axis, v)
    along = dot(axis, v)
    return [v[i] * c + x[i] * s + axis[i] * along * (1.0 - c) for i in range(3)]


def cartesian_to_spherical(v):
    """ConvertCartesianToSphericalCoordinates: horizontal, vertical (degrees), distance."""
    x, y, z = v
    return [
        atan2(-x, y) * RADIAN,
        atan2(z, sqrt(x * x + y * y)) * RADIAN,
        sqrt(x * x + y * y + z * z),
    ]


def solve_vectors_rel_ang(g, v, a, angle1, angle2):
    """solveVectorsRelAng: (direction, code)."""
    p = cos(angle1 * DEGREE)
    q = cos(angle2 * DEGREE)
    c = dot(v, a)
    det = 1.0 - c * c
    if not det >= 1e-12:
        return [0.0, 0.0, 0.0], 2
    alpha = (p - c * q) / det
    beta = (q - c * p) / det
    s = [alpha * v[i] + beta * a[i] for i in range(3)]
    h2 = 1.0 - dot(s, s)
    n = normalised(cross(v, a))
    if h2 < -1e-9:
        return normalised(s), 1
    h = sqrt(0.0 if h2 < 0.0 else h2)
    first = [s[i] + h * n[i] for i in range(3)]
    second = [s[i] - h * n[i] for i in range(3)]
    return (second if dot(second, g) > dot(first, g) else first), 0


# Polynomial fit ---------------------------------------------------------------------------------


def poly_fit(count, xy, order):
    """JPolyfit: (coefficients, code) of the least-squares polynomial through (x, y) pairs."""
    coefficients = [0.0] * max(order + 1, 0)
    xs = [xy[2 * i] for i in range(max(count, 0))]
    ys = [xy[2 * i + 1] for i in range(max(count, 0))]

    def mean(values):
        total = values[0]
        for value in values[1:]:
            total += value
        return total / count

    def refuse():
        if count > 0 and coefficients:
            coefficients[0] = mean(ys)
        return coefficients, 1

    if order < 0 or count <= order:
        return refuse()
    if order == 1:
        if not any(x != xs[0] for x in xs):
            return refuse()
        x_mean, y_mean = mean(xs), mean(ys)
        numerator = denominator = None
        for x, y in zip(xs, ys):
            n = (x - x_mean) * (y - y_mean)
            d = (x - x_mean) * (x - x_mean)
            numerator = n if numerator is None else numerator + n
            denominator = d if denominator is None else denominator + d
        slope = div(numerator, denominator)
        return [y_mean - slope * x_mean, slope], 0
    return _poly_fit_qr(xs, ys, order, refuse)


def _poly_fit_qr(xs, ys, order, refuse):
    """Any order by modified Gram-Schmidt on x scaled to [-1, 1]; agrees to rounding only."""
    low, high = min(xs), max(xs)
    if len(set(xs)) <= order or not isfinite(high - low):
        return refuse()
    shift = 0.5 * (low + high)
    scale = 0.5 * (high - low) if order > 0 else 1.0
    columns = [[((x - shift) / scale) ** j for x in xs] for j in range(order + 1)]
    r = [[0.0] * (order + 1) for _ in range(order + 1)]
    rhs = [0.0] * (order + 1)
    residual = list(ys)
    for j in range(order + 1):
        for i in range(j):
            r[i][j] = sum(p * q for p, q in zip(columns[i], columns[j]))
            columns[j] = [q - r[i][j] * p for p, q in zip(columns[i], columns[j])]
        norm = math.sqrt(sum(p * p for p in columns[j]))
        if not norm > 0.0:
            return refuse()
        r[j][j] = norm
        columns[j] = [p / norm for p in columns[j]]
        rhs[j] = sum(p * q for p, q in zip(columns[j], residual))
        residual = [q - rhs[j] * p for p, q in zip(columns[j], residual)]
    scaled = [0.0] * (order + 1)
    for j in reversed(range(order + 1)):
        total = rhs[j]
        for i in range(j + 1, order + 1):
            total -= r[j][i] * scaled[i]
        scaled[j] = total / r[j][j]
    # Back from ((x - shift) / scale)^j to powers of x.
    coefficients = [0.0] * (order + 1)
    for j in range(order + 1):
        for i in range(j + 1):
            coefficients[i] += (
                scaled[j] / scale**j * math.comb(j, i) * (-shift) ** (j - i)
            )
    return coefficients, 0


# Splines ----------------------------------------------------------------------------------------


def cubic_splines(x, y, n):
    """CubicSplines: the 4n coefficients of the natural spline through n + 1 points."""
    if n < 1:
        return []
    h = [x[i + 1] - x[i] for i in range(n)]
    slope = [(y[i + 1] - y[i]) / h[i] for i in range(n)]
    second = [0.0] * (n + 1)  # second derivatives; both ends stay 0
    diagonal, right = [0.0] * (n + 1), [0.0] * (n + 1)
    for i in range(1, n):
        diagonal[i] = 2.0 * (h[i - 1] + h[i])
        right[i] = 6.0 * (slope[i] - slope[i - 1])
        if i > 1:
            f = h[i - 1] / diagonal[i - 1]
            diagonal[i] -= f * h[i - 1]
            right[i] -= f * right[i - 1]
    for i in range(n - 1, 0, -1):
        second[i] = (right[i] - h[i] * second[i + 1]) / diagonal[i]
    coefficients = []
    for i in range(n):
        coefficients += [
            float(y[i]),
            slope[i] - h[i] * (2.0 * second[i] + second[i + 1]) / 6.0,
            second[i] / 2.0,
            (second[i + 1] - second[i]) / (6.0 * h[i]),
        ]
    return coefficients


def calc_spline(check_range, knots, coefficients, segments, x):
    """CalcSpline: (value in single precision, out of range)."""
    if segments < 1 or knots is None or coefficients is None:
        return x, check_range
    first, last = knots[0], knots[segments]
    rising = last > first
    low, high = (first, last) if rising else (last, first)
    out_of_range = check_range and not (x >= low and x <= high)

    def horner(i, t):
        c0, c1, c2, c3 = coefficients[4 * i : 4 * i + 4]
        return ((c3 * t + c2) * t + c1) * t + c0

    if (x < first) if rising else (x > first):
        value = coefficients[0] + coefficients[1] * (x - first)
    elif (x > last) if rising else (x < last):
        i = segments - 1
        t = last - knots[i]
        _, c1, c2, c3 = coefficients[4 * i : 4 * i + 4]
        slope = (3.0 * c3 * t + 2.0 * c2) * t + c1
        value = horner(i, t) + slope * (x - last)
    else:
        i = 0
        while i + 1 < segments and ((x >= knots[i + 1]) if rising else (x <= knots[i + 1])):
            i += 1
        value = horner(i, x - knots[i])
    return f32(value), out_of_range


# Encoder ----------------------------------------------------------------------------------------


class Encoder:
    """CEncoder: the calibrated angle is the reading plus a periodic, interpolated correction.

    The table is the caller's list (reading, correction, reading, ...): kept, not copied.
    """

    def __init__(self):
        self.table = None
        self.count = 0

    def set_cal_table(self, table, count):
        self.table = table
        self.count = count

    def set_raw_reading(self, reading):
        """Changes no result."""

    def _rows(self):
        """The rows and, closing the circle, the first row one turn on."""
        rows = [(self.table[2 * i], self.table[2 * i + 1]) for i in range(self.count)]
        return rows + [(rows[0][0] + 360.0, rows[0][1])]

    @staticmethod
    def _whole_turns(x, start):
        """x brought into [start, start + 360), and the turns taken off."""
        turns = math.floor((x - start) / 360.0)
        return x - 360.0 * turns, turns

    def enc_calibration(self, reading):
        if self.table is None or self.count < 1 or not isfinite(reading):
            return reading
        rows = self._rows()
        x, _ = self._whole_turns(reading, rows[0][0])
        i = 0
        while i + 1 < self.count and x >= rows[i + 1][0]:
            i += 1
        (x0, c0), (x1, c1) = rows[i], rows[i + 1]
        correction = c0 if x1 == x0 else c0 + (c1 - c0) * ((x - x0) / (x1 - x0))
        return f32(reading + correction)

    def inverse_enc_calibration(self, angle):
        if self.table is None or self.count < 1 or not isfinite(angle):
            return angle
        rows = self._rows()
        ends = [r + c for r, c in rows]
        x, turns = self._whole_turns(angle, ends[0])
        i = 0
        while i + 1 < self.count and x >= ends[i + 1]:
            i += 1
        rise = ends[i + 1] - ends[i]
        if rise == 0.0:
            return f32(rows[i][0] + 360.0 * turns)
        # The correction is as linear in the calibrated angle as in the reading. Taking it off the angle as it came in
        # keeps angles near zero, which a sum with whole turns would lose.
        c0, c1 = rows[i][1], rows[i + 1][1]
        return f32(angle - (c0 + (c1 - c0) * ((x - ends[i]) / rise)))
