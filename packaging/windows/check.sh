# Builds for Windows with the cross compiler and passes the tests under Wine. Sourced by ./check, in the source folder.
# shellcheck shell=bash
source packaging/windows/qt.sh
source packaging/windows/dependencies.sh

TBR_WINDOWS_PACKAGES=(g++-mingw-w64-x86-64-posix wine64 googletest libfmt-dev dpkg-dev make xz-utils perl zip unzip)

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

# test_windows [ARGUMENT...]: ctest for the programs that are built, with further arguments.
test_windows() {
    local status=0
    export TBR_WINDOWS_CACHE=${TBR_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/tbrNavigation/windows}
    # The first program brings up Wine's own ones, which hold its output open until the last program has gone. So that
    # ctest does not wait for them, one that says nothing is there all the time.
    mkfifo "$TBR_WINDOWS_CACHE/keeper.$$"
    packaging/windows/wine.sh cmd <"$TBR_WINDOWS_CACHE/keeper.$$" >/dev/null 2>&1 &
    exec 8>"$TBR_WINDOWS_CACHE/keeper.$$"
    rm "$TBR_WINDOWS_CACHE/keeper.$$"
    ctest --preset windows "$@" 8>&- | tell_skipped 8>&- || status=$?
    exec 8>&- # the end of its input ends the keeper
    wait $! || true
    WINEPREFIX="$TBR_WINDOWS_CACHE/wine" /usr/lib/wine/wineserver --kill || true # of this Wine folder alone
    return $status
}

# Passes ctest's words on and, before its summary, says how many tests cannot hold under Wine or on Windows.
tell_skipped() {
    local line log=build/windows/Testing/Temporary/LastTest.log skipped
    while IFS= read -r line; do
        if [[ $line == *"% tests passed"* ]]; then
            skipped=$(cat "$log"* | grep -c '^\[  SKIPPED \] .* ms)' || true)
            echo "$skipped tests were skipped; each says why in $log"
        fi
        printf '%s\n' "$line"
    done
}
