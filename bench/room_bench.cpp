// Codec, composer and store by themselves: for work on them, before and after. Beside the peers they are in
// codec_bench and process_bench.py.
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "jpeg/decoder.h"
#include "jpeg/encoder.h"
#include "picture/draw_my_image.h"
#include "store/picture_list.h"

namespace {

using namespace lumato;

using Bytes = std::vector<std::uint8_t>;

// Smooth areas, edges and noise, different in every picture: few pictures would be learnt by heart.
Bytes MadePicture(int width, int height, unsigned seed) {
    std::minstd_rand random(seed);
    Bytes pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const auto column = static_cast<unsigned>(i / 3 % static_cast<std::size_t>(width));
        const auto row = static_cast<unsigned>(i / 3 / static_cast<std::size_t>(width));
        const bool isEdge = ((column + seed * 7) / 40 + row / 30) % 3 == 0;
        pixels[i] =
            static_cast<std::uint8_t>((column / 5 + row / 4 + (isEdge ? 60 : 0) + random() % 12) % 256);
    }
    return pixels;
}

constexpr int kWidth = 800;
constexpr int kHeight = 480;
constexpr int kMode = 3;

std::vector<Bytes> MadePictures() {
    std::vector<Bytes> pictures;
    for (unsigned seed = 0; seed < 20; ++seed)
        pictures.push_back(MadePicture(kWidth, kHeight, seed));
    return pictures;
}

void Encode(benchmark::State& state) {
    const std::vector<Bytes> pictures = MadePictures();
    const jpeg::CVaskJpegEncoder encoder(static_cast<int>(state.range(0)));
    Bytes out(jpeg::MaximumStreamSize(kWidth, kHeight, kMode));
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        int size = 0;
        encoder.CompressImage(pictures[next++ % pictures.size()].data(), out.data(), kWidth, kHeight, size,
                              kMode);
        benchmark::DoNotOptimize(size);
    }
}
BENCHMARK(Encode)->Arg(50)->Arg(90)->Unit(benchmark::kMicrosecond);

void Decode(benchmark::State& state) {
    const jpeg::CVaskJpegEncoder encoder(static_cast<int>(state.range(0)));
    std::vector<Bytes> streams;
    for (const Bytes& picture : MadePictures()) {
        Bytes out(jpeg::MaximumStreamSize(kWidth, kHeight, kMode));
        int size = 0;
        encoder.CompressImage(picture.data(), out.data(), kWidth, kHeight, size, kMode);
        out.resize(static_cast<std::size_t>(size));
        streams.push_back(std::move(out));
    }
    jpeg::DecodedPicture decoded;
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(
            jpeg::DecodeStream(streams[next++ % streams.size()], kWidth, kHeight, decoded));
}
BENCHMARK(Decode)->Arg(50)->Arg(90)->Unit(benchmark::kMicrosecond);

// A photograph of 2000 x 1500 held pixels onto the LCD, turned by so many degrees.
void Compose(benchmark::State& state) {
    picture::BitmapInfo info;
    info.width = 4000;
    info.height = 3000;
    info.heldWidth = 2000;
    info.heldHeight = 1500;
    info.bytesPerRow = 8000;
    info.dataSize = 8000 * 1500;
    info.pixels.resize(info.dataSize);
    std::minstd_rand random(1);
    for (std::uint8_t& byte : info.pixels)
        byte = static_cast<std::uint8_t>(random() >> 8);
    picture::MyImage image;
    image.image = &info;
    image.rotation = 180.0F + static_cast<float>(state.range(0));
    image.scaleX = -0.21F;
    image.scaleY = 0.21F;
    Bytes pixels(std::size_t{kWidth} * kHeight * 4);
    const picture::Surface surface{.pixels = pixels.data(),
                                   .width = kWidth,
                                   .height = kHeight,
                                   .bytesPerRow = std::size_t{kWidth} * 4,
                                   .rows = picture::RowOrder::BottomFirst};
    for ([[maybe_unused]] auto _ : state)
        picture::DrawMyImage(surface, -110, -40, kWidth, kHeight, &image, false);
}
BENCHMARK(Compose)->Arg(0)->Arg(90)->Arg(5)->Unit(benchmark::kMillisecond);

// So many pictures into the list: must be linear.
void GrowList(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const store::PictureList list(store::CreateList());
        for (int i = 0; i < state.range(0); ++i)
            store::AddNode(list.get(),
                           new store::FileData{.fileRef = {}, .fileName = std::to_string(i), .seqIndex = i});
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(GrowList)->Arg(1)->Arg(64)->Arg(509)->Complexity(benchmark::oN);

}  // namespace

BENCHMARK_MAIN();
