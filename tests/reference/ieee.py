"""IEEE arithmetic as C has it, where Python's own would raise an exception.

Doubles are plain Python floats and go through `math`, which calls the C library that the C++
code calls, so the results are the same to the bit. Single precision values are Python floats
that a float can hold exactly: every single precision operation narrows its result again through
numpy.float32.
"""

import ctypes
import ctypes.util
import math
import struct

import numpy

numpy.seterr(all="ignore")

NAN = math.nan
INF = math.inf


def _quiet(function):
    """The function with NaN in place of a domain error."""

    def wrapped(x):
        try:
            return function(x)
        except ValueError:
            return NAN

    wrapped.__name__ = function.__name__
    return wrapped


sqrt = _quiet(math.sqrt)
sin = _quiet(math.sin)
cos = _quiet(math.cos)
tan = _quiet(math.tan)
asin = _quiet(math.asin)
acos = _quiet(math.acos)
atan = math.atan
atan2 = math.atan2
isnan = math.isnan
isfinite = math.isfinite


def div(a, b):
    """a / b with the infinities and NaNs of a division by zero."""
    if b != 0.0 or b != b:
        return a / b
    if a == 0.0 or a != a:
        return NAN
    return math.copysign(INF, a) * math.copysign(1.0, b)


# Single precision -------------------------------------------------------------------------------


def f32(x):
    """x narrowed to single precision (round to nearest even, overflow to infinity)."""
    return float(numpy.float32(x))


def fadd(a, b):
    return float(numpy.float32(a) + numpy.float32(b))


def fsub(a, b):
    return float(numpy.float32(a) - numpy.float32(b))


def fmul(a, b):
    return float(numpy.float32(a) * numpy.float32(b))


def fdiv(a, b):
    return float(numpy.float32(a) / numpy.float32(b))


def _single_function(name, fallback):
    """The C library's single precision function; without one, the double function narrowed."""
    try:
        library = ctypes.CDLL(ctypes.util.find_library("m") or "libm.so.6")
        function = getattr(library, name)
    except (OSError, AttributeError):
        return lambda x: f32(fallback(x))
    function.restype = ctypes.c_float
    function.argtypes = [ctypes.c_float]
    return function


sinf = _single_function("sinf", sin)
cosf = _single_function("cosf", cos)


# Integers ---------------------------------------------------------------------------------------


def u32(n):
    """n modulo 2^32."""
    return n & 0xFFFFFFFF


def truncated_remainder(n, d):
    """n % d of C: the sign follows n."""
    return int(math.fmod(n, d))


def saturated_int(x):
    """x truncated to a signed 32-bit integer; out of range to the nearest one, NaN to 0."""
    if x != x:
        return 0
    if x >= 2147483647.0:
        return 2147483647
    if x <= -2147483648.0:
        return -2147483648
    return int(x)


# Neighbours and bits (for the scenario generators) ------------------------------------------------


def next_double(x, up=True):
    return math.nextafter(x, INF if up else -INF)


def next_single(x, up=True):
    return float(numpy.nextafter(numpy.float32(x), numpy.float32(INF if up else -INF)))


def double_bits(x):
    return struct.unpack("<Q", struct.pack("<d", x))[0]


def single_bits(x):
    return struct.unpack("<I", struct.pack("<f", x))[0]
