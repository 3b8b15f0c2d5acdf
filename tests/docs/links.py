#!/usr/bin/env python3
"""Every relative link of the documents leads to a file, a folder or a heading of the same tree, and the manual's front page
leads to every page of docs/.

    links.py ROOT               the Markdown documents of the repository
    links.py ROOT DOCUMENT...   these documents of an unpacked package
"""
import pathlib
import sys

import documents

# Leads to places of an archive; the tests packages.* follow its links there.
OF_PACKAGES = "cmake/packages/README.md"

root = pathlib.Path(sys.argv[1]).resolve()
names = sys.argv[2:] or [name for name in documents.tracked(root) if name.endswith(".md") and name != OF_PACKAGES]
broken = documents.broken_links(root, names)
if not sys.argv[2:]:
    broken += documents.not_listed(root, names)
print("\n".join(broken) if broken else f"{len(names)} documents")
sys.exit(1 if broken or not names else 0)
