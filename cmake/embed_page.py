#!/usr/bin/env python3
"""Makes the page of `kor report` one text without data, and that text C++.

    embed_page.py FOLDER CHARTS SPACE CHARTS_NOTICE SPACE_NOTICE OUTPUT

FOLDER        the page's own sources
CHARTS, SPACE the libraries, JavaScript
..._NOTICE    their copyright notices; a file that is not there is refused, for the page has to carry them
OUTPUT        the pieces of the page: more of its policy, the first data and more data stand between them
"""
import base64
import hashlib
import html
import pathlib
import re
import sys

# Compilers need not take longer literals.
LONGEST_LITERAL = 16000


def content_hash(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"


def script_text(path):
    text = pathlib.Path(path).read_text(encoding="utf-8")
    # The map is not part of the page.
    text = re.sub(r"^//# sourceMappingURL=.*$", "", text, flags=re.MULTILINE).strip() + "\n"
    if re.search(r"</script|<!--", text, re.IGNORECASE):
        sys.exit(f"{path}: it would end the script element that it is to stand in")
    return text


def literal(text):
    """A C++ string literal of bytes. Octal escapes have three digits, so that no digit behind one belongs to it."""
    return '"' + "".join(chr(b) if 32 <= b < 127 and chr(b) not in '"\\?' else f"\\{b:03o}" for b in text) + '"'


def pieces(name, text):
    data = text.encode()
    parts = [data[i:i + LONGEST_LITERAL] for i in range(0, len(data), LONGEST_LITERAL)]
    lines = ",\n".join(f"    std::string_view({literal(part)}, {len(part)})" for part in parts)
    return f"constexpr std::string_view {name}[] = {{\n{lines},\n}};\n"


def main(folder, charts, space, charts_notice, space_notice, output):
    folder = pathlib.Path(folder)
    style = (folder / "page.css").read_text(encoding="utf-8")
    groups = {
        "CHART_SCRIPTS": [charts, *(folder / name for name in ("recording.js", "charts.js", "histogram.js", "scene.js", "live.js", "page.js"))],
        "SPACE_SCRIPTS": [space],
    }
    texts = {name: [script_text(path) for path in paths] for name, paths in groups.items()}
    scripts = " ".join(content_hash(text) for name in texts for text in texts[name])
    page = (folder / "page.html").read_text(encoding="utf-8")
    fill = {
        "POLICY": f"default-src 'none'; script-src {scripts}; style-src 'unsafe-inline'; base-uri 'none'; "
                  "form-action 'none'@MORE_POLICY@",
        "STYLES": f"<style>{style}</style>",
        "CHARTS_NOTICE": html.escape(pathlib.Path(charts_notice).read_text(encoding="utf-8")),
        "SPACE_NOTICE": html.escape(pathlib.Path(space_notice).read_text(encoding="utf-8")),
        **{name: "\n".join(f"<script>{text}</script>" for text in parts) for name, parts in texts.items()},
    }
    for name, text in fill.items():
        before, after = page.split(f"@{name}@")
        page = before + text + after
    policy, rest = page.split("@MORE_POLICY@")
    begin, rest = rest.split("@FIRST_DATA@")
    middle, end = rest.split("@MORE_DATA@")
    with open(output, "w", encoding="ascii", newline="\n") as file:
        file.write(pieces("kPagePolicy", policy) + pieces("kPageBegin", begin) + pieces("kPageMiddle", middle) + pieces("kPageEnd", end))


if __name__ == "__main__":
    if len(sys.argv) != 7:
        sys.exit(__doc__)
    main(*sys.argv[1:])
