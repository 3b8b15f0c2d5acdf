"""The engine: configuration, per-sample update, matrix read-out and home-vector solve."""

import struct

from ieee import (
    acos,
    asin,
    atan,
    atan2,
    cos,
    cosf,
    div,
    f32,
    fadd,
    fdiv,
    fmul,
    fsub,
    sin,
    sinf,
    sqrt,
    truncated_remainder,
    u32,
)
from mek import (
    DEGREE,
    RADIAN,
    Encoder,
    calc_spline,
    cross,
    eye,
    matrix_inverse,
    mul3,
)
from models import (
    HALF_PI,
    PI,
    THREE_HALVES_PI,
    TWO_PI,
    CKorDualLevel,
    CKorPendulum,
    CKorPolarizer,
    CKorThreeVec,
    CKorThreeVec2Levelv2,
    columns,
    copy_into,
)

RAW_FORMAT = "<4si3fffffff4sB3x3iI"
INFO_FORMAT = "<4s4f3f4s3f3f"
assert struct.calcsize(RAW_FORMAT) == 68
assert struct.calcsize(INFO_FORMAT) == 60

TINY = 1e-12
REFERENCE_GATE = f32(0.4)


class RawInfo:
    """KOR_RAWINFO."""

    def __init__(self):
        self.status = 2
        self.sensorVector = [0.0, 0.0, 0.0]
        self.azimuthRaw = 0.0
        self.elevationRaw = 0.0
        self.levelXRaw = 0.0
        self.levelYRaw = 0.0
        self.levelTemperature = 0.0
        self.referenceGate = 0.0
        self.referenceHold = 0
        self.temperatureCount = [0, 0, 0]
        self.timeStampMs = 0
        self.unread = (b"\0" * 4, b"\0" * 4)

    @classmethod
    def unpack(cls, data):
        raw = cls()
        f = struct.unpack(RAW_FORMAT, data)
        raw.status = f[1]
        raw.sensorVector = list(f[2:5])
        (
            raw.azimuthRaw,
            raw.elevationRaw,
            raw.levelXRaw,
            raw.levelYRaw,
            raw.levelTemperature,
            raw.referenceGate,
        ) = f[5:11]
        raw.referenceHold = f[12]
        raw.temperatureCount = list(f[13:16])
        raw.timeStampMs = f[16]
        raw.unread = (f[0], f[11])
        return raw

    def pack(self):
        return struct.pack(
            RAW_FORMAT,
            self.unread[0],
            self.status,
            *self.sensorVector,
            self.azimuthRaw,
            self.elevationRaw,
            self.levelXRaw,
            self.levelYRaw,
            self.levelTemperature,
            self.referenceGate,
            self.unread[1],
            self.referenceHold,
            *self.temperatureCount,
            self.timeStampMs,
        )


class Info:
    """KOR_INFO."""

    def __init__(self):
        self.azimuth = 0.0
        self.elevation = 0.0
        self.levelX = 0.0
        self.levelY = 0.0
        self.orientationAngles = [0.0, 0.0, 0.0]
        self.sensorOut = [0.0, 0.0, 0.0]
        self.temperature = [0.0, 0.0, 0.0]

    def pack(self):
        return struct.pack(
            INFO_FORMAT,
            b"\0" * 4,
            self.azimuth,
            self.elevation,
            self.levelX,
            self.levelY,
            *self.orientationAngles,
            b"\0" * 4,
            *self.sensorOut,
            *self.temperature,
        )


class ParameterStore:
    def __init__(self):
        self.loaded = 0
        self.dynamic = []
        self.coefficients_a = []
        self.coefficients_b = []

    def load(self, dynamic, a, b):
        self.dynamic, self.coefficients_a, self.coefficients_b = list(dynamic), list(a), list(b)
        self.loaded = 1

    def fetch_dynamic(self, out):
        if self.loaded == 0:
            return 551
        if out is None:
            return 20
        out[:] = self.dynamic
        return 0

    def fetch_coefficients(self, a, b):
        if self.loaded == 0:
            return 551
        if a is None or b is None:
            return 20
        a[:] = self.coefficients_a
        b[:] = self.coefficients_b
        return 0


class LevelRun:
    def __init__(self):
        self.start = 0
        self.count = 0
        self.started = False
        self.elapsed = 0.0

    def reset(self):
        self.count = 0
        self.started = False

    def advance(self, out_of_range, stamp):
        if out_of_range:
            self.reset()
            return
        if not self.started:
            self.start = stamp
            self.started = True
        self.count += 1
        self.elapsed = u32(stamp - self.start) / 1000.0


class LevelTable:
    """Level compensation; the two tables are lists that copies of an engine share."""

    def __init__(self):
        self.count = 0
        self.knots = None
        self.coefficients = None

    def set(self, count, knots, coefficients):
        self.count = count
        if self.knots is None:
            self.knots = [0.0] * (count + 3)
        if self.coefficients is None:
            self.coefficients = [0.0] * (4 * count)
        self.knots[: count + 3] = knots[: count + 3]
        self.coefficients[: 4 * count] = coefficients[: 4 * count]


def safe_atan2(y, x, small_y_rule=True):
    if abs(x) <= TINY:
        if abs(y) <= TINY:
            return 0.0
        return f32(HALF_PI if y > 0.0 else -HALF_PI)
    if small_y_rule and abs(y) <= TINY:
        return 0.0
    t = atan(y / x)
    if x < 0.0 and y > 0.0:
        t = t + PI
    elif x < 0.0 and y < 0.0:
        t = t - PI
    return f32(t)


class CKor:
    def __init__(self):
        self.elevationEncoder = Encoder()
        self.azimuthEncoder = Encoder()
        self.referenceInverse = [0.0] * 9
        self.localMatrixInverse = [0.0] * 9
        self.encoderOffset = [0.0] * 2
        self.knownVector = [0.0] * 3
        self.localMatrix = [0.0] * 9
        self.machineMatrix = [0.0] * 9
        self.tiltOffset = [0.0] * 2
        self.thermalFactor = [0.0] * 4
        self.mountMode = 0
        self.levelXTable = LevelTable()
        self.levelYTable = LevelTable()
        self.azimuthTable = None
        self.elevationTable = None
        self.scaleFactors = [0.0] * 8
        self.referenceCaptured = False
        self.modelBuffer = [0.0] * 9
        self.resultMatrix = [0.0] * 9
        self.mcsFlag = True
        self.model = None
        self.matrixValid = False
        self.qvcParameters = [0.0] * 6
        self.modelQvc = [0.0] * 6
        self.level1Parameters = [0.0] * 7
        self.level2Parameters = [0.0] * 7
        self.psd = [0, 0, 0]
        self.runX = LevelRun()
        self.runY = LevelRun()
        self.store = ParameterStore()

    def copy(self):
        """Values member by member; tables, model and parameter store are shared."""
        other = CKor()
        shared = ("azimuthTable", "elevationTable", "model", "store")
        for name, value in vars(self).items():
            if name in shared:
                copied = value
            elif isinstance(value, list):
                copied = list(value)
            elif isinstance(value, (Encoder, LevelTable, LevelRun)):
                copied = type(value)()
                vars(copied).update(vars(value))
            else:
                copied = value
            setattr(other, name, copied)
        return other

    def Initialization(self):
        return 0

    # Configuration --------------------------------------------------------------------------------

    def _set_group(self, target, values, count):
        if values is None:
            return 20
        copy_into(target, values, count)
        return 0

    def setScaleFactors(self, values, count):
        return self._set_group(self.scaleFactors, values, count)

    def setQVCParameters(self, values, count):
        return self._set_group(self.qvcParameters, values, count)

    def setLevel1Parameters(self, values, count):
        return self._set_group(self.level1Parameters, values, count)

    def setLevel2Parameters(self, values, count):
        return self._set_group(self.level2Parameters, values, count)

    def setLevelXComp(self, count, knots, coefficients):
        return self._set_level(self.levelXTable, count, knots, coefficients)

    def setLevelYComp(self, count, knots, coefficients):
        return self._set_level(self.levelYTable, count, knots, coefficients)

    @staticmethod
    def _set_level(table, count, knots, coefficients):
        if knots is None or coefficients is None or count < 1:
            return 20
        table.set(count, knots, coefficients)
        return 0

    def setAzimuthComp(self, count, table):
        if table is None:
            return 20
        if self.azimuthTable is None:
            self.azimuthTable = [0.0] * (2 * count)
        self.azimuthTable[: 2 * count] = table[: 2 * count]
        self.azimuthEncoder.set_cal_table(self.azimuthTable, count)
        return 0

    def setElevationComp(self, count, table):
        if table is None:
            return 20
        if self.elevationTable is None:
            self.elevationTable = [0.0] * (2 * count)
        self.elevationTable[: 2 * count] = table[: 2 * count]
        self.elevationEncoder.set_cal_table(self.elevationTable, count)
        return 0

    def setEncoderOffset(self, offset):
        self.encoderOffset = list(offset)
        return 0

    def setTiltOffset(self, offset):
        self.tiltOffset = list(offset)
        return 0

    def setThermalFactor(self, factor):
        self.thermalFactor = list(factor)
        return 0

    def setKnownVector(self, vector):
        return self._set_group(self.knownVector, vector, 3)

    def setLocalMatrix(self, matrix, n):
        if matrix is None:
            return 20
        copy_into(self.localMatrix, matrix, n * n)
        copy_into(self.localMatrixInverse, matrix, n * n)
        matrix_inverse(self.localMatrixInverse, min(n, 3))
        return 0

    def setMachineMatrix(self, matrix, n):
        if matrix is None:
            return 20
        copy_into(self.machineMatrix, matrix, n * n)
        return 0

    def setMcsFlag(self, flag):
        self.mcsFlag = flag
        return 0

    def setPSDParameters(self, first, second, divisor):
        self.psd = [first, second, divisor]
        return 0

    def setMountMode(self, mode):
        self.mountMode = mode
        if self.model is None:
            if mode in (1, 2):
                self.model = CKorDualLevel()
            elif mode in (5, 6):
                self.model = CKorPolarizer()
            elif mode in (7, 8):
                self.model = CKorThreeVec()
            elif mode in (9, 10):
                self.model = CKorThreeVec2Levelv2()
            else:
                self.model = CKorPendulum()
            self.model.set_iMMode(truncated_remainder(mode, 2))
        self.model.UpdateSFactors(self.scaleFactors, 8)
        self.model.UpdateQVCParameters(self.qvcParameters, 6)
        self.model.UpdateLevel1Parameters(self.level1Parameters, 7)
        self.model.UpdateLevel2Parameters(self.level2Parameters, 7)
        dynamic = [0.0] * 7
        if self.store.fetch_dynamic(dynamic) == 0:
            self.model.SetDynamicParameters(dynamic)
        return 0

    def getInverseAzCalib(self, value):
        return self.azimuthEncoder.inverse_enc_calibration(value)

    def getInverseElCalib(self, value):
        return self.elevationEncoder.inverse_enc_calibration(value)

    # Per sample -----------------------------------------------------------------------------------

    def _level(self, table, value, tilt, gain, offset, temperature):
        level, out = calc_spline(True, table.knots, table.coefficients, table.count - 1, value)
        level = fsub(level, tilt)
        return fmul(level, fadd(fmul(gain, temperature), offset)), out

    def updateKORData(self, raw):
        info = Info()
        self.matrixValid = False
        self.resultMatrix = eye(3)
        if self.model is None:
            return info
        mode = self.mountMode

        # Levels
        if mode in (5, 6):
            if abs(raw.levelYRaw) > 2000.0:
                level_input = fdiv(raw.levelXRaw, raw.levelYRaw)
            else:
                level_input = 0.0
        else:
            level_input = raw.levelXRaw
        thermal = self.thermalFactor
        info.levelX, outX = self._level(
            self.levelXTable,
            level_input,
            self.tiltOffset[0],
            thermal[0],
            thermal[1],
            raw.levelTemperature,
        )
        info.levelY, outY = self._level(
            self.levelYTable,
            raw.levelYRaw,
            self.tiltOffset[1],
            thermal[2],
            thermal[3],
            raw.levelTemperature,
        )
        self.model.SetLevelLimits(outX, outY)

        # Axis angles and temperatures
        self.elevationEncoder.set_raw_reading(raw.elevationRaw)
        info.elevation = self.elevationEncoder.enc_calibration(raw.elevationRaw)
        self.azimuthEncoder.set_raw_reading(raw.azimuthRaw)
        info.azimuth = self.azimuthEncoder.enc_calibration(raw.azimuthRaw)
        for i in range(3):
            v = float(raw.temperatureCount[i])
            if v > 2.0**23:
                v = v - 2.0**24
            info.temperature[i] = fdiv(f32(v), 41920.0)

        if raw.status != 2:
            self.runX.reset()
            self.runY.reset()
            return info

        # Level runs
        self.runX.advance(outX, raw.timeStampMs)
        self.runY.advance(outY, raw.timeStampMs)
        self.model.SetCounter(self.runX.count, self.runY.count)
        self.model.SetTimeInterval(self.runX.elapsed, self.runY.elapsed)
        self.matrixValid = True

        self.modelBuffer = [
            raw.sensorVector[0],
            raw.sensorVector[1],
            raw.sensorVector[2],
            info.levelX,
            info.levelY,
            info.azimuth,
            info.elevation,
            info.temperature[0],
            info.temperature[2],
        ]
        if mode >= 7:
            self._adjust_qvc()
        R = self.modelBuffer
        ok = self.model.CalTranxMatrix(R, self.encoderOffset[0], self.encoderOffset[1])
        if not ok:
            return info

        if mode < 7:
            info.sensorOut = list(raw.sensorVector)
        else:
            self.model.GetQVCMatrix(self.modelQvc, 6)
            info.sensorOut = self.modelQvc[0:3]
            levels = [info.levelX, info.levelY]
            self.model.GetLevelValues(levels)
            info.levelX, info.levelY = levels

        if self.referenceCaptured:
            if mode >= 7:
                angles = self._angles_of_vector_modes(R)
            else:
                self._compose(R)
                angles = self._angles_of_level_modes(self.resultMatrix)
            info.orientationAngles = [f32(a * RADIAN) for a in angles]
        elif raw.referenceGate <= REFERENCE_GATE and raw.referenceHold == 0:
            self.referenceInverse = list(R)
            matrix_inverse(self.referenceInverse, 3)
            self.referenceCaptured = True
        return info

    def _adjust_qvc(self):
        A, B = [0.0] * 3, [0.0] * 3
        if self.store.fetch_coefficients(A, B) != 0:
            return
        first, second, divisor = self.psd
        if divisor == 0:
            a = b = 0.0
        else:
            a = fdiv(f32(first), f32(divisor))
            b = fdiv(f32(second), f32(divisor))
        adjusted = list(self.qvcParameters)
        adjusted[3] = fadd(
            fadd(fmul(fmul(A[1], A[2]), b), fadd(fmul(A[1], a), A[0])),
            self.qvcParameters[3],
        )
        adjusted[4] = fsub(
            self.qvcParameters[4],
            fadd(fmul(fmul(B[1], B[2]), a), fadd(fmul(B[1], b), B[0])),
        )
        self.model.UpdateQVCParameters(adjusted, 6)

    def _angles_of_vector_modes(self, R):
        self.resultMatrix = list(R)
        first = f32(atan2(-R[5], R[8]))
        second = f32(atan2(-R[1], R[0]))
        if first > HALF_PI or first < -HALF_PI:
            first = f32(atan2(R[5], -R[8]))
            second = f32(atan2(R[1], -R[0]))
        third = f32(atan2(R[2], cosf(first) * R[8] - sinf(first) * R[5]))
        return first, second, third

    def _compose(self, R):
        if self.mcsFlag:
            self.resultMatrix = mul3(self.machineMatrix, R)
        else:
            scratch = mul3(R, mul3(self.referenceInverse, self.localMatrixInverse))
            self.resultMatrix = mul3(self.localMatrix, scratch)

    def _angles_of_level_modes(self, M):
        len0 = sqrt(M[0] * M[0] + M[3] * M[3] + M[6] * M[6])
        len1 = sqrt(M[1] * M[1] + M[4] * M[4] + M[7] * M[7])
        len2 = sqrt(M[2] * M[2] + M[5] * M[5] + M[8] * M[8])
        e00, e10, e20 = div(M[0], len0), div(M[3], len0), div(M[6], len0)
        e01, e11, e21 = div(M[1], len1), div(M[4], len1), div(M[7], len1)
        e02, f12, e22 = div(M[2], len2), div(-M[5], len2), div(M[8], len2)
        if self.mcsFlag:
            first = safe_atan2(f12, e22, small_y_rule=False)
            s, c = sinf(first), cosf(first)
            second = safe_atan2(s * e20 + c * e10, s * e21 + c * e11)
            w = c * e22 + s * f12
            if abs(w) <= TINY:
                if abs(e02) <= TINY:
                    third = 0.0
                else:
                    third = f32(HALF_PI if e02 > 0.0 else -HALF_PI)
            else:
                third = f32(atan(e02 / w))
        else:
            second = safe_atan2(e10, e00)
            s, c = sinf(second), cosf(second)
            third = safe_atan2(-e20, s * e10 + c * e00)
            first = safe_atan2(c * f12 + s * e02, c * e11 - s * e01, small_y_rule=False)
        return first, second, third

    def ReadMatrix(self):
        """(code, the nine doubles)."""
        return (0 if self.matrixValid else 554), list(self.resultMatrix)


def Calc_HV0(a, b, reference, measured):
    """(ok, first, second): angles in degrees."""
    p = measured[1] * DEGREE
    q = -measured[0] * DEGREE
    r0 = reference[0] * DEGREE
    r1 = reference[1] * DEGREE

    x, y = b[0], b[1]
    if abs(x) <= TINY:
        if abs(y) <= TINY:
            alpha = 0.0
        else:
            alpha = HALF_PI if y > 0.0 else THREE_HALVES_PI
    elif abs(y) <= TINY:
        alpha = 0.0 if x > 0.0 else PI
    else:
        alpha = atan(y / x)
        if x < 0.0 and y > 0.0:
            alpha = alpha + PI
        elif x < 0.0 and y < 0.0:
            alpha = alpha + PI
        elif x > 0.0 and y < 0.0:
            alpha = alpha + TWO_PI

    theta = acos(cos(p) * cos(q))
    if theta > HALF_PI:
        theta = PI - theta

    if abs(p) <= TINY and abs(q) > TINY:
        beta = 0.0
    elif abs(q) <= TINY and abs(p) > TINY:
        beta = 0.0 if p > 0.0 else PI
    else:
        s = asin(div(sin(q), sin(theta)))
        if q > 0.0 and p > 0.0:
            beta = s
        elif q > 0.0 and p < 0.0:
            beta = PI - s
        elif q < 0.0 and p < 0.0:
            beta = PI - s
        else:
            beta = s + TWO_PI

    gamma = alpha + beta
    u = [cos(gamma) * sin(theta), sin(gamma) * sin(theta), cos(theta)]
    w1 = cross(u, a)
    size = sqrt(b[0] * b[0] + b[1] * b[1] + b[2] * b[2])
    bn = [b[0] / size, b[1] / size, b[2] / size] if size > 0.0 else [0.0, 0.0, 0.0]
    w2 = cross(u, bn)
    w3 = cross(bn, w2)
    F1 = columns(a, w1, u)
    F2 = columns(bn, w2, w3)
    ok = matrix_inverse(F1, 3)
    R = mul3(F1, F2)

    y, x = -R[1], R[4]
    if abs(x) <= TINY:
        if abs(y) <= TINY:
            phi = 0.0
        else:
            phi = HALF_PI if y > 0.0 else THREE_HALVES_PI
    elif abs(y) <= TINY:
        phi = 0.0 if x > 0.0 else PI
    else:
        phi = atan(y / x)
        if x < 0.0 and y > 0.0:
            phi = phi + PI
        elif x < 0.0 and y < 0.0:
            phi = phi - PI

    first = (r0 - phi) * RADIAN
    second = (
        (atan(div(R[5] + R[2], R[3] + R[0])) + atan(div(-R[6], R[8]))) * 0.5 + r1
    ) * RADIAN
    return ok, first, second
