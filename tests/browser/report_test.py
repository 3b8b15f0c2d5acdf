#!/usr/bin/python3
"""Opens pages of `kor report` in Chromium, without a screen and without a network.

    report_test.py KOR [-v] [Class[.test] ...]

One browser serves all tests. Chromium, its driver and Selenium are Debian's (chromium, chromium-driver, python3-selenium).
"""
import base64
import csv
import io
import math
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

KOR = os.path.abspath(sys.argv.pop(1)) if __name__ == "__main__" and len(sys.argv) > 1 else "kor"

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

DATA = pathlib.Path(__file__).resolve().parents[2] / "data" / "polarizer"
MATRIX = [f"m{r}{c}" for r in range(3) for c in range(3)]

# Pixels of a canvas that have a colour, each channel as near to it as smoothing at the edge of a line leaves it.
PIXELS = """
const [canvas, name] = arguments;
const probe = document.createElement("canvas");
probe.width = canvas.width;
probe.height = canvas.height;
const context = probe.getContext("2d", { willReadFrequently: true });
context.fillStyle = korPage.colour(name);
context.fillRect(0, 0, 1, 1);
const wanted = context.getImageData(0, 0, 1, 1).data.slice();
context.clearRect(0, 0, 1, 1);
context.drawImage(canvas, 0, 0);
const pixels = context.getImageData(0, 0, probe.width, probe.height).data;
let count = 0;
for (let i = 0; i < pixels.length; i += 4) {
  count += [0, 1, 2].every((c) => Math.abs(pixels[i + c] - wanted[c]) < arguments[2]) && pixels[i + 3] > 128;
}
return count;
"""


PICTURE = DATA.parents[1] / "docs" / "img" / "report.png"
# Size of a stored picture, and the share of its pixels that are plainly others than those of one just taken.
DIFFERENCES = """
const [taken, stored, done] = arguments;
const pixels = async (data) => {
  const image = new Image();
  image.src = "data:image/png;base64," + data;
  await image.decode();
  const canvas = document.createElement("canvas");
  canvas.width = image.width;
  canvas.height = image.height;
  const context = canvas.getContext("2d");
  context.drawImage(image, 0, 0);
  return context.getImageData(0, 0, image.width, image.height);
};
Promise.all([pixels(taken), pixels(stored)]).then(([a, b]) => {
  let count = 0;
  for (let i = 0; i < b.data.length; i += 4) {
    count += [0, 1, 2].some((c) => Math.abs(a.data[i + c] - b.data[i + c]) > 60);
  }
  done([[b.width, b.height], count / (b.data.length / 4)]);
});
"""


def start_browser(profile, offline=True, flags=()):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    # The view in space is drawn in software; everything else would be three times as dear in that way.
    flags = [*flags, "headless=new", "enable-unsafe-swiftshader", "disable-gpu-compositing", "disable-dev-shm-usage",
             "disable-extensions", "disable-background-networking", "disable-component-update", "no-first-run",
             "window-size=1280,900", "user-data-dir=" + profile]
    if os.geteuid() == 0:
        flags.append("no-sandbox")  # Chromium refuses to start otherwise
    for flag in flags:
        options.add_argument("--" + flag)
    browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    if offline:
        browser.execute_cdp_cmd("Network.enable", {})
        browser.execute_cdp_cmd("Network.emulateNetworkConditions",
                                {"offline": True, "latency": 0, "downloadThroughput": 0, "uploadThroughput": 0})
    return browser


class Case(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp(prefix="kor-browser-")
        cls.addClassCleanup(shutil.rmtree, cls.dir, ignore_errors=True)
        cls.results = os.path.join(cls.dir, "results.csv")
        subprocess.run([KOR, "replay", "--prm", DATA, "--id", "1005", DATA / "polarizer.csv", "-o", cls.results, "-q"],
                       check=True)
        cls.page = os.path.join(cls.dir, "report.html")
        subprocess.run([KOR, "report", cls.results, "--truth", DATA / "polarizer_truth.csv", "--prm", DATA, "--id", "1005",
                        "-o", cls.page], check=True)
        with open(cls.results, newline="", encoding="utf-8") as file:
            cls.rows = list(csv.DictReader(file))
        cls.browser = start_browser(os.path.join(cls.dir, "profile"))
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        """The page as it is when it has just been opened; opening it again would be dear."""
        if self.browser.current_url != "file://" + self.page:
            self.open(self.page)
            return
        self.look()
        self.script("""
        const { page } = korPage;
        page.pause();
        page.charts.showAll();
        page.jumpTo(page.recording.poses.nearestRow(page.manifest.startRow));
        document.activeElement.blur();
        window.scrollTo(0, 0);""")

    def script(self, text, *arguments):
        return self.browser.execute_script(text, *arguments)

    def open(self, page):
        self.look()
        self.browser.get("file://" + page)
        self.wait(lambda: self.script("return document.documentElement.dataset.ready === 'yes'"))

    def look(self, width=1280, height=900, dark=False):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})

    def wait(self, condition, seconds=60):
        """A busy machine may take long to draw; how long it takes is measured elsewhere."""
        return WebDriverWait(self.browser, seconds, 0.05).until(lambda _: condition())

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def drawn(self):
        """Waits for the next picture of the screen."""
        self.browser.execute_async_script("const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(done))")

    def pixels(self, canvas, colour, tolerance=40):
        return self.script(PIXELS, canvas, colour, tolerance)

    def cursor_row(self):
        return self.script("return korPage.page.recording.poses.rows[korPage.page.index]")

    def window(self):
        return self.script("return [korPage.page.charts.from, korPage.page.charts.to]")

    def base_matrix(self):
        """What the scene turns the base by, row by row, and where that puts it in the tracker frame."""
        return self.script("const { base } = korPage.page.scene, e = base.matrix.elements, w = base.matrixWorld.elements;"
                           "return [[e[0], e[4], e[8], e[1], e[5], e[9], e[2], e[6], e[10]], [w[12], w[13], w[14]]]")

    def assert_no_complaints(self):
        complaints = [entry for entry in self.browser.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")
                      # Drawing without a graphics card is slow, and so is what the tests themselves do with pixels.
                      and entry["source"] != "rendering" and "WebGL" not in entry["message"]]
        self.assertEqual(complaints, [])


class Report(Case):
    def test_opens_without_a_network_and_without_complaints(self):
        self.assertEqual(self.script("return performance.getEntriesByType('resource').map((each) => each.name)"), [])
        self.assertEqual(self.find("h1").text, "results.csv")
        self.assertIn("2400 rows", self.find("#subtitle").text)
        self.assertIn("2265 of 2400 rows", self.find("#findings li").text)
        self.assertFalse(self.find("#notice").is_displayed())
        self.assert_no_complaints()
        # The policy holds: nothing can be fetched even if the page wanted to.
        self.assertEqual(self.browser.execute_async_script(
            "const done = arguments[0]; fetch('data:,x').then(() => done('fetched'), () => done('refused'))"), "refused")
        self.browser.get_log("browser")

    def test_charts_and_scene_are_drawn_in_their_colours(self):
        plots = self.browser.find_elements(By.CSS_SELECTOR, ".plot")
        self.assertEqual(len(plots), 7)
        for plot in plots:
            canvases = plot.find_elements(By.TAG_NAME, "canvas")
            # A line from one end to the other has more pixels than half of its columns.
            width = plot.size["width"]
            self.assertGreater(max(self.pixels(canvas, "line-1") for canvas in canvases), width / 2)
        orientation = plots[1].find_elements(By.TAG_NAME, "canvas")
        for colour in ("line-2", "line-3"):
            self.assertGreater(max(self.pixels(canvas, colour) for canvas in orientation), 200)
        self.drawn()
        canvas = self.find("#scene canvas")
        for colour in ("axis-x", "axis-y", "axis-z", "stage", "body"):
            # Surfaces that face the light have the colour itself, hundreds of pixels of each part.
            self.assertGreater(self.pixels(canvas, colour, 40), 300, colour)

    def test_slider_turns_the_base_to_the_matrix_of_its_row(self):
        slider = self.find("#slider")
        for index in (150, 1539, 2399):
            self.script("arguments[0].value = arguments[1]; arguments[0].dispatchEvent(new Event('input'))", slider, index)
            self.drawn()
            row = self.rows[index]
            turned, place = self.base_matrix()
            self.assertEqual(turned, [float(row[name]) for name in MATRIX])
            self.assertIn(f"row {index + 1} of 2400", self.find("#where").text)
            self.assertEqual([cell.text for cell in self.browser.find_elements(By.CSS_SELECTOR, "#matrix td")],
                             [f"{float(row[name]):.9f}" for name in MATRIX])
            # The base stands where the sensor is seen: in this recording the position is known. The stage is drawn
            # without the model's small corrections, which are some tenths of a degree.
            position = [float(row[f"sensorOut{axis}_mm"]) for axis in "XYZ"]
            cosine = sum(a * b for a, b in zip(position, place)) / math.hypot(*position) / math.hypot(*place)
            self.assertGreater(cosine, math.cos(math.radians(1)), (index, position, place))

    def test_row_without_orientation_is_drawn_faintly_and_says_so(self):
        index = next(i for i, row in enumerate(self.rows) if row["outcome"] == "rejected_status")
        opacity = "let seen; korPage.page.scene.base.traverse((part) => (seen = part.material?.opacity ?? seen)); return seen"
        self.assertEqual(self.script(opacity), 1)
        self.script("korPage.page.jumpTo(arguments[0])", index)
        self.assertLess(self.script(opacity), 0.5)
        self.assertIn("No orientation", self.find("#pose-outcome").text)
        self.assertIn("rejected_status", self.find("#where").text)

    def test_drag_zooms_all_charts_and_a_click_puts_the_cursor(self):
        chart = self.browser.find_elements(By.CSS_SELECTOR, ".chart")[2]
        self.script("arguments[0].scrollIntoView({block: 'center'})", chart)
        ActionChains(self.browser).move_to_element_with_offset(chart, -200, 0).click_and_hold().move_by_offset(
            200, 0).release().perform()
        start, end = self.window()
        self.assertGreater(start, 3)
        self.assertLess(end, 15)
        ranges = self.script("return korPage.page.charts.panels.map((panel) => panel.graph.xAxisRange())")
        self.assertEqual(ranges, [[start, end]] * 7)
        ActionChains(self.browser).move_to_element(chart).click().perform()
        row = self.cursor_row()
        self.assertTrue(start < (row - 1) / 100 < end, row)  # a row each 10 ms
        hair = self.script("return korPage.page.charts.panels.map((panel) => panel.hair.style.left)")
        self.assertEqual(len(set(hair)), 1)
        ActionChains(self.browser).double_click(chart).perform()
        self.assertEqual(self.window(), [0, 23.99])

    def test_zoomed_chart_has_every_row(self):
        self.script("korPage.page.charts.show(2, 3)")
        data = self.script("return korPage.page.charts.panels[2].graph.file_")
        inside = [(time, value) for time, value in data if 2 <= time <= 3]
        self.assertEqual([round(100 * time) for time, _ in inside], list(range(200, 301)))
        for time, value in inside:
            self.assertAlmostEqual(value, float(self.rows[round(100 * time)]["azimuth_deg"]), places=4)

    def test_stretches_jump_the_cursor_there(self):
        self.script("korPage.page.charts.show(20, 21)")
        rows = self.browser.find_elements(By.CSS_SELECTOR, "#stretches tr")
        first = int(rows[3].find_elements(By.TAG_NAME, "td")[1].text)
        self.assertEqual(self.rows[first - 1]["outcome"], "rejected_status")
        self.script("arguments[0].scrollIntoView({block: 'center'})", rows[3])
        rows[3].find_element(By.TAG_NAME, "button").click()
        self.assertEqual(self.cursor_row(), first)
        start, end = self.window()
        self.assertTrue(start <= (first - 1) / 100 <= end)
        self.assertEqual(self.script("return document.activeElement.id"), "slider")

    def test_keyboard_alone_reaches_everything(self):
        body = self.find("body")
        reached = []
        for _ in range(80):
            body = self.browser.switch_to.active_element
            body.send_keys(Keys.TAB)
            reached.append(self.script("const e = document.activeElement; return e.id || e.className || e.tagName"))
            if reached[-1] == "slider":
                break
        for name in ("skip", "play", "speed", "step-back", "step-on", "slider"):
            self.assertIn(name, reached)
        before = self.cursor_row()
        self.browser.switch_to.active_element.send_keys(Keys.ARROW_RIGHT)
        self.assertEqual(self.cursor_row(), before + 1)
        self.assertIn(f"row {before + 1}", self.find("#slider").get_attribute("aria-valuetext"))
        chart = self.find(".chart")
        self.script("arguments[0].focus()", chart)
        chart.send_keys("+")
        start, end = self.window()
        self.assertAlmostEqual(end - start, 23.99 / 2, places=6)
        chart.send_keys(Keys.ARROW_RIGHT)
        self.assertGreater(self.window()[0], start)
        chart.send_keys("0")
        self.assertEqual(self.window(), [0, 23.99])
        scene = self.find("#scene")
        around = self.script("return korPage.page.scene.around")
        self.script("arguments[0].focus()", scene)
        scene.send_keys(Keys.ARROW_LEFT)
        self.assertNotEqual(self.script("return korPage.page.scene.around"), around)

    def test_play_moves_the_cursor_at_the_chosen_speed_and_ends(self):
        # All in the page's own time: what stands between two commands to a busy browser may be seconds.
        label, played, passed = self.browser.execute_async_script("""
        const done = arguments[0], { page } = korPage, { times } = page.recording.poses;
        const play = document.getElementById("play");
        document.getElementById("speed").value = "10";
        page.jumpTo(100);
        play.click();
        requestAnimationFrame((begun) => {
          const first = times[page.index];
          const look = (now) => (now > begun + 500 ? done([play.textContent, times[page.index] - first, (now - begun) / 1000])
                                                   : requestAnimationFrame(look));
          requestAnimationFrame(look);
        });""")
        self.assertEqual(label, "Pause")
        # A picture of the screen may come late, and rows are 10 ms apart.
        self.assertTrue(7 * passed < played < 13 * passed, (played, passed))
        self.wait(lambda: self.cursor_row() == 2400)
        self.assertEqual(self.find("#play").text, "Play")

    def test_narrow_screen_needs_no_sideways_scrolling(self):
        self.look(360, 740)
        self.wait(lambda: self.script("return innerWidth") == 360)
        self.drawn()
        width, room = self.script("return [document.documentElement.scrollWidth, document.documentElement.clientWidth]")
        self.assertEqual(width, room)
        # The buttons of the tables need none either.
        for table in ("outcomes", "stretches"):
            button = self.browser.find_elements(By.CSS_SELECTOR, f"#{table} tr:first-child button")[-1]
            self.assertLess(button.rect["x"] + button.rect["width"], width, table)
        # Every control can be hit with a finger.
        for control in ("play", "speed", "step-back", "step-on", "zoom-in", "zoom-all"):
            size = self.find("#" + control).size
            self.assertGreaterEqual(min(size["width"], size["height"]), 36, control)

    def test_dark_and_print_have_their_own_colours(self):
        paper = "return getComputedStyle(document.body).backgroundColor"
        light = self.script(paper)
        self.look(dark=True)
        self.wait(lambda: self.script(paper) != light)
        self.drawn()
        canvas = self.browser.find_elements(By.CSS_SELECTOR, ".plot")[2].find_elements(By.TAG_NAME, "canvas")
        self.assertGreater(max(self.pixels(each, "line-1") for each in canvas), 300)
        # The view in space has the colours of paper at once as well: printing does not wait for the next picture.
        blue = self.script("window.dispatchEvent(new Event('beforeprint'));" + PIXELS, self.find("#scene canvas"), "axis-z",
                           25)
        self.assertGreater(blue, 300)
        self.assertEqual(self.script(paper), light)
        self.script("window.dispatchEvent(new Event('afterprint'))")
        self.assertNotEqual(self.script(paper), light)

    def test_nothing_is_cut_off_on_paper(self):
        # A4 between the browser's usual margins. The browser lays the page out anew for paper, and what is drawn after
        # that does not get onto it.
        self.script("korPage.page.charts.resizing.disconnect(); window.dispatchEvent(new Event('beforeprint'))")
        self.addCleanup(self.script, """window.dispatchEvent(new Event('afterprint'));
                                        korPage.page.charts.resizing.observe(document.getElementById('charts'))""")
        drawn = self.script("return korPage.page.charts.panels.map(({ graph }) => [graph.width_, graph.height_])")
        self.look(717, 1046)
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.setEmulatedMedia", {"media": ""})
        self.assertEqual(self.script("""return korPage.page.charts.panels.map(({ chart }) =>
                                        [chart.clientWidth, chart.clientHeight])"""), drawn)
        wider, boxes = self.script("""
        const paper = document.body.getBoundingClientRect().right + 1;
        const all = [...document.querySelectorAll("body *")].map((each) => [each, each.getBoundingClientRect()]);
        return [all.filter(([, box]) => box.width > 1 && box.height > 1 && box.right > paper)
                   .map(([each]) => each.outerHTML.slice(0, 80)),
                [...document.querySelectorAll(".panel > *")].map((each) => each.getBoundingClientRect())
                   .map(({ top, bottom }) => [top, bottom])];""")
        self.assertEqual(wider, [])
        for (_, above), (below, _) in zip(boxes, boxes[1:]):
            self.assertLessEqual(above, below + 0.01)  # charts and their titles do not cover each other
        shown = [cell.text for cell in self.browser.find_elements(By.CSS_SELECTOR, "#outcomes tr:first-child td")]
        self.assertEqual(shown, ["before_reference", "111", "4.62 %", "1", "111"])
        paper = base64.b64decode(self.browser.execute_cdp_cmd("Page.printToPDF", {"paperWidth": 8.27, "paperHeight": 11.69})
                                 ["data"])
        # Six with the usual fonts; four if all is made smaller because something is too wide.
        self.assertIn(len(re.findall(rb"/Type\s*/Page\b", paper)), (5, 6, 7))

    def test_texts_are_readable_on_their_background(self):
        contrast = """
        const light = (colour) => {
          const probe = document.createElement("canvas").getContext("2d");
          probe.fillStyle = colour;
          probe.fillRect(0, 0, 1, 1);
          const [r, g, b] = [...probe.getImageData(0, 0, 1, 1).data].map((value) => {
            const share = value / 255;
            return share <= 0.04045 ? share / 12.92 : ((share + 0.055) / 1.055) ** 2.4;
          });
          return 0.2126 * r + 0.7152 * g + 0.0722 * b;
        };
        return arguments[0].map(([front, back, least]) => {
          const [a, b] = [front, back].map((name) => light(korPage.colour(name)));
          return [front, back, (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05), least];
        });"""
        # 4.5 for text, 3 for lines: what the guidelines for accessible pages ask for.
        pairs = [[front, back, 4.5] for front in ("ink", "soft", "bad", "warn", "good", "accent")
                 for back in ("paper", "panel")]
        pairs += [[front, "paper", 3] for front in ("line-1", "line-2", "line-3")] + [["accent-ink", "accent", 4.5]]
        for dark in (False, True):
            self.look(dark=dark)
            for front, back, found, least in self.script(contrast, pairs):
                self.assertGreaterEqual(found, least, (front, back, dark))

    def test_names_for_those_who_do_not_see(self):
        nameless = self.script("""
        return [...document.querySelectorAll("button, select, input, [role=img], [role=group]")].filter((each) => {
          return each.getClientRects().length > 0 && !(each.getAttribute("aria-label") || each.textContent.trim() || each.closest("label"));
        }).map((each) => each.outerHTML)""")
        self.assertEqual(nameless, [])
        self.assertIn("azimuth_deg from", self.browser.find_elements(By.CSS_SELECTOR, ".chart")[2]
                      .get_attribute("aria-label"))
        self.assertIn("base x along", self.find("#scene").get_attribute("aria-label"))
        self.assertIn("median", self.find("#histogram svg").get_attribute("aria-label"))

    def test_picture_in_the_documents_is_this_page(self):
        """KOR_STORE_PICTURE=1 stores it anew; look at it before you commit it."""
        folder = os.path.join(self.dir, "picture")
        os.mkdir(folder)
        os.symlink(DATA.parent, os.path.join(folder, "data"))
        sensor = ["--prm", "data/polarizer", "--id", "1005"]
        subprocess.run([KOR, "replay", *sensor, "data/polarizer/polarizer.csv", "-o", "polarizer.csv", "-q"], check=True, cwd=folder)
        subprocess.run([KOR, "report", "polarizer.csv", "--truth", "data/polarizer/polarizer_truth.csv", *sensor, "-o",
                        "report.html"], check=True, cwd=folder)
        self.open(os.path.join(folder, "report.html"))
        self.look(width=1060, height=2450)
        self.wait(lambda: self.script("return innerWidth") == 1060)
        # The row with the largest error.
        self.script("korPage.page.jumpTo(korPage.page.recording.poses.nearestRow(1540))")
        self.drawn()
        clip = {"x": 0, "y": 0, "width": 1060, "height": 2450, "scale": 0.75}
        taken = self.browser.execute_cdp_cmd("Page.captureScreenshot", {"clip": clip, "captureBeyondViewport": True})["data"]
        if os.environ.get("KOR_STORE_PICTURE"):
            from PIL import Image
            Image.open(io.BytesIO(base64.b64decode(taken))).convert("RGB").quantize(256, method=Image.Quantize.MAXCOVERAGE).save(PICTURE, optimize=True)
        stored = base64.b64encode(PICTURE.read_bytes()).decode()
        self.browser.get("about:blank")  # where no policy forbids to load pictures
        size, others = self.browser.execute_async_script(DIFFERENCES, taken, stored)
        self.assertEqual(size, [795, 1838])
        # Another release of the browser or of a font moves the edges of letters; another page moves everything.
        self.assertLess(others, 0.03)

    def test_hostile_names_do_nothing(self):
        name = "script><img src=x onerror=korPage.hit=1>\"'&amp;"
        path = os.path.join(self.dir, "<", name + ".csv")
        os.makedirs(os.path.dirname(path))
        shutil.copy(self.results, path)
        page = os.path.join(self.dir, "hostile.html")
        subprocess.run([KOR, "report", path, "-o", page], check=True)
        self.open(page)
        self.assertEqual(self.find("h1").text, name + ".csv")
        self.assertEqual(self.browser.find_elements(By.TAG_NAME, "img"), [])
        self.assertIsNone(self.script("return korPage.hit ?? null"))
        self.assert_no_complaints()

    def test_recording_without_orientation_has_no_scene(self):
        page = os.path.join(self.dir, "recording.html")
        subprocess.run([KOR, "report", DATA / "polarizer.csv", "-o", page], check=True)
        self.open(page)
        self.assertFalse(self.find("#scene").is_displayed())
        self.assertEqual(self.find("#space-heading").text, "Values at the cursor")
        self.assert_no_complaints()

    def test_old_browser_is_told_what_it_lacks(self):
        identifier = self.browser.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument",
                                                  {"source": "delete window.DecompressionStream"})["identifier"]
        self.addCleanup(self.browser.execute_cdp_cmd, "Page.removeScriptToEvaluateOnNewDocument",
                        {"identifier": identifier})
        self.browser.get("file://" + self.page)
        self.addCleanup(self.browser.get, "about:blank")
        self.assertIn("too old", self.find("#notice").text)
        self.assertIn("2265 of 2400 rows", self.find("#findings li").text)
        self.browser.get_log("browser")


if __name__ == "__main__":
    unittest.main()
