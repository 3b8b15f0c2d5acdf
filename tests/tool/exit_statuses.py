#!/usr/bin/env python3
"""Compares the exit statuses in the documents with those that the program lists.

    exit_statuses.py KOR ROOT
"""
import pathlib
import re
import subprocess
import sys


def main():
    kor, root = sys.argv[1], pathlib.Path(sys.argv[2])
    help_text = subprocess.run([kor, "--help"], check=True, stdout=subprocess.PIPE).stdout.decode()
    listed = help_text.split("Exit statuses:\n", 1)[1]
    # A long meaning goes on in the next line.
    wanted = [(status, " ".join(meaning.split())) for status, meaning in
              re.findall(r"^  (\d+) +(\S.*(?:\n {7}\S.*)*)$", listed, re.M)]

    page = (root / "docs/man/kor.1").read_text(encoding="utf-8")
    section = page.split('.SH "EXIT STATUS"\n', 1)[1].split("\n.SH", 1)[0]
    section = re.sub(r"\\f[A-Z]", "", section).replace("\\-", "-")
    table = (root / "docs/formats.md").read_text(encoding="utf-8").split("## Exit statuses\n", 1)[1].split("\n## ", 1)[0]
    documents = {
        "docs/man/kor.1": [(status, " ".join(meaning.split())[:-1]) for status, meaning in
                           re.findall(r"^\.B (\d+)\n((?:[^.].*\n?)+)", section, re.M)],
        "docs/formats.md": re.findall(r"^\| (\d+) \| ([^|]*?) \|", table, re.M),
    }
    failed = len(wanted) < 2 or wanted[0][0] != "0"
    for name, found in documents.items():
        if found != wanted:
            print(f"{name}: lists {found}\n  kor --help: lists {wanted}")
            failed = True
    print(f"{len(wanted)} statuses in {1 + len(documents)} places")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
