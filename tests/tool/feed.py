"""A recording that is still being made, sent to the program row by row, and how long each result takes.

The next row is sent only when the result of the one before is there, so a program that waits for more input before it
writes never gets to the end, however long one waits.
"""
import os
import select
import subprocess
import tempfile
import time


class TooLate(Exception):
    """A result did not come while its row was the last one sent."""


class Stream:
    """A replay whose recording and results are pipes, or FIFOs with names.

    command    the program with its arguments, without the recording
    names      of the recording and the results when they are FIFOs; otherwise standard input and output
    """

    def __init__(self, command, names=None, **options):
        self.directory = tempfile.TemporaryDirectory(prefix="kor-live-")
        if names is None:
            self.child = subprocess.Popen([*command, "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                          stderr=subprocess.PIPE, **options)
            self.into, self.out = os.dup(self.child.stdin.fileno()), os.dup(self.child.stdout.fileno())
            self.child.stdin.close()
            self.child.stdout.close()
            self.child.stdin = self.child.stdout = None
        else:
            recording, results = (os.path.join(self.directory.name, name) for name in names)
            os.mkfifo(recording)
            os.mkfifo(results)
            self.child = subprocess.Popen([*command, recording, "-o", results], stdin=subprocess.DEVNULL,
                                          stderr=subprocess.PIPE, **options)
            self.out = os.open(results, os.O_RDONLY | os.O_NONBLOCK)  # the program opens it after the recording
            self.into = os.open(recording, os.O_WRONLY)
        self.received = bytearray()

    def send(self, piece):
        view = memoryview(piece)
        while view:
            view = view[os.write(self.into, view):]

    def receive(self, enough, timeout=20):
        """Reads until enough(self.received), and says whether that came true in time."""
        deadline = time.monotonic() + timeout
        while not enough(self.received):
            if not select.select([self.out], [], [], max(0.0, deadline - time.monotonic()))[0]:
                return False
            piece = os.read(self.out, 1 << 16)
            if not piece:
                if self.child.poll() is not None:
                    return False
                time.sleep(0.001)  # a FIFO that nobody has opened for writing yet
            self.received += piece
        return True

    def more(self, timeout=20):
        before = len(self.received)
        return self.receive(lambda received: len(received) > before, timeout)

    def close(self):
        """Ends the program too, if it has not ended by itself."""
        self.child.kill()
        self.child.wait()
        for descriptor in (self.into, self.out):
            if descriptor is not None:
                os.close(descriptor)
        self.into = self.out = None
        self.child.stderr.close()
        self.directory.cleanup()

    def finish(self):
        """Ends the recording; the rest of the results, exit status and standard error."""
        os.close(self.into)
        self.into = None
        os.set_blocking(self.out, True)
        while piece := os.read(self.out, 1 << 16):
            self.received += piece
        errors = self.child.communicate(timeout=60)[1].decode()
        self.close()
        return bytes(self.received), self.child.returncode, errors


def latencies(stream, header, rows, rate):
    """Seconds from each row's sending to its result's arrival, at so many rows per second."""
    if header:
        stream.send(header)
        if not stream.more():
            raise TooLate("the results do not begin when the recording's header is there")
    took = []
    begun = time.perf_counter()
    for number, row in enumerate(rows):
        while (early := begun + number / rate - time.perf_counter()) > 0:
            time.sleep(early)
        before = time.perf_counter()
        stream.send(row)
        if not stream.more():
            raise TooLate(f"no result of row {number + 1} of {len(rows)} before the next one")
        took.append(time.perf_counter() - before)
    return took


def percentile(values, share):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))]


def figures(took):
    """Milliseconds at the median and towards the worst case, as text."""
    return "  ".join(f"{name} {1e3 * percentile(took, share):.3f}"
                     for name, share in (("median", 0.5), ("90 %", 0.9), ("99 %", 0.99), ("largest", 1)))
