# What the scripts share. Source it from a script in this folder. --help prints the comment at the script's top.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

die() {
    printf '%s\n' "$*" >&2
    exit 1
}

help() {
    sed -n '2,/^[^#]/ s/^# \?//p' "script/$(basename "$0")"
}

# usage: says what the script takes, to somebody who gave it something else.
usage() {
    help >&2
    exit 2
}

case ${1:-} in
    -h | --help)
        help
        exit
        ;;
esac

# build PRESET [TARGET...]: configures once and builds; quiet unless something fails.
build() {
    local preset=$1 log
    local -x LC_ALL=C.UTF-8
    shift
    log=$(mktemp)
    if ! { [ -e "build/$preset/build.ninja" ] || cmake --preset "$preset"; } >"$log" 2>&1 ||
        ! cmake --build --preset "$preset" ${1:+--target "$@"} >>"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        die "the build of preset $preset failed"
    fi
    grep -E 'warning:|^CMake .*Warning' -A 3 "$log" >&2 || true
    rm -f "$log"
}
