# SPDX-License-Identifier: MIT
# The Debian packages that the scripts need. Sourced by scripts/common.sh.

# Configuring asks for what the tests need too, so that belongs to every build.
BUILD_PACKAGES="g++ cmake ninja-build libcli11-dev libfmt-dev nlohmann-json3-dev libgtest-dev libgmock-dev python3"
CHECK_PACKAGES="git clang-format-14 clang-tidy-14 g++-aarch64-linux-gnu qemu-user googletest"
BENCH_PACKAGES="libbenchmark-dev pkg-config libavcodec-dev"
COVERAGE_PACKAGES="gcovr"
PACKAGE_PACKAGES="dpkg-dev file lintian"
CONSUMER_PACKAGES="clang make pkg-config"
ABI_PACKAGES="abigail-tools"
REFERENCE_PACKAGES="doxygen"
FUZZ_PACKAGES="clang libclang-rt-14-dev"
MEMCHECK_PACKAGES="valgrind"

is_installed() {
    [ "$(dpkg-query --show --showformat '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# need PACKAGE...: installs those that are missing. Asks for no network and no rights when none is.
need() {
    command -v dpkg-query >/dev/null || fail "this is not a Debian system; needed, by Debian's names: $*"

    local package missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    [ "${#missing[@]}" -gt 0 ] || return 0

    [ "$(id -u)" -eq 0 ] || fail "missing Debian packages; run as root: apt-get install ${missing[*]}"
    say "installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    quietly apt-get update || fail "apt-get update failed; still missing: ${missing[*]}"
    quietly apt-get -o DPkg::Lock::Timeout=300 install -y --no-install-recommends "${missing[@]}" ||
        fail "apt-get could not install: ${missing[*]}"
}
