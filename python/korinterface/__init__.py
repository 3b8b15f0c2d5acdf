"""KORInterface in Python: raw readings of a KOR sensor to calibrated angles and orientations.

>>> prm = korinterface.Prm.read("data/polarizer", 1005)
>>> samples = korinterface.read_recording("data/polarizer/polarizer.csv")
>>> results = korinterface.Kor(prm).process(samples)
>>> results.matrices[results.usable].shape
(2265, 3, 3)

Samples and results are NumPy arrays whose elements are, byte for byte, the library's own records. `replay`, `simulate`,
`accuracy`, `budget`, `uncertainty` and `compare` give what the tool ``kor`` gives, to the last bit.

The package works in the main interpreter of a process; importing it in a subinterpreter raises ImportError.
"""
from __future__ import annotations

from . import _core
from ._engine import MODELS, Kor, Model, SampleReport, fresh_process_values, home_vector, replay, replay_parts
from ._errors import KorError, KorWarning
from ._frames import from_pandas, to_pandas
from ._measure import CHANNELS, Simulation, accuracy, budget, compare, simulate, uncertainty
from ._prm import CheckFinding, Prm, ReadFinding, ReadReport, check
from ._records import (INFO_DTYPE, OUTCOMES, RAW_DTYPE, Results, Truth, read_recording, read_results, read_truth,
                       write_recording, write_results, write_truth)
from ._rotations import from_rotation, to_rotation

__version__: str = _core.VERSION

__all__ = [
    "CHANNELS", "CheckFinding", "INFO_DTYPE", "Kor", "KorError", "KorWarning", "MODELS", "Model", "OUTCOMES", "Prm",
    "RAW_DTYPE", "ReadFinding", "ReadReport", "Results", "SampleReport", "Simulation", "Truth", "accuracy", "budget",
    "check", "compare", "fresh_process_values", "from_pandas", "from_rotation", "home_vector", "read_recording",
    "read_results", "read_truth", "replay", "replay_parts", "simulate", "to_pandas", "to_rotation", "uncertainty",
    "write_recording", "write_results", "write_truth",
]
