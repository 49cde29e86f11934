# What the Windows build needs besides Qt and what Debian's packages have ready. Sourced by check.sh; expects
# TBR_WINDOWS_CACHE.
# shellcheck shell=bash

# GoogleTest from Debian's source package. Its folder appears whole or not at all.
build_googletest() {
    local version finished work
    version=$(dpkg-query -W -f='${Version}' googletest)
    finished="$TBR_WINDOWS_CACHE/googletest-$version"
    work="$TBR_WINDOWS_CACHE/googletest-work"
    if [ ! -d "$finished" ]; then
        echo "GoogleTest for Windows: building $version"
        rm -rf "$work" && mkdir -p "$work"
        (
            cmake -S /usr/src/googletest -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
                -DCMAKE_TOOLCHAIN_FILE="$PWD/packaging/windows/toolchain.cmake" -DCMAKE_INSTALL_PREFIX="$work/installed" &&
                cmake --build "$work/build" && cmake --install "$work/build"
        ) >"$work/log" 2>&1 || { tail -n 40 "$work/log" >&2; return 1; }
        mv "$work/installed" "$finished" && rm -rf "$work"
    fi
    ln -sfn "$(basename "$finished")" "$TBR_WINDOWS_CACHE/googletest"
}

# A folder that has the headers of spdlog and fmt and none of the building system's.
link_headers() {
    mkdir -p "$TBR_WINDOWS_CACHE/headers"
    ln -sfn /usr/include/spdlog /usr/include/fmt "$TBR_WINDOWS_CACHE/headers/"
}

# Wine's own folder, made beforehand: test programs that start together would all wait for it.
make_wine_folder() {
    local folder="$TBR_WINDOWS_CACHE/wine"
    [ -e "$folder/.complete" ] && return 0
    echo "Wine: making its folder"
    rm -rf "$folder"
    packaging/windows/wine.sh wineboot --init >"$TBR_WINDOWS_CACHE/wine.log" 2>&1 &&
        WINEPREFIX=$folder /usr/lib/wine/wineserver --wait && touch "$folder/.complete" ||
        { cat "$TBR_WINDOWS_CACHE/wine.log" >&2; return 1; }
}
