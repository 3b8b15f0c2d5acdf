#!/usr/bin/env bash
# Checks of the public headers, of an installed tree and of the preset release. Usage: consumers.sh CHECK
# [COMPILER|BUILD_FOLDER [EMULATOR...]]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$*" >&2; exit 1; }

installed() { cmake --install "$1" --prefix "$2" >"$work/install.log" || { cat "$work/install.log"; exit 1; }; }

case $1 in
headers)
    for header in "$root"/include/KORInterface/*.h; do
        name=KORInterface/$(basename "$header")
        printf '#include <%s>\n#include <%s>\nint main() { return 0; }\n' "$name" "$name" >"$work/alone.cpp"
        "$2" -std=c++11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I "$root/include" "$work/alone.cpp" ||
            fail "$name does not compile on its own"
    done
    # Those of the C interface are C as well.
    for name in kor Records Export; do
        printf '#include <KORInterface/%s.h>\n#include <KORInterface/%s.h>\nint main(void) { return 0; }\n' $name $name \
            >"$work/alone.c"
        "$2" -x c -std=c11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I "$root/include" "$work/alone.c" ||
            fail "$name.h does not compile as C"
    done
    ;;
find_package)
    installed "$2" "$work/prefix"
    cmake -S "$here/find_package" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/prefix" >"$work/log" 2>&1 &&
        cmake --build "$work/build" >>"$work/log" 2>&1 || { cat "$work/log"; fail "the consumer does not build"; }
    "$work/build/consumer"
    ;;
pkg_config | moved_tree)
    installed "$2" "$work/prefix"
    if [ "$1" = moved_tree ]; then
        mv "$work/prefix" "$work/elsewhere"
        prefix=$work/elsewhere
    else
        prefix=$work/prefix
    fi
    pc=$(find "$prefix" -name KORInterface.pc)
    [ -n "$pc" ] || fail "no pkg-config file is installed"
    flags=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags --libs KORInterface)
    # shellcheck disable=SC2086
    g++ -std=c++11 "$here/find_package/consumer.cpp" $flags -o "$work/consumer"
    libdir=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --variable=libdir KORInterface)
    LD_LIBRARY_PATH=$libdir "$work/consumer"
    ;;
static)
    # A build with BUILD_SHARED_LIBS=OFF, installed and used. Its objects would be those of the tree under test, so that they
    # are taken from there in place of compiling all sources once more.
    cached() { sed -n "s/^$1:[A-Z]*=//p" "$2/CMakeCache.txt"; }
    same=()
    for variable in CMAKE_BUILD_TYPE CMAKE_CXX_COMPILER CMAKE_CXX_FLAGS CMAKE_CXX_FLAGS_DEBUG CMAKE_CXX_FLAGS_RELEASE \
        CMAKE_TOOLCHAIN_FILE KORINTERFACE_JOIN KORINTERFACE_LIBRARY_OPTIONS KORINTERFACE_SANITIZE; do
        value=$(cached "$variable" "$2")
        [ -z "$value" ] || same+=("-D$variable=$value")
    done
    cmake -S "$root" -B "$work/static" -G Ninja -DBUILD_SHARED_LIBS=OFF -DKORINTERFACE_BUILD_TESTS=OFF \
        -DKORINTERFACE_BUILD_TOOLS=OFF -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_INSTALL_LIBDIR=lib "${same[@]}" \
        >"$work/log" 2>&1 || { cat "$work/log"; fail "a static build cannot be configured"; }
    "${KOR_PYTHON:-python3}" "$here/static_objects.py" "$work/static" "$2" >"$work/objects" ||
        { cat "$work/objects"; fail "the objects of a static build are others"; }
    # A toolchain file names its programs outside the cache.
    program() { sed -n "s/^set($1 \"\(.*\)\")\$/\1/p" "$2"/CMakeFiles/*/CMakeCXXCompiler.cmake; }
    compiler=$(program CMAKE_CXX_COMPILER "$2")
    "$(program CMAKE_AR "$2")" rcs "$work/static/libKORInterface.a" @"$work/objects"
    installed "$work/static" "$work/prefix"
    [ -z "$(find "$work/prefix" -name '*.so*' -o -name '*.dll*')" ] || fail "a static build installs a shared library"

    folder=$root/data/polarizer
    if [ $# -gt 2 ]; then
        "$compiler" -std=c++11 -municode -DKORINTERFACE_STATIC "$root/examples/host.cpp" -I "$work/prefix/include" \
            "$work/prefix/lib/libKORInterface.a" -static -fstack-protector -o "$work/host.exe"
        host=("${@:3}" "$work/host.exe")
        kor=("${@:3}" "$2/bin/kor.exe")
    else
        # shellcheck disable=SC2046
        "$compiler" -std=c++11 "$root/examples/host.cpp" \
            $(PKG_CONFIG_PATH=$work/prefix/lib/pkgconfig pkg-config --cflags --libs KORInterface) -o "$work/host"
        host=("$work/host")
        kor=("$2/tools/kor")
        cmake -S "$here/find_package" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/prefix" >"$work/log" 2>&1 &&
            cmake --build "$work/build" >>"$work/log" 2>&1 || { cat "$work/log"; fail "the consumer does not build"; }
        "$work/build/consumer"
    fi
    "${host[@]}" "$folder" 1005 "$folder/polarizer.korraw" >"$work/host.out"
    "${kor[@]}" replay --prm "$folder" --id 1005 "$folder/polarizer.korraw" -o "$work/results.csv" >"$work/log" 2>&1 ||
        { cat "$work/log"; fail "kor does not replay"; }
    "${KOR_PYTHON:-python3}" "$root/tests/packages/host_agrees.py" "$work/host.out" "$work/results.csv"
    ;;
exports)
    library=$(find "$2" -maxdepth 1 -name 'libKORInterface.so' | head -n 1)
    [ -n "$library" ] || fail "no shared library in $2"
    readelf -d "$library" | grep -q 'SONAME.*libKORInterface\.so\.[0-9]' || fail "the library has no soname"
    # Everything that is exported belongs to a public class or is one of the additions beside them; the standard
    # library's templates
    # and the type information of plain functions cannot be hidden.
    nm -DC --defined-only "$library" | cut -c20- | sort -u >"$work/exported"
    strangers=$(grep -vE '^(vtable for |typeinfo for |typeinfo name for |non-virtual thunk to )?(kor_[a-z]|CKor|LoadParameterStore\(|kor::((CheckReport|ParameterFile|ReadReport)::|(Check(ParameterFile|Parameters|RuleOf|Rules)|Configure|FreshProcessValues|LastSample|LoadParameter(Bytes|File)|MessageText|ModelText|ModelUses(Block|Field)|OutcomeText|Parameter(BlockKinds|BlockKindOf|FieldOf)|ProcessSample|ReadParameterFile|ReasonText|SampleText|SpoiledText|StatusText)\()|CStyloPRM|CBBManager|CLevel|CPhotoSensor|JSplineBLandform|CADMModule)' \
        "$work/exported" | grep -vE '^([^(]* )?std::|^(typeinfo|vtable) (name )?for (std::|void \()' || true)
    [ -z "$strangers" ] || { printf '%s\n' "$strangers"; fail "these symbols should be hidden"; }
    for symbol in 'CKor::updateKORData(' 'CKorPrm::ReadCalibrationFile(' 'CKorPolarizer::CalTranxMatrix('; do
        grep -qF "$symbol" "$work/exported" || fail "$symbol is not exported"
    done
    ;;
release)
    # As the README builds it: without what only the tests need.
    hidden=()
    for package in GTest rapidcheck Eigen3 GSL; do
        hidden+=("-DCMAKE_DISABLE_FIND_PACKAGE_$package=ON")
    done
    (cd "$root" && cmake --preset release -B "$work/build" "${hidden[@]}") >"$work/log" 2>&1 ||
        { cat "$work/log"; fail "the preset release asks for a package of the tests"; }
    cmake --build "$work/build" --target help >"$work/targets"
    grep -q '^kor:' "$work/targets" || fail "the preset release does not build kor"
    ! grep '_test:' "$work/targets" || fail "the preset release builds tests"
    ;;
readme)
    awk '/^```cpp$/ { inside = 1; next } /^```$/ { if (inside) exit } inside' "$root/README.md" >"$work/readme.cpp"
    diff -u "$root/examples/host.cpp" "$work/readme.cpp" || fail "README and examples/host.cpp differ"
    installed "$2" "$work/prefix"
    library=$(dirname "$(find "$work/prefix" -name libKORInterface.so)")
    g++ -std=c++11 -Wall -Wextra -Wpedantic -Werror -I "$work/prefix/include" "$work/readme.cpp" -L "$library" \
        -lKORInterface -o "$work/host"
    # The parameter file lies under a name beyond ASCII, and the recording, too.
    folder=$work/$(printf 'm\303\244rz \346\270\254')
    cp -r "$root/data/polarizer" "$folder"
    LD_LIBRARY_PATH=$library "$work/host" "$folder" 1005 "$folder/polarizer.korraw" >"$work/out"
    valid=$(grep -c 'ms: x ' "$work/out")
    [ "$valid" -ge 2000 ] || fail "the program printed $valid orientations"
    ! grep -qi nan "$work/out" || fail "an orientation is not a number"
    ! LD_LIBRARY_PATH=$library "$work/host" "$folder/none" 1005 "$folder/polarizer.korraw" 2>"$work/errors" ||
        fail "the program takes a parameter file that is not there"
    grep -q 'Tg1005.prm: the parameter file cannot be opened' "$work/errors" || fail "the program does not say why"
    ;;
c)
    # The example in C prints what the one in C++ prints, and takes a recording in CSV as well.
    installed "$2" "$work/prefix"
    library=$(dirname "$(find "$work/prefix" -name libKORInterface.so)")
    export LD_LIBRARY_PATH=$library
    g++ -std=c++11 -I "$work/prefix/include" "$root/examples/host.cpp" -L "$library" -lKORInterface -o "$work/host"
    gcc -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$work/prefix/include" "$root/examples/host.c" -L "$library" \
        -lKORInterface -o "$work/host_c"
    folder=$work/$(printf 'm\303\244rz \346\270\254')
    cp -r "$root/data/polarizer" "$folder"
    "$work/host" "$folder" 1005 "$folder/polarizer.korraw" >"$work/wanted"
    [ "$(wc -l <"$work/wanted")" -eq 2400 ] || fail "the program in C++ printed $(wc -l <"$work/wanted") lines"
    for recording in polarizer.korraw polarizer.csv; do
        "$work/host_c" "$folder" 1005 "$folder/$recording" | cmp - "$work/wanted"
    done
    fails() { # TEXT ARGUMENT...: the program in C ends with 1 and says so
        local status=0
        "$work/host_c" "${@:2}" >/dev/null 2>"$work/errors" || status=$?
        [ "$status" -eq 1 ] && grep -qF -- "$1" "$work/errors" || fail "found status $status and $(<"$work/errors"), expected $1"
    }
    fails "Tg1006.prm: the parameter file cannot be opened" "$folder" 1006 "$folder/polarizer.csv"
    fails "cannot open $folder/none.csv" "$folder" 1005 "$folder/none.csv"
    gzip -k "$folder/polarizer.csv"
    fails "this build cannot read gzip; decompress the file first" "$folder" 1005 "$folder/polarizer.csv.gz"
    ;;
*)
    fail "unknown check $1"
    ;;
esac
