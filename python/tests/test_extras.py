"""pandas, scipy and matplotlib."""
import subprocess
import sys

import matplotlib
import numpy as np
import pandas
import pytest
from scipy.spatial.transform import Rotation

import korinterface as ki
import korinterface.plot

matplotlib.use("Agg")
pytestmark = pytest.mark.filterwarnings("ignore:The 'float_precision' argument")  # earlier pandas need it


@pytest.fixture(scope="module")
def results(polarizer):
    return ki.replay(polarizer.csv, polarizer.prm)


def test_tables_of_samples_have_the_columns_of_the_file(polarizer):
    samples = polarizer.samples()
    table = ki.to_pandas(samples)
    read = pandas.read_csv(polarizer.csv, float_precision="round_trip")
    assert list(table.columns) == list(read.columns)
    assert ki.from_pandas(read).tobytes() == samples.tobytes() == ki.from_pandas(table).tobytes()
    assert str(table.dtypes["timeStampMs"]) == "uint32" and str(table.dtypes["azimuthRaw"]) == "float32"


def test_tables_of_results_have_the_columns_of_the_file(results, tmp_path):
    ki.write_results(tmp_path / "r.csv", results)
    read = pandas.read_csv(tmp_path / "r.csv", float_precision="round_trip")
    table = ki.to_pandas(results)
    assert list(table.columns) == list(read.columns)
    assert ki.from_pandas(read).equals(results) and ki.from_pandas(table).equals(results)
    assert table["outcome"].value_counts()["ok"] == 2265
    assert ki.from_pandas(table[table["outcome"] == "ok"]).equals(results[results.usable])


def test_tables_that_hold_something_else_are_refused(polarizer, results):
    table = ki.to_pandas(polarizer.samples())
    with pytest.raises(KeyError, match="found no column azimuthRaw; expected the columns of a recording"):
        ki.from_pandas(table.drop(columns="azimuthRaw"))
    for column, value, words in (("referenceHold", 256, "out of range"), ("timeStampMs", 0.5, "not a whole number"),
                                 ("status", np.nan, "not a whole number")):
        other = table.astype({column: float})
        other.loc[3, column] = value
        with pytest.raises(ValueError, match=f"column {column}: found a value .*{words}|column {column}: .*{words}"):
            ki.from_pandas(other)
    other = ki.to_pandas(results).astype({"outcome": object})
    other.loc[3, "outcome"] = "fine"
    with pytest.raises(ValueError, match="column outcome: found 'fine'"):
        ki.from_pandas(other)
    with pytest.raises(TypeError, match="found neither"):
        ki.to_pandas([1, 2])
    empty = ki.from_pandas(table[:0])
    assert len(empty) == 0 and empty.dtype == ki.RAW_DTYPE


def test_rotations_there_and_back(results):
    usable = results.matrices[results.usable]
    rotations = ki.to_rotation(usable)
    assert isinstance(rotations, Rotation)
    # The machine matrix is that of a file with six decimals, a rotation to some 1e-7, and scipy takes the nearest one.
    assert np.abs(ki.from_rotation(rotations) - usable).max() < 1e-7
    again = ki.from_rotation(ki.to_rotation(ki.from_rotation(rotations)))
    # Quaternions and back: some units in the last place.
    assert np.abs(again - ki.from_rotation(rotations)).max() < 1e-14
    vector = np.array([1.0, 2.0, 3.0])
    assert np.allclose(rotations[7].apply(vector), usable[7] @ vector, atol=1e-6, rtol=0)
    assert ki.from_rotation(ki.to_rotation(usable[0])).shape == (3, 3)
    assert ki.to_rotation(np.eye(3)).magnitude() == 0
    for matrices, words in ((np.full((2, 3, 3), np.nan), "index 0 that is not a rotation"),
                            (np.stack([np.eye(3), 1.001 * np.eye(3)]), "index 1"),
                            (np.diag([1.0, 1.0, -1.0]), "index 0"), (np.zeros((3, 4)), "shape")):
        with pytest.raises(ValueError, match=words):
            ki.to_rotation(matrices)


def test_pictures_show_what_is_there(polarizer, results, tmp_path):
    plot = korinterface.plot
    truth = ki.read_truth(polarizer.truth)
    axes = plot.angles(results)
    times, values = axes.lines[0].get_data()
    assert times[0] == 0 and times[-1] == pytest.approx(23.99, abs=0.02)  # across the wrap of the stamps
    assert np.isnan(values).sum() == (~results.usable).sum()
    assert np.array_equal(values[results.usable], results.angles[results.usable, 0].astype(float))
    axes = plot.levels(results)
    assert len(axes.lines[1].get_xdata()) == results.level_x_out.sum()
    axes = plot.outcomes(results)
    assert [label.get_text() for label in axes.get_yticklabels()] == list(results.outcome_counts())
    axes = plot.path(polarizer.samples())
    assert len(axes.lines[0].get_xdata()) == (polarizer.samples()["status"] == 2).sum()
    axes = plot.errors(results, truth)
    shown = axes.lines[0].get_ydata()
    found = ki.compare(results, truth)["orientation"]
    assert np.nanmax(shown) == pytest.approx(found["largest_arcsec"], rel=1e-6)
    with pytest.raises(ValueError, match="other time stamps"):
        plot.errors(results[1:], truth)
    inputs = ki.budget(mode=5)[0]["inputs"]
    given = axes.figure.add_subplot()
    assert plot.budget(inputs, given) is given and len(given.patches) == len(inputs)
    given.figure.savefig(tmp_path / "p.png")
    assert (tmp_path / "p.png").stat().st_size > 1000


@pytest.mark.parametrize("module, use, extra", [
    ("pandas", "ki.to_pandas(numpy.zeros(1, ki.RAW_DTYPE))", "pandas"),
    ("scipy", "ki.to_rotation(numpy.eye(3))", "scipy"),
    ("matplotlib", "ki.plot.path(numpy.zeros(1, ki.RAW_DTYPE))", "plot"),
])
def test_a_missing_package_is_named(module, use, extra):
    code = (f"import sys; sys.modules[{module!r}] = None\n"
            f"import numpy, korinterface as ki, korinterface.plot\n"
            f"try:\n    {use}\nexcept ImportError as error:\n    print(error)")
    done = subprocess.run([sys.executable, "-c", code], check=True, capture_output=True, text=True)
    assert done.stdout.startswith(module) and f"pip install 'korinterface[{extra}]'" in done.stdout


def test_importing_brings_nothing_optional():
    code = ("import sys, korinterface, korinterface.plot\n"
            "print([name for name in ('pandas', 'scipy', 'matplotlib', 'pyarrow', 'dask') if name in sys.modules])")
    done = subprocess.run([sys.executable, "-c", code], check=True, capture_output=True, text=True)
    assert done.stdout == "[]\n"
