#!/usr/bin/env bash
# Fuzzes one target, or all of them one after the other, for some seconds each (default 60, 0: without end):
#
#   tools/fuzz.sh TARGET|all [SECONDS]
#   tools/fuzz.sh targets                 their names
#
# They are built with the sanitized tests (build-check/sanitized). What is learnt is kept there in corpus/; an input that
# finds a fault is left in found/.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$top/build-check/sanitized
targets=(stream frame journal language bitmap jpeg reader report)

usage() {
    sed -n '2,8s/^# \{0,1\}//p' "$0" >&2
    exit 2
}

# Two of these may run at once: one of them builds.
build_fuzzers() {
    mkdir -p "$build"
    exec 9>"$build/lock"
    flock 9
    [ -f "$build/build.ninja" ] || (cd "$top" && cmake --preset sanitized >/dev/null)
    cmake --build "$build" --target lumato_fuzzers
    "$build/make_seeds" "$build/seeds"
    flock -u 9
}

# A run that takes too long or too much memory is as much a fault as a crash.
fuzz() {
    local target=$1 seconds=$2
    mkdir -p "$build/corpus/$target" "$build/found/$target"
    # The frame's home folder is in memory where that can be.
    [ ! -w /dev/shm ] || export TMPDIR=/dev/shm
    "$build/fuzz_$target" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=1500 -max_len=4096 \
        -print_final_stats=1 -artifact_prefix="$build/found/$target/" \
        "$build/corpus/$target" "$build/seeds/$target"
}

[ $# -ge 1 ] && [ $# -le 2 ] || usage
case $1 in
    targets) echo "${targets[*]}" && exit 0 ;;
    all) ;;
    *)
        [[ " ${targets[*]} " = *" $1 "* ]] || usage
        targets=("$1")
        ;;
esac
build_fuzzers
for target in "${targets[@]}"; do
    fuzz "$target" "${2:-60}"
done
