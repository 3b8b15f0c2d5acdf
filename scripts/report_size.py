#!/usr/bin/python3
"""Measures a page of `kor report` about half a million rows: its size, and the time to its first picture in Chromium.

usage: scripts/report_size.py KOR [ROWS]

Ends with 1 if the page has more than 8 MB or takes more than two seconds, the best of three, from the opening of the file
to the moment when the charts have been drawn.
"""
import os
import pathlib
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
MOST_BYTES, MOST_SECONDS, TRIALS = 8_000_000, 2.0, 3


def make_page(kor, rows, work):
    """A page about a random motion with noise, which packs worst."""
    data = ROOT / "data" / "polarizer"
    sensor = ["--prm", data, "--id", "1005"]
    noise = [word for column in ("azimuthRaw=0.0003", "elevationRaw=0.0003", "levelXRaw=0.001", "levelYRaw=0.001",
                                 "sensorVector_x=0.01", "sensorVector_y=0.01", "sensorVector_z=0.01")
             for word in ("--noise", column)]
    recording, truth, results, page = (os.path.join(work, name) for name in
                                       ("sim.csv", "truth.csv", "results.csv", "report.html"))
    subprocess.run([kor, "simulate", *sensor, "--motion", "random", "--samples", str(rows), *noise, "-o", recording,
                    "--truth", truth], check=True, stderr=subprocess.DEVNULL)
    subprocess.run([kor, "replay", *sensor, recording, "-o", results, "-q"], check=True)
    start = time.monotonic()
    subprocess.run([kor, "report", results, "--truth", truth, *sensor, "-o", page], check=True)
    return page, time.monotonic() - start


def first_picture(browser, page):
    """Seconds until the charts were drawn, and until the page had everything."""
    browser.get("about:blank")
    browser.get("file://" + page)
    marks = browser.execute_async_script("""
    const done = arguments[0];
    const look = () => {
      if (document.documentElement.dataset.ready) {
        done([performance.getEntriesByName("kor-first-picture")[0].startTime, performance.now()]);
      } else {
        setTimeout(look, 20);
      }
    };
    look();""")
    return [mark / 1000 for mark in marks]


def main(kor, rows=500_000):
    sys.path.insert(0, str(ROOT / "tests" / "browser"))
    from report_test import start_browser
    with tempfile.TemporaryDirectory(prefix="kor-report-size-") as work:
        page, seconds = make_page(os.path.abspath(kor), rows, work)
        size = os.path.getsize(page)
        print(f"{rows} rows: {size / 1e6:.2f} MB, made in {seconds:.1f} s")
        browser = start_browser(os.path.join(work, "profile"))
        try:
            browser.set_script_timeout(120)
            trials = [first_picture(browser, page) for _ in range(TRIALS)]
            print(browser.find_element("id", "resolution").text)
        finally:
            browser.quit()
    best = min(first for first, _ in trials)
    print(f"first picture after {', '.join(f'{first:.2f}' for first, _ in trials)} s; "
          f"everything after {', '.join(f'{whole:.2f}' for _, whole in trials)} s")
    return size > MOST_BYTES or best > MOST_SECONDS


if __name__ == "__main__":
    if len(sys.argv) == 2 and sys.argv[1] in ("--help", "-h"):
        print(__doc__.split("\n\n")[1])
        sys.exit(0)
    if len(sys.argv) not in (2, 3) or not os.access(sys.argv[1], os.X_OK) or not (sys.argv[2:] + ["1"])[0].isdigit():
        print(__doc__.split("\n\n")[1], file=sys.stderr)
        sys.exit(64)
    sys.exit(main(sys.argv[1], *map(int, sys.argv[2:])))
