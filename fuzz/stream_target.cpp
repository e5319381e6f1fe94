#include "fuzz/input.h"
#include "fuzz/targets.h"
#include "jpeg/decoder.h"
#include "jpeg/encoder.h"

namespace lumato::fuzz {

void RunStream(ByteSpan input) {
    const auto decoded = jpeg::DecodeStream(input, 0, 0);
    if (!decoded)
        return;
    Demand(decoded->width > 0 && decoded->height > 0 && decoded->stride >= decoded->width,
           "a decoded picture has a size");
    Demand(decoded->pixels.size() ==
               static_cast<std::size_t>(decoded->stride) * static_cast<std::size_t>(decoded->height) * 3,
           "a decoded picture has its pixels");
    Demand(jpeg::DecodeStream(input, decoded->width, decoded->height).has_value(),
           "a picture fits its own size");
    Demand(!jpeg::DecodeStream(input, decoded->width + 1, decoded->height), "another size is refused");
}

std::vector<Bytes> StreamSeeds() {
    std::vector<Bytes> seeds;
    constexpr int kWidth = 17, kHeight = 9, kStride = 52;
    Bytes pixels(std::size_t{kStride} * kHeight);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<std::uint8_t>(i * i / 7);
    for (int mode = 0; mode < 16; ++mode) {
        Bytes stream(jpeg::MaximumStreamSize(kWidth, kHeight, mode));
        int size = 0;
        Demand(jpeg::CVaskJpegEncoder(60).CompressImage(pixels.data(), stream.data(), kWidth, kHeight, size,
                                                        mode),
               "the encoder makes seeds");
        stream.resize(static_cast<std::size_t>(size));
        seeds.push_back(stream);
    }
    return seeds;
}

}  // namespace lumato::fuzz
