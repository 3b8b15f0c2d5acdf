#!/usr/bin/env python3
"""Replays scenario files through this implementation and writes what came out.

    replay.py SCENARIO              results to standard output
    replay.py --all DIRECTORY       every DIRECTORY/*.scn to the .ref file beside it

One scenario is one process of the library, because the two-level models keep process-wide values;
`--all` starts each file with those values unset.

Scenario format
---------------
One operation a line, tokens separated by blanks; lines that begin with '#' and empty lines are
skipped. Integers are decimal. Numbers (float or double) are what C's strtod reads, normally
hexadecimal floats ("0x1.8p+1"), also "inf", "-inf" and "nan"; a value for a float parameter is
exactly representable in single precision. Flags are 0 or 1. The word `null` in place of all
values of an array stands for a null pointer. [n] is a count, x.. stands for that many values.

Objects. An engine (or model) becomes the current one when it is made; nothing is ever destroyed.
    newEngine NAME | copyEngine NAME FROM | useEngine NAME
    newModel NAME CLASS | copyModel NAME FROM | moveModel NAME FROM | assignModel NAME FROM |
    useModel NAME          (copy, move: a new object; assign: to the existing NAME of that class)

Engine, on the current engine; each prints its integer result:
    Initialization
    setScaleFactors [n] x..   setQVCParameters [n] x..   setLevel1Parameters [n] x..
    setLevel2Parameters [n] x..                          (n > 0; or: setScaleFactors null)
    setLevelXComp [count] knots.. coefficients..         count + 3 knots, 4 count coefficients,
    setLevelYComp [count] knots.. coefficients..         none of either when count < 1; or null
    setAzimuthComp [count] x..  setElevationComp [count] x..      2 count values; or null
    setEncoderOffset x x   setTiltOffset x x   setThermalFactor x x x x
    setKnownVector x x x | null
    setLocalMatrix [n] x.. | null    setMachineMatrix [n] x.. | null      n * n values
    setMcsFlag F   setPSDParameters i i i   setMountMode i
    loadParameterStore x7 x3 x3    fills the store with dynamic parameters, coefficients A and B
                                   and sets its loaded word; prints 0
and with other results:
    getInverseAzCalib x     getInverseElCalib x          the value
    sample HEX              136 hex digits, the 68 bytes of KOR_RAWINFO in memory order;
                            prints 120 hex digits, the bytes of KOR_INFO
    ReadMatrix              code and the nine doubles; `ReadMatrix null`: only the code
    Calc_HV0 a3 b3 reference2 measured3                  flag, first, second

Model, on the current model; operations without a result print nothing but their name:
    set_iMMode i                                         the result
    UpdateSFactors [n] x..  UpdateQVCParameters [n] x..  UpdateLevel1Parameters [n] x..
    UpdateLevel2Parameters [n] x..                       n > 0
    CalTranxMatrix angle1 angle2 x9                      flag and the nine doubles of the buffer
    GetQVCMatrix [n]                                     6 floats, the buffer was filled with -77
    SetLevelLimits F F   SetCounter u u   SetTimeInterval x x
    GetLevelValues                                       2 floats, both were -77 before
    SetDynamicParameters x7 | null
  CKorThreeVec2Level:
    GetF1 levelPrm7 levelDeg dir3 horizDeg vertDeg       flag and nine doubles (-77 before)
    GetLevelAfterAccComp level acc                       level
    GetAccLx pos3 axis3 counter time                     flag, acceleration (-77 before)
    GetAccLy pos3 axis3 counter time
    MovingFilter x   MovingFilterLevelY x                integer result, value
  CKorThreeVec2Levelv2, its own overloads:
    GetF1v2 axis3 angleDeg dir3 horizDeg vertDeg         flag and nine doubles (-77 before)
    GetLevelAfterAccCompv2 level acc out                 level, out
    MovingFilterv2 x9                                    integer result, nine values
    PsdMovingFilter x x                                  integer result, two values
    AccMovingFilter x                                    integer result, value
  The last three work on rings that the driver owns, one set in a process: double[51][9],
  double[51][2] and double[51], zero at the start. They follow the model's own ring index.

Support routines (a driver may leave these out and print only the name):
    mek.MatrixMultiply r n c a.. b..         mek.MatrixInverse n m..      (flag, matrix)
    mek.MatrixTransform r c m..              mek.CrossMultiply a3 b3
    mek.rotation_x x  mek.rotation_y x  mek.rotation_z x
    mek.mlaRotateAroundAxis axis3 angle v3
    mek.ConvertCartesianToSphericalCoordinates v3
    mek.solveVectorsRelAng g3 v3 a3 angle1 angle2        code, three doubles
    mek.JPolyfit count order xy..                        code, order + 1 coefficients
    mek.CubicSplines n x.. y..                           n + 1 each; 4n coefficients
    mek.CalcSpline F segments x knots.. coefficients..   segments + 1 and 4 segments; value, flag
    mek.encCalibration count table.. reading             2 count values; value
    mek.inverseEncCalibration count table.. angle

Result format
-------------
One line an operation: line number in the scenario file (from 1), operation, results. Numbers are
hexadecimal floats (C's "%a" or Python's float.hex, which compare.py reads alike), NaN "nan".
"""

import pathlib
import sys

import engine as engines
import mek
import models

UNTOUCHED = -77.0


class Tokens:
    def __init__(self, words):
        self.words = words
        self.next = 0

    def done(self):
        return self.next == len(self.words)

    def word(self):
        self.next += 1
        return self.words[self.next - 1]

    def null(self):
        if not self.done() and self.words[self.next] == "null":
            self.next += 1
            return True
        return False

    def integer(self):
        return int(self.word())

    def flag(self):
        return self.integer() != 0

    def number(self):
        return float.fromhex(self.word())

    def numbers(self, count):
        return [self.number() for _ in range(count)]


def show(value):
    if isinstance(value, bool):
        return str(int(value))
    if isinstance(value, float):
        return value.hex()
    return str(value)


class Replay:
    def __init__(self):
        models.new_process()
        self.engines = {}
        self.models = {}
        self.engine = None
        self.model = None
        self.ring9 = [[0.0] * 9 for _ in range(51)]
        self.ring2 = [[0.0] * 2 for _ in range(51)]
        self.ring1 = [0.0] * 51

    def run(self, text):
        """The result lines of a scenario."""
        for number, line in enumerate(text.splitlines(), 1):
            words = line.split()
            if not words or words[0].startswith("#"):
                continue
            tokens = Tokens(words[1:])
            operation = words[0]
            handler = getattr(self, "op_" + operation.replace("mek.", "mek_"), None)
            if handler is None:
                raise SystemExit(f"line {number}: unknown operation {operation}")
            results = handler(tokens) or []
            if not tokens.done():
                raise SystemExit(f"line {number}: too many values")
            yield " ".join([str(number), operation] + [show(r) for r in results])

    # Objects

    def op_newEngine(self, t):
        self.engine = self.engines[t.word()] = engines.CKor()

    def op_copyEngine(self, t):
        name = t.word()
        self.engine = self.engines[name] = self.engines[t.word()].copy()

    def op_useEngine(self, t):
        self.engine = self.engines[t.word()]

    def op_newModel(self, t):
        name = t.word()
        self.model = self.models[name] = models.KINDS[t.word()]()

    def op_copyModel(self, t):
        name = t.word()
        source = self.models[t.word()]
        self.model = self.models[name] = type(source)()
        self.model.assign(source)

    op_moveModel = op_copyModel

    def op_assignModel(self, t):
        self.model = self.models[t.word()]
        self.model.assign(self.models[t.word()])

    def op_useModel(self, t):
        self.model = self.models[t.word()]

    # Engine

    def op_Initialization(self, t):
        return [self.engine.Initialization()]

    @staticmethod
    def _group(name):
        def handler(self, t):
            setter = getattr(self.engine, name)
            if t.null():
                return [setter(None, 0)]
            count = t.integer()
            return [setter(t.numbers(count), count)]

        return handler

    def _level_comp(self, setter, t):
        if t.null():
            return [setter(4, None, None)]
        count = t.integer()
        if count < 1:
            return [setter(count, [], [])]
        return [setter(count, t.numbers(count + 3), t.numbers(4 * count))]

    def op_setLevelXComp(self, t):
        return self._level_comp(self.engine.setLevelXComp, t)

    def op_setLevelYComp(self, t):
        return self._level_comp(self.engine.setLevelYComp, t)

    @staticmethod
    def _axis_comp(setter, t):
        if t.null():
            return [setter(4, None)]
        count = t.integer()
        return [setter(count, t.numbers(2 * count))]

    def op_setAzimuthComp(self, t):
        return self._axis_comp(self.engine.setAzimuthComp, t)

    def op_setElevationComp(self, t):
        return self._axis_comp(self.engine.setElevationComp, t)

    def op_setEncoderOffset(self, t):
        return [self.engine.setEncoderOffset(t.numbers(2))]

    def op_setTiltOffset(self, t):
        return [self.engine.setTiltOffset(t.numbers(2))]

    def op_setThermalFactor(self, t):
        return [self.engine.setThermalFactor(t.numbers(4))]

    def op_setKnownVector(self, t):
        return [self.engine.setKnownVector(None if t.null() else t.numbers(3))]

    @staticmethod
    def _matrix(setter, t):
        if t.null():
            return [setter(None, 3)]
        n = t.integer()
        return [setter(t.numbers(n * n), n)]

    def op_setLocalMatrix(self, t):
        return self._matrix(self.engine.setLocalMatrix, t)

    def op_setMachineMatrix(self, t):
        return self._matrix(self.engine.setMachineMatrix, t)

    def op_setMcsFlag(self, t):
        return [self.engine.setMcsFlag(t.flag())]

    def op_setPSDParameters(self, t):
        return [self.engine.setPSDParameters(t.integer(), t.integer(), t.integer())]

    def op_setMountMode(self, t):
        return [self.engine.setMountMode(t.integer())]

    def op_loadParameterStore(self, t):
        self.engine.store.load(t.numbers(7), t.numbers(3), t.numbers(3))
        return [0]

    def op_getInverseAzCalib(self, t):
        return [self.engine.getInverseAzCalib(t.number())]

    def op_getInverseElCalib(self, t):
        return [self.engine.getInverseElCalib(t.number())]

    def op_sample(self, t):
        raw = engines.RawInfo.unpack(bytes.fromhex(t.word()))
        return [self.engine.updateKORData(raw).pack().hex()]

    def op_ReadMatrix(self, t):
        if t.null():
            return [20]
        code, matrix = self.engine.ReadMatrix()
        return [code] + matrix

    def op_Calc_HV0(self, t):
        return engines.Calc_HV0(t.numbers(3), t.numbers(3), t.numbers(2), t.numbers(3))

    # Models

    def op_set_iMMode(self, t):
        return [self.model.set_iMMode(t.integer())]

    @staticmethod
    def _update(name):
        def handler(self, t):
            count = t.integer()
            getattr(self.model, name)(t.numbers(count), count)

        return handler

    def op_CalTranxMatrix(self, t):
        angle1, angle2 = t.numbers(2)
        m = t.numbers(9)
        ok = self.model.CalTranxMatrix(m, angle1, angle2)
        return [ok] + m

    def op_GetQVCMatrix(self, t):
        out = [UNTOUCHED] * 6
        self.model.GetQVCMatrix(out, t.integer())
        return out

    def op_SetLevelLimits(self, t):
        self.model.SetLevelLimits(t.flag(), t.flag())

    def op_SetCounter(self, t):
        self.model.SetCounter(t.integer(), t.integer())

    def op_SetTimeInterval(self, t):
        self.model.SetTimeInterval(t.number(), t.number())

    def op_GetLevelValues(self, t):
        out = [UNTOUCHED] * 2
        self.model.GetLevelValues(out)
        return out

    def op_SetDynamicParameters(self, t):
        self.model.SetDynamicParameters(None if t.null() else t.numbers(7))

    def op_GetF1(self, t):
        prm = t.numbers(7)
        level = t.number()
        return [True] + self.model.GetF1(prm, level, t.numbers(3), t.number(), t.number())

    def op_GetLevelAfterAccComp(self, t):
        return [self.model.GetLevelAfterAccComp(t.number(), t.number())]

    @staticmethod
    def _acceleration(estimate, t):
        acc = estimate(t.numbers(3), t.numbers(3), t.integer(), t.number())
        return [False, 0.0] if acc is None else [True, acc]

    def op_GetAccLx(self, t):
        return self._acceleration(self.model.GetAccLx, t)

    def op_GetAccLy(self, t):
        return self._acceleration(self.model.GetAccLy, t)

    def op_MovingFilter(self, t):
        return [0, self.model.MovingFilter(t.number())]

    def op_MovingFilterLevelY(self, t):
        return [0, self.model.MovingFilterLevelY(t.number())]

    def op_GetF1v2(self, t):
        axis = t.numbers(3)
        angle = t.number()
        out = self.model.GetF1V2(axis, angle, t.numbers(3), t.number(), t.number())
        return [False] + [UNTOUCHED] * 9 if out is None else [True] + out

    def op_GetLevelAfterAccCompv2(self, t):
        level, acc, out = t.numbers(3)
        return [level, self.model.GetLevelAfterAccCompV2(level, acc, out)]

    def op_MovingFilterv2(self, t):
        sample = t.numbers(9)
        self.model.MovingFilterV2(self.ring9, sample)
        return [0] + sample

    def op_PsdMovingFilter(self, t):
        pair = t.numbers(2)
        self.model.PsdMovingFilter(self.ring2, pair)
        return [0] + pair

    def op_AccMovingFilter(self, t):
        return [0, self.model.AccMovingFilter(self.ring1, t.number())]

    # Support routines

    def op_mek_MatrixMultiply(self, t):
        r, n, c = t.integer(), t.integer(), t.integer()
        return mek.matrix_multiply(t.numbers(r * n), t.numbers(n * c), r, n, c)

    def op_mek_MatrixInverse(self, t):
        n = t.integer()
        m = t.numbers(n * n)
        ok = mek.matrix_inverse(m, n)
        return [ok] + m

    def op_mek_MatrixTransform(self, t):
        r, c = t.integer(), t.integer()
        m = t.numbers(r * c)
        mek.matrix_transform(m, r, c)
        return m

    def op_mek_CrossMultiply(self, t):
        return mek.cross(t.numbers(3), t.numbers(3))

    def op_mek_rotation_x(self, t):
        return mek.rotation_x(t.number())

    def op_mek_rotation_y(self, t):
        return mek.rotation_y(t.number())

    def op_mek_rotation_z(self, t):
        return mek.rotation_z(t.number())

    def op_mek_mlaRotateAroundAxis(self, t):
        return mek.rotate_around_axis(t.numbers(3), t.number(), t.numbers(3))

    def op_mek_ConvertCartesianToSphericalCoordinates(self, t):
        return mek.cartesian_to_spherical(t.numbers(3))

    def op_mek_solveVectorsRelAng(self, t):
        g, v, a = t.numbers(3), t.numbers(3), t.numbers(3)
        out, code = mek.solve_vectors_rel_ang(g, v, a, t.number(), t.number())
        return [code] + out

    def op_mek_JPolyfit(self, t):
        count, order = t.integer(), t.integer()
        coefficients, code = mek.poly_fit(count, t.numbers(2 * count), order)
        return [code] + coefficients

    def op_mek_CubicSplines(self, t):
        n = t.integer()
        return mek.cubic_splines(t.numbers(n + 1), t.numbers(n + 1), n)

    def op_mek_CalcSpline(self, t):
        check, segments, x = t.flag(), t.integer(), t.number()
        knots = t.numbers(segments + 1)
        return mek.calc_spline(check, knots, t.numbers(4 * segments), segments, x)

    @staticmethod
    def _encoder(t):
        encoder = mek.Encoder()
        count = t.integer()
        encoder.set_cal_table(t.numbers(2 * count), count)
        return encoder

    def op_mek_encCalibration(self, t):
        return [self._encoder(t).enc_calibration(t.number())]

    def op_mek_inverseEncCalibration(self, t):
        return [self._encoder(t).inverse_enc_calibration(t.number())]


for _name in ("setScaleFactors", "setQVCParameters", "setLevel1Parameters", "setLevel2Parameters"):
    setattr(Replay, "op_" + _name, Replay._group(_name))
for _name in (
    "UpdateSFactors",
    "UpdateQVCParameters",
    "UpdateLevel1Parameters",
    "UpdateLevel2Parameters",
):
    setattr(Replay, "op_" + _name, Replay._update(_name))


def main(arguments):
    if len(arguments) == 2 and arguments[0] == "--all":
        for path in sorted(pathlib.Path(arguments[1]).glob("*.scn")):
            lines = list(Replay().run(path.read_text()))
            path.with_suffix(".ref").write_text("\n".join(lines) + "\n")
        return 0
    if len(arguments) != 1:
        print("usage: replay.py SCENARIO | --all DIRECTORY", file=sys.stderr)
        return 2
    for line in Replay().run(pathlib.Path(arguments[0]).read_text()):
        print(line)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
