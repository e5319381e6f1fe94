// Encoding and decoding photographs at LCD sizes, beside the fastest general JPEG library in the same run.
//
// One iteration goes once over all photographs with each of the two, in turn, so that both see the same
// machine. "ratio" is the library's time divided by ours: above 1 we are faster. Both use quality 90 and 2 x
// 2 sampling; the library may take its fast transform and upsampling. A folder of photographs may be named as
// the last argument.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include "base/file.h"
#include "jpeg/bitmap_header.h"
#include "jpeg/decoder.h"
#include "jpeg/encoder.h"

namespace lumato::jpeg {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kQuality = 90;
constexpr int kMode = 3;

std::string photographFolder = LUMATO_BENCH_PHOTOGRAPHS;

[[noreturn]] void Stop(const std::string& why) {
    std::fprintf(stderr, "codec_bench: %s\n", why.c_str());
    std::exit(1);
}

// The smallest size that the library can decode to and that covers the LCD.
tjscalingfactor ScaleFor(int photoWidth, int photoHeight, int width, int height) {
    int count = 0;
    const tjscalingfactor* factors = tjGetScalingFactors(&count);
    tjscalingfactor best{1, 1};
    for (int i = 0; i < count; ++i) {
        const bool covers =
            TJSCALED(photoWidth, factors[i]) >= width && TJSCALED(photoHeight, factors[i]) >= height;
        if (covers && factors[i].num * best.denom < best.num * factors[i].denom)
            best = factors[i];
    }
    return best;
}

// The middle of a photograph as the encoder takes it: bottom row first, rows padded.
Bytes LoadPhotograph(tjhandle library, const Path& path, int width, int height) {
    const auto file = ReadFile(path);
    int photoWidth = 0;
    int photoHeight = 0;
    int sampling = 0;
    int colours = 0;
    if (!file || tjDecompressHeader3(library, file->data(), file->size(), &photoWidth, &photoHeight,
                                     &sampling, &colours) != 0)
        Stop("cannot read " + path.string());
    const tjscalingfactor scale = ScaleFor(photoWidth, photoHeight, width, height);
    const int scaledWidth = TJSCALED(photoWidth, scale);
    const int scaledHeight = TJSCALED(photoHeight, scale);
    if (scaledWidth < width || scaledHeight < height)
        Stop("too small: " + path.string());
    Bytes scaled(static_cast<std::size_t>(scaledWidth * scaledHeight * 3));
    tjDecompress2(library, file->data(), file->size(), scaled.data(), scaledWidth, 0, scaledHeight, TJPF_BGR,
                  TJFLAG_BOTTOMUP);
    const std::size_t stride = BitmapStride(width);
    Bytes middle(stride * static_cast<std::size_t>(height));
    for (int row = 0; row < height; ++row) {
        const int from = ((row + (scaledHeight - height) / 2) * scaledWidth + (scaledWidth - width) / 2) * 3;
        std::copy_n(scaled.begin() + from, width * 3, middle.begin() + row * static_cast<int>(stride));
    }
    return middle;
}

std::vector<Bytes> LoadPhotographs(int width, int height) {
    std::vector<Path> paths;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(photographFolder, error)) {
        if (entry.path().extension() == ".jpg")
            paths.push_back(entry.path());
    }
    if (paths.empty())
        Stop("no photographs in " + photographFolder);
    std::sort(paths.begin(), paths.end());
    const tjhandle library = tjInitDecompress();
    std::vector<Bytes> photographs;
    for (const Path& path : paths)
        photographs.push_back(LoadPhotograph(library, path, width, height));
    tjDestroy(library);
    return photographs;
}

// CPU time of this thread in seconds: other programs disturb it less than the wall clock's.
double CpuSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Our encoder and the library's, with their output buffers.
class Encoders {
  public:
    Encoders(int width, int height)
        : m_width(width),
          m_height(height),
          m_ours(MaximumStreamSize(width, height, kMode)),
          m_theirs(tjBufSize(width, height, TJSAMP_420)) {}
    ~Encoders() { tjDestroy(m_library); }
    Encoders(const Encoders&) = delete;
    Encoders& operator=(const Encoders&) = delete;

    ByteSpan Ours(const Bytes& photograph) {
        int size = 0;
        const CVaskJpegEncoder encoder(kQuality);
        if (!encoder.CompressImage(photograph.data(), m_ours.data(), m_width, m_height, size, kMode))
            Stop("the encoder refused a photograph");
        return ByteSpan(m_ours).first(static_cast<std::size_t>(size));
    }
    ByteSpan Theirs(const Bytes& photograph) {
        unsigned char* out = m_theirs.data();
        unsigned long size = m_theirs.size();
        if (tjCompress2(m_library, photograph.data(), m_width, static_cast<int>(BitmapStride(m_width)),
                        m_height, TJPF_BGR, &out, &size, TJSAMP_420, kQuality,
                        TJFLAG_BOTTOMUP | TJFLAG_NOREALLOC | TJFLAG_FASTDCT) != 0)
            Stop(tjGetErrorStr2(m_library));
        return ByteSpan(m_theirs).first(size);
    }

  private:
    int m_width;
    int m_height;
    Bytes m_ours;
    Bytes m_theirs;
    tjhandle m_library = tjInitCompress();
};

// Runs both over all photographs in turn and reports milliseconds per photograph.
template <class Ours, class Theirs>
void Compare(benchmark::State& state, std::size_t photographs, Ours ours, Theirs theirs) {
    const auto timeOf = [photographs](auto& work) {
        const double start = CpuSeconds();
        for (std::size_t i = 0; i < photographs; ++i)
            work(i);
        return CpuSeconds() - start;
    };
    double oursTime = 0;
    double theirsTime = 0;
    for (auto _ : state) {
        const double seconds = timeOf(ours);
        state.SetIterationTime(seconds);
        oursTime += seconds;
        theirsTime += timeOf(theirs);
    }
    const double perPhotograph =
        1000 / static_cast<double>(static_cast<std::size_t>(state.iterations()) * photographs);
    state.counters["ours_ms"] = oursTime * perPhotograph;
    state.counters["library_ms"] = theirsTime * perPhotograph;
    state.counters["ratio"] = theirsTime / oursTime;
}

void Encode(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0));
    const int height = static_cast<int>(state.range(1));
    const std::vector<Bytes> photographs = LoadPhotographs(width, height);
    Encoders encoders(width, height);
    Compare(
        state, photographs.size(),
        [&](std::size_t i) { benchmark::DoNotOptimize(encoders.Ours(photographs[i]).data()); },
        [&](std::size_t i) { benchmark::DoNotOptimize(encoders.Theirs(photographs[i]).data()); });
}

void Decode(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0));
    const int height = static_cast<int>(state.range(1));
    std::vector<Bytes> ours;
    std::vector<Bytes> theirs;
    Encoders encoders(width, height);
    for (const Bytes& photograph : LoadPhotographs(width, height)) {
        const ByteSpan stream = encoders.Ours(photograph);
        ours.emplace_back(stream.begin(), stream.end());
        const ByteSpan file = encoders.Theirs(photograph);
        theirs.emplace_back(file.begin(), file.end());
    }
    Bytes pixels(static_cast<std::size_t>(width * height * 3));
    const tjhandle library = tjInitDecompress();
    Compare(
        state, ours.size(),
        [&](std::size_t i) {
            if (!DecodeStream(ours[i], width, height))
                Stop("the decoder refused a photograph");
        },
        [&](std::size_t i) {
            if (tjDecompress2(library, theirs[i].data(), theirs[i].size(), pixels.data(), width, 0, height,
                              TJPF_BGR, TJFLAG_FASTDCT | TJFLAG_FASTUPSAMPLE) != 0)
                Stop(tjGetErrorStr2(library));
        });
    tjDestroy(library);
}

BENCHMARK(Encode)->Args({480, 234})->Args({800, 480})->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Decode)->Args({480, 234})->Args({800, 480})->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace lumato::jpeg

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (argc > 1)
        lumato::jpeg::photographFolder = argv[1];
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
