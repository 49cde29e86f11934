#!/usr/bin/env bash
# wine.sh PROGRAM.exe [ARGUMENT...]: runs a Windows program of the build tree, or an unpacked one, under Wine.
# Its own Wine folder, no display, no messages of Wine's. ctest runs every Windows test program through it.
set -euo pipefail

cache=${TBR_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/tbrNavigation/windows}
export WINEPREFIX=${TBR_WINEPREFIX:-$cache/wine}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES="mscoree,mshtml=" # nobody is there to be asked whether to install them
export LC_ALL=C.UTF-8 # how file names are read
unset DISPLAY WAYLAND_DISPLAY

# The folders that Windows searches for DLLs, TBR_WINE_PATH first. With TBR_WINE_ALONE, none but the system's and the
# program's own.
if [ -z "${TBR_WINE_ALONE:-}" ]; then
    program_folder=$(cd "$(dirname "$1")" && pwd)
    runtime=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libstdc++-6.dll)")
    threads=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libwinpthread-1.dll)")
    WINEPATH="${TBR_WINE_PATH:+Z:$TBR_WINE_PATH;}Z:$program_folder/../bin;Z:$cache/qt/bin;Z:$(realpath "$runtime");Z:$(realpath "$threads")"
    export WINEPATH
fi
exec /usr/lib/wine/wine64 "$@"
