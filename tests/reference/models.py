"""The orientation models, step by step, for comparison with the library's.

Float members hold values that a float can hold exactly; used in an expression with doubles they
are doubles, as in C. `PROCESS` holds what the two-level models keep process-wide: a scenario
starts with a new one.
"""

from ieee import (
    acos,
    asin,
    atan,
    atan2,
    cos,
    div,
    f32,
    isnan,
    saturated_int,
    sin,
    sqrt,
    tan,
    u32,
)
from mek import (
    DEGREE,
    RADIAN,
    cartesian_to_spherical,
    cross,
    dot,
    matrix_inverse,
    matrix_transform,
    mul3,
    mul3v,
    normalised,
    poly_fit,
    rotate_around_axis,
    rotation_x,
    rotation_y,
    rotation_z,
    solve_vectors_rel_ang,
)

PI = 3.14159265359
HALF_PI = 1.570796326795
THREE_HALVES_PI = 4.7123889803850005
TWO_PI = 6.28318530718
DEAD_BAND = 1.7444444444444444e-5
LEVEL_DEAD_BAND = 1.745329251994e-5  # not the same number as DEAD_BAND
RING = 51


class Process:
    """Values shared by all instances of a two-level model in one process."""

    def __init__(self):
        self.v1 = None  # set by the first call that gets past the exclusion test
        self.v2 = None


PROCESS = Process()


def new_process():
    global PROCESS
    PROCESS = Process()


def copy_into(target, values, count):
    """The shared copy-in and copy-out: never beyond the target's own length."""
    for i in range(min(count, len(target))):
        target[i] = values[i]


def columns(a, b, c):
    return [a[0], b[0], c[0], a[1], b[1], c[1], a[2], b[2], c[2]]


def horizontal_angle(x, y):
    """Azimuth of (x, y) by quadrant, with the dead-band of the level and pendulum models."""
    if abs(x) <= DEAD_BAND:
        if abs(y) <= DEAD_BAND:
            return 0.0
        return HALF_PI if y > 0.0 else THREE_HALVES_PI
    if abs(y) <= DEAD_BAND:
        return 0.0 if x > 0.0 else PI
    q = atan(div(y, x))
    if x < 0.0:
        return q + PI
    if y < 0.0 and x > 0.0:
        return q + TWO_PI
    return q


def sight_direction(az, el):
    """Unit vector of an azimuth from +y towards -x and an elevation, radians."""
    return [-cos(el) * sin(az), cos(az) * cos(el), sin(el)]


def level_axis(prm):
    """Sensitive axis of a level in the sensor frame from its two tilt angles."""
    t1 = tan(prm[3] * DEGREE)
    t2 = tan(prm[4] * DEGREE)
    n = sqrt(t1 * t1 + 1.0 + t2 * t2)
    return [div(1.0, n), div(t1, n), div(t2, n)]


def sight_axis(angle1, angle2):
    """Line of sight at zero elevation from its two tilt angles; the 1 is the second component."""
    t1 = tan(angle1 * DEGREE)
    t2 = tan(angle2 * DEGREE)
    n = sqrt(t1 * t1 + 1.0 + t2 * t2)
    return [div(t1, n), div(1.0, n), div(t2, n)]


class CKorModel:
    def __init__(self):
        self.sFactors = [0.0] * 8
        self.iMMode = 0
        self.qvcParameters = [0.0] * 6
        self.level1Parameters = [0.0] * 7
        self.level2Parameters = [0.0] * 7
        self.qvcMatrix = [0.0] * 6

    def assign(self, other):
        """Copy construction, assignment and move are the same: member by member."""
        for name, value in vars(other).items():
            setattr(self, name, self.copied(name, value))

    def copied(self, name, value):
        if isinstance(value, list):
            return [self.copied(name, v) for v in value]
        return value

    def set_iMMode(self, mode):
        if mode >= 0:
            self.iMMode = mode
        return self.iMMode

    def UpdateSFactors(self, values, count):
        pass

    def CalTranxMatrix(self, m, angle1, angle2):
        return True

    def UpdateQVCParameters(self, values, count):
        pass

    def UpdateLevel1Parameters(self, values, count):
        pass

    def UpdateLevel2Parameters(self, values, count):
        pass

    def GetQVCMatrix(self, out, count):
        pass

    def SetLevelLimits(self, excluded1, excluded2):
        pass

    def SetCounter(self, counter1, counter2):
        pass

    def SetTimeInterval(self, time1, time2):
        pass

    def GetLevelValues(self, out):
        pass

    def SetDynamicParameters(self, values):
        pass


class ScaledModel(CKorModel):
    """The shared copy-in of the scale factors."""

    def UpdateSFactors(self, values, count):
        copy_into(self.sFactors, values, count)


class VectorModel(ScaledModel):
    """The shared copy-in and copy-out of the three-vector models."""

    def UpdateQVCParameters(self, values, count):
        copy_into(self.qvcParameters, values, count)

    def UpdateLevel1Parameters(self, values, count):
        copy_into(self.level1Parameters, values, count)

    def UpdateLevel2Parameters(self, values, count):
        copy_into(self.level2Parameters, values, count)

    def GetQVCMatrix(self, out, count):
        for i in range(min(count, 6)):
            out[i] = self.qvcMatrix[i]


class CKorDualLevel(ScaledModel):
    def CalTranxMatrix(self, m, angle1, angle2):
        k = DEGREE
        S = self.sFactors
        x, y, z = m[0:3]
        a3 = m[3] * k
        a4 = -(m[4] * k)
        e1 = m[5] * k - angle1
        e2 = angle2 - m[6] * k
        h2 = y * y + x * x
        n = sqrt(z * z + h2)
        u = [x / n, y / n, z / n] if n > 0.0 else [0.0, 0.0, 0.0]
        phi = horizontal_angle(x, y)

        w = (S[0] + 90.0) * k
        d = sin(a3) * sin(a3) + sin(a4) * sin(a4) - sin(a4) * (2.0 * sin(a3)) * cos(w)
        theta = asin(div(sqrt(d), sin(w)))

        if abs(a3) <= LEVEL_DEAD_BAND and abs(a4) <= LEVEL_DEAD_BAND:
            g = [0.0, 0.0, 1.0]
        else:
            p = acos(div(sin(abs(a4)), sin(abs(theta)))) + S[1] * k
            if p < HALF_PI:
                psi = asin(cos(p) * sin(theta))
            else:
                psi = -asin(cos(PI - p) * sin(theta))
            if a4 < 0.0:
                psi = -psi
            c = div(abs(div(z, tan(theta))), abs(div(z, tan(a4))))
            if abs(c) >= 1.0:
                c = c / abs(c)
            beta = acos(c)
            alpha = acos(div(-tan(psi) * abs(z), sqrt(h2)))
            if a3 >= 0.0:
                if a3 > 0.0 and psi > 0.0:
                    gamma = alpha - beta
                else:
                    gamma = TWO_PI - (alpha - beta)
            elif psi > 0.0:
                gamma = beta + alpha
            elif psi < 0.0:
                gamma = TWO_PI - (beta + alpha)
            else:
                gamma = TWO_PI - (alpha - beta)
            lam = gamma + phi
            g = [cos(lam) * sin(theta), sin(lam) * sin(theta), cos(theta)]

        s1 = normalised(cross(g, u))
        s2 = normalised(cross(u, s1))
        frame = columns(u, s1, s2)
        A = [cos(e1), -sin(e1), 0.0, sin(e1), cos(e1), 0.0, 0.0, 0.0, 1.0]
        B = [cos(e2), 0.0, sin(e2), 0.0, 1.0, 0.0, -sin(e2), 0.0, cos(e2)]
        P = mul3(A, B)
        ok = matrix_inverse(P, 3)
        m[0:9] = mul3(frame, P)
        return ok


class CKorPendulum(ScaledModel):
    def CalTranxMatrix(self, m, angle1, angle2):
        k = DEGREE
        t = DEAD_BAND
        S = self.sFactors
        x, y, z = m[0:3]
        e1 = m[5] * k - angle1
        target = (S[1] + m[4]) * k
        e2 = angle2 - m[6] * k
        if self.iMMode == 1:
            e1, target, e2 = -e1, -target, -e2
        e1 = e1 * S[4]
        target = target * S[6]
        e2 = e2 * S[5]

        h2 = y * y + x * x
        z2 = z * z
        r = sqrt(z2 + h2)
        r2 = r * r
        u = [x / r, y / r, z / r] if r > 0.0 else [sqrt(0.3333333333333333)] * 3
        phi = horizontal_angle(x, y)

        a = S[0] * k + HALF_PI
        b = PI - a
        p = [
            sin(S[3] * k) * cos(S[2] * k),
            cos(S[3] * k) * cos(S[2] * k),
            sin(S[2] * k),
        ]
        E2 = [cos(e2), 0.0, sin(e2), 0.0, 1.0, 0.0, -sin(e2), 0.0, cos(e2)]
        h = sqrt(h2)

        def side(w, angle):
            """Third side of the triangle of w and r with the given angle between them."""
            return sqrt(w * w + r2 - cos(angle) * ((w + w) * r))

        def opening(s, c):
            """Angle between the sides h and s of a triangle whose third side is c."""
            return acos(div(h * h + s * s - c * c, (h + h) * s))

        rho = target
        M = None
        for _ in range(500):
            if abs(rho) < t:
                s = sqrt((r2 + 1000000.0) - cos(a) * (r * 2000.0))
                q = sqrt(s * s - z2)
                ang = phi - acos(div(q * q + h * h - 1000000.0, (h + h) * q))
                D = [x - cos(ang) * q, y - sin(ang) * q, z - z]
            elif z > 0.0 and rho > 0.0:
                s = side(div(z, sin(rho)), a)
                ang = phi - opening(s, div(z, tan(rho)))
                D = [x - cos(ang) * s, y - sin(ang) * s, z]
            elif z > 0.0 and rho < 0.0:
                n_rho = -rho
                s = side(div(z, sin(n_rho)), b)
                ang = opening(s, div(z, tan(n_rho))) + phi
                D = [cos(ang) * s - x, sin(ang) * s - y, -z]
            elif z < 0.0 and rho > 0.0:
                n_z = -z
                s = side(div(n_z, sin(rho)), b)
                ang = opening(s, div(n_z, tan(rho))) + phi
                D = [cos(ang) * s - x, sin(ang) * s - y, -z]
            else:
                n_rho = -rho
                n_z = -z
                s = side(div(n_z, sin(n_rho)), a)
                ang = phi - opening(s, div(n_z, tan(n_rho)))
                D = [x - cos(ang) * s, y - sin(ang) * s, z]

            D = normalised(D)
            Cv = normalised(cross(u, D))
            Ev = normalised(cross(D, Cv))
            M = columns(Ev, D, Cv)
            B = list(E2)
            matrix_inverse(B, 3)
            X = mul3v(mul3(M, B), p)
            err = asin(X[2]) - target
            if abs(err) < t:
                break
            rho = rho - err / 2.7

        E1 = [cos(e1), -sin(e1), 0.0, sin(e1), cos(e1), 0.0, 0.0, 0.0, 1.0]
        T = mul3(E1, E2)
        ok = matrix_inverse(T, 3)
        m[0:9] = mul3(M, T)
        return ok


class CKorPolarizer(ScaledModel):
    def CalTranxMatrix(self, m, angle1, angle2):
        k = DEGREE
        S = self.sFactors
        x, y, z = m[0:3]
        ry = (S[1] + m[4]) * k * S[6]
        rz0 = S[0] * k
        rx = (angle2 - m[6] * k) * S[5]
        rz1 = -(m[5] * k - angle1) * S[4]
        r = sqrt(y * y + x * x + z * z)
        chain = mul3(rotation_z(-atan2(x, y)), rotation_x(asin(div(z, r))))
        for turn in (rotation_y(ry), rotation_z(rz0), rotation_x(rx), rotation_z(rz1)):
            chain = mul3(chain, turn)
        m[0:9] = chain
        return True


class CKorThreeVec(VectorModel):
    def CalTranxMatrix(self, m, angle1, angle2):
        k = DEGREE
        Q = self.qvcParameters
        L = self.level1Parameters
        az, el, _ = cartesian_to_spherical(m[0:3])
        a = [cos(Q[5] * k), 0.0, sin(Q[5] * k)]
        lev = level_axis(L)
        q0 = sight_axis(Q[3], Q[4])
        r = rotate_around_axis(a, m[6] - angle2 * RADIAN, q0)
        polar = el + 90.0
        level_angle = (-m[4] - L[5]) * L[6] + 90.0
        g = [0.0, 0.0, 1.0 if self.iMMode != 0 else -1.0]
        x, _ = solve_vectors_rel_ang(g, r, lev, polar, level_angle)

        y = normalised(cross(x, r))
        F1 = columns(y, r, cross(y, r))
        d = sight_direction(az * k, el * k)
        w = normalised(cross(g, d))
        F2 = columns(w, d, cross(w, d))
        matrix_transform(F1, 3, 3)
        P = mul3(F2, F1)
        p = mul3v(P, [Q[0], Q[2], Q[1]])
        self.qvcMatrix[0:3] = [f32(p[0]), f32(p[2]), f32(p[1])]
        m[0:9] = mul3(P, rotation_z(-(m[5] - angle1 * RADIAN) * k))
        return True


def frames_of_sight(s, direction, horizontal, vertical):
    """The rotation that takes the frame of s and direction to the one of the measured sight."""
    c = normalised(cross(s, direction))
    M1 = columns(c, direction, cross(c, direction))
    e = sight_direction(horizontal * DEGREE, vertical * DEGREE)
    f = normalised(cross([0.0, 0.0, -1.0], e))
    M2 = columns(f, e, cross(f, e))
    matrix_transform(M1, 3, 3)
    return mul3(M2, M1)


def euler_angles(R):
    ax = atan2(-R[5], R[8])
    az = atan2(-R[1], R[0])
    ay = atan2(R[2], cos(ax) * R[8] - sin(ax) * R[5])
    return ax, ay, az


def from_euler_angles(ax, ay, az):
    return mul3(mul3(rotation_x(ax), rotation_y(ay)), rotation_z(az))


def compensated(level, acc):
    """Level angle without the acceleration's effect; None where the sine leaves [-1, 1]."""
    x = sin(level * DEGREE) + acc / 9800.0
    if x > 1.0 or x < -1.0:
        return None
    return asin(x) * RADIAN


class LevelPath:
    """The members of CKorThreeVec2Level that exist once per level."""

    def __init__(self):
        self.pos_hist = [[0.0] * 102 for _ in range(3)]
        self.vel_hist = [[0.0] * 102 for _ in range(3)]
        self.acc = [0.0] * 3
        self.acc_along = 0.0
        self.filtered = 0.0
        self.counter = 0
        self.excluded = False
        self.time = 0.0
        self.filter_count = 0
        self.filter_buffer = [0.0] * 80

    def copy(self):
        other = LevelPath()
        vars(other).update(vars(self))
        other.pos_hist = [list(h) for h in self.pos_hist]
        other.vel_hist = [list(h) for h in self.vel_hist]
        other.acc = list(self.acc)
        return other  # the filter buffer stays shared

    def moving_filter(self, value):
        n = 80
        self.filter_buffer[self.filter_count % n] = value
        entries = n if self.filter_count >= n else self.filter_count
        if entries > 0:
            total = 0.0
            for i in range(entries):
                total += self.filter_buffer[i]
            value = total / float(entries)
        self.filter_count = u32(self.filter_count + 1)
        return value

    def acceleration(self, pos, axis, counter, time):
        """(acceleration along axis or None while the histories fill)."""
        i0 = u32(counter * 2) % 102
        i1 = u32(counter * 2 + 1) % 102

        def store(history, values):
            for axis_history, value in zip(history, values):
                axis_history[i0] = time
                axis_history[i1] = value

        def slopes(history):
            return [poly_fit(RING, h, 1)[0][1] for h in history]

        if counter < 51:
            store(self.pos_hist, pos)
            return None
        velocity = slopes(self.pos_hist)
        store(self.pos_hist, pos)
        if counter < 102:
            store(self.vel_hist, velocity)
            return None
        self.acc = slopes(self.vel_hist)
        store(self.vel_hist, velocity)
        return dot(self.acc, axis)


class ProcessV1:
    def __init__(self, io):
        self.ref7 = io[7]
        self.ref8 = io[8]
        self.smooth = [io[3], io[4]]
        self.last = [io[3], io[4]]


class CKorThreeVec2Level(VectorModel):
    def __init__(self):
        super().__init__()
        self.paths = [LevelPath(), LevelPath()]
        self.last_level2_output = 0.0
        self.drift_a = 0.0
        self.drift_b = 0.0

    def copied(self, name, value):
        if isinstance(value, LevelPath):
            return value.copy()
        return super().copied(name, value)

    def SetLevelLimits(self, excluded1, excluded2):
        self.paths[0].excluded = excluded1
        self.paths[1].excluded = excluded2

    def SetCounter(self, counter1, counter2):
        self.paths[0].counter = u32(counter1)
        self.paths[1].counter = u32(counter2)

    def SetTimeInterval(self, time1, time2):
        self.paths[0].time = time1
        self.paths[1].time = time2

    def GetLevelValues(self, out):
        out[0] = f32(self.paths[0].filtered)
        out[1] = f32(self.paths[1].filtered)

    def MovingFilter(self, value):
        return self.paths[0].moving_filter(value)

    def MovingFilterLevelY(self, value):
        value = self.paths[1].moving_filter(value)
        self.last_level2_output = value
        return value

    def GetAccLx(self, pos, axis, counter, time):
        return self.paths[0].acceleration(pos, axis, u32(counter), time)

    def GetAccLy(self, pos, axis, counter, time):
        return self.paths[1].acceleration(pos, axis, u32(counter), time)

    def GetLevelAfterAccComp(self, level, acc):
        result = compensated(level, acc)
        return level if result is None else result

    def vertical(self):
        return [0.0, 0.0, 1.0 if self.iMMode != 0 else -1.0]

    def GetF1(self, prm, level, direction, horizontal, vertical):
        s, _ = solve_vectors_rel_ang(
            self.vertical(),
            direction,
            level_axis(prm),
            vertical + 90.0,
            90.0 - (prm[5] + level) * prm[6],
        )
        return frames_of_sight(s, direction, horizontal, vertical)

    def level_path(self, index, P, q, level, r, h, v):
        """(final R, d of the first solve), or None while there is no acceleration."""
        path = self.paths[index]
        prm = self.level1Parameters if index == 0 else self.level2Parameters
        R = self.GetF1(prm, level, r, h, v)
        p = mul3v(R, q)
        d = [P[i] - p[i] for i in range(3)]
        w = normalised(mul3v(R, [1.0, tan(prm[3] * DEGREE), tan(prm[4] * DEGREE)]))
        estimate = self.GetAccLx if index == 0 else self.GetAccLy
        acc = estimate(d, w, path.counter, path.time)
        path.acc_along = 0.0 if acc is None else acc
        if acc is None:
            return None
        average = self.MovingFilter if index == 0 else self.MovingFilterLevelY
        level = average(level)
        path.filtered = level
        level = self.GetLevelAfterAccComp(level, acc)
        shared = PROCESS.v1
        s = shared.smooth[index]
        s += (level - s) * 0.006000000000000005
        shared.smooth[index] = s
        level = s + self.drift_b
        shared.last[index] = level
        return self.GetF1(prm, level, r, h, v), d

    def CalTranxMatrix(self, io, angle1, angle2):
        excluded1 = self.paths[0].excluded
        excluded2 = self.paths[1].excluded
        if excluded1 and excluded2:
            return False
        Q = self.qvcParameters
        q = [Q[0], Q[2], Q[1]]
        P = io[0:3]
        L1, L2 = io[3], io[4]
        if PROCESS.v1 is None:
            PROCESS.v1 = ProcessV1(io)
        shared = PROCESS.v1
        h, v, _ = cartesian_to_spherical(P)
        c = Q[5] * DEGREE
        a = [cos(c), 0.0, sin(c)]
        u = sight_axis(Q[3], Q[4])
        az_deg = angle1 * RADIAN
        el_deg = angle2 * RADIAN
        r = rotate_around_axis(a, io[6] - el_deg, u)
        self.drift_a += (io[7] - shared.ref7) * 0.001
        self.drift_b += (io[8] - shared.ref8) * 0.001

        d = None
        if excluded1:
            result = self.level_path(1, P, q, L2, r, h, v)
            if result is None:
                return False
            R = result[0]
        elif excluded2:
            result = self.level_path(0, P, q, L1, r, h, v)
            if result is None:
                return False
            R = result[0]
        else:
            one = self.level_path(0, P, q, L1, r, h, v)
            two = self.level_path(1, P, q, L2, r, h, v)
            if one is not None and two is not None:
                ax1, ay1, az1 = euler_angles(one[0])
                ax2, ay2, az2 = euler_angles(two[0])
                R = from_euler_angles(
                    (ax1 + ax2) * 0.5, (ay1 + ay2) * 0.5, (az1 + az2) * 0.5
                )
            elif one is not None:
                R, d = one
            elif two is not None:
                R, d = two
            else:
                shared.smooth = [L1, L2]
                shared.last = [L1, L1]
                return False
        if d is None:
            p = mul3v(R, q)
            d = [P[i] - p[i] for i in range(3)]
        self.qvcMatrix[0:3] = [f32(d[0]), f32(d[1]), f32(d[2])]
        io[0:9] = mul3(R, rotation_z(-(io[5] - az_deg) * DEGREE))
        return True


class ProcessV2:
    def __init__(self, io, time1, time2):
        self.ref_level = [io[3], io[4]]
        self.ref7 = io[7]
        self.ref8 = io[8]
        self.last_time = [time1, time2]
        self.R = [0.0] * 9
        self.R2 = [0.0] * 9
        self.out = [0.0] * 9
        self.usable = [0, 0]
        self.warm_count = 0
        self.warm_done = False
        self.sum7 = 0.0
        self.sum8 = 0.0
        self.level = [0.0, 0.0]
        self.level_comp = [0.0, 0.0]
        self.level_out = [0.0, 0.0]
        self.S = [0.0, 0.0]
        self.T = [0.0, 0.0]
        self.acc_ring = [[0.0] * 7 for _ in range(3)]
        self.acc_index = 0


class CKorThreeVec2Levelv2(CKorThreeVec2Level):
    def __init__(self):
        super().__init__()
        self.ring_index = 0
        self.raw_ring = [[0.0] * 9 for _ in range(RING)]
        self.filtered_ring = [[0.0] * 9 for _ in range(RING)]
        self.psd_ring = [[0.0] * 2 for _ in range(RING)]
        self.psd_filtered_ring = [[0.0] * 2 for _ in range(RING)]
        self.axis_z_ring = [[0.0] * 2 for _ in range(RING)]
        self.acc_along_v2 = [0.0, 0.0]
        self.level_value = [0.0, 0.0]
        self.acc_vector = [0.0] * 3
        self.counter_v2 = [0, 0]
        self.excluded_v2 = [True, True]
        self.time_v2 = [0.0, 0.0]
        self.dp = [0.0] * 7

    def SetLevelLimits(self, excluded1, excluded2):
        self.excluded_v2 = [excluded1, excluded2]

    def SetCounter(self, counter1, counter2):
        self.counter_v2 = [u32(counter1), u32(counter2)]

    def SetTimeInterval(self, time1, time2):
        self.time_v2 = [time1, time2]

    def GetLevelValues(self, out):
        out[0] = f32(self.level_value[0])
        out[1] = f32(self.level_value[1])

    def SetDynamicParameters(self, values):
        if values is not None:
            self.dp = list(values[0:7])

    def row(self, back):
        return (self.ring_index + RING - back) % RING

    def five_rows(self, ring, channel):
        total = 0.0
        for back in range(5):
            total += ring[self.row(back)][channel]
        return total / 5.0

    def MovingFilterV2(self, ring, sample):
        ring[self.row(0)] = list(sample[0:9])
        for c in range(5):
            sample[c] = self.five_rows(ring, c)
        for c in range(5, 9):
            sample[c] = ring[self.row(2)][c]

    def PsdMovingFilter(self, ring, pair):
        ring[self.row(0)] = list(pair[0:2])
        for c in range(2):
            pair[c] = self.five_rows(ring, c)

    def AccMovingFilter(self, buffer, value):
        buffer[self.ring_index] = value
        return (buffer[0] + buffer[1] + buffer[2] + buffer[3] + buffer[4]) / 5.0

    def GetAccO1(self, pos, counter, time, shared):
        j = shared.acc_index
        for axis in range(3):
            ring = shared.acc_ring[axis]
            ring[j] = pos[axis]

            def back(k):
                return ring[(j + 7 - k) % 7]

            self.acc_vector[axis] = 625.0 * (
                back(0)
                + 2.0 * back(1)
                - back(2)
                - 4.0 * back(3)
                - back(4)
                + 2.0 * back(5)
                + back(6)
            )
        shared.acc_index = (j + 1) % 7
        return True

    def GetLevelAfterAccCompV2(self, level, acc, out):
        result = compensated(level, acc)
        return out if result is None else result

    def GetF1V2(self, axis, angle, direction, horizontal, vertical):
        """The rotation, or None when the two angles cannot be met."""
        s, code = solve_vectors_rel_ang(
            self.vertical(), direction, axis, vertical + 90.0, 90.0 - angle
        )
        if code != 0:
            return None
        return frames_of_sight(s, direction, horizontal, vertical)

    def CalTranxMatrix(self, io, angle1, angle2):
        # 1 - 4
        if self.excluded_v2[0] and self.excluded_v2[1]:
            return False
        Q = self.qvcParameters
        dp = self.dp
        pair = [Q[3], Q[4]]
        q = [Q[0], Q[2], Q[1]]
        g = dp[3]
        if PROCESS.v2 is None:
            PROCESS.v2 = ProcessV2(io, self.time_v2[0], self.time_v2[1])
        s2 = PROCESS.v2
        if self.time_v2[0] == s2.last_time[0] and self.time_v2[1] == s2.last_time[1]:
            io[0:9] = s2.out
            return True

        # 5 and 6: rows, filters. The sample is a copy: io stays as it is when the call fails.
        r = self.ring_index
        row_a, row_b, row_c = ((r - saturated_int(dp[i])) % RING for i in (4, 5, 6))
        s2.last_time = list(self.time_v2)
        sample = list(io[0:9])
        self.MovingFilterV2(self.raw_ring, sample)
        self.filtered_ring[r] = list(sample)
        self.PsdMovingFilter(self.psd_ring, pair)
        self.psd_filtered_ring[r] = list(pair)
        self.ring_index = (r + 1) % RING
        F = self.filtered_ring

        # 7 and 8: warm-up gate, usable counts
        if F[4][3] == 0.0:
            return False
        c = [0 if self.excluded_v2[i] else s2.usable[i] + 1 for i in (0, 1)]

        # 9: references of inputs 7 and 8
        prm = [self.level1Parameters, self.level2Parameters]
        if not s2.warm_done and sample[7] != 0.0:
            s2.warm_count += 1
            if s2.warm_count > 200:
                s2.sum8 += sample[8]
                s2.sum7 += sample[7]
            if s2.warm_count == 400:
                s2.ref7 = s2.sum7 / 200.0
                s2.ref8 = s2.sum8 / 200.0
                s2.warm_done = True
                for i in (0, 1):
                    s2.level_out[i] = (prm[i][5] + F[row_b][3 + i]) * prm[i][6]

        # 10: interpolated levels, as values and then as angles
        row_b1 = (row_b + 50) % RING
        for i in (0, 1):
            s2.level[i] = (1.0 - dp[0]) * F[row_b1][3 + i] + dp[0] * F[row_b][3 + i]
        s2.usable = list(c)
        self.level_value = list(s2.level)
        for i in (0, 1):
            s2.level[i] = (prm[i][5] + s2.level[i]) * prm[i][6]

        # 11: geometry
        P = F[row_a][0:3]
        az_deg = F[row_a][5] - angle1 * RADIAN
        h, v, _ = cartesian_to_spherical(P)
        a = [cos(Q[5] * DEGREE), 0.0, sin(Q[5] * DEGREE)]
        psd = self.psd_filtered_ring[row_a]
        u = sight_axis(psd[0], psd[1])
        sight = rotate_around_axis(a, F[row_a][6] - angle2 * RADIAN, u)

        # 12: level axes, in the tracker frame of the previous sample
        axes = [level_axis(prm[0]), level_axis(prm[1])]
        if isnan(s2.R[0]):
            s2.R = [0.0] * 9
        previous = list(s2.R)
        w = []
        for i in (0, 1):
            wi = mul3v(previous, axes[i])
            size = sqrt(wi[0] * wi[0] + wi[1] * wi[1] + wi[2] * wi[2])
            if size != 0.0:
                wi = [div(x, size) for x in wi]
            w.append(wi)
        self.axis_z_ring[r] = [w[0][2], w[1][2]]

        # 13: acceleration
        self.GetAccO1(sample[0:3], self.counter_v2[0], self.time_v2[0], s2)
        for i in (0, 1):
            self.acc_along_v2[i] = dot(self.acc_vector, w[i])
            s2.level_comp[i] = self.GetLevelAfterAccCompV2(
                s2.level[i], self.acc_along_v2[i], s2.level_comp[i]
            )

        # 14 and 15.1, 15.2: correction by inputs 7 and 8, smoothing, solves
        t7 = (F[row_a][7] - s2.ref7) * 0.01 * dp[1]
        t8 = (F[row_a][8] - s2.ref8) * 0.01 * dp[2]
        K, M = [0.0, 0.0], [0.0, 0.0]
        for i in (0, 1):
            wx, wy = w[i][0], w[i][1]
            size = sqrt(wx * wx + wy * wy)
            if size != 0.0:
                wx, wy = div(wx, size), div(wy, size)
            e = previous[4] * wx - previous[1] * wy
            f = previous[5] * wx - previous[2] * wy
            K[i] = t7 * e
            M[i] = t8 * f
            s2.S[i] = (s2.S[i] + K[i]) * g
            s2.T[i] = (s2.T[i] + M[i]) * g
        for i in (0, 1):
            if c[i] < 11:
                s2.level_comp[i] = K[i] + s2.level_out[i] + M[i]
            smooth = (s2.level_comp[i] - s2.ref_level[i]) * (1.0 - g) + s2.ref_level[i]
            s2.level_out[i] = smooth + s2.S[i] + s2.T[i]
            if self.excluded_v2[i]:
                s2.level_out[i] = s2.level[i]
            s2.ref_level[i] = smooth
            solved = self.GetF1V2(axes[i], s2.level_out[i], sight, h, v)
            if solved is not None:
                if i == 0:
                    s2.R = solved
                else:
                    s2.R2 = solved

        # 15.3 - 15.7: weighted mean of the two
        ax1, ay1, az1 = euler_angles(s2.R)
        ax2, ay2, az2 = euler_angles(s2.R2)
        c1, c2 = c
        if (c1 < 11) == (c2 < 11):
            weight = 0.5
        else:
            weight = 1.0 if c1 >= 11 else 0.0
        if c1 + c2 - 20 > 0:
            ratio = float(c1 - 10) / float(c1 + c2 - 20)
            t = ratio * ratio
            weight = t if t <= 1.0 else 1.0
        s2.R = from_euler_angles(
            (1.0 - weight) * ax2 + weight * ax1,
            (1.0 - weight) * ay2 + weight * ay1,
            (1.0 - weight) * az2 + weight * az1,
        )
        p = mul3v(s2.R, q)
        self.qvcMatrix[0:3] = [f32(P[i] - p[i]) for i in range(3)]
        s2.out = mul3(s2.R, rotation_z(-az_deg * DEGREE))
        io[0:9] = s2.out
        return True


KINDS = {
    kind.__name__: kind
    for kind in (
        CKorModel,
        CKorDualLevel,
        CKorPendulum,
        CKorPolarizer,
        CKorThreeVec,
        CKorThreeVec2Level,
        CKorThreeVec2Levelv2,
    )
}
