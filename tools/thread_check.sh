#!/usr/bin/env bash
# Builds the tests of everything that runs in worker tasks under the thread sanitizer and runs them, the random
# lives among them (LUMATO_LIVES, LUMATO_LIVES_SEED: how many, and where to begin).
#
#   tools/thread_check.sh [--lives]
#
# --lives: these alone, and 100 of them, not optimized and by clang, which is quicker to build.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
export TSAN_OPTIONS="halt_on_error=1 ${TSAN_OPTIONS:-}"

# build FOLDER WINDOW COMPILER FLAGS OPTION... (WINDOW: ON or OFF)
build() {
    build=$top/build-check/$1
    cmake -S "$top" -B "$build" -G Ninja -DLUMATO_MERGE=ON -DCMAKE_BUILD_TYPE=Debug -DLUMATO_SANITIZE=thread \
        -DLUMATO_WINDOW="$2" -DCMAKE_CXX_COMPILER="$3" -DCMAKE_CXX_FLAGS_DEBUG="$4" >/dev/null
    cmake --build "$build" "${@:5}"
}

if [ "${1:-}" = --lives ]; then
    # What is the same in every width of the vectors is compiled for one. As one job: other tests run beside it.
    build threads-lives OFF clang++ "-O0 -g0 -DHWY_COMPILE_ONLY_STATIC" -j 1 --target lives_test
    LUMATO_LIVES=${LUMATO_LIVES:-100} exec "$build/tests/lives_test" --gtest_brief=1
fi

build threads ON g++ "-O1 -g1" \
    --target lives_test store_test device_test vframe_test import_test picture_test window_test
for test in lives store device vframe; do
    "$build/tests/${test}_test" --gtest_brief=1
done
# A batch, pictures read ahead, and turned ones.
"$build/tests/picture_test" --gtest_brief=1 \
    --gtest_filter='AddPictures*:DrawMyImage*:HeldPicture*-*.EveryPicture*:*.ColoursOfOther*'
"$build/tests/import_test" --gtest_brief=1 \
    --gtest_filter='JpegImport.APictureReadAhead*:PictureImport.ManyAtOnce*:Reader.IsKept*:Reader.EndsAtOnce*'
# Qt was not built for the sanitizer: what it does by itself is none of its business. Some tests start programs. The
# window's other tests measure times.
for subject in Window Frames States Desktop; do
    TSAN_OPTIONS="$TSAN_OPTIONS ignore_noninstrumented_modules=1 die_after_fork=0" \
        QT_QPA_PLATFORM=offscreen "$build/tests/window_test" "${subject}Test" -nocrashhandler
done
