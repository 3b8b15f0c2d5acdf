#!/usr/bin/env bash
# Builds the Python package with pip in a virtual environment of its own, build/python-venv, and tests it.
#   scripts/python.sh          wheel, auditwheel, mypy, all tests, the cost of a sample
#   scripts/python.sh --wheel  a wheel for other machines, in build/wheel/repaired, without tests
#   scripts/python.sh --smoke  the package and its quick tests; below a minute of processor time once it is built
#   scripts/python.sh --cost   the cost of a sample alone
#   scripts/python.sh --build  the package and the tool, for other scripts
# What it installs is pinned in python/requirements.txt and comes from the index that pip is set up for.
set -euo pipefail
cd "$(dirname "$0")/.."
usage="usage: scripts/python.sh [--wheel|--smoke|--cost|--build]"
part=${1:-all}
[ $# -le 1 ] || { echo "$usage" >&2; exit 64; }
case $part in
-h | --help) echo "$usage"; exit 0 ;;
all | --wheel | --smoke | --cost | --build) ;;
*) echo "$usage" >&2; exit 64 ;;
esac

. scripts/packages.sh
need "${build_packages[@]}" "${python_packages[@]}"

step() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }

venv=$PWD/build/python-venv
if ! cmp -s python/requirements.txt "$venv/requirements.txt"; then
    step "virtual environment"
    rm -rf "$venv"
    /usr/bin/python3 -m venv "$venv"
    "$venv/bin/pip" install --quiet -r python/requirements.txt
    cp python/requirements.txt "$venv/requirements.txt"
fi
python=$venv/bin/python
export PATH=$venv/bin:$PATH PYTHONDONTWRITEBYTECODE=1

step "wheel"
# The build folder is kept, and its environment is the one above, so that what has not changed is not compiled again.
rm -rf build/wheel
pip wheel --quiet --no-deps --no-build-isolation --wheel-dir build/wheel .
pip install --quiet --no-deps --force-reinstall build/wheel/korinterface-*.whl
folder=$(echo build/python/*)

if [ "$part" != --cost ] && [ "$part" != --wheel ]; then
    # The tool of the same tree, as the package has it: static, optimised.
    if [ -z "${KOR:-}" ]; then
        step "tool to compare with"
        cmake --preset release >build/wheel/log 2>&1 && cmake --build --preset release --target kor >>build/wheel/log 2>&1 ||
            { cat build/wheel/log; exit 1; }
    fi
    export KOR=${KOR:-$PWD/build/release/tools/kor} KOR_ROOT=$PWD
fi

case $part in
--smoke)
    step "mypy, quick tests"
    mypy --strict python/korinterface
    "$python" -m pytest -q -x python/tests
    ;;
all | --wheel)
    step "auditwheel"
    auditwheel repair --wheel-dir build/wheel/repaired build/wheel/korinterface-*.whl
    auditwheel show build/wheel/repaired/*.whl
    ;;&
all)
    pip install --quiet --no-deps --force-reinstall build/wheel/repaired/*.whl
    step "mypy"
    mypy --strict python/korinterface
    "$python" -m mypy.stubtest --concise --ignore-positional-only --allowlist python/stubtest.txt korinterface._core
    step "tests, examples of the sources and documents"
    KOR_HUGE=1 "$python" -m pytest -q python/tests
    ;;&
all | --cost)
    step "cost of a sample"
    cmake --build "$folder" --target kor_python_loop
    PYTHONPATH=$folder/python "$python" python/bench/cost.py
    ;;
esac
step "done"
