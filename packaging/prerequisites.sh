# Installs what a build needs on Debian 12. Sourced by ./run and ./check; does nothing when all is there.
# shellcheck shell=bash

TBR_PACKAGES=(g++ cmake ninja-build ccache qtbase5-dev libeigen3-dev libspdlog-dev libgtest-dev libgmock-dev python3)
# For the tests of the service and of the tunnel besides.
TBR_TEST_PACKAGES=(systemd openssl stunnel4 python3-seccomp)
# For the fuzz targets besides: clang, and the run time of its fuzzer and sanitizers.
TBR_FUZZ_PACKAGES=(clang libclang-rt-dev)

is_installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'ok installed'
}

# install_prerequisites [PACKAGE...]: the packages of every build, and these.
install_prerequisites() {
    local missing=() package
    for package in "${TBR_PACKAGES[@]}" "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    command -v apt-get >/dev/null || { echo "Please install: ${missing[*]} (this script knows apt-get only)" >&2; return 1; }
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "Please install as root: apt-get install ${missing[*]}" >&2; return 1; }
        as_root=(sudo)
    fi
    echo "Installing: ${missing[*]}"
    "${as_root[@]}" apt-get update -qq &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build_preset PRESET [TARGET...]: configures and builds everything, or the targets; prints what is needed to follow it.
build_preset() {
    local preset=$1 log
    shift
    log=$(mktemp)
    cmake --preset "$preset" >"$log" 2>&1 || { cat "$log" >&2; rm -f "$log"; return 1; }
    rm -f "$log"
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
