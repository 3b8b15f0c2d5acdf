#!/usr/bin/python3
"""Looks at the manual that ./docs.sh makes.

    site.py HTML            every link within it leads to a page and a place on it; nothing comes from a network
    site.py HTML --browser  opened from its files in Chromium, its search finds a word, and it fits narrow screens
    site.py --itself        faults planted in pages are found
"""
import html.parser
import pathlib
import sys
import tempfile
import urllib.parse

# What a page loads when it is opened, as opposed to where it leads.
LOADS = {("link", "href"), ("script", "src"), ("img", "src"), ("iframe", "src"), ("source", "src"), ("object", "data")}


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.loads, self.names = [], [], {"", "top"}
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("id", "name") and value:
                self.names.add(value)
            if value is not None and (name == "href" and tag == "a"):
                self.links.append((self.getpos()[0], value))
            elif value is not None and (tag, name) in LOADS and dict(attributes).get("rel") not in ("canonical",):
                self.loads.append((self.getpos()[0], value))


def check(folder):
    """What is wrong with the pages of a folder, and how many links were followed."""
    pages = {path: Page(path.read_text(encoding="utf-8")) for path in sorted(folder.rglob("*.html"))}
    found, followed = [], 0
    for path, page in pages.items():
        for line, target in page.links + page.loads:
            place = f"{path.relative_to(folder)}:{line}: {target}"
            parts = urllib.parse.urlsplit(target)
            if parts.scheme or parts.netloc:
                if (line, target) in page.loads and parts.scheme != "data":
                    found.append(f"{place} comes from a network")
                continue
            followed += 1
            there = (path.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else path
            if folder not in there.parents:
                found.append(f"{place} leads out of the manual")
            elif not there.is_file():
                found.append(f"{place} leads to nothing")
            elif there in pages and urllib.parse.unquote(parts.fragment) not in pages[there].names:
                found.append(f"{place}: there is no such place on that page")
    for path in folder.rglob("*.css"):
        text = path.read_text(encoding="utf-8")
        if "url(http" in text or "url(//" in text or "@import url(" in text:
            found.append(f"{path.relative_to(folder)} takes something from a network")
    return found, followed


def look(folder):
    """What is wrong with the manual in a browser."""
    sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "browser"))
    from report_test import start_browser
    from selenium.common.exceptions import TimeoutException
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.ui import WebDriverWait
    found = []
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as profile:
        browser = start_browser(profile)
        try:
            browser.get((folder / "index.html").as_uri())
            browser.find_element(By.CSS_SELECTOR, "input[name=q]").send_keys("referenceGate\n")
            def hits():
                return [hit.get_attribute("href") for hit in browser.find_elements(By.CSS_SELECTOR, "#search-results li a")]
            try:
                WebDriverWait(browser, 20).until(lambda _: any("/formats.html" in hit for hit in hits()))
            except TimeoutException:
                found.append(f"a search for referenceGate finds {hits()}, expected the page of formats among them")
            for page in sorted(folder.glob("*.html")):
                for width in (1280, 360):
                    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
                        "width": width, "height": 800, "deviceScaleFactor": 1, "mobile": False})
                    browser.get(page.as_uri())
                    wide = browser.execute_script("return document.documentElement.scrollWidth")
                    if wide > width:
                        found.append(f"{page.name} is {wide} pixels wide on a screen of {width}")
            # Where it is opened from a file, a page may not ask for others.
            said = [entry["message"] for entry in browser.get_log("browser") if entry["level"] == "SEVERE"]
            found += [f"the browser says: {message}" for message in said]
        finally:
            browser.quit()
    return found


def itself():
    wanted = [
        ('<a href="b.html#c">x</a><a href="#a">y</a><h1 id="a">z</h1><a href="http://example.org/">w</a>', None),
        ('<a href="none.html">x</a>', "leads to nothing"),
        ('<a href="b.html#none">x</a>', "no such place"),
        ('<a href="#none">x</a>', "no such place"),
        ('<a href="../../b.html">x</a>', "leads out"),
        ('<img src="none.svg"/>', "leads to nothing"),
        ('<img src="https://example.org/a.svg"/>', "from a network"),
        ('<script src="//example.org/a.js"></script>', "from a network"),
        ('<link rel="stylesheet" href="https://example.org/a.css"/>', "from a network"),
    ]
    wrong = 0
    for text, message in wanted:
        with tempfile.TemporaryDirectory() as work:
            folder = pathlib.Path(work).resolve() / "html"
            folder.mkdir()
            (folder / "a.html").write_text(text, encoding="utf-8")
            (folder / "b.html").write_text('<p id="c">x</p>', encoding="utf-8")
            found, _ = check(folder)
        if len(found) != bool(message) or (message and message not in found[0]):
            wrong += 1
            print(f"{text}: found {found}, expected {message}")
    print(f"{len(wanted)} pages, {wrong} wrong")
    return 1 if wrong else 0


def main(arguments):
    if arguments == ["--itself"]:
        return itself()
    folder = pathlib.Path(arguments[0]).resolve()
    found, followed = check(folder)
    if "--browser" in arguments[1:]:
        found += look(folder)
    print("\n".join([*found, f"{followed} links, {len(found)} findings"]))
    return 1 if found or not followed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
