#!/usr/bin/env python3
"""End-to-end tests of `kor replay` on recordings that are still being made: pipes and FIFOs.

    live_test.py KOR [-v] [Class[.test] ...]
"""
import fcntl
import os
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import termios
import threading
import time
import unittest

import replay_test
from feed import Stream, figures, latencies, percentile
from program import KOR, WINDOWS, posix_only
from replay_test import binary, csv_text, samples

ENDS = {signal.SIGINT: 130, signal.SIGTERM: 143}


class Case(replay_test.Case):
    def setUp(self):
        super().setUp()
        self.samples = samples(400)
        self.put("a.csv", csv_text(self.samples))
        lines = csv_text(self.samples).encode().splitlines(True)
        self.header, self.lines = lines[0], lines[1:]
        self.records = [binary([row]) for row in self.samples]
        self.command = [*KOR, "replay", "--prm", self.dir, "--id", "5", "--progress=never"]
        self.wanted = self.replay("a.csv")[0]

    def stream(self, *arguments, names=None, **options):
        made = Stream([*self.command, *arguments], names, cwd=self.dir, **options)
        self.addCleanup(made.close)
        return made

    def begin_of_wanted(self, count):
        """The results of so many rows, header included."""
        return b"".join(self.wanted.splitlines(True)[:1 + count])

    def until(self, true, what, seconds=20):
        deadline = time.monotonic() + seconds
        while not true():
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.005)

    def written_so_far(self, directory=None):
        """The temporary file's content, or nothing."""
        directory = directory or self.dir
        for name in os.listdir(directory):
            if name.startswith(".kor."):
                with open(os.path.join(directory, name), "rb") as file:
                    return file.read()
        return b""


@posix_only
class Latency(Case):
    def measured(self, transport, form):
        header, rows = (self.header, self.lines) if form == "csv" else (b"", self.records)
        names = None if transport == "pipe" else ("in." + form, "out." + form)
        best = None
        # The bound holds for the median of one of three runs: a machine with other work to do makes all of a run late,
        # a program that waits is late in every run.
        for _ in range(3):
            stream = self.stream("--format", form, names=names)
            took = latencies(stream, header, rows[:200], 1000)
            out, status, errors = stream.finish()
            self.assertEqual(status, 0, errors)
            self.assertEqual(out, self.replay("cut.csv", "--format", form)[0])
            if best is None or percentile(took, 0.5) < percentile(best, 0.5):
                best = took
            if percentile(best, 0.5) < 0.005:
                break
        print(f"{transport}, {form}, 1 kHz, ms: {figures(best)}", file=sys.stderr)
        self.assertLess(percentile(best, 0.5), 0.005)

    def test_each_result_comes_before_the_next_row_and_within_5_ms(self):
        self.put("cut.csv", csv_text(self.samples[:200]))
        for transport in ("pipe", "fifo"):
            for form in ("csv", "bin"):
                with self.subTest(transport=transport, form=form):
                    self.measured(transport, form)

    def test_the_results_begin_when_the_header_is_there(self):
        stream = self.stream()
        stream.send(self.header)
        self.assertTrue(stream.more())
        self.assertEqual(bytes(stream.received), self.begin_of_wanted(0))

    def test_a_single_record_is_enough_to_recognise_a_binary_recording(self):
        stream = self.stream()
        stream.send(self.records[0])
        self.assertTrue(stream.receive(lambda received: received == self.begin_of_wanted(1)), stream.received)

    def test_a_short_line_that_is_no_header_is_told_at_once(self):
        stream = self.stream()
        stream.send(b"a;b\n")
        self.until(lambda: stream.child.poll() is not None, "it waits for more")
        self.assertEqual(stream.child.returncode, 65)

    def test_a_row_counts_when_its_end_has_come(self):
        stream = self.stream()
        stream.send(self.header + self.lines[0] + self.lines[1][:-1])
        self.assertTrue(stream.receive(lambda received: received == self.begin_of_wanted(1)), stream.received)
        self.assertFalse(stream.more(0.1))
        stream.send(b"\r\n" + self.lines[2])
        self.assertTrue(stream.receive(lambda received: received == self.begin_of_wanted(3)), stream.received)

    def test_the_last_row_needs_no_end(self):
        stream = self.stream()
        stream.send(self.header + self.lines[0] + self.lines[1][:-1])
        self.assertEqual(stream.finish()[0], self.begin_of_wanted(2))

    def test_rows_that_come_together_go_together(self):
        # One write for all that were there: the price of a live stream is paid once for each wait, not for each row.
        stream = self.stream()
        stream.send(self.header)
        self.assertTrue(stream.more())
        stream.send(b"".join(self.lines[:100]))
        self.assertTrue(stream.more())
        self.assertEqual(bytes(stream.received), self.begin_of_wanted(100))


@posix_only
class SlowConsumer(Case):
    def test_nothing_is_lost_when_the_results_are_read_slowly(self):
        rows = samples(3000)
        self.put("b.csv", csv_text(rows))
        wanted = self.replay("b.csv")[0]
        for blocking in (True, False):
            with self.subTest(blocking=blocking):
                stream = self.stream()
                # Whoever shares the pipe may have made it one that does not wait.
                os.set_blocking(stream.out, blocking)
                writer = threading.Thread(target=lambda: stream.send(csv_text(rows).encode()))
                writer.start()
                while writer.is_alive():
                    time.sleep(0.002)
                    stream.more(0)
                writer.join()
                self.assertEqual(stream.finish()[:2], (wanted, 0))

    def test_pipes_that_do_not_wait_are_waited_for(self):
        rows = samples(3000)
        self.put("b.csv", csv_text(rows))
        content, wanted = csv_text(rows).encode(), self.replay("b.csv")[0]
        self.assertGreater(len(wanted), 4 * 65536, "more than a pipe holds")
        in_read, in_write = os.pipe()
        out_read, out_write = os.pipe()
        for descriptor in (in_read, out_write):
            os.set_blocking(descriptor, False)
        child = subprocess.Popen([*self.command, "-"], stdin=in_read, stdout=out_write, stderr=subprocess.PIPE)
        os.close(in_read)
        os.close(out_write)
        time.sleep(0.1)  # it finds nothing to read
        with os.fdopen(in_write, "wb") as into, os.fdopen(out_read, "rb") as out:
            writer = threading.Thread(target=lambda: (into.write(content), into.close()))
            writer.start()
            time.sleep(0.1)  # and no room to write
            received = out.read()
            writer.join()
        errors = child.communicate(timeout=60)[1]
        self.assertEqual(child.returncode, 0, errors)
        self.assertEqual(received, wanted)


@posix_only
class Interrupt(Case):
    def into_file(self, *arguments, source="-", result="r.csv", rows=20):
        """A replay into a file whose first rows have come, one half row behind them."""
        if source != "-":
            os.mkfifo(self.path(source))
        child = subprocess.Popen([*self.command, *arguments, source, "-o", result], cwd=self.dir,
                                 stdin=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        into = child.stdin if source == "-" else open(self.path(source), "wb")
        def close():
            child.stdin.close()
            into.close()
            child.stderr.close()
        self.addCleanup(close)
        if source.endswith("raw"):
            into.write(b"".join(self.records[:rows]) + self.records[rows][:30])
        else:
            into.write(self.header + b"".join(self.lines[:rows]) + self.lines[rows][:30])
        into.flush()
        self.until(lambda: self.written_so_far() == self.begin_of_wanted(rows), "the rows are not written")
        return child

    def errors_of(self, child):
        child.wait(timeout=20)
        return child.stderr.read().decode()

    def test_the_finished_rows_are_kept_and_the_summary_is_printed(self):
        for number, status in ENDS.items():
            for source in ("-", "feed.csv", "feed.korraw"):
                with self.subTest(signal=number.name, source=source):
                    child = self.into_file(source=source)
                    child.send_signal(number)
                    errors = self.errors_of(child)
                    self.assertEqual(child.returncode, status, errors)
                    self.assertEqual(self.get("r.csv"), self.begin_of_wanted(20))
                    self.assertIn("a signal has ended the reading; what was read before is kept", errors)
                    self.assertEqual(self.summary(errors)["samples"], "20")
                    os.remove(self.path("r.csv"))
                    if source != "-":
                        os.remove(self.path(source))
                    self.assert_no_leftovers("a.csv")

    def test_an_older_result_is_replaced_by_the_finished_rows(self):
        self.put("r.csv", "old\n")
        child = self.into_file()
        child.terminate()
        self.errors_of(child)
        self.assertEqual(self.get("r.csv"), self.begin_of_wanted(20))

    def test_standard_output_ends_with_a_whole_row(self):
        for number, status in ENDS.items():
            with self.subTest(signal=number.name):
                stream = self.stream()
                stream.send(self.header + b"".join(self.lines[:50]) + self.lines[50][:30])
                self.assertTrue(stream.receive(lambda received: received == self.begin_of_wanted(50)))
                stream.child.send_signal(number)
                out, returned, errors = stream.finish()
                self.assertEqual(returned, status, errors)
                self.assertEqual(out, self.begin_of_wanted(50))
                self.assertEqual(self.summary(errors)["samples"], "50")

    def test_a_stream_that_never_pauses_is_ended_too(self):
        child = subprocess.Popen([*self.command, "-", "-o", "r.csv"], cwd=self.dir, stdin=subprocess.PIPE,
                                 stderr=subprocess.PIPE)
        def feed():
            try:
                child.stdin.write(self.header)
                while True:
                    child.stdin.write(b"".join(self.lines))
            except BrokenPipeError:
                pass
            try:
                child.stdin.close()
            except BrokenPipeError:
                pass
        writer = threading.Thread(target=feed)
        writer.start()
        self.until(lambda: len(self.written_so_far()) > 300000, "nothing is written")
        child.send_signal(signal.SIGINT)
        errors = self.errors_of(child)
        writer.join()
        child.stderr.close()
        self.assertEqual(child.returncode, 130, errors)
        lines = self.rows(self.get("r.csv"))
        self.assertEqual(str(len(lines)), self.summary(errors)["samples"])

    def test_a_second_signal_ends_at_once_unless_it_comes_with_the_first(self):
        # The first one finds it waiting for a reader of its results.
        child = subprocess.Popen([*self.command, "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                 stderr=subprocess.DEVNULL)
        self.addCleanup(child.stdout.close)
        self.addCleanup(child.stdin.close)
        child.stdin.write(self.header + b"".join(self.lines))  # fits into a pipe; the results do not
        child.stdin.flush()
        written = lambda: struct.unpack("i", fcntl.ioctl(child.stdout, termios.FIONREAD, b"1234"))[0]
        self.until(lambda: written() > 60000, "it does not write")
        self.until(lambda: self.sleeps(child.pid), "it does not wait")
        begun = time.monotonic()
        for _ in range(4):
            # A shell sends an interrupt to the whole group, and timeout(1) to the process and then to its group.
            child.send_signal(signal.SIGINT)
            time.sleep(0.01)
        if time.monotonic() - begun < 0.2:  # otherwise they have not come together
            with self.assertRaises(subprocess.TimeoutExpired):
                child.wait(timeout=0.4)
        child.send_signal(signal.SIGINT)
        self.assertEqual(child.wait(timeout=20), -signal.SIGINT)

    @staticmethod
    def sleeps(pid):
        with open(f"/proc/{pid}/stat") as file:
            return file.read().rsplit(")", 1)[1].split()[0] == "S"

    def test_hang_up_and_quit_leave_nothing(self):
        for number in (signal.SIGHUP, signal.SIGQUIT):
            with self.subTest(signal=number.name):
                child = self.into_file()
                child.send_signal(number)
                self.errors_of(child)
                self.assertEqual(child.returncode, -number)
                self.assert_no_leftovers("a.csv")

    def test_before_the_recording_has_begun_there_is_nothing_to_keep(self):
        for number in ENDS:
            with self.subTest(signal=number.name):
                child = subprocess.Popen([*self.command, "-", "-o", "r.csv"], cwd=self.dir, stdin=subprocess.PIPE,
                                         stderr=subprocess.PIPE)
                self.addCleanup(child.wait)
                self.addCleanup(child.kill)
                with child.stdin, child.stderr:
                    child.stdin.write(self.header[:20])
                    child.stdin.flush()
                    time.sleep(0.1)
                    child.send_signal(number)
                    self.errors_of(child)
                self.assertEqual(child.returncode, -number)
                self.assert_no_leftovers("a.csv")

    def test_the_children_of_several_recordings_keep_their_rows_too(self):
        os.mkdir(self.path("out"))
        names = ("f.csv", "g.csv")
        for name in names:
            os.mkfifo(self.path(name))
        child = subprocess.Popen([*self.command, *names, "-o", "out", "--jobs=2"], cwd=self.dir,
                                 stderr=subprocess.DEVNULL, start_new_session=True)
        feeds = [open(self.path(name), "wb") for name in names]
        for feed in feeds:
            feed.write(self.header + b"".join(self.lines[:20]) + self.lines[20][:30])
            feed.flush()
        self.until(lambda: len(os.listdir(self.path("out"))) == 2, "they have not begun")
        time.sleep(0.2)
        os.killpg(child.pid, signal.SIGINT)
        child.wait(timeout=20)
        self.until(lambda: sorted(os.listdir(self.path("out"))) == list(names), "the results are not there")
        for name, feed in zip(names, feeds):
            feed.close()
            self.assertEqual(self.get("out/" + name), self.begin_of_wanted(20))


@unittest.skipUnless(WINDOWS, "Windows only")
class WindowsInterrupt(Case):
    def of_windows(self, pid):
        """The process below another one that runs the program: the emulator takes a signal to it for Ctrl+C."""
        with open(f"/proc/{pid}/task/{pid}/children") as file:
            (child,) = file.read().split()
        with open(f"/proc/{child}/cmdline", "rb") as file:
            is_program = b"kor.exe" in file.read().split(b"\0", 1)[0]
        return int(child) if is_program else self.of_windows(child)

    def test_ctrl_c_leaves_no_temporary_file(self):
        child = subprocess.Popen([*self.command, "-", "-o", "r.csv"], cwd=self.dir, stdin=subprocess.PIPE,
                                 stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        self.addCleanup(child.stdin.close)
        child.stdin.write(self.header + b"".join(self.lines[:20]))
        child.stdin.flush()
        self.until(lambda: self.written_so_far() != b"", "there is no temporary file")
        os.kill(self.of_windows(child.pid), signal.SIGINT)
        child.wait(timeout=20)
        self.assert_no_leftovers("a.csv")

    def programs(self):
        """The processes that run the program here, those that another one has started last."""
        found = []
        for entry in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{entry}/cmdline", "rb") as file:
                    command = file.read().split(b"\0")
                if b"kor.exe" in command[0] and os.readlink(f"/proc/{entry}/cwd").startswith(self.dir):
                    found.append((b"--checked" in command, int(entry)))
            except OSError:
                pass
        return [pid for _, pid in sorted(found)]

    def long_replay(self, *arguments, directory=".", count=1):
        for name in ("long.korraw", "longer.korraw"):
            self.put(name, binary(samples(100)))
            os.truncate(self.path(name), 68 << 30)
        child = subprocess.Popen([*self.command, *arguments], cwd=self.dir, stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        out = self.path(directory)
        self.until(lambda: os.path.isdir(out) and count == sum(n.startswith(".kor.") for n in os.listdir(out)),
                   "there are no temporary files")

    def test_when_the_parent_is_killed_its_children_end_and_leave_nothing(self):
        self.long_replay("long.korraw", "longer.korraw", "-o", "out", "--jobs=2", directory="out", count=2)
        parent, *children = self.programs()
        self.assertEqual(len(children), 2)
        os.kill(parent, signal.SIGKILL)
        self.until(lambda: not self.programs(), "they have not ended")
        # Wine lets go of a process's files a moment after the process has ended.
        self.until(lambda: not os.listdir(self.path("out")), "they have left files")

    def test_what_a_killed_process_leaves_is_removed_by_the_next_run(self):
        self.long_replay("long.korraw", "-o", "r.csv")
        self.replay("a.csv", "-o", "next.csv")
        self.assertEqual(sum(name.startswith(".kor.") for name in os.listdir(self.dir)), 1, "it is in use")
        (process,) = self.programs()
        os.kill(process, signal.SIGKILL)
        self.until(lambda: not self.programs(), "it has not ended")
        self.replay("a.csv", "-o", "next.csv")
        self.assert_no_leftovers("a.csv", "long.korraw", "longer.korraw", "next.csv")


@posix_only
class SeveralThreads(Case):
    """Only when they are asked for: what is promised of one thread holds of several."""

    def test_results_come_before_the_next_row(self):
        self.put("cut.csv", csv_text(self.samples[:100]))
        stream = self.stream("--threads=4")
        latencies(stream, self.header, self.lines[:100], 1000)
        out, status, errors = stream.finish()
        self.assertEqual((out, status), (self.replay("cut.csv")[0], 0), errors)

    def test_a_signal_keeps_the_finished_rows(self):
        for number, status in ENDS.items():
            with self.subTest(signal=number.name):
                stream = self.stream("--threads=4")
                stream.send(self.header + b"".join(self.lines[:300]) + self.lines[300][:30])
                self.assertTrue(stream.receive(lambda received: received == self.begin_of_wanted(300)))
                stream.child.send_signal(number)
                out, returned, errors = stream.finish()
                self.assertEqual((out, returned), (self.begin_of_wanted(300), status), errors)
                self.assertEqual(self.summary(errors)["samples"], "300")


@posix_only
class ClosedPipe(Case):
    def test_a_live_replay_ends_quietly_with_its_reader(self):
        stream = self.stream()
        stream.send(self.header + self.lines[0])
        self.assertTrue(stream.receive(lambda received: received == self.begin_of_wanted(1)))
        os.close(stream.out)
        stream.out = None
        for line in self.lines:
            try:
                stream.send(line)
            except BrokenPipeError:
                break
            time.sleep(0.005)
        self.assertEqual(stream.child.communicate(timeout=20)[1], b"")
        self.assertEqual(stream.child.returncode, 141)


@posix_only
class StatusLine(Case):
    def on_terminal(self, seconds, results=subprocess.DEVNULL, *arguments):
        """Standard error of a live replay at 200 Hz whose standard error is a terminal, 100 columns wide."""
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 100, 0, 0))
        child = subprocess.Popen([*self.command[:-1], *arguments, "-"], cwd=self.dir, stdin=subprocess.PIPE,
                                 stdout=theirs if results == "terminal" else results, stderr=theirs)
        os.close(theirs)
        child.stdin.write(self.header)
        begun = time.monotonic()
        seen = b""
        for number in range(int(200 * seconds)):
            child.stdin.write(self.lines[number % len(self.lines)])
            child.stdin.flush()
            while select.select([ours], [], [], max(0.0, begun + number / 200 - time.monotonic()))[0]:
                seen += os.read(ours, 65536)
        child.stdin.close()
        while select.select([ours], [], [], 20)[0]:
            try:
                seen += os.read(ours, 65536)
            except OSError:
                break
        os.close(ours)
        self.assertEqual(child.wait(timeout=20), 0, seen)
        return seen.decode(), time.monotonic() - begun

    def test_rate_outcomes_and_last_angles_a_few_times_a_second(self):
        seen, seconds = self.on_terminal(1.5)
        lines = [part.removesuffix("\x1b[K") for part in seen.split("\r") if "/s  " in part]
        self.assertGreaterEqual(len(lines), 3, seen)
        self.assertLessEqual(len(lines), 10 * seconds + 1)
        for line in lines:
            self.assertLess(len(line), 100)
            self.assertRegex(line, r"^\d+ samples  \d+(\.\d)?/s  x -?\d+\.\d{4}  z -?\d+\.\d{4}  y -?\d+\.\d{4}  [a-z]+ \d")
        # The angles and the count belong to one sample.
        count, x, z, y = re.match(r"(\d+) samples  \S+  x (\S+)  z (\S+)  y (\S+)", lines[0]).groups()
        row = self.rows(self.wanted)[int(count) - 1]
        for text, column in ((x, "orientationX_deg"), (z, "orientationZ_deg"), (y, "orientationY_deg")):
            self.assertAlmostEqual(float(text), float(row[column]), delta=0.000051)  # four decimals
        self.assertIn("\r\x1b[Kstandard input", seen, "erased in front of the summary")

    def test_not_where_the_results_themselves_are_shown(self):
        seen, _ = self.on_terminal(0.6, "terminal")
        self.assertFalse("/s  " in seen or "\x1b" in seen)

    def test_a_pause_is_seen(self):
        # The rate goes down though nothing comes.
        child = subprocess.Popen([*self.command[:-1], "--progress=always", "-"], cwd=self.dir, stdin=subprocess.PIPE,
                                 stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        child.stdin.write(self.header + b"".join(self.lines))
        child.stdin.flush()
        time.sleep(1.3)
        errors = child.communicate(timeout=20)[1].decode()
        rates = [float(rate.replace(" ", "")) for rate in re.findall(r"400 samples  ([\d. ]+)/s", errors)]
        self.assertGreater(len(rates), 1, errors)
        self.assertEqual(rates, sorted(rates, reverse=True))
        self.assertLess(rates[-1], rates[0])


if __name__ == "__main__":
    unittest.main()
