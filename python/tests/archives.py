"""Small archives of recordings: calibration/Tg<ID>.prm, and recordings/<ID>/<day>/<name>."""
import datetime
import gzip
import pathlib
import shutil
import subprocess

import korinterface as ki

from conftest import ROOT, SENSORS

# All six models; the process-wide values of the two-level ones must not get from one recording into the next.
MODES = (1, 3, 5, 7, 8, 9, 10)
ENDINGS = (".csv", ".korraw", ".csv.gz", ".korraw.zst")
FIRST_DAY = datetime.date(2026, 11, 20)


def make(folder, recordings, samples=120, modes=MODES, days=3):
    """Simulates recordings. Some of the two-level models have a nan, which spoils what follows in the same process."""
    folder = pathlib.Path(folder)
    (folder / "calibration").mkdir(parents=True)
    prms = {}
    for mode in modes:
        name, sensor = SENSORS[mode]
        shutil.copy(ROOT / "data" / name / f"Tg{sensor}.prm", folder / "calibration")
        prms[mode] = ki.Prm.read(folder / "calibration", sensor)
    made = []
    for number in range(recordings):
        mode = modes[number % len(modes)]
        day = FIRST_DAY + datetime.timedelta(number // len(modes) % days)
        path = folder / "recordings" / str(prms[mode].id) / day.isoformat() / f"{number:04}{ENDINGS[number % len(ENDINGS)]}"
        path.parent.mkdir(parents=True, exist_ok=True)
        found = ki.simulate(prms[mode], "static" if mode > 8 else "circle", samples=samples, seed=number + 1,
                            noise={"levelXRaw": 0.1}, nan=0.01 if number % 3 == 0 else 0.0)
        ki.write_recording(path, found.samples)
        made.append(path)
    return made


def replayed_by_tool(tool, made, calibration, folder):
    """What `kor replay` makes of each recording, in a process of its own each."""
    found = {}
    by_sensor = {}
    for path in made:
        by_sensor.setdefault(path.parent.parent.name, []).append(path)
    for sensor, paths in by_sensor.items():
        output = folder / sensor
        output.mkdir(parents=True)
        if len(paths) == 1:
            given = [paths[0], "-o", output / "only.korinfo"]
        else:
            given = [*paths, "--format", "bin", "-o", output]
        # 65: a recording without a usable orientation has results all the same.
        done = subprocess.run([tool, "replay", "--quiet", "--prm", calibration, "--id", sensor, *map(str, given)],
                              capture_output=True, check=False)
        assert done.returncode in (0, 65), done.stderr.decode()
        for path in paths:
            name = "only.korinfo" if len(paths) == 1 else path.name.split(".")[0] + ".korinfo"
            found[path] = ki.read_results(output / name)
    return found


def tree(folder):
    """Every file below a folder: its content, and when it was written."""
    folder = pathlib.Path(folder)
    return {str(path.relative_to(folder)): (path.read_bytes(), path.stat().st_mtime_ns, path.stat().st_ino)
            for path in sorted(folder.rglob("*")) if path.is_file()}


def contents(folder):
    """The same without times."""
    return {name: content for name, (content, _, _) in tree(folder).items()}


def cut_gzip(path):
    content = gzip.compress(b"status\n" * 100)
    path.write_bytes(content[:len(content) // 2])
