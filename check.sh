#!/usr/bin/env bash
# Builds and runs all the tests. Installs what it needs (Debian 12; root or sudo).
set -euo pipefail
cd "$(dirname "$0")"
. scripts/packages.sh
need "${build_packages[@]}" "${test_packages[@]}" "${windows_packages[@]}" "${python_packages[@]}"

step() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }
# Runs a command with its output in a log that is shown only if the command fails.
quietly() {
    local log
    log=$(mktemp)
    if ! "$@" >"$log" 2>&1 </dev/null; then
        tail -n 200 "$log"
        rm -f "$log"
        echo "failed: $*" >&2
        return 1
    fi
    rm -f "$log"
}
built() {
    quietly cmake --preset "$1" "${@:2}"
    quietly cmake --build --preset "$1"
}
# Debian's Python and its packages; what archives of recordings need besides is not in Debian.
python_environment() {
    cmp -s python/requirements-oldest.txt build/check-venv/requirements.txt || {
        rm -rf build/check-venv &&
            /usr/bin/python3 -m venv --system-site-packages build/check-venv &&
            build/check-venv/bin/pip install --quiet -r python/requirements-oldest.txt &&
            cp python/requirements-oldest.txt build/check-venv/requirements.txt
    }
}
# Some tests wait rather than compute.
jobs=$(($(nproc) + 1))

step "source format"
git ls-files -z -- '*.h' '*.cpp' '*.c' | xargs -0 clang-format --dry-run -Werror

# Two lanes side by side: each has stretches that keep one processor waiting.
export CMAKE_BUILD_PARALLEL_LEVEL=$jobs
sanitizers() {
    step "AddressSanitizer, UndefinedBehaviorSanitizer: build, unit tests, the tool, ten seconds of each fuzzer"
    built asan
    quietly ctest --preset asan -j "$jobs" -L unit
    quietly ./fuzz.sh --smoke
    step "ThreadSanitizer: threads side by side"
    quietly scripts/threads.sh --smoke
}
builds() {
    step "clang-tidy, cppcheck"
    quietly scripts/tidy.sh --library
    quietly scripts/cppcheck.sh
    step "g++: build, with the Python package"
    quietly python_environment
    built dev -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DKORINTERFACE_JOIN=ON -DKORINTERFACE_TESTS_GROUPED=ON -DKORINTERFACE_PYTHON=ON \
        -DPython_EXECUTABLE="$PWD/build/check-venv/bin/python"
    step "MinGW: build; tests of DLL, program and archive under Wine"
    built mingw -DKORINTERFACE_TESTS_SMOKE=ON -DKORINTERFACE_JOIN=ON
    quietly ctest --preset mingw -j "$jobs"
}
# A lane of its own process group, so that whatever it has started ends with it.
set -m
(set -e; sanitizers) </dev/null &
lanes=($!)
(set -e; builds) </dev/null &
lanes+=($!)
set +m
trap 'kill -- "${lanes[@]/#/-}" 2>/dev/null || true' EXIT
wait -n
wait -n

step "g++: all tests"
ctest --preset dev -j "$jobs"
