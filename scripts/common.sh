# SPDX-License-Identifier: MIT
# What the scripts share. Sourced; goes to the project's root folder.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

say() {
    printf '== %s\n' "$*"
}

fail() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

# Runs a command and shows what it printed only when it fails.
quietly() {
    local log status=0
    log=$(mktemp)
    "$@" >"$log" 2>&1 </dev/null || status=$?
    if [ "$status" -ne 0 ]; then
        cat "$log" >&2
        printf 'error: failed with status %d: %s\n' "$status" "$*" >&2
    fi
    rm -f "$log"
    return "$status"
}

# build PRESET [TARGET...]: configures and builds a preset, all of it when no target is named.
build() {
    local preset=$1
    shift
    say "building the $preset preset in build/$preset"
    quietly cmake --preset "$preset" &&
        quietly cmake --build --preset "$preset" ${1:+--target "$@"} -- --quiet
}

. scripts/packages.sh
