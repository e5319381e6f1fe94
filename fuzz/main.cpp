// One fuzzer: libFuzzer's entry to the target that the build names.
#include "base/diagnostics.h"
#include "fuzz/targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (lumato::SetDiagnosticStream(nullptr), true);
    static_cast<void>(quiet);
    lumato::fuzz::LUMATO_FUZZ_TARGET({data, size});
    return 0;
}
