#!/usr/bin/env bash
# Makes the packages of a built tree and uses what is in them, unpacked in a clean folder.
#   packages.sh deb BUILD          Debian packages: metadata, contents, use
#   packages.sh lintian BUILD      what lintian says of them is what docs/releasing.md explains
#   packages.sh tgz BUILD          archive
#   packages.sh zip BUILD PREFIX   archive of the Windows build, with Wine's prefix
set -euo pipefail
export LC_ALL=C.UTF-8
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
check=$1
build=$(cd "$2" && pwd)
python=${KOR_PYTHON:-python3}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { echo "$*" >&2; exit 1; }
# Runs a command whose output matters only if it fails.
silently() { "$@" >"$work/log" 2>&1 </dev/null || { cat "$work/log"; fail "failed: $*"; }; }

packed() { # GENERATOR
    silently cpack --config "$build/CPackConfig.cmake" -G "$1" -B "$work/packages"
}

consumer_built() { # PREFIX [CMAKE_ARGUMENT...]
    silently cmake -S "$root/tests/consumers/find_package" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$1" "${@:2}"
    silently cmake --build "$work/consumer"
    # Not a library that lies elsewhere on this machine.
    local found
    found=$(sed -n 's/^KORInterface_DIR:[A-Z]*=//p' "$work/consumer/CMakeCache.txt")
    case $found in "$1"/*) ;; *) fail "the consumer used $found" ;; esac
}

replays() { # KOR [ARGUMENT...]: prints its version, and a replay agrees with the truth
    local version
    version=$("$@" --version | tr -d '\r')
    [ "$version" = "kor $(sed -n 's/^project(KORInterface VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")" ] ||
        fail "kor --version says $version"
    local folder=$root/data/polarizer
    silently "$@" replay --prm "$folder" --id 1005 "$folder/polarizer.csv" -o "$work/results.csv"
    silently "$@" compare "$work/results.csv" "$folder/polarizer_truth.csv" --strict --tolerance 2e-5
}

contains() { # FOLDER PATTERN...: each matches a file that is not empty
    local pattern
    for pattern in "${@:2}"; do
        [ -n "$(find "$1" -path "$1/$pattern" -type f -size +0)" ] || fail "the package lacks $pattern"
    done
}

# What every user finds: the documents, a host, a recording with its parameter file and its truth.
pages_of_kor=(docs/accuracy.md docs/errors.md docs/formats.md docs/frames.md docs/mount-modes.md docs/parameter-check.md
              docs/parameter-file.md docs/tasks.md docs/uncertainty.md docs/img/frames.svg)
hosts=(docs/c.md docs/first-host.md docs/glossary.md docs/kept-behaviour.md docs/live.md docs/windows.md examples/CMakeLists.txt
       examples/KorExample.cs examples/first.cpp examples/host.c examples/host.cpp examples/live.cpp examples/many.c
       examples/short.c)
# Of these the package of the program has the last ones.
beside_kor=(examples/uncertainty.json data/polarizer/Tg1005.prm data/polarizer/polarizer.csv data/polarizer/polarizer.korraw
            data/polarizer/polarizer_truth.csv)
documents=("${pages_of_kor[@]}" "${hosts[@]}" "${beside_kor[@]}")

reads_well() { # FOLDER [BELOW]: the links of the documents below it lead somewhere in FOLDER, and nothing needs Python
    local names below=$1/${2-}
    mapfile -t names < <(find "$below" -name '*.md' -printf '%P\n' | sed "s|^|${2:+$2/}|")
    silently "$python" "$root/tests/docs/links.py" "$1" "${names[@]}"
    [ -z "$(find "$below" -name '*.py' -o -name '__pycache__')" ] || fail "the package holds Python: $(find "$below" -name '*.py')"
}

commands_run() { # FOLDER DOCUMENT SECTION [EMULATOR...]
    silently "$python" "$root/tests/docs/commands.py" --in "$@"
}

is_hardened() { # FILE...: as shipped; the program of a build for debugging is not optimised
    local optimised=()
    ! grep -q '^CMAKE_BUILD_TYPE:[A-Z]*=Debug$' "$build/CMakeCache.txt" || optimised=(--not-optimised)
    silently "$python" "$root/tests/hardening/hardening.py" "${optimised[@]}" "$@"
}

has_python() { grep -q '^KORINTERFACE_PYTHON:BOOL=ON$' "$build/CMakeCache.txt"; }

case $check in
deb)
    packed DEB
    abi=$(sed -n 's/^set(KOR_ABI_VERSION \([0-9]*\))$/\1/p' "$root/cmake/Options.cmake")
    declare -A section=([libkorinterface$abi]=libs [libkorinterface-dev]=libdevel [kor-tools]=science)
    if has_python; then section[python3-korinterface]=python; fi
    [ "$(find "$work/packages" -maxdepth 1 -name '*.deb' | wc -l)" -eq "${#section[@]}" ] || fail "not ${!section[*]}"
    for package in "${!section[@]}"; do
        deb=$(echo "$work/packages/${package}_"*.deb)
        field() { dpkg-deb -f "$deb" "$1"; }
        [ "$(field Package)" = "$package" ] || fail "$deb is named $(field Package)"
        [ "$(field Section)/$(field Priority)" = "${section[$package]}/optional" ] || fail "$package: $(field Section)"
        [ "$(field Maintainer)" = "KORInterface maintainers <maintainers@users.noreply.example>" ] || fail "maintainer"
        [[ "$(field Description | head -n 1)" = "orientation from the readings of a KOR sensor - "* ]] || fail "synopsis"
        [ "$(field Description | wc -l)" -ge 5 ] || fail "$package lacks its extended description"
        dpkg -x "$deb" "$work/root"
        documents=$work/root/usr/share/doc/$package
        [ -s "$documents/copyright" ] || fail "$package has no copyright file"
        zcat "$documents/changelog.Debian.gz" | dpkg-parsechangelog -l - -S Version | grep -qx "$(field Version)" ||
            fail "$package: changelog and package differ in version"
    done
    depends() { dpkg-deb -f "$work/packages/${1}_"*.deb Depends; }
    [[ "$(depends "libkorinterface$abi")" = *"libc6 (>= "*"libstdc++6 (>= "* ]] || fail "the library's dependencies"
    [[ "$(depends kor-tools)" = *"libkorinterface$abi (>= "*"libc6 (>= "* ]] || fail "the tool's dependencies"
    [[ "$(depends kor-tools)" = *"libzstd1 (>= "*"zlib1g (>= "* ]] || fail "kor-tools lacks what unpacks recordings"
    [[ "$(depends libkorinterface-dev)" = "libkorinterface$abi (= "*")" ]] || fail "the headers' dependencies"
    dpkg-deb -I "$work/packages/libkorinterface${abi}_"*.deb shlibs >"$work/shlibs"
    grep -q "^libKORInterface $abi libkorinterface$abi (>= " "$work/shlibs" || fail "shlibs: $(<"$work/shlibs")"

    library=$(find "$work/root" -name "libKORInterface.so.$abi")
    [ -n "$library" ] || fail "no library"
    file -L "$library" "$work/root/usr/bin/kor" >"$work/files"
    [ "$(grep -c ', stripped$' "$work/files")" -eq 2 ] || fail "not stripped: $(<"$work/files")"
    is_hardened "$(readlink -f "$library")" "$work/root/usr/bin/kor"
    ! readelf -d "$work/root/usr/bin/kor" | grep -qE 'R(UN)?PATH' || fail "kor looks for its library in a place of its own"
    gunzip -k "$work/root/usr/share/man/man1"/*.gz
    diff -r -x '*.gz' "$root/docs/man" "$work/root/usr/share/man/man1" || fail "the manual pages are others"
    cmp "$root/tools/completion/kor" "$work/root/usr/share/bash-completion/completions/kor"
    # What the manual pages name is there.
    mapfile -t named < <(sed 's/\\-/-/g' "$root/docs/man"/*.1 | grep -ohE '/usr/[[:alnum:]_./-]*[[:alnum:]]' | sort -u)
    [ "${#named[@]}" -ge 4 ] || fail "the manual pages name ${#named[@]} places"
    for place in "${named[@]}"; do
        [ -e "$work/root$place" ] || fail "the manual pages name $place, which no package holds"
    done
    contains "$work/root/usr/share/doc/kor-tools" "${pages_of_kor[@]}" "${beside_kor[@]}"
    contains "$work/root/usr/share/doc/libkorinterface-dev" "${hosts[@]}"
    ! has_python || contains "$work/root/usr/share/doc/python3-korinterface" docs/python.md docs/scaling.md
    # From one package into another as well, and to the headers.
    reads_well "$work/root/usr" share/doc
    grep -q '](../../kor-tools/docs/frames.md#' "$work/root/usr/share/doc/libkorinterface-dev/docs/first-host.md" ||
        fail "a page does not lead to that of another package"
    consumer_built "$work/root/usr"
    "$work/consumer/consumer"
    replays env LD_LIBRARY_PATH="$(dirname "$library")" "$work/root/usr/bin/kor"
    # The first program of the documents; the packages are unpacked, not installed.
    sed "s|/usr/|$work/root/usr/|g" "$work/root/usr/share/doc/libkorinterface-dev/docs/first-host.md" >"$work/first-host.md"
    mkdir "$work/first"
    (
        PKG_CONFIG_PATH=$(dirname "$(find "$work/root" -name KORInterface.pc)") LD_LIBRARY_PATH=$(dirname "$library")
        export PKG_CONFIG_PATH LD_LIBRARY_PATH
        commands_run "$work/first" "$work/first-host.md" "With the Debian packages"
    )
    ! has_python || {
        [[ "$(depends python3-korinterface)" = *"libkorinterface$abi (>= "*"python3-numpy (>= "*"libzstd1 (>= "* ]] ||
            fail "the Python package's dependencies: $(depends python3-korinterface)"
        module=$(echo "$work/root/usr/lib/python3/dist-packages/korinterface/_core".*.so)
        ! readelf -d "$module" | grep -qE 'R(UN)?PATH' || fail "the module looks for its library in a place of its own"
        is_hardened "$module"
        PYTHONPATH=$work/root/usr/lib/python3/dist-packages LD_LIBRARY_PATH=$(dirname "$library") \
            "$(sed -n 's/^_*Python_EXECUTABLE:[A-Z]*=//p' "$build/CMakeCache.txt" | head -n 1)" - "$root" "$work/python.csv" <<'END'
import sys
import korinterface
import korinterface.batch  # Debian has not all that it works with, but it is there
folder = sys.argv[1] + "/data/polarizer"
results = korinterface.replay(folder + "/polarizer.csv", korinterface.Prm.read(folder, 1005))
korinterface.write_results(sys.argv[2], results)
END
        cmp "$work/python.csv" "$work/results.csv"
    }
    ;;
lintian)
    packed DEB
    as_user=()
    [ "$(id -u)" -ne 0 ] || as_user=(--allow-root)
    lintian "${as_user[@]}" --fail-on none --tag-display-limit 0 "$work/packages"/*.deb >"$work/said"
    # The table's lines begin with | `tag` |.
    sed -n 's/^| `\([a-z0-9-]*\)` |.*/\1/p' "$root/docs/releasing.md" | sort >"$work/explained"
    awk '{ print $3 }' "$work/said" | sort -u >"$work/tags"
    # Debian's place for libraries is taken with the prefix /usr only.
    grep -q '^CMAKE_INSTALL_PREFIX:PATH=/usr$' "$build/CMakeCache.txt" ||
        sed -i '/^pkg-config-unavailable-for-cross-compilation$/d' "$work/tags"
    diff "$work/explained" "$work/tags" || { cat "$work/said"; fail "explained (<) and found (>) differ"; }
    ;;
tgz)
    packed TGZ
    mkdir "$work/elsewhere"
    tar -xzf "$work/packages"/*.tar.gz -C "$work/elsewhere" --strip-components=1
    contains "$work/elsewhere" README.md CHANGELOG.md copyright share/man/man1/kor.1 share/man/man1/kor-prm-from-json.1 \
        share/bash-completion/completions/kor "${documents[@]}"
    reads_well "$work/elsewhere"
    # A build for the prefix /usr has its libraries elsewhere than the archive of a release has them.
    if [ -d "$work/elsewhere/lib/pkgconfig" ]; then
        commands_run "$work/elsewhere" "$work/elsewhere/README.md" "On Linux"
    fi
    consumer_built "$work/elsewhere"
    "$work/consumer/consumer"
    replays "$work/elsewhere/bin/kor"
    is_hardened "$(find "$work/elsewhere" -name 'libKORInterface.so.*.*')" "$work/elsewhere/bin/kor"
    ;;
zip)
    wine=("$root/tests/windows/run.sh" "$3")
    packed ZIP
    silently unzip -q "$work/packages"/*.zip -d "$work/unpacked"
    tree=$(echo "$work/unpacked"/*)
    contains "$tree" README.md CHANGELOG.md copyright share/bash-completion/completions/kor bin/KORInterface.dll bin/kor.exe lib/KORInterface.def "${documents[@]}"
    reads_well "$tree"
    consumer_built "$tree" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" \
        -DKORInterface_DIR="$tree/lib/cmake/KORInterface" # the toolchain looks for packages in its own root only
    is_hardened "$tree/bin/KORInterface.dll" "$tree/bin/kor.exe"
    ! "${wine[@]}" "$work/consumer/consumer.exe" >"$work/log" 2>&1 || fail "the consumer runs without the DLL"
    cp "$tree/bin/KORInterface.dll" "$work/consumer/"
    "${wine[@]}" "$work/consumer/consumer.exe"
    replays "${wine[@]}" "$tree/bin/kor.exe"

    commands_run "$tree" "$tree/README.md" "On Windows" "${wine[@]}"
    commands_run "$tree" "$tree/docs/windows.md" "A host program" "${wine[@]}"
    commands_run "$tree" "$tree/docs/first-host.md" "On Windows, with MinGW" "${wine[@]}"
    # One host has the run-time libraries in it, the other takes those of the compiler.
    needed() { x86_64-w64-mingw32-objdump -p "$tree/bin/$1" | grep -oE 'DLL Name: (KORInterface|lib[^ ]*|zlib[^ ]*)\.dll' | sort; }
    [ "$(needed kor.exe)" = "DLL Name: KORInterface.dll" ] || fail "kor.exe needs $(needed kor.exe)"
    [ "$(needed host.exe)" = "DLL Name: KORInterface.dll" ] || fail "host.exe needs $(needed host.exe)"
    needed host_shared.exe | grep -q 'libstdc++-6\.dll' || fail "host_shared.exe needs $(needed host_shared.exe)"
    folder=$tree/data/polarizer
    for host in host host_shared; do
        "${wine[@]}" "$tree/bin/$host.exe" "$folder" 1005 "$folder/polarizer.korraw" >"$work/$host.out"
    done
    cmp "$work/host.out" "$work/host_shared.out"
    "$python" "$here/host_agrees.py" "$work/host.out" "$tree/results.csv"
    ;;
*)
    fail "unknown check $check"
    ;;
esac
