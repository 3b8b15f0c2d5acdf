#!/usr/bin/python3
"""Opens the page of `kor replay --view` in Chromium while rows come.

    view_test.py KOR [-v] [Class[.test] ...]
"""
import csv
import math
import os
import shutil
import sys
import tempfile
import unittest

KOR = os.path.abspath(sys.argv.pop(1)) if __name__ == "__main__" and len(sys.argv) > 1 else "kor"

from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

from live_replay import LiveReplay, heap_bytes
from report_test import MATRIX, PIXELS, start_browser


class Case(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix="kor-view-")
        cls.addClassCleanup(shutil.rmtree, cls.dir, ignore_errors=True)
        cls.browser = start_browser(os.path.join(cls.dir, "profile"), offline=False,
                                    flags=["host-resolver-rules=MAP foreign.example 127.0.0.1"])
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        self.results = os.path.join(self.dir, "results.csv")
        self.look()
        self.replay = LiveReplay(KOR, self.results)
        self.addCleanup(self.replay.stop)
        self.addCleanup(self.browser.get, "about:blank")
        self.browser.get_log("browser")
        self.browser.get(self.replay.address)

    def look(self, width=1280, height=900):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def script(self, text, *arguments):
        return self.browser.execute_script(text, *arguments)

    def wait(self, condition, seconds=60):
        return WebDriverWait(self.browser, seconds, 0.05).until(lambda _: condition())

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def drawn(self):
        """Charts and tables are drawn every 200 ms."""
        self.browser.execute_async_script("const done = arguments[0]; setTimeout(() => requestAnimationFrame(done), 300)")

    def rows_there(self):
        return self.script("return korPage.page.recording.rows")

    def cursor_row(self):
        return self.script("return korPage.page.recording.poses.rows[korPage.page.index]")

    def window(self):
        return self.script("return [korPage.page.charts.from, korPage.page.charts.to]")

    def ready(self, rows):
        self.replay.send(rows)
        self.wait(lambda: self.script("return document.documentElement.dataset.ready === 'yes'"))
        self.wait(lambda: self.rows_there() == self.replay.sent)
        self.drawn()

    def more(self, rows):
        self.replay.send(rows)
        self.wait(lambda: self.rows_there() == self.replay.sent)
        self.drawn()

    def ended(self):
        self.replay.end()
        self.wait(lambda: self.script("return korPage.page.live.hasEnded"))
        with open(self.results, newline="", encoding="utf-8") as file:
            return list(csv.DictReader(file))

    def assert_no_complaints(self):
        self.assertEqual([entry for entry in self.browser.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")
                          and "favicon" not in entry["message"] and "GL Driver Message" not in entry["message"]], [])


class Live(Case):
    def test_page_waits_for_the_first_row(self):
        self.wait(lambda: self.script("return korPage.page.live.told.findings !== undefined"))
        self.assertEqual(self.find("#kicker").get_attribute("textContent"), "KOR replay, live")
        self.assertEqual(self.find("#findings").text.split("\n"), ["note", "No row has come yet."])
        self.assertFalse(self.script("return 'ready' in document.documentElement.dataset"))
        self.assertFalse(self.find("#play").is_displayed())
        self.ready(1)
        self.assertTrue(self.find("#play").is_displayed())
        self.assertEqual(self.cursor_row(), 1)
        self.assert_no_complaints()

    def test_recording_without_a_row_ends(self):
        self.replay.end()
        self.wait(lambda: self.script("return korPage.page.live.hasEnded"))
        self.assertEqual(self.find("#kicker").get_attribute("textContent"), "KOR replay, ended")
        self.assertIn("The recording holds no rows.", self.find("#findings").text)
        self.assert_no_complaints()

    def test_pages_of_other_sites_get_nothing(self):
        self.ready(10)
        # The name of another site that leads here.
        self.browser.get(f"http://foreign.example:{self.replay.port}/")
        self.assertEqual(self.find("body").text, "Host or Origin of the request is not this server.")
        # A page of another site that asks here.
        self.browser.get("data:text/html,<title>foreign</title>")
        got = self.browser.execute_async_script("""
        const [address, done] = arguments;
        const asked = (path, options) => fetch(address + path, options).then((response) => "got " + response.status, () => "nothing");
        const stream = new Promise((resolve) => {
          const source = new EventSource(address + "rows");
          source.onmessage = source.onopen = () => resolve("got events");
          source.onerror = () => resolve("nothing");
        });
        Promise.all([asked(""), asked("rows"), asked("", { mode: "no-cors" }), asked("rows", { mode: "no-cors" }), stream])
            .then(done);""", self.replay.address)
        self.assertEqual(got, ["nothing"] * 5)
        self.browser.get(self.replay.address)
        self.ready(10)
        self.browser.get_log("browser")

    def test_charts_cursor_and_space_follow_the_newest_row(self):
        self.ready(400)
        self.assertEqual(self.cursor_row(), 400)
        self.more(800)
        self.assertEqual(self.cursor_row(), 1200)
        self.assertEqual(self.window(), [0, 1.199])
        elements = self.script("return korPage.page.scene.base.matrix.elements")
        turned = [elements[column * 4 + row] for row in range(3) for column in range(3)]
        plot = self.browser.find_elements(By.CSS_SELECTOR, ".plot")[1]
        drawn = max(self.script(PIXELS, canvas, "line-1", 40) for canvas in plot.find_elements(By.TAG_NAME, "canvas"))
        self.assertGreater(drawn, plot.size["width"] / 2)
        last = self.ended()[1199]
        self.assertEqual(turned, [float(last[name]) for name in MATRIX])
        self.assertEqual([cell.text for cell in self.browser.find_elements(By.CSS_SELECTOR, "#matrix td")],
                         [f"{float(last[name]):.9f}" for name in MATRIX])
        self.assert_no_complaints()

    def test_every_row_is_there_with_every_digit(self):
        self.ready(700)
        self.more(500)
        rows = self.ended()
        names = self.script("return korPage.page.manifest.columns.map(({ name }) => name)")
        got = self.script("""
        const { poses, width } = korPage.page.recording;
        return Array.from({ length: poses.length }, (_, i) => [poses.rows[i], poses.stamps[i],
            ...poses.matrix(i), ...arguments[0].map((_, column) => poses.value(i, column))].map(String));""", names)
        self.assertEqual(len(got), 1200)
        single = self.script("return korPage.page.manifest.columns.map(({ single }) => single)")
        for i, (row, numbers) in enumerate(zip(rows, got)):
            self.assertEqual([float(text) for text in numbers[:11]],
                             [i + 1, float(row["timeStampMs"]), *(float(row[name]) for name in MATRIX)])
            for name, is_single, text in zip(names, single, numbers[11:]):
                wanted = float(row[name])
                # A single-precision number reads back from nine digits.
                close = math.isclose(float(text), wanted, rel_tol=6e-8 if is_single else 0, abs_tol=1e-44)
                self.assertTrue(close or (math.isnan(wanted) and text == "NaN"), (i, name, text, wanted))

    def test_a_zoom_stays_and_the_end_can_be_followed_again(self):
        self.ready(1000)
        self.find("#zoom-in").click()
        window = self.window()
        self.more(500)
        self.assertEqual(self.window(), window)
        self.assertEqual(self.cursor_row(), 1500)
        self.find("#follow").click()
        self.more(500)
        start, end = self.window()
        self.assertEqual(end, 1.999)
        self.assertAlmostEqual(end - start, window[1] - window[0], places=9)
        self.find("#zoom-all").click()
        self.more(500)
        self.assertEqual(self.window(), [0, 2.499])

    def test_pause_and_a_chosen_row_stay_and_live_goes_on(self):
        self.ready(500)
        play = self.find("#play")
        self.assertEqual(play.text, "Pause")
        play.click()
        self.assertEqual(play.text, "Live")
        self.more(500)
        self.assertEqual(self.cursor_row(), 500)
        self.assertEqual(self.find("#slider").get_attribute("max"), "999")
        play.click()
        self.drawn()
        self.assertEqual(self.cursor_row(), 1000)
        self.find("#step-back").click()
        self.assertEqual(play.text, "Live")
        self.more(500)
        self.assertEqual(self.cursor_row(), 999)

    def test_findings_go_on_with_the_rows(self):
        self.ready(1000)
        self.wait(lambda: "of 1000 rows" in self.find("#findings").text)
        self.more(1400)
        rows = self.ended()
        usable = sum(row["outcome"] == "ok" for row in rows)
        self.assertIn(f"{usable} of 2400 rows hold a usable orientation", self.find("#findings").text)
        counts = {line.find_elements(By.TAG_NAME, "td")[0].text: int(line.find_elements(By.TAG_NAME, "td")[1].text)
                  for line in self.browser.find_elements(By.CSS_SELECTOR, "#outcomes tr")}
        self.assertEqual(counts, {name: sum(row["outcome"] == name for row in rows)
                                  for name in {row["outcome"] for row in rows}})
        self.assertEqual(len(self.browser.find_elements(By.CSS_SELECTOR, "#stretches tr")),
                         sum(a["outcome"] != b["outcome"] and b["outcome"] != "ok"
                             for a, b in zip([{"outcome": ""}, *rows], rows)))

    def test_ended_page_says_so_and_stays_usable_without_the_program(self):
        self.ready(600)
        self.ended()
        self.assertEqual(self.find("#kicker").get_attribute("textContent"), "KOR replay, ended")
        self.assertIn("The replay has ended", self.find("#findings").text)
        self.assertEqual(self.script("return korPage.page.live.source.readyState"), 2)
        self.replay.stop()
        self.drawn()
        self.assertEqual(self.cursor_row(), 600)
        self.assertEqual(self.find("#play").text, "Play")
        self.find("#step-back").click()
        self.assertEqual(self.cursor_row(), 599)
        self.find("#zoom-in").click()
        self.assertLess(self.window()[1] - self.window()[0], 0.3)
        self.find("#play").click()
        self.wait(lambda: self.cursor_row() == 600)
        self.assert_no_complaints()

    def test_lost_connection_is_told_and_the_rows_stay(self):
        self.ready(300)
        self.replay.stop()
        self.wait(lambda: "connection to kor replay is lost" in self.find("#notice").text)
        self.find("#step-back").click()
        self.assertEqual(self.cursor_row(), 299)
        # Another replay at the same address is not taken for this one.
        self.replay = LiveReplay(KOR, self.results, f"--view-port={self.replay.port}")
        self.addCleanup(self.replay.stop)
        self.replay.send(50)
        self.wait(lambda: "Another replay is served" in self.find("#notice").text)
        self.assertEqual(self.rows_there(), 300)
        self.browser.get_log("browser")

    def test_narrow_screen_needs_no_sideways_scrolling(self):
        self.look(360, 740)
        self.ready(300)
        width, room = self.script("return [document.documentElement.scrollWidth, document.documentElement.clientWidth]")
        self.assertEqual(width, room)

    def test_ten_seconds_of_1000_rows_per_second_do_not_grow(self):
        self.replay.stream(3, 1000)  # from here on every pixel of the charts has more than one row
        self.ready(0)
        page, program = heap_bytes(self.browser), self.replay.resident_bytes()
        late = self.replay.stream(10, 1000)
        self.wait(lambda: self.rows_there() == 13000)
        self.drawn()
        self.assertEqual(self.script("return korPage.page.recording.missed"), 0)
        # Buffers of 29 MB are there from the beginning. If the page kept ten seconds more, their rows would take 2.3 MB and
        # their text 3.1 MB; if the program did, 2.3 MB. Ten seconds and ten more were seen to differ by 0.2 MB on the page,
        # which once gave up 1.7 MB of the beginning, and by 0.3 MB in the program.
        # The browser itself may hold some megabytes of what it has received for a moment longer.
        self.wait(lambda: heap_bytes(self.browser) - page < 1_000_000)
        self.assertLess(self.replay.resident_bytes() - program, 1_000_000)
        # The pipe to the program holds 65,536 bytes, half a second; a program that waited for the page would be later.
        self.assertLess(late, 1)

    def test_memory_stays_bounded_for_hours_and_no_extreme_is_lost(self):
        told = self.script("""
        const kept = korPage.kept;
        korPage.kept = { newest: 1000, thinned: 100, points: 64 };
        const charted = [{ column: 0, needsOrientation: false }, { column: 1, needsOrientation: true }];
        const level = new korPage.LiveLevel(charted, [{ oriented: true }, { oriented: false }]);
        const poses = new korPage.LivePoses(15);
        const values = Array.from({ length: 20000 }, (_, i) => [Math.sin(i * i), (i * 7919) % 10007]);
        const lengths = [];
        for (let first = 0; first < 20000; first += 400) {
          const block = new Float64Array(400 * 15);
          for (let i = 0; i < 400; ++i) {
            block.set([first + i + 1, first + i, (first + i) / 1000, (first + i) % 10 === 3 ? 1 : 0], 15 * i);
            block.set(values[first + i], 15 * i + 13);
          }
          poses.append(block);
          level.append(block, 15, first, true);
          lengths.push(Math.max(poses.length, level.newest.count + level.points.count));
        }
        const { points, newest } = level;
        const wrong = [];
        for (let p = 0; p < points.count; ++p) {
          const part = values.slice(p * points.rowsPerPoint, (p + 1) * points.rowsPerPoint);
          [0, 1].forEach((c) => {
            const meant = part.map((pair) => Math.fround(pair[c])).filter((_, i) => c === 0 || (p * points.rowsPerPoint + i) % 10 !== 3);
            if (points.lows[c][p] !== Math.min(...meant) || points.highs[c][p] !== Math.max(...meant)) {
              wrong.push([p, c]);
            }
          });
        }
        const rows = Array.from(poses.rows);
        const values2 = rows.every((row, i) => poses.value(i, 1) === values[row - 1][1] && poses.times[i] === (row - 1) / 1000);
        const answer = {
          wrong, most: Math.max(...lengths), rowsPerPoint: points.rowsPerPoint, count: points.count, values2,
          rows, thinned: poses.thinned, step: poses.thinStep, first: newest.first,
          newest: Array.from(newest.values[1].subarray(0, newest.count)).every((value, i) =>
            (newest.first + i) % 10 === 3 ? Number.isNaN(value) : value === values[newest.first + i][1]),
          old: level.window([0], 0, 1, 10, []).length, recent: level.window([0], 19.99, 19.999, 1000, []).length,
        };
        korPage.kept = kept;
        return answer;""")
        self.assertEqual(told["wrong"], [])
        self.assertLessEqual(told["most"], 1250 + 100)
        self.assertLessEqual(told["count"], 64)
        self.assertEqual(told["rowsPerPoint"], 512)
        self.assertTrue(told["values2"] and told["newest"])
        rows, thinned = told["rows"], told["thinned"]
        self.assertEqual(rows, sorted(set(rows)))
        self.assertTrue(all((row - 1) % told["step"] == 0 for row in rows[:thinned]))
        self.assertEqual(rows[0], 1)
        self.assertEqual(rows[thinned:], list(range(rows[thinned], 20001)))
        self.assertGreaterEqual(len(rows) - thinned, 1000)
        self.assertGreater(told["first"], 0)
        self.assertGreaterEqual(told["recent"], 10, "row by row where they are still there")
        self.assertGreater(told["old"], 2)


if __name__ == "__main__":
    unittest.main()
