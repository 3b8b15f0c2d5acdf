"""A replay with a view, whose recording a test makes row by row."""
import csv
import io
import os
import pathlib
import re
import subprocess
import time

DATA = pathlib.Path(__file__).resolve().parents[2] / "data" / "polarizer"


class LiveReplay:
    """Rows are those of the shipped recording over and over, with a time stamp each millisecond.

    kor      the program
    results  where its results go
    """

    def __init__(self, kor, results, *arguments):
        with open(DATA / "polarizer.csv", newline="", encoding="utf-8") as file:
            self.header, *self.rows = csv.reader(file)
        self.stamp = self.header.index("timeStampMs")
        self.sent = 0
        self.child = subprocess.Popen([kor, "replay", "--prm", DATA, "--id", "1005", "--progress=never", "-", "-o", results,
                                       "--view", *arguments], stdin=subprocess.PIPE, stderr=subprocess.PIPE)
        line = self.child.stderr.readline().decode()
        found = re.search(r"http://127\.0\.0\.1:(\d+)/", line)
        if not found:
            self.stop()
            raise RuntimeError(line)
        self.address, self.port = found[0], int(found[1])
        self.write([self.header])

    def write(self, rows):
        text = io.StringIO()
        csv.writer(text, lineterminator="\n").writerows(rows)
        self.child.stdin.write(text.getvalue().encode())
        self.child.stdin.flush()

    def send(self, count):
        rows = []
        for _ in range(count):
            row = list(self.rows[self.sent % len(self.rows)])
            row[self.stamp] = str(self.sent)
            rows.append(row)
            self.sent += 1
        self.write(rows)

    def stream(self, seconds, rate):
        """So many rows a second, in time; how late the last one was, seconds."""
        begun = time.monotonic()
        first = self.sent
        for number in range(int(seconds * rate)):
            early = begun + number / rate - time.monotonic()
            if early > 0:
                time.sleep(early)
            self.send(1)
        return time.monotonic() - begun - (self.sent - first) / rate

    def end(self):
        self.child.stdin.close()

    def stop(self):
        self.child.kill()
        self.child.wait()
        for stream in (self.child.stdin, self.child.stderr):
            try:
                stream.close()
            except BrokenPipeError:
                pass


    def resident_bytes(self):
        """What the program holds."""
        with open(f"/proc/{self.child.pid}/statm", encoding="ascii") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def heap_bytes(browser):
    """What the page's scripts hold once everything that nobody holds is gone, buffers of numbers included."""
    for _ in range(2):  # what the first one finishes, the second one finds
        browser.execute_cdp_cmd("HeapProfiler.collectGarbage", {})
    usage = browser.execute_cdp_cmd("Runtime.getHeapUsage", {})
    return usage["usedSize"] + usage.get("backingStorageSize", 0)
