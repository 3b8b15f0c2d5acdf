#!/usr/bin/env python3
"""End-to-end tests of `kor replay --view`, without a browser; tests/browser/view_test.py opens the page in one.

    view_test.py KOR [-v] [Class[.test] ...]
"""
import base64
import errno
import fcntl
import http.client
import json
import os
import re
import resource
import select
import signal
import socket
import struct
import subprocess
import threading
import time
import unittest

import replay_test
from page import Page, connections, event_handlers, policy
from program import KOR, posix_only
from replay_test import csv_text, samples

USAGE, DATA, UNAVAILABLE = 64, 65, 69
HEAD = 13  # numbers of a row in front of its values: number, stamp, seconds, outcome and the matrix


def doubles(text):
    data = base64.b64decode(text, validate=True)
    return struct.unpack(f"<{len(data) // 8}d", data)


def resident_bytes(child):
    with open(f"/proc/{child.pid}/statm") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


class Viewer:
    """One that reads the stream of rows."""

    def __init__(self, port, buffer=None, **headers):
        self.socket = socket.socket()
        if buffer:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, buffer)
        self.socket.settimeout(20)
        self.socket.connect(("127.0.0.1", port))
        lines = [f"Host: 127.0.0.1:{port}", *(f"{name}: {value}" for name, value in headers.items())]
        self.socket.sendall(("GET /rows HTTP/1.1\r\n" + "\r\n".join(lines) + "\r\n\r\n").encode())
        self.file = self.socket.makefile("rb")
        self.status = int(self.file.readline().split()[1])
        while self.file.readline().strip():
            pass

    def event(self):
        """(name, data) of the next one; None at the end."""
        name = data = None
        while line := self.file.readline():
            line = line.decode().rstrip("\n")
            if line.startswith("event: "):
                name = line[7:]
            elif line.startswith("data: "):
                data = line[6:]
            elif not line and name:
                return name, data
        return None

    def until(self, wanted):
        """Events up to the first one that is wanted, that one included."""
        events = []
        while (event := self.event()) is not None:
            events.append(event)
            if wanted(*event):
                return events
        raise AssertionError("the stream has ended")

    def whole(self):
        """What a page holds in the end: all rows without a break, the last state, and how many rows were missed."""
        rows, missed, state = [], 0, None
        while (event := self.event()) is not None:
            name, data = event
            if name == "snapshot":
                snapshot = json.loads(data)
                rows, missed = list(doubles(snapshot["newest"])), snapshot["missed"]
            elif name == "rows":
                rows += doubles(data)
            else:
                state = json.loads(data)
        return rows, state, missed

    def close(self):
        self.file.close()
        self.socket.close()


class Case(replay_test.Case):
    header, *lines = csv_text(samples(400)).encode().splitlines(True)

    def setUp(self):
        super().setUp()
        self.put("a.csv", self.header + b"".join(self.lines))

    def wanted(self):
        """The results without a view."""
        return self.replay("a.csv")[0]

    def long_recording(self, count):
        """The lines over and over, in time."""
        self.assertTrue(self.header.endswith(b",timeStampMs\n"))
        return self.header + b"".join(self.lines[i % len(self.lines)].rsplit(b",", 1)[0] + b",%d\n" % (1000 + 10 * i)
                                      for i in range(count))

    def start(self, *arguments, view=True, **options):
        """A replay with a view; (process, port)."""
        options = {"stdin": subprocess.PIPE, "stdout": subprocess.DEVNULL, **options}
        child = subprocess.Popen([*KOR, "replay", "--prm", self.dir, "--id", "5", "--progress=never", *arguments,
                                  *(["--view"] if view else [])], cwd=self.dir, stderr=subprocess.PIPE, **options)
        self.addCleanup(self.stop, child)
        watchdog = threading.Timer(60, child.kill)  # what would wait for it for ever then sees its end
        watchdog.start()
        self.addCleanup(watchdog.cancel)
        if not view:
            return child, None
        self.errors = child.stderr.readline().decode()
        port = re.fullmatch(r"kor: the view is at http://127\.0\.0\.1:(\d+)/\r?\n", self.errors)
        self.assertIsNotNone(port, self.errors)
        return child, int(port[1])

    @staticmethod
    def stop(child):
        child.kill()
        child.wait()
        for stream in (child.stdin, child.stdout, child.stderr):
            if stream:
                try:
                    stream.close()
                except BrokenPipeError:
                    pass

    def viewer(self, port, **options):
        made = Viewer(port, **options)
        self.addCleanup(made.close)
        return made

    def send(self, child, *lines):
        child.stdin.write(b"".join(lines))
        child.stdin.flush()

    def until_it_stays(self, child):
        """Standard error up to the line that tells that the replay is over."""
        while line := child.stderr.readline().decode():
            self.errors += line
            if "the view stays at" in line:
                return
        self.fail(self.errors)

    def end(self, child, number=signal.SIGINT):
        child.send_signal(number)
        self.errors += child.stderr.read().decode()
        return child.wait(timeout=20)

    def answer(self, port, method="GET", path="/", headers=None, body=None, host=True):
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=20)
        connection.putrequest(method, path, skip_host=True, skip_accept_encoding=True)
        for name, value in ([("Host", f"127.0.0.1:{port}")] if host else []) + list(headers or []):
            connection.putheader(name, value)
        connection.endheaders(body)
        response = connection.getresponse()
        content = response.read()
        connection.close()
        return response, content


# The emulator hands on what a program writes when it has ended, and so no address.
@posix_only
class Serving(Case):
    def test_page_holds_nothing_foreign_and_connects_to_its_server_alone(self):
        _, port = self.start("a.csv")
        response, content = self.answer(port)
        self.assertEqual(response.status, 200)
        self.assertEqual(response.headers["Content-Type"], "text/html; charset=utf-8")
        self.assertEqual(response.headers["Cache-Control"], "no-store")
        self.assertEqual(response.headers["Content-Security-Policy"], "frame-ancestors 'none'")
        self.assertEqual(response.headers["X-Content-Type-Options"], "nosniff")
        page = Page(content)
        self.assertEqual((page.faults, connections(page), event_handlers(page)), ([], [], []))
        rules = dict(rule.strip().split(" ", 1) for rule in policy(page).split(";"))
        self.assertEqual((rules["default-src"], rules["connect-src"]), ("'none'", "'self'"))
        self.assertTrue(page.manifest["live"])
        self.assertEqual(page.fact("File"), "a.csv")

    def test_other_requests_are_refused(self):
        _, port = self.start("a.csv")
        own = f"127.0.0.1:{port}"
        cases = [
            (200, {"headers": [("Origin", f"http://{own}")]}),
            (200, {"headers": [("Sec-Fetch-Site", "cross-site")]}),  # a link on another page
            (200, {"host": False, "headers": [("Host", f"localhost:{port}")]}),
            (403, {"host": False}),
            (403, {"host": False, "headers": [("Host", "example.org")]}),
            (403, {"host": False, "headers": [("Host", f"example.org:{port}")]}),
            (403, {"host": False, "headers": [("Host", "127.0.0.1")]}),
            (403, {"host": False, "headers": [("Host", f"127.0.0.1:{port + 1}")]}),
            (403, {"host": False, "headers": [("Host", f"{own}.example.org")]}),
            (403, {"headers": [("Host", own)]}),  # a second one
            (403, {"headers": [("Host", "example.org")]}),
            (403, {"headers": [("Origin", "http://example.org")]}),
            (403, {"headers": [("Origin", "null")]}),
            (403, {"headers": [("Origin", f"https://{own}")]}),
            (403, {"headers": [("Origin", own)]}),
            (403, {"headers": [("Origin", f"http://{own}"), ("Origin", "http://example.org")]}),
            (403, {"path": "/rows", "headers": [("Origin", "http://example.org")]}),
            (403, {"path": "/rows", "headers": [("Sec-Fetch-Site", "cross-site")]}),
            (403, {"path": "/rows", "headers": [("Sec-Fetch-Site", "same-site")]}),
            (404, {"path": "/rows/"}), (404, {"path": "/?x"}), (404, {"path": "/../a.csv"}), (404, {"path": "/favicon.ico"}),
            (404, {"path": f"http://{own}/"}), (404, {"path": "*"}),
            (405, {"method": "POST"}), (405, {"method": "HEAD"}), (405, {"method": "OPTIONS"}), (405, {"method": "BREW"}),
            (413, {"headers": [("Content-Length", "1")], "body": b"x"}),
            (413, {"headers": [("Content-Length", "99999999999")], "body": b"x"}),
            (413, {"headers": [("Transfer-Encoding", "chunked")], "body": b"0\r\n\r\n"}),
            (431, {"headers": [("X", "x" * 9000)]}),
        ]
        for status, request in cases:
            with self.subTest(**request):
                response, content = self.answer(port, **request)
                self.assertEqual(response.status, status, content[:100])
                if status != 200:
                    self.assertLess(len(content), 100)
                    self.assertIsNone(response.headers["Access-Control-Allow-Origin"])

    def test_what_is_no_request_is_answered_shortly_and_ends(self):
        _, port = self.start("a.csv")
        for text in (b"\r\n\r\n\r\n", b"\x16\x03\x01\x02\x00", b"GET / HTTP/9\r\n\r\n", b"GET\r\n\r\n", b"\0" * 20000,
                     b"GET / HTTP/1.1\r\nHost : x\r\n\r\n", b"x" * 100000):
            with self.subTest(text=text[:20]), socket.create_connection(("127.0.0.1", port), timeout=20) as client:
                try:
                    client.sendall(text)
                    client.shutdown(socket.SHUT_WR)
                    received = b"".join(iter(lambda: client.recv(65536), b""))
                except OSError as error:  # it did not read to the end of so much
                    self.assertIn(error.errno, (errno.ECONNRESET, errno.EPIPE, errno.ENOTCONN))
                    received = b""
                self.assertRegex(received.split(b"\r\n")[0], rb"^(HTTP/1\.1 4\d\d .*|)$")
                self.assertLess(len(received), 1000)
        self.assertEqual(self.answer(port)[0].status, 200)

    def test_viewers_are_bounded_and_their_places_become_free(self):
        _, port = self.start("-")
        viewers = [self.viewer(port) for _ in range(8)]
        self.assertEqual({viewer.status for viewer in viewers}, {200})
        self.assertEqual(self.viewer(port).status, 503)
        self.assertEqual(self.answer(port)[0].status, 200, "the page itself")
        viewers[0].close()
        deadline = time.monotonic() + 20
        while self.viewer(port).status != 200:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)

    def test_connections_are_bounded_and_their_places_become_free(self):
        _, port = self.start("-")
        idle = [socket.create_connection(("127.0.0.1", port), timeout=20) for _ in range(40)]
        closed, deadline = [], time.monotonic() + 20
        while len(closed) < 8 and time.monotonic() < deadline:
            closed = select.select(idle, [], [], 0.1)[0]
        self.assertEqual([client.recv(1) for client in closed], [b""] * 8)
        for client in idle:
            client.close()
        while True:
            try:
                self.assertEqual(self.answer(port)[0].status, 200)
                break
            except (http.client.RemoteDisconnected, ConnectionResetError):  # it has yet to see them go
                self.assertLess(time.monotonic(), deadline)


@posix_only
class Listening(Case):
    @staticmethod
    def sockets(child):
        """Addresses on which a process listens, as the system lists them: address, port."""
        inodes = set()
        for name in os.listdir(f"/proc/{child.pid}/fd"):
            target = os.readlink(f"/proc/{child.pid}/fd/{name}")
            if target.startswith("socket:["):
                inodes.add(target[8:-1])
        found = []
        for table in ("tcp", "tcp6", "udp", "udp6"):
            with open(f"/proc/{child.pid}/net/{table}") as file:
                for line in list(file)[1:]:
                    words = line.split()
                    if words[9] in inodes and words[3] in ("0A", "07"):
                        address, port = words[1].split(":")
                        found.append((table, address, int(port, 16)))
        return found, len(inodes)

    def test_only_the_loopback_address_is_listened_on(self):
        child, port = self.start("-")
        self.assertEqual(self.sockets(child), ([("tcp", "0100007F", port)], 1))

    def test_nothing_listens_unless_asked(self):
        child, _ = self.start("-", view=False, stdout=subprocess.PIPE)
        self.send(child, self.header, self.lines[0])
        self.assertTrue(child.stdout.readline())  # it is at work
        self.assertEqual(self.sockets(child), ([], 0))

    def test_nothing_listens_before_the_inputs_are_known_to_be_good(self):
        self.put("bad.csv", "x\n1\n")
        for name, status in (("none.csv", 66), ("bad.csv", DATA)):
            with self.subTest(name=name):
                done = subprocess.run([*KOR, "replay", "--prm", self.dir, "--id", "5", name, "--view"], cwd=self.dir,
                                      capture_output=True, timeout=60)
                self.assertEqual(done.returncode, status)
                self.assertNotIn(b"http://", done.stderr)

    def test_a_port_that_is_taken_is_told(self):
        with socket.socket() as taken:
            taken.bind(("127.0.0.1", 0))
            taken.listen()
            port = taken.getsockname()[1]
            done = subprocess.run([*KOR, "replay", "--prm", self.dir, "--id", "5", "a.csv", "-o", "r.csv", "--view",
                                   f"--view-port={port}"], cwd=self.dir, capture_output=True, timeout=60)
        self.assertEqual(done.returncode, UNAVAILABLE, done.stderr)
        self.assertIn(f"--view-port {port}: another program listens on this port".encode(), done.stderr)
        self.assert_no_leftovers("a.csv")

    def test_want_of_descriptors_is_told(self):
        done = subprocess.run([*KOR, "replay", "--prm", self.dir, "--id", "5", "-", "--view"], cwd=self.dir,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, timeout=60,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (4, 4)))
        self.assertEqual(done.returncode, UNAVAILABLE, done.stderr)
        self.assertEqual(done.stderr, b"kor: --view: cannot serve the page: Too many open files\n")

    def test_a_port_that_was_used_a_moment_ago_can_be_used_again(self):
        child, port = self.start("a.csv")
        self.until_it_stays(child)
        viewer = self.viewer(port)
        viewer.whole()  # the program closes first, which is what the system remembers
        viewer.close()
        self.end(child)
        child, again = self.start("a.csv", f"--view-port={port}")
        self.assertEqual(again, port)


class Usage(Case):
    def test_wrong_usage(self):
        for arguments, text in ((["--view-port=80"], "--view-port requires --view"),
                                (["--view", "--view-port=0"], "from 1 to 65535"),
                                (["--view", "--view-port=65536"], "from 1 to 65535"),
                                (["--view", "--view-port=x"], "--view-port: found"),
                                (["--view", "a.csv"], "--view shows one recording")):
            with self.subTest(arguments=arguments):
                done = subprocess.run([*KOR, "replay", "--prm", self.dir, "--id", "5", "a.csv", *arguments], cwd=self.dir,
                                      capture_output=True, timeout=60)
                self.assertEqual(done.returncode, USAGE, done.stderr)
                self.assertIn(text, done.stderr.decode())


@posix_only
class Stream(Case):
    @staticmethod
    def columns(page):
        return [column["name"] for column in page.manifest["columns"]]

    def assert_rows(self, rows, page, count):
        """Numbers of whole rows are those of the results."""
        wanted = self.rows(self.wanted())[:count]
        names = self.columns(page)
        width = HEAD + len(names)
        self.assertEqual(len(rows), count * width)
        outcomes = [label["name"] for label in page.manifest["labels"]]
        for i, row in enumerate(wanted):
            got = rows[i * width:(i + 1) * width]
            self.assertEqual(got[0], i + 1)
            self.assertEqual(got[1], float(row["timeStampMs"]))
            self.assertEqual(got[2], (int(row["timeStampMs"]) - int(wanted[0]["timeStampMs"])) / 1000)
            self.assertEqual(outcomes[int(got[3])], row["outcome"])
            self.assertEqual(list(got[4:13]), [float(row[f"m{r}{c}"]) for r in range(3) for c in range(3)])
            for name, value in zip(names, got[13:]):
                # Texts are the shortest that read back as the same single-precision number.
                self.assertEqual(struct.pack("<f", value), struct.pack("<f", float(row[name])), (i, name))

    def test_rows_of_a_file_are_those_of_its_results(self):
        child, port = self.start("a.csv", "-o", "r.csv")
        self.until_it_stays(child)
        page = Page(self.answer(port)[1])
        rows, state, missed = self.viewer(port).whole()
        self.assert_rows(rows, page, 400)
        self.assertEqual((state["rows"], state["ended"], missed), (400, True, 0))
        self.assertIn("read to its end", state["findings"][-1]["text"] + state["findings"][0]["text"])
        results = self.rows(self.get("r.csv"))
        counts = {each["name"]: each["count"] for each in state["outcomes"]}
        self.assertEqual(counts, {name: sum(row["outcome"] == name for row in results)
                                  for name in {row["outcome"] for row in results}})
        self.assertEqual(self.end(child), 0)
        self.assertEqual(self.get("r.csv"), self.wanted())

    def test_page_can_be_opened_before_a_live_recording_begins(self):
        child, port = self.start("-")
        page = Page(self.answer(port)[1])
        viewer = self.viewer(port)
        name, data = viewer.event()
        self.assertEqual((name, json.loads(data)["rows"]), ("snapshot", 0))
        self.assertEqual(json.loads(viewer.event()[1])["rows"], 0)
        self.send(child, self.header)
        for line in self.lines[:100]:
            self.send(child, line)
            time.sleep(0.002)
        child.stdin.close()
        rows, state, missed = viewer.whole()
        self.assert_rows(rows, page, 100)
        self.assertEqual((state["ended"], missed), (True, 0))

    def test_rows_come_while_the_recording_goes_on(self):
        child, port = self.start("-")
        page = Page(self.answer(port)[1])
        viewers = [self.viewer(port), self.viewer(port)]
        self.send(child, self.header, *self.lines[:10])
        for viewer in viewers:
            events = viewer.until(lambda name, data: name == "state" and json.loads(data)["rows"] == 10)
            self.assertFalse(json.loads(events[-1][1])["ended"])
        self.send(child, *self.lines[10:])
        child.stdin.close()
        late = self.viewer(port)
        for viewer in viewers:
            rows, state, missed = viewer.whole()
            self.assertTrue(state["ended"])
            self.assertEqual((state["rows"], missed), (400, 0))
        self.assertEqual(late.status, 200)
        self.assert_rows(late.whole()[0], page, 400)

    def test_a_viewer_that_comes_while_the_replay_ends_is_served(self):
        """Standard output has been closed by then; its number must not become the viewer's."""
        reading, writing = os.pipe()
        self.addCleanup(os.close, reading)
        child, port = self.start("-", "--summary=text", stdout=writing)
        os.close(writing)
        # No room on standard error: the replay waits with its summary.
        room = fcntl.fcntl(child.stderr, fcntl.F_SETPIPE_SZ, 4096)
        with open(f"/proc/{child.pid}/fd/2", "wb", buffering=0) as errors:
            errors.write(b"x" * (room - 1) + b"\n")
        self.send(child, self.header, *self.lines)
        child.stdin.close()
        with open(reading, "rb", closefd=False) as results:
            self.assertEqual(results.read(), self.wanted())
        with socket.create_connection(("127.0.0.1", port), timeout=20) as late:
            self.assertEqual(self.answer(port)[0].status, 200)  # behind the late one, which is accepted therefore
            self.until_it_stays(child)
            late.sendall(f"GET /rows HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\n\r\n".encode())
            received = b"".join(iter(lambda: late.recv(65536), b""))
        self.assertTrue(received.startswith(b"HTTP/1.1 200 OK\r\n"), received[:100])
        self.assertIn(b'"ended":true', received)

    def test_viewers_that_go_or_never_read_leave_the_replay_alone(self):
        recording = self.long_recording(16000)
        self.put("b.csv", recording)
        self.replay("b.csv", "-o", "w.csv")
        begun = time.monotonic()
        child, port = self.start("-", "-o", "r.csv")
        page = Page(self.answer(port)[1])
        slow = [self.viewer(port, buffer=4096) for _ in range(3)]
        gone = self.viewer(port)
        gone.event()
        gone.close()
        before = resident_bytes(child)
        self.send(child, recording)
        child.stdin.close()
        self.until_it_stays(child)
        # A viewer that does not take its message is given up after 30 seconds; nobody waits for that.
        self.assertLess(time.monotonic() - begun, 20)
        self.assertEqual(self.get("r.csv"), self.get("w.csv"))
        # A message has 5 MB at most, and while it is made some copies of its parts are there.
        self.assertLess(resident_bytes(child) - before, 3 * 5e6 + 25e6)
        width = HEAD + len(self.columns(page))
        for viewer in slow:
            viewer.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)  # from now on it is fast
            rows, state, missed = viewer.whole()
            self.assertEqual(state["rows"], 16000)
            numbers = rows[::width]
            self.assertEqual(list(numbers), list(range(16001 - len(numbers), 16001)), "without a break up to the last one")
            self.assertGreater(missed, 0)
            self.assertLessEqual(missed + len(numbers), 16000)

    def test_snapshot_holds_the_extremes_of_every_row(self):
        count = 9000
        self.put("b.csv", self.long_recording(count))
        child, port = self.start("b.csv", "-o", "r.csv")
        self.until_it_stays(child)
        page = Page(self.answer(port)[1])
        snapshot = json.loads(self.viewer(port).event()[1])
        table = self.rows(self.get("r.csv"))
        per_point, charted = snapshot["rowsPerPoint"], page.manifest["charted"]
        width = 1 + 2 * len(charted)
        points = doubles(snapshot["points"])
        self.assertEqual(len(points) // width, -(-count // per_point))
        self.assertLessEqual(len(points) // width, 4096)
        self.assertGreater(per_point, 1)
        single = struct.Struct("<f").pack
        for i in range(len(points) // width):
            part = table[i * per_point:(i + 1) * per_point]
            for c, column in enumerate(charted):
                values = [float(row[column["name"]]) for row in part
                          if row["outcome"] == "ok" or not column["needsOrientation"]]
                low, high = points[i * width + 1 + 2 * c:i * width + 3 + 2 * c]
                if values:
                    self.assertEqual((single(low), single(high)), (single(min(values)), single(max(values))))
                else:
                    self.assertTrue(low != low and high != high)
        whole = HEAD + len(self.columns(page))
        thinned = doubles(snapshot["thinned"])[::whole]
        self.assertEqual(list(thinned), list(range(1, count + 1, snapshot["thinStep"])))
        self.assertLessEqual(len(thinned), 2048)
        self.assertEqual(len(doubles(snapshot["newest"])) // whole, 8192)


@posix_only
class Ending(Case):
    def test_it_ends_as_without_a_view_and_serves_on(self):
        child, port = self.start("a.csv", "-o", "r.csv")
        self.until_it_stays(child)
        self.assertEqual(self.get("r.csv"), self.wanted(), "the results are there already")
        self.assertEqual(self.summary(self.errors)["samples"], "400")
        self.assertIsNone(child.poll())
        self.assertEqual(self.answer(port)[0].status, 200)
        self.assertEqual(self.end(child, signal.SIGTERM), 0)

    def test_a_reader_of_the_results_sees_their_end_while_it_serves_on(self):
        child, port = self.start("a.csv", stdout=subprocess.PIPE)
        self.assertEqual(child.stdout.read(), self.wanted())
        self.until_it_stays(child)
        self.assertEqual(self.answer(port)[0].status, 200)
        self.assertEqual(self.end(child), 0)

    def test_standard_output_that_gets_nothing_ends_as_well(self):
        child, port = self.start("a.csv", "-o", "r.csv", stdout=subprocess.PIPE)
        self.assertEqual(child.stdout.read(), b"")
        self.until_it_stays(child)
        self.assertEqual(self.answer(port)[0].status, 200)

    def test_the_status_of_the_replay_is_kept(self):
        self.put("bad.csv", self.header + b"".join(self.lines[:49]) + b"x\n")
        child, port = self.start("bad.csv", "-o", "r.csv")
        self.until_it_stays(child)
        state = self.viewer(port).whole()[1]
        self.assertEqual(state["findings"][0]["level"], "error")
        self.assertIn("bad.csv: line 51", state["findings"][0]["text"])
        self.assertEqual(self.end(child), DATA)

    def test_a_live_recording_that_is_none_ends_replay_and_view(self):
        child, port = self.start("-", "-o", "r.csv")
        viewer = self.viewer(port)
        viewer.event()
        self.send(child, b"x\n1\n")
        child.stdin.close()
        state = viewer.whole()[1]
        self.assertEqual((state["ended"], state["findings"][0]["level"]), (True, "error"))
        self.assertIn("The replay has failed", state["findings"][0]["text"])
        self.assertEqual(child.wait(timeout=20), DATA)
        self.assertIn(b"standard input: line 1", child.stderr.read())

    def test_an_interrupt_before_the_first_byte_ends_it(self):
        child, _ = self.start("-", "-o", "r.csv")
        self.assertEqual(self.end(child), -signal.SIGINT)
        self.assert_no_leftovers("a.csv")

    def test_an_interrupt_ends_replay_and_view(self):
        for number, status in ((signal.SIGINT, 130), (signal.SIGTERM, 143)):
            with self.subTest(signal=number.name):
                child, port = self.start("-", "-o", "r.csv")
                viewer = self.viewer(port)
                self.send(child, self.header, *self.lines[:20])
                viewer.until(lambda name, data: name == "state" and json.loads(data)["rows"] == 20)
                self.assertEqual(self.end(child, number), status)
                self.assertEqual(len(self.rows(self.get("r.csv"))), 20)
                rows, state, _ = viewer.whole()
                self.assertTrue(state["ended"])
                self.assertIn("a signal has ended the reading", json.dumps(state["findings"]))

    def test_json_summary_stands_between_the_lines_of_the_view(self):
        child, _ = self.start("a.csv", "--summary=json")
        self.until_it_stays(child)
        lines = self.errors.splitlines()
        self.assertEqual(len(lines), 3)
        self.assertEqual(json.loads(lines[1])["exit"], 0)

    def test_a_reader_of_the_results_that_goes_ends_it(self):
        child, _ = self.start("-", stdout=subprocess.PIPE)
        self.send(child, self.header, self.lines[0])
        child.stdout.readline()
        child.stdout.close()
        deadline = time.monotonic() + 20
        while child.poll() is None and time.monotonic() < deadline:
            try:
                self.send(child, self.lines[1])
            except BrokenPipeError:
                break
            time.sleep(0.005)
        self.assertEqual(child.wait(timeout=20), 141)


if __name__ == "__main__":
    unittest.main()
