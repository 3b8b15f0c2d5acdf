"""Orientations to and from scipy."""
from __future__ import annotations

from typing import TYPE_CHECKING, Any, cast

import numpy as np
import numpy.typing as npt

from ._errors import missing_extra

if TYPE_CHECKING:
    from scipy.spatial.transform import Rotation

_MOST_OFF = 1e-6  # beyond this, six digits, a matrix is not taken for a rotation


def _rotation() -> Any:
    try:
        from scipy.spatial.transform import Rotation
    except ImportError:
        raise missing_extra("scipy", "scipy") from None
    return Rotation


def to_rotation(matrices: npt.ArrayLike) -> "Rotation":
    """Orientations as rotations of scipy: they take directions of the sensor's base to the tracker frame.

    Parameters
    ----------
    matrices
        (n, 3, 3) or (3, 3): `Results.matrices` of usable samples, ``results.matrices[results.usable]``.

    Raises
    ------
    ImportError
        scipy is not installed: ``pip install 'korinterface[scipy]'``.
    ValueError
        A matrix is not a rotation: one of its values is not finite, or its rows are more than 1e-6 from being
        orthonormal. scipy would turn it into a rotation without a warning.

    Notes
    -----
    scipy keeps the quaternion of the nearest rotation, so that the way there and back is exact only as far as the matrix is
    a rotation: the machine matrix of a parameter file with six decimals is one to some 1e-7.

    Examples
    --------
    >>> prm = korinterface.Prm.read("data/polarizer", 1005)
    >>> results = korinterface.replay("data/polarizer/polarizer.csv", prm)
    >>> rotations = korinterface.to_rotation(results.matrices[results.usable])
    >>> len(rotations)
    2265
    """
    rotation = _rotation()
    given = np.asarray(matrices, dtype=np.float64)
    if given.shape[-2:] != (3, 3) or given.ndim not in (2, 3):
        raise ValueError(f"matrices: found shape {given.shape}, expected (n, 3, 3) or (3, 3)")
    many = given.reshape(-1, 3, 3)
    with np.errstate(invalid="ignore", over="ignore"):
        off = np.abs(many @ many.transpose(0, 2, 1) - np.eye(3)).max(axis=(1, 2), initial=0.0)
        sound = (off <= _MOST_OFF) & (np.linalg.det(many) > 0)
    if not sound.all():
        raise ValueError(f"matrices: found one at index {int(np.argmin(sound))} that is not a rotation; "
                         "results.matrices[results.usable] leaves out samples without an orientation")
    return cast("Rotation", rotation.from_matrix(given))


def from_rotation(rotations: "Rotation") -> npt.NDArray[np.float64]:
    """Rotations of scipy as matrices, (n, 3, 3), or (3, 3) of a single one."""
    _rotation()
    return np.ascontiguousarray(rotations.as_matrix(), dtype=np.float64)
