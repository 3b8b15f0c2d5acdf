#!/usr/bin/env python3
"""CHANGELOG.md in the form of a Debian changelog.

Usage: debian_changelog.py CHANGELOG.md VERSION MAINTAINER >changelog.Debian

What is not released yet goes under VERSION, dated by SOURCE_DATE_EPOCH or now.
"""
import datetime
import os
import re
import sys
import textwrap


def entry(version, released, date, changes, maintainer):
    head = f"korinterface ({version}) {'unstable' if released else 'UNRELEASED'}; urgency=medium"
    items = [textwrap.fill(c, 79, initial_indent="  * ", subsequent_indent="    ", break_long_words=False,
                           break_on_hyphens=False) for c in changes]
    stamp = date.strftime("%a, %d %b %Y %H:%M:%S +0000")
    return "\n".join([head, "", *items, "", f" -- {maintainer}  {stamp}", ""])


def main(path, version, maintainer):
    epoch = os.environ.get("SOURCE_DATE_EPOCH")
    utc = datetime.timezone.utc
    now = datetime.datetime.fromtimestamp(int(epoch), utc) if epoch else datetime.datetime.now(utc)
    release = version.rsplit("-", 1)[1]
    entries = []
    for line in open(path, encoding="utf-8"):
        line = line.rstrip()
        if heading := re.fullmatch(r"## \[?(Unreleased|\d+\.\d+\.\d+)\]?(?: - (\d{4}-\d\d-\d\d))?", line):
            number, day = heading.groups()
            if (number == "Unreleased") != (day is None):
                sys.exit(f"{path}: a release has a date, and only a release: {line}")
            if day:
                date = datetime.datetime.fromisoformat(day).replace(tzinfo=utc)
                entries.append((f"{number}-{release}", True, date, []))
            else:
                entries.append((version, False, now, []))
        elif line.startswith("## "):
            sys.exit(f"{path}: neither a version nor Unreleased: {line}")
        elif line.startswith("- ") and entries:
            entries[-1][3].append(line[2:])
        elif line.startswith("  ") and entries and entries[-1][3]:
            entries[-1][3][-1] += " " + line.strip()
    entries = [e for e in entries if e[3]]
    if not entries:
        sys.exit(f"{path} lists no change")
    if entries[0][0] != version:
        sys.exit(f"{path} begins with {entries[0][0]}, the package is {version}")
    print("\n".join(entry(*e, maintainer) for e in entries), end="")


main(*sys.argv[1:])
