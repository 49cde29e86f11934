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

    # Wine's server stays between the test programs, which start the faster for it.
    local status=0
    export TBR_WINEPREFIX="$TBR_WINDOWS_CACHE/wine"
    WINEPREFIX=$TBR_WINEPREFIX /usr/lib/wine/wineserver --persistent=60 || true
    ctest --preset windows || status=$?
    WINEPREFIX=$TBR_WINEPREFIX /usr/lib/wine/wineserver --kill || true # of this Wine folder alone
    return $status
}
