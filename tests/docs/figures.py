#!/usr/bin/env python3
"""The pictures of the documents are what their scripts draw, byte by byte.

    figures.py ROOT KOR    draws all of docs/figures again, in a copy, and compares
    figures.py --itself    a picture that is missing, another one, or drawn by nobody, is found

A script docs/figures/NAME.py, started without arguments, writes its pictures into docs/img beside it. The program is the
`kor` of PATH. All scripts run in one process, because loading the library that draws takes longer than drawing.
"""
import os
import pathlib
import runpy
import shutil
import subprocess
import sys
import tempfile

import documents

# Pictures that something else makes: name, what makes and compares it.
ELSEWHERE = {
    "report.png": "a screenshot of the page of kor report, which tests/browser/report_test.py takes",
}


def draw(folder):
    """Runs the scripts of a folder as if each was started alone."""
    import matplotlib
    for script in sorted(folder.glob("*.py")):
        matplotlib.rcdefaults()
        matplotlib.use("Agg")
        sys.argv = [str(script)]
        sys.path.insert(0, str(folder))
        try:
            runpy.run_path(str(script), run_name="__main__")
        except SystemExit as end:
            if end.code:
                raise SystemExit(f"docs/figures/{script.name} ended with {end.code}") from None
        finally:
            sys.path.remove(str(folder))


def check(root, elsewhere):
    """Findings, one a picture, and how many were compared."""
    with tempfile.TemporaryDirectory() as work:
        copy = pathlib.Path(work)
        for name in documents.tracked(root):
            if not name.startswith("docs/img/"):
                (copy / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(root / name, copy / name)
        (copy / "docs" / "img").mkdir(parents=True)
        here = os.getcwd()
        os.chdir(copy)
        try:
            draw(copy / "docs" / "figures")
        finally:
            os.chdir(here)
        drawn = {path.name: path.read_bytes() for path in (copy / "docs" / "img").iterdir()}
    stored = {path.name: path.read_bytes() for path in (root / "docs" / "img").iterdir()}
    findings = [f"docs/img/{name}: nothing draws it; write docs/figures/NAME.py, or an entry of ELSEWHERE in "
                "tests/docs/figures.py" for name in sorted(stored.keys() - drawn.keys() - elsewhere.keys())]
    findings += [f"docs/img/{name}: is not stored; run its script of docs/figures and commit the picture"
                 for name in sorted(drawn.keys() - stored.keys())]
    findings += [f"docs/img/{name}: is another one than its script draws; run it again and look at the picture"
                 for name in sorted(drawn.keys() & stored.keys()) if drawn[name] != stored[name]]
    findings += [f"tests/docs/figures.py: no {name} is made elsewhere; remove the entry"
                 for name in sorted(elsewhere) if name not in stored or name in drawn]
    return findings, len(drawn)


def itself():
    script = ("import pathlib\nimport style\n"
              "(pathlib.Path(__file__).parents[1] / 'img' / 'a.svg').write_text(style.TEXT)\n")
    wanted = [
        ({}, None),
        ({"docs/img/a.svg": "other"}, "another one"),
        ({"docs/img/b.svg": ""}, "nothing draws"),
        ({"docs/img/a.svg": None}, "is not stored"),
        ({"docs/img/c.png": None}, "remove the entry"),
        ({"docs/figures/a.py": "raise SystemExit(1)\n"}, "ended with 1"),
    ]
    wrong = 0
    for change, text in wanted:
        with tempfile.TemporaryDirectory() as work:
            root = pathlib.Path(work)
            for name, content in {"docs/figures/a.py": script, "docs/figures/style.py": "TEXT = 'picture'\n",
                                  "docs/img/a.svg": "picture", "docs/img/c.png": "", **change}.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                if content is not None:
                    (root / name).write_text(content, encoding="utf-8")
            subprocess.run(["git", "init", "-q", str(root)], check=True)
            sys.modules.pop("style", None)
            try:
                found, _ = check(root, {"c.png": "by hand"})
            except SystemExit as end:
                found = [str(end)]
        if any(text not in finding for finding in found) if text and found else bool(text) != bool(found):
            wrong += 1
            print(f"{change}: found {found}, expected {text}")
    print(f"{len(wanted)} samples, {wrong} wrong")
    return 1 if wrong else 0


def main(arguments):
    if arguments == ["--itself"]:
        return itself()
    root, kor = (pathlib.Path(argument).resolve() for argument in arguments)
    os.environ.update(PATH=f"{kor.parent}:{os.environ['PATH']}", LC_ALL="C.UTF-8")
    findings, count = check(root, ELSEWHERE)
    print("\n".join([*findings, f"{count} pictures, {len(findings)} findings"]))
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
