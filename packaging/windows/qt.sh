# Builds the parts of Qt that the library and its tests need, for Windows, from Debian's own source package.
# Sourced by check.sh; expects TBR_WINDOWS_CACHE. Each step leaves a mark when it is done, so that an interrupted
# build goes on where it was, and the finished folder appears whole or not at all.
# shellcheck shell=bash

qt_version() { dpkg-query -W -f='${source:Version}' qtbase5-dev; }

# The folder of the finished Qt. Its name has the version, so that another version is built beside it.
qt_folder() { echo "$TBR_WINDOWS_CACHE/qt-$(qt_version)"; }

# qt_step MARK WORDS COMMAND...: runs the command once; its output goes to a file that is shown when it fails.
qt_step() {
    local mark=$1 words=$2
    shift 2
    [ -e ".done-$mark" ] && return 0
    echo "Qt for Windows: $words"
    "$@" >"$mark.log" 2>&1 || { tail -n 40 "$mark.log" >&2; echo "(all of it: $PWD/$mark.log)" >&2; return 1; }
    touch ".done-$mark"
}

# The system's package lists stay as they are: source packages are looked up in lists of our own.
qt_apt() {
    apt-get -q -o "Dir::Etc::SourceList=$PWD/apt/sources.list" -o Dir::Etc::SourceParts=/dev/null \
        -o "Dir::State::Lists=$PWD/apt/lists" -o "Dir::Cache=$PWD/apt/cache" "$@"
}

qt_fetch() {
    mkdir -p apt/lists/partial apt/cache
    local suite
    for suite in "debian bookworm" "debian bookworm-updates" "debian-security bookworm-security"; do
        echo "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] http://deb.debian.org/$suite main"
    done >apt/sources.list
    qt_apt update && qt_apt source --download-only --only-source "qtbase-opensource-src=$(qt_version)"
}

qt_unpack() {
    rm -rf source
    dpkg-source --no-check -x qtbase-opensource-src_*.dsc source
}

qt_configure() (
    rm -rf build && mkdir build && cd build &&
        ../source/configure -xplatform win32-g++ -device-option CROSS_COMPILE=x86_64-w64-mingw32- -prefix "$(qt_folder)" \
            -release -opensource -confirm-license -nomake examples -nomake tests -no-gui -no-widgets -no-dbus -no-opengl \
            -no-openssl -no-icu -no-pch -no-feature-sql -no-feature-network -no-feature-xml \
            -qt-zlib -qt-pcre -qt-doubleconversion
)

QT_PARTS=(corelib testlib concurrent winmain)

qt_make() { make -C build sub-src-qmake_all && nice make -j"$(nproc)" -C build/src "${QT_PARTS[@]/#/sub-}"; }

# Installed into a folder that no build looks at, then given its name in one step.
qt_install() {
    local parts=("${QT_PARTS[@]}" moc rcc)
    parts=("${parts[@]/#/sub-}")
    rm -rf installed && make -C build INSTALL_ROOT="$PWD/installed" \
            sub-qmake-qmake-aux-pro-install_subtargets install_mkspecs &&
        make -C build/src INSTALL_ROOT="$PWD/installed" "${parts[@]/%/-install_subtargets}"
}

build_qt() {
    local finished work="$TBR_WINDOWS_CACHE/qt-work"
    finished=$(qt_folder)
    if [ ! -d "$finished" ]; then
        [ "$(cat "$work/version" 2>/dev/null)" = "$(qt_version)" ] || rm -rf "$work"
        mkdir -p "$work/tools" && qt_version >"$work/version"
        (
            cd "$work" || exit 1
            # Qt asks for the compiler without its suffix, which may stand for the other kind of threads.
            ln -sf /usr/bin/x86_64-w64-mingw32-g++-posix tools/x86_64-w64-mingw32-g++
            ln -sf /usr/bin/x86_64-w64-mingw32-gcc-posix tools/x86_64-w64-mingw32-gcc
            PATH="$PWD/tools:$PATH"
            qt_step fetch "fetching the sources" qt_fetch &&
                qt_step unpack "unpacking them" qt_unpack &&
                qt_step configure "configuring (two minutes)" qt_configure &&
                qt_step make "building (ten minutes; only this once)" qt_make &&
                qt_step install "installing" qt_install
        ) && mv "$work/installed$finished" "$finished" && rm -rf "$work" || return 1
    fi
    ln -sfn "$(basename "$finished")" "$TBR_WINDOWS_CACHE/qt"
}
