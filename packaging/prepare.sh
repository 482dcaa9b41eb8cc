# shellcheck shell=bash disable=SC2034 # the lists are for those that source this
# SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
# SPDX-License-Identifier: MIT
#
# Sourced by run, test, bench/run and the checks: installs missing Debian packages and reports it.

build_packages=(g++ cmake ninja-build pkg-config qtbase5-dev libudev-dev libre2-dev libsystemd-dev)
# A window needs these, but no library depends on them: a Wayland platform and a font.
run_packages=(qtwayland5 fonts-dejavu-core)
# These show the window if there is no display.
display_packages=(tigervnc-standalone-server tigervnc-tools xauth matchbox-window-manager)
test_packages=(libgtest-dev libgmock-dev acl umockdev xvfb xauth xdotool openbox python3-pyvisa-py
    libavahi-core7 libdaemon0 dbus-daemon iproute2)
bench_packages=(libbenchmark-dev libglib2.0-dev xvfb xauth python3)
check_packages=(clang clang-tidy clang-format libclang-rt-14-dev shellcheck desktop-file-utils appstream
    lintian dpkg-dev man-db)

say() { printf '%s: %s\n' "${0##*/}" "$*"; }
fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

is_installed() { [[ $(dpkg-query -W -f='${Status}' "$1" 2>/dev/null) == 'install ok installed' ]]; }

# install_packages PACKAGE...: installs those that are missing, as root or through sudo.
install_packages() {
    if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
        say "this is no Debian system, so nothing is installed here; needed are what Debian calls: $*"
        return
    fi
    local missing=() package
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    ((${#missing[@]})) || return 0

    local as_root=(env DEBIAN_FRONTEND=noninteractive LC_ALL=C)
    if ((EUID != 0)); then
        command -v sudo >/dev/null || fail "needs root to install: apt-get install ${missing[*]}"
        as_root=(sudo "${as_root[@]}")
        "${as_root[@]}" true || fail "sudo refused; somebody who is root can run: apt-get install ${missing[*]}"
    fi
    say "installing ${missing[*]}"
    # apt-get install waits for another apt-get by itself; apt-get update does not.
    local errors attempt=0
    until errors=$("${as_root[@]}" apt-get update -qq 2>&1 >/dev/null); do
        [[ $errors == *'Could not get lock'* ]] || fail "apt-get update failed: $errors"
        ((attempt++)) || say "another apt-get runs; waiting up to five minutes"
        ((attempt < 60)) || fail "another apt-get still runs"
        sleep 5
    done
    "${as_root[@]}" apt-get install -y -qq -o DPkg::Lock::Timeout=300 --no-install-recommends "${missing[@]}" >/dev/null ||
        fail "could not install: ${missing[*]}"
}

# Unpacks the Avahi daemon in build/tools for the tests. Installing it would start it, and it would announce this
# machine. Without it, the tests skip the network.
unpack_avahi() {
    [[ -d build/tools ]] && return
    command -v apt-get >/dev/null || return 0
    say "unpacking avahi-daemon in $PWD/build/tools"
    rm -rf build/tools.new
    mkdir -p build/tools.new
    # shellcheck disable=SC2015 # what fails on either side ends in the same message
    (cd build/tools.new && apt-get download -qq avahi-daemon 2>/dev/null && dpkg-deb -x avahi-daemon_*.deb .) &&
        mv build/tools.new build/tools ||
        say "could not download it ('apt-get update' may help); going on without"
}
