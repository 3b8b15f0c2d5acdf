"""The examples of the docstrings and documents, run as they stand, in a folder that has the shipped data."""
import doctest
import importlib
import pkgutil
import re
import runpy

import matplotlib
import pytest

import korinterface

from conftest import ROOT

matplotlib.use("Agg")


@pytest.fixture
def folder(tmp_path, monkeypatch):
    (tmp_path / "data").symlink_to(ROOT / "data")
    monkeypatch.chdir(tmp_path)
    return tmp_path


MODULES = ["korinterface"] + [f"korinterface.{info.name}" for info in pkgutil.iter_modules(korinterface.__path__)
                              if info.name != "_core"]


@pytest.mark.parametrize("name", MODULES)
def test_examples_of_the_docstrings(name, folder):
    if name == "korinterface.batch":
        pytest.importorskip("pyarrow", reason="Debian has no package of it")
        pytest.importorskip("fsspec")
    module = importlib.import_module(name)
    found = doctest.testmod(module, extraglobs={"korinterface": korinterface}, optionflags=doctest.NORMALIZE_WHITESPACE)
    assert found.failed == 0
    public = [n for n in getattr(module, "__all__", []) if callable(getattr(module, n))]
    assert all(getattr(module, n).__doc__ for n in public)


def test_some_docstrings_have_examples():
    finder = doctest.DocTestFinder(exclude_empty=True)
    tests = [test for name in MODULES for test in finder.find(importlib.import_module(name)) if test.examples]
    assert len(tests) >= 10


def blocks(document):
    return re.findall(r"^```python\n(.*?)^```", (ROOT / document).read_text(encoding="utf-8"), re.M | re.S)


def test_the_worked_example_takes_ten_lines_from_recording_to_plot(folder):
    example = blocks("docs/python.md")[0]
    assert len([line for line in example.splitlines() if line.strip()]) <= 10
    exec(compile(example, "docs/python.md", "exec"), {})
    assert (folder / "angles.png").stat().st_size > 10_000


# The blocks of the documents are parts of them (tests/docs/code_blocks.py).
@pytest.mark.parametrize("name", sorted(path.name for path in (ROOT / "python" / "examples").glob("*.py")))
def test_examples_of_the_documents_run(name, folder):
    if name == "archive.py":
        pytest.importorskip("pyarrow", reason="Debian has no package of it")
    runpy.run_path(str(ROOT / "python" / "examples" / name), run_name="__main__")


def test_the_first_page_shows_an_example():
    assert blocks("README.md") == [(ROOT / "python" / "examples" / "first.py").read_text(encoding="utf-8")]


def test_the_package_has_the_version_of_the_library():
    text = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    assert korinterface.__version__ == re.search(r"project\(KORInterface VERSION ([0-9.]+)", text).group(1)
