#!/usr/bin/env python3
"""Draws the picture of docs/tasks.md by the commands that stand above it there. kor is that of PATH."""
import pathlib
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
SENSOR = ["--prm", ROOT / "data/polarizer", "--id", "1005"]

with tempfile.TemporaryDirectory() as folder:
    for command in (["simulate", *SENSOR, "--motion", "swing", "--samples", "300", "--bad-status", "0.02", "--drop", "0.02", "--noise",
                     "levelYRaw=2", "-o", "sim.csv", "--truth", "sim_truth.csv"],
                    ["replay", *SENSOR, "sim.csv", "-o", "sim_results.csv", "-q"],
                    ["plot", "sim_results.csv", "--truth", "sim_truth.csv", "--columns",
                     "orientationX_deg,orientationZ_deg,orientationY_deg,levelY_deg", "--size", "900x700", "-o",
                     ROOT / "docs/img/tasks.svg"]):
        subprocess.run(["kor", *command], cwd=folder, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
