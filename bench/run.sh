#!/usr/bin/env bash
# Installs the peers and the photographs, builds, and prints all comparisons: ours beside the peers, in turn, in
# one run. About half an hour on a quiet machine; --quick takes a third of the rounds and of the pictures.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-bench
codec=()
process=()
if [ "${1:-}" = --quick ]; then
    codec=(--rounds 3 --pixels 4)
    process=(--quick)
fi

"$root/tools/install_packages.sh" build run bench
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMATO_BENCH=ON -DLUMATO_TESTS=OFF \
    -DLUMATO_WINDOW=ON >/dev/null
ninja -C "$build" codec_bench room_bench edit_view_bench turbo_bitmaps qt_scaled_reader lumatoctl lumato-reader >/dev/null

date -u +%Y-%m-%d
grep -m1 'model name' /proc/cpuinfo || uname -m
echo "$(nproc) processors, load $(cut -d' ' -f1 /proc/loadavg)"
echo
"$build/codec_bench" "${codec[@]}"
echo
JSIMD_FORCENONE=1 "$build/codec_bench" --form plain "${codec[@]}"
echo
python3 "$root/bench/process_bench.py" "$build" "${process[@]}"
echo
"$build/room_bench"
