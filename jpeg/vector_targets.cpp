// What Highway asks its shared library: which vectors this processor has, and which of them were chosen.
//
// Answered here, because loading that library measures the clock for milliseconds, for its benchmarks, in
// every program that only wants to encode. Its header and all vector code are used as they are.
#include <atomic>
#include <cstdint>

#include <hwy/highway.h>
#include <hwy/targets.h>

namespace hwy {
namespace {

std::int64_t Detect() {
    std::int64_t targets = HWY_STATIC_TARGET;
#if HWY_ARCH_X86
    // Each set needs all the instructions that Highway lets the compiler use in it. Processors that have AVX2
    // and BMI2 have half-precision conversion, too.
    __builtin_cpu_init();
    const bool ssse3 = __builtin_cpu_supports("ssse3") != 0;
    const bool sse4 = ssse3 && __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("sse4.2") &&
                      __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("aes");
    const bool avx2 = sse4 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                      __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
    const bool avx512 = avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
    targets |=
        (ssse3 ? HWY_SSSE3 : 0) | (sse4 ? HWY_SSE4 : 0) | (avx2 ? HWY_AVX2 : 0) | (avx512 ? HWY_AVX3 : 0);
#endif
    return targets;
}

std::atomic<std::int64_t> onlyTargets{0};

}  // namespace

std::int64_t SupportedTargets() {
    static const std::int64_t detected = Detect();
    const std::int64_t only = onlyTargets;
    return only != 0 ? only : detected;
}

void SetSupportedTargetsForTest(std::int64_t targets) {
    onlyTargets = targets;
}

ChosenTarget& GetChosenTarget() {
    static ChosenTarget chosen;
    return chosen;
}

}  // namespace hwy
