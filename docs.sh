#!/usr/bin/env bash
# Makes the manual, build/docs/html/index.html, to be opened from there; without a network once its environment is there.
#   ./docs.sh            makes it; every warning is an error; follows its links
#   ./docs.sh --browser  opens it in Chromium as well and searches in it
set -euo pipefail
cd "$(dirname "$0")"
usage="usage: ./docs.sh [--browser]"
[ $# -le 1 ] || { echo "$usage" >&2; exit 64; }
case ${1:-} in
-h | --help) echo "$usage"; exit 0 ;;
'' | --browser) ;;
*) echo "$usage" >&2; exit 64 ;;
esac

. scripts/packages.sh
need "${docs_packages[@]}"
[ "${1:-}" = "" ] || need chromium chromium-driver python3-selenium

step() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }
export LC_ALL=C.UTF-8 PYTHONDONTWRITEBYTECODE=1
mkdir -p build/docs
rm -rf build/docs/{xml,source,doctrees,html}

# Debian's furo asks a web server for a style sheet, and its scripts do not run in a page that is opened from a file.
venv=$PWD/build/docs-venv
if ! cmp -s docs/site/requirements.txt "$venv/requirements.txt"; then
    step "virtual environment"
    rm -rf "$venv"
    /usr/bin/python3 -m venv "$venv"
    "$venv/bin/pip" install --quiet -r docs/site/requirements.txt
    cp docs/site/requirements.txt "$venv/requirements.txt"
fi

step "headers"
PATH=/usr/bin:$PATH doxygen docs/site/Doxyfile
step "pages"
/usr/bin/python3 docs/site/stage.py . build/docs/source
"$venv/bin/python" -m sphinx -W --keep-going -q -j auto -b html -c docs/site -d build/docs/doctrees build/docs/source build/docs/html
step "links"
/usr/bin/python3 tests/docs/site.py build/docs/html ${1:+"$1"}
step "done: build/docs/html/index.html"
