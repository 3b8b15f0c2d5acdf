#!/usr/bin/env python3
"""Draws the picture of docs/uncertainty.md: the parts of all inputs, as kor and gnuplot draw them. kor is that of PATH."""
import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]

subprocess.run(["kor", "accuracy", "--uncertainty", ROOT / "examples/uncertainty.json", "--prm", ROOT / "data/polarizer", "--id",
                "1005", "--pose", "3000,2000,900,3,2,40", "--progress", "never", "--plot", ROOT / "docs/img/uncertainty.svg"],
               check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
