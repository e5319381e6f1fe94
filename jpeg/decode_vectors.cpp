// The decoder's inner loops, with everything but the entropy coding in vectors, behind the choice of the form
// that the processor can run. The plain twins are in decode_plainly.cpp and inverse_dct.cpp.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/decode_vectors.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "jpeg/codec_form.h"
#include "jpeg/decode_loops.h"

#if HWY_TARGET != HWY_SCALAR
#include "jpeg/block_reader.h"
#include "jpeg/vector_inverse.inl.h"
#include "jpeg/vector_paint.inl.h"

HWY_BEFORE_NAMESPACE();
namespace lumato::jpeg::HWY_NAMESPACE {

int Read(const StreamTables& tables, const McuGrid& grid, int wanted, DecodingPosition& position,
         ChunkCoefficients& blocks) {
    return ReadMcus<kGroup>(tables, grid, wanted, position, blocks);
}

void Transform(const std::int16_t* coefficients, std::size_t blocks, std::uint8_t* samples) {
    for (std::size_t block = 0; block < blocks; block += kGroup) {
        if (!InverseGroup(coefficients + block * 64, samples + block * 8))
            InverseGroupPlainly(coefficients + block * 64, samples + block * 8);
    }
}

void Paint(const ChunkSamples& samples, const McuGrid& grid, const ChunkArea& area) {
    const auto paint = grid.wide ? PaintChunk<true> : PaintChunk<false>;
    paint(samples, grid, area);
}

const DecodeLoops* LoopsHere() {
    static constexpr DecodeLoops kLoops{kGroup, Read, Transform, Paint};
    return &kLoops;
}

}  // namespace lumato::jpeg::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#else
namespace lumato::jpeg::HWY_NAMESPACE {
const DecodeLoops* LoopsHere() {
    return &PlainDecodeLoops();
}
}  // namespace lumato::jpeg::HWY_NAMESPACE
#endif

#if HWY_ONCE
namespace lumato::jpeg {

HWY_EXPORT(LoopsHere);

const DecodeLoops& ChosenDecodeLoops() {
    return UsesVectors() ? *HWY_DYNAMIC_DISPATCH(LoopsHere)() : PlainDecodeLoops();
}

}  // namespace lumato::jpeg
#endif
