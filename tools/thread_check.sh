#!/usr/bin/env bash
# Builds the tests of everything that runs in worker tasks under the thread sanitizer and runs them, the random
# lives among them (LUMATO_LIVES, LUMATO_LIVES_SEED: how many, and where to begin).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$top/build-check/thread

cmake -S "$top" -B "$build" -G Ninja -DLUMATO_MERGE=ON -DCMAKE_BUILD_TYPE=Debug \
    -DLUMATO_SANITIZE=thread -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" >/dev/null
# The other tests of the window measure times.
windows=(Window Frames States Desktop)
cmake --build "$build" --target lives_test store_test device_test vframe_test import_test picture_test window_test
for test in lives store device vframe; do
    TSAN_OPTIONS="halt_on_error=1 ${TSAN_OPTIONS:-}" "$build/tests/${test}_test" --gtest_brief=1
done
# A batch, pictures read ahead, and turned ones.
TSAN_OPTIONS="halt_on_error=1 ${TSAN_OPTIONS:-}" "$build/tests/picture_test" --gtest_brief=1 \
    --gtest_filter='AddPictures*:DrawMyImage*:HeldPicture*-*.EveryPicture*:*.ColoursOfOther*'
TSAN_OPTIONS="halt_on_error=1 ${TSAN_OPTIONS:-}" "$build/tests/import_test" --gtest_brief=1 \
    --gtest_filter='JpegImport.APictureReadAhead*:PictureImport.ManyAtOnce*:Reader.IsKept*:Reader.EndsAtOnce*'
# Qt was not built for the sanitizer: what it does by itself is none of its business. Some tests start programs.
for subject in "${windows[@]}"; do
    TSAN_OPTIONS="halt_on_error=1 ignore_noninstrumented_modules=1 die_after_fork=0 ${TSAN_OPTIONS:-}" \
        QT_QPA_PLATFORM=offscreen "$build/tests/window_test" "${subject}Test" -nocrashhandler
done
