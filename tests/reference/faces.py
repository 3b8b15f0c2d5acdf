"""The reference modules a second and a third time, from the same source files: as they are, with
every branch recorded, and over numbers of fifty digits, with the recorded branches replayed.

`Faces()` loads mek.py, models.py, engine.py and replay.py twice. Nothing of the formulas is written
again: the source is parsed, every branch condition goes through a `Tape`, and in the exact face
each float literal becomes the mpf of exactly that double, and `ieee` becomes arithmetic without
rounding. Narrowing to single precision does nothing in the exact face; values stored as float come
in as inputs and are floats already.
"""

import ast
import builtins
import math
import pathlib
import types

import mpmath

import ieee

HERE = pathlib.Path(__file__).resolve().parent
SOURCES = ("mek", "models", "engine", "replay")

mpmath.mp.dps = 50
mpf = mpmath.mpf
NAN = mpf("nan")
INF = mpf("inf")


# Arithmetic without rounding ----------------------------------------------------------------------


def _real(function, low=-INF, high=INF):
    """The function of mpmath where it is real, NaN where a double would give NaN."""

    def wrapped(x):
        x = mpf(x)
        return function(x) if low <= x <= high and mpmath.isfinite(x) else NAN

    return wrapped


def _atan2(y, x):
    y, x = mpf(y), mpf(x)
    if x == 0 and y == 0:
        return mpf(0)
    return mpmath.atan2(y, x)


def _div(a, b):
    a, b = mpf(a), mpf(b)
    if b != 0:
        return a / b
    return NAN if a == 0 or a != a else mpmath.sign(a) * INF


def _exact_ieee():
    module = types.ModuleType("ieee")
    vars(module).update(
        NAN=NAN,
        INF=INF,
        sqrt=_real(mpmath.sqrt, low=mpf(0)),
        sin=_real(mpmath.sin),
        cos=_real(mpmath.cos),
        tan=_real(mpmath.tan),
        asin=_real(mpmath.asin, mpf(-1), mpf(1)),
        acos=_real(mpmath.acos, mpf(-1), mpf(1)),
        atan=lambda x: mpmath.atan(mpf(x)),
        atan2=_atan2,
        isnan=lambda x: x != x,
        isfinite=lambda x: bool(mpmath.isfinite(x)),
        div=_div,
        f32=mpf,
        fadd=lambda a, b: mpf(a) + mpf(b),
        fsub=lambda a, b: mpf(a) - mpf(b),
        fmul=lambda a, b: mpf(a) * mpf(b),
        fdiv=_div,
        sinf=_real(mpmath.sin),
        cosf=_real(mpmath.cos),
        u32=ieee.u32,
        truncated_remainder=ieee.truncated_remainder,
        saturated_int=ieee.saturated_int,
    )
    return module


def _exact_math():
    module = types.ModuleType("math")
    vars(module).update(
        floor=lambda x: int(mpmath.floor(x)), sqrt=mpmath.sqrt, comb=math.comb, fmod=math.fmod
    )
    return module


class ExactFloat:
    """What the name `float` means in the exact face."""

    def __new__(cls, x):
        return mpf(x)

    @staticmethod
    def fromhex(text):
        return mpf(float.fromhex(text))


# Branches -----------------------------------------------------------------------------------------


class Tape:
    """The outcomes of the branch conditions, in their order."""

    def __init__(self):
        self.outcomes = []
        self.replaying = False
        self.position = 0
        self.differing = set()  # where the replaying face would have gone the other way

    def rewind(self):
        self.replaying = True
        self.position = 0
        self.differing = set()

    def decide(self, condition, where):
        condition = bool(condition)
        if not self.replaying:
            self.outcomes.append(condition)
            return condition
        recorded = self.outcomes[self.position]
        self.position += 1
        if recorded != condition:
            self.differing.add(where)
        return recorded


class _Rewriter(ast.NodeTransformer):
    def __init__(self, module, exact):
        self.module = module
        self.exact = exact
        self.literals = {}

    def branch(self, node):
        where = f"{self.module}.py: {ast.unparse(node.test)}"
        self.generic_visit(node)
        node.test = ast.Call(
            ast.Name("_decide", ast.Load()), [node.test, ast.Constant(where)], []
        )
        return node

    visit_If = visit_IfExp = visit_While = branch

    def visit_Constant(self, node):
        if not self.exact or not isinstance(node.value, float):
            return node
        name = f"_literal{len(self.literals)}"
        self.literals[name] = mpf(node.value)
        return ast.Name(name, ast.Load())


class Face:
    """One loaded set of the modules; `tape` may be exchanged at any time."""

    def __init__(self, exact):
        self.tape = Tape()
        self.modules = {"ieee": _exact_ieee(), "math": _exact_math()} if exact else {}
        names = dict(vars(builtins), __import__=self._import)
        if exact:
            names["float"] = ExactFloat
        for name in SOURCES:
            rewriter = _Rewriter(name, exact)
            tree = rewriter.visit(ast.parse((HERE / f"{name}.py").read_text()))
            module = types.ModuleType(name)
            vars(module).update(rewriter.literals, __builtins__=names, _decide=self._decide)
            code = compile(ast.fix_missing_locations(tree), f"{name}.py", "exec")
            exec(code, vars(module))  # pylint: disable=exec-used
            self.modules[name] = module

    def _import(self, name, *arguments):
        return self.modules.get(name) or __import__(name, *arguments)

    def _decide(self, condition, where):
        return self.tape.decide(condition, where)

    def __getattr__(self, name):
        try:
            return self.modules[name]
        except KeyError:
            raise AttributeError(name) from None


def spacing(x, digits=53):
    """The unit in the last place of the number nearest x of so many binary digits."""
    if not mpmath.isfinite(x) or x == 0:
        return mpf(2) ** (-1074 if digits == 53 else -149)
    _, exponent = mpmath.frexp(x)
    lowest = -1074 if digits == 53 else -149
    return mpf(2) ** max(exponent - digits, lowest)
