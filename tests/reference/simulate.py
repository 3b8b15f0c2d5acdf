"""A simulated sensor: from a true pose to the readings of a perfect one.

R takes the sensor's base to the tracker frame (z up); P is the target point in millimetres. The
axis angles are solved so that the sensor looks at the tracker. Angles in slots are degrees.
"""

import math

from mek import (
    DEGREE,
    cross,
    dot,
    mul3,
    mul3v,
    normalised,
    rotate_around_axis,
    rotation_x,
    rotation_z,
)

k = DEGREE


def transposed(m):
    return [m[3 * j + i] for i in range(3) for j in range(3)]


def turn_between(a, b):
    """Angle in degrees of the rotation between two rotation matrices."""
    s = math.sqrt(sum((p - q) ** 2 for p, q in zip(a, b))) / (2.0 * math.sqrt(2.0))
    return math.degrees(2.0 * math.asin(min(1.0, s))) if s == s else math.nan


def random_pose(rng, tilt_low, tilt_high, elevation, upside_down=False):
    """(R, P) with the base tilted and the tracker's line of sight limited as given, degrees."""
    heading = rng.uniform(-math.pi, math.pi)
    direction = rng.uniform(-math.pi, math.pi)
    tilt = math.radians(rng.uniform(tilt_low, tilt_high))
    R = mul3(
        rotation_z(heading),
        mul3(rotation_z(direction), mul3(rotation_x(tilt), rotation_z(-direction))),
    )
    if upside_down:
        R = mul3(R, rotation_x(math.pi))
    return R, random_position(rng, elevation)


def random_position(rng, elevation):
    az = rng.uniform(-math.pi, math.pi)
    el = math.radians(rng.uniform(-elevation, elevation))
    distance = rng.uniform(1000.0, 20000.0)
    return [
        distance * math.cos(el) * math.cos(az),
        distance * math.cos(el) * math.sin(az),
        distance * math.sin(el),
    ]


def base_sight(R, P):
    return mul3v(transposed(R), normalised(P))


def dual_level(R, P, S, A1, A2):
    b = base_sight(R, P)
    e1 = math.atan2(b[1], b[0])
    e2 = -math.asin(b[2])
    H = mul3(R, rotation_z(e1))
    s0 = S[0] * k
    slot3 = -math.asin(mul3v(H, [math.cos(s0), -math.sin(s0), 0.0])[2]) / k
    slot4 = math.asin(H[7]) / k
    return P + [slot3, slot4, (e1 + A1) / k, (A2 - e2) / k, 0.0, 0.0]


def pendulum(R, P, S, A1, A2, odd):
    b = base_sight(R, P)
    sg = -1.0 if odd else 1.0
    a = S[0] * k + math.pi / 2.0
    vx, vy = math.sin(a), math.cos(a)
    p = [
        math.sin(S[3] * k) * math.cos(S[2] * k),
        math.cos(S[3] * k) * math.cos(S[2] * k),
        math.sin(S[2] * k),
    ]
    e2 = math.asin(-b[2] / vx)
    e1 = math.atan2(b[1], b[0]) - math.atan2(vy, math.cos(e2) * vx)
    eta = math.asin(mul3v(mul3(R, rotation_z(e1)), p)[2])
    return P + [
        0.0,
        sg * eta / (k * S[6]) - S[1],
        (sg * e1 / S[4] + A1) / k,
        (A2 - sg * e2 / S[5]) / k,
        0.0,
        0.0,
    ]


def polarizer(R, P, S, A1, A2):
    b = base_sight(R, P)
    s0 = S[0] * k
    f2 = math.asin(b[2] / math.cos(s0))
    f1 = math.atan2(b[1], b[0]) - math.atan2(math.cos(f2) * math.cos(s0), math.sin(s0))
    T = mul3(
        rotation_z(-math.atan2(P[0], P[1])),
        rotation_x(math.asin(P[2] / math.sqrt(dot(P, P)))),
    )
    Q = mul3(
        mul3(mul3(mul3(transposed(T), R), rotation_z(f1)), rotation_x(f2)),
        rotation_z(-s0),
    )
    roll = math.atan2(Q[2], Q[8])
    return P + [
        0.0,
        roll / (k * S[6]) - S[1],
        (f1 / S[4] + A1) / k,
        (f2 / S[5] + A2) / k,
        0.0,
        0.0,
    ]


def axis_angles(R, P, Q):
    """(f1, f2, r): the axis angles that point the line of sight r at the target, radians."""
    b = base_sight(R, P)
    a = [math.cos(Q[5] * k), 0.0, math.sin(Q[5] * k)]
    u0 = normalised([math.tan(Q[3] * k), 1.0, math.tan(Q[4] * k)])
    A = a[2] * dot(a, u0)
    B = u0[2] - A
    C = cross(a, u0)[2]
    f2 = math.asin((b[2] - A) / math.hypot(B, C)) - math.atan2(B, C)
    f2 = math.remainder(f2, 2.0 * math.pi)
    r = rotate_around_axis(a, f2 / k, u0)
    f1 = math.atan2(b[1], b[0]) - math.atan2(r[1], r[0])
    return f1, f2, r


def sensitive_axis(L):
    return normalised([1.0, math.tan(L[3] * k), math.tan(L[4] * k)])


def level_reading(H, L, n):
    value = dot(sensitive_axis(L), mul3v(transposed(H), n))
    return math.asin(value) / k / L[6] - L[5]


def three_vector(R, P, Q, L1, A1, A2, odd):
    f1, f2, _ = axis_angles(R, P, Q)
    H = mul3(R, rotation_z(f1))
    n = [0.0, 0.0, 1.0 if odd else -1.0]
    return P + [0.0, level_reading(H, L1, n), (f1 + A1) / k, (f2 + A2) / k, 0.0, 0.0]


def two_level(R, P, Q, L1, L2, A1, A2, acc=(0.0, 0.0, 0.0)):
    f1, f2, _ = axis_angles(R, P, Q)
    H = mul3(R, rotation_z(f1))
    n = [-acc[0] / 9800.0, -acc[1] / 9800.0, -1.0 - acc[2] / 9800.0]
    return P + [
        level_reading(H, L1, n),
        level_reading(H, L2, n),
        (f1 + A1) / k,
        (f2 + A2) / k,
        0.0,
        0.0,
    ]
