"""What a page of `kor report` holds, taken apart without a browser."""
import base64
import gzip
import html.parser
import json
import re
import struct

# Elements that have no end tag.
EMPTY = {"meta", "input", "link", "br", "img", "hr"}


class Page(html.parser.HTMLParser):
    """elements: (tag, attributes, text); faults: what is not well formed."""

    def __init__(self, content):
        super().__init__(convert_charrefs=True)
        self.elements, self.faults, self.open = [], [], []
        text = content.decode("utf-8")
        self.feed(text)
        self.close()
        self.faults += [f"<{element[0]}> is not closed" for element in self.open]
        scripts = {attributes.get("id"): words for tag, attributes, words in self.elements if tag == "script"}
        self.manifest = json.loads(scripts["manifest"], parse_constant=lambda word: self.faults.append(word))
        self.texts = {name[6:]: words for name, words in scripts.items() if name and name.startswith("block-")}
        if set(self.texts) != set(self.manifest["blocks"]):
            self.faults.append("the blocks are not those of the manifest")

    def handle_starttag(self, tag, attrs):
        element = [tag, dict(attrs), ""]
        self.elements.append(element)
        if tag not in EMPTY:
            self.open.append(element)

    def handle_endtag(self, tag):
        if not self.open or self.open[-1][0] != tag:
            self.faults.append(f"</{tag}> ends nothing")
        else:
            self.open.pop()

    def handle_data(self, data):
        if self.open:
            self.open[-1][2] += data

    def block(self, name):
        """The numbers of a block."""
        kind = self.manifest["blocks"][name]
        planes = gzip.decompress(base64.b64decode(self.texts[name], validate=True))
        width = {"u8": 1, "u32": 4, "f32": 4, "f64": 8}[kind]
        count = len(planes) // width
        numbers = bytearray(len(planes))
        for plane in range(width):
            numbers[plane::width] = planes[plane * count:(plane + 1) * count]
        if width == 4:
            total, words = 0, []
            for step in struct.unpack(f"<{count}I", numbers):
                total = (total + step) % 2 ** 32
                words.append(total)
            numbers = struct.pack(f"<{count}I", *words)
        return list(struct.unpack(f"<{count}{ {'u8': 'B', 'u32': 'I', 'f32': 'f', 'f64': 'd'}[kind]}", numbers))

    def findings(self, level=None):
        return [each["text"] for each in self.manifest["findings"] if level in (None, each["level"])]

    def fact(self, name):
        return next(each["value"] for each in self.manifest["facts"] if each["name"] == name)


def attributes_of(page):
    return [(tag, name, value or "") for tag, attributes, _ in page.elements for name, value in attributes.items()]


def connections(page):
    """What an element would fetch, beside places within the page."""
    return [(tag, name, value) for tag, name, value in attributes_of(page)
            if name in ("src", "href", "srcset", "action", "data", "poster", "background") and not value.startswith("#")]


def policy(page):
    return next(attributes["content"] for tag, attributes, _ in page.elements
                if tag == "meta" and attributes.get("http-equiv") == "Content-Security-Policy")


def event_handlers(page):
    return [(tag, name) for tag, name, _ in attributes_of(page) if re.match("on", name)]
