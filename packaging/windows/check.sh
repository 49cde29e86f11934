# Builds for Windows with the cross compiler and passes the tests under Wine. Sourced by ./check, in the source folder.
# shellcheck shell=bash
source packaging/windows/qt.sh
source packaging/windows/dependencies.sh

TBR_WINDOWS_PACKAGES=(g++-mingw-w64-x86-64-posix wine64 googletest libfmt-dev dpkg-dev make xz-utils perl zip unzip clang)

check_windows() {
    export TBR_WINDOWS_CACHE=${TBR_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/tbrNavigation/windows}
    mkdir -p "$TBR_WINDOWS_CACHE" && TBR_WINDOWS_CACHE=$(realpath "$TBR_WINDOWS_CACHE") || return 1
    (
        flock 9 # two checks at once build these things once
        build_qt && build_googletest && link_headers && make_wine_folder
    ) 9>"$TBR_WINDOWS_CACHE/lock" || return 1

    # The programs for this system talk to those for Windows in some tests.
    build_preset release toolserver toolclient SimulatedCamera TSClient && build_preset windows || return 1

    test_windows
}

# test_windows [ARGUMENT...]: ctest for the programs that are built, with further arguments. Two at once take turns: they
# share Wine's folder, and with it the programs of Wine's own that the first of them brings up and the last one ends.
test_windows() {
    export TBR_WINDOWS_CACHE=${TBR_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/tbrNavigation/windows}
    (
        flock --nonblock 7 || { echo "Another check tests under Wine; waiting for its end" && flock 7; } || exit 1
        set -o pipefail
        rm -f build/windows/Testing/Temporary/LastTest.log* # else its skipped tests counted, too
        keep_wine_up
        status=0
        ctest --preset windows "$@" 7>&- 8>&- | tell_skipped 7>&- 8>&- || status=$?
        exec 8>&- # the end of its input ends the keeper
        wait "$keeper" || true
        WINEPREFIX="$TBR_WINDOWS_CACHE/wine" /usr/lib/wine/wineserver --kill || true # of this Wine folder alone
        exit $status
    ) 7>"$TBR_WINDOWS_CACHE/wine.lock"
}

# The first Windows program brings up Wine's own ones, which hold its output open until the last program has gone: ctest
# would wait for them after its first test. So a keeper that says nothing is there first, and as long as descriptor 8.
keep_wine_up() {
    local input
    input=$(mktemp -u)
    mkfifo "$input"
    packaging/windows/wine.sh cmd <"$input" >/dev/null 2>&1 7>&- &
    keeper=$!
    exec 8>"$input"
    rm "$input"
    packaging/windows/wine.sh cmd /c exit </dev/null >/dev/null 2>&1 7>&- 8>&- # when it has run, Wine's programs are up
}

# Passes ctest's words on and, before its summary, says how many tests cannot hold under Wine or on Windows.
tell_skipped() {
    local line log=build/windows/Testing/Temporary/LastTest.log skipped
    while IFS= read -r line; do
        if [[ $line == *"% tests passed"* ]]; then
            skipped=$(cat "$log"* | grep -c '^\[  SKIPPED \] .* ms)' || true)
            echo "$skipped tests were skipped$([ "$skipped" -eq 0 ] || echo "; each says why in $log")"
        fi
        printf '%s\n' "$line"
    done
}
