# Sourced, by scripts that have set pipefail: `need PACKAGE...` installs the Debian packages that are missing; silent and
# quick when all are there.

# Passes on one line in ten seconds, so that something is to be seen of a long run.
sometimes() {
    local line shown=$SECONDS
    while IFS= read -r line; do
        if ((SECONDS >= shown + 10)); then
            shown=$SECONDS
            printf '  %.100s\n' "$line"
        fi
    done
}

need() {
    missing=()
    for package in "$@"; do
        dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2>/dev/null | grep -q '^ii' || missing+=("$package")
    done
    [ "${#missing[@]}" -eq 0 ] && return 0

    as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "please install as root: ${missing[*]}" >&2; return 1; }
        as_root=(sudo)
    fi
    echo "installing ${missing[*]}" >&2
    local log
    log=$(mktemp)
    if ! { "${as_root[@]}" apt-get update &&
           "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"; } \
            2>&1 </dev/null | tee "$log" | sometimes >&2; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}

# For building the library and the tool; for the tests besides.
build_packages=(g++ cmake ninja-build libboost-dev libcli11-dev libdragonbox-dev libfmt-dev nlohmann-json3-dev zlib1g-dev
                libzstd-dev python3 libjs-dygraphs libjs-three)
# llvm brings the symbolizer, without which the leak checker does not recognise the buffers that are kept on purpose.
test_packages=(clang libclang-rt-14-dev llvm clang-format clang-tidy codespell cppcheck libgtest-dev librapidcheck-dev libeigen3-dev
               gnuplot-nox graphviz libgsl-dev libboost-math-dev pkg-config locales python3-numpy python3-mpmath python3-matplotlib git dpkg-dev lintian file man-db valgrind
               chromium chromium-driver python3-selenium eslint abigail-tools groff-base mandoc
               bash-completion shellcheck mono-mcs mono-runtime)
# For the Python package; a build with Debian's Python takes Debian's pybind11, pip another one.
python_packages=(python3-dev python3-venv pybind11-dev python3-numpy python3-pytest python3-hypothesis python3-pandas
                 python3-scipy python3-matplotlib)
# What is measured against, and with what.
bench_packages=(valgrind libeigen3-dev libgsl-dev libboost-math-dev miller python3-pandas time)
fuzz_packages=(clang libclang-rt-14-dev llvm)
windows_packages=(g++-mingw-w64-x86-64-posix clang lld llvm wine wine64 googletest libboost-dev libcli11-dev libdragonbox-dev libfmt-dev
                  nlohmann-json3-dev libeigen3-dev libz-mingw-w64-dev unzip
                  python3 libjs-dygraphs libjs-three)
# For the manual; docs/site/requirements.txt is the rest of it.
docs_packages=(python3-venv doxygen man-db)
