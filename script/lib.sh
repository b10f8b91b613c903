# What the scripts share. Source it from a script in this folder.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export LC_ALL=C.UTF-8

die() {
    printf '%s\n' "$*" >&2
    exit 1
}

# build PRESET [TARGET...]: configures once and builds; quiet unless something fails.
build() {
    local preset=$1 log
    shift
    log=$(mktemp)
    if ! { [ -e "build/$preset/build.ninja" ] || cmake --preset "$preset"; } >"$log" 2>&1 ||
        ! cmake --build --preset "$preset" ${1:+--target "$@"} >>"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        die "the build of preset $preset failed"
    fi
    grep -F 'warning:' "$log" >&2 || true
    rm -f "$log"
}
