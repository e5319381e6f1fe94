// Encoding and decoding photographs at LCD sizes, beside the fastest general JPEG library in the same run.
//
// Every round goes over many different pictures: few would be learnt by heart by the processor's branch
// prediction. Ours and each of the library's ways take every picture in turn, so that all see the same
// machine; the time is the thread's own. A ratio is the library's time divided by ours: above 1 we are
// faster. Shown are medians over the rounds. The library may take whichever of its transforms is the fastest
// in the cell.
//
// Where pictures are small (128 x 128), our median is held against the library's 9th decile: what it reaches
// in the fastest tenth of its rounds. Of these pictures there are a thousand at least, and 30 rounds at
// least.
//
// Usage: codec_bench [--rounds N] [--form NAME] [--pixels MILLIONS] [folder of photographs]
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <turbojpeg.h>
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#include <stb/stb_image_write.h>

#include "base/file.h"
#include "jpeg/bitmap_header.h"
#include "jpeg/codec_form.h"
#include "jpeg/decoder.h"
#include "jpeg/encoder.h"

namespace lumato::jpeg {
namespace {

using Bytes = std::vector<std::uint8_t>;

int rounds = 7;
double megapixels = 12;  // in all pictures of a cell
std::string photographFolder = LUMATO_BENCH_PHOTOGRAPHS;

[[noreturn]] void Stop(const std::string& why) {
    std::fprintf(stderr, "codec_bench: %s\n", why.c_str());
    std::exit(1);
}

// ---- pictures

struct Photograph {
    int width = 0;
    int height = 0;
    Bytes pixels;  // blue, green, red, without padding
};

Photograph LoadPhotograph(tjhandle library, const Path& path) {
    const auto file = ReadFile(path);
    Photograph photo;
    int sampling = 0;
    int colours = 0;
    if (!file || tjDecompressHeader3(library, file->data(), file->size(), &photo.width, &photo.height,
                                     &sampling, &colours) != 0)
        Stop("cannot read " + path.string());
    photo.pixels.resize(static_cast<std::size_t>(photo.width) * static_cast<std::size_t>(photo.height) * 3);
    tjDecompress2(library, file->data(), file->size(), photo.pixels.data(), photo.width, 0, photo.height,
                  TJPF_BGR, 0);
    return photo;
}

std::vector<Photograph> LoadPhotographs() {
    std::vector<Path> paths;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(photographFolder, error)) {
        if (entry.path().extension() == ".jpg")
            paths.push_back(entry.path());
    }
    if (paths.empty())
        Stop("no photographs in " + photographFolder);
    std::sort(paths.begin(), paths.end());
    const tjhandle library = tjInitDecompress();
    std::vector<Photograph> photographs;
    for (const Path& path : paths)
        photographs.push_back(LoadPhotograph(library, path));
    tjDestroy(library);
    return photographs;
}

// A piece at native size, as the encoder takes it: bottom row first, rows padded. With noise as of a sensor:
// these photographs are smoother than a camera's.
Bytes Piece(const Photograph& photo, int width, int height, bool isNoisy, std::mt19937& random) {
    const auto left = random() % static_cast<unsigned>(photo.width - width + 1);
    const auto top = random() % static_cast<unsigned>(photo.height - height + 1);
    const std::size_t stride = BitmapStride(width);
    Bytes piece(stride * static_cast<std::size_t>(height));
    std::normal_distribution<float> noise(0, 4);
    for (std::size_t row = 0; row < static_cast<std::size_t>(height); ++row) {
        const std::uint8_t* from =
            &photo.pixels[((top + row) * static_cast<std::size_t>(photo.width) + left) * 3];
        for (std::size_t i = 0; i < static_cast<std::size_t>(width) * 3; ++i) {
            const float value = static_cast<float>(from[i]) + (isNoisy ? noise(random) : 0);
            piece[row * stride + i] = static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
        }
    }
    return piece;
}

bool IsSmall(int width, int height) {
    return width * height <= 128 * 128;
}

std::vector<Bytes> Pieces(const std::vector<Photograph>& photographs, int width, int height) {
    constexpr std::size_t kManySmall = 1000;
    std::mt19937 random(1);
    std::vector<Bytes> pieces;
    const auto count = std::max(static_cast<std::size_t>(megapixels * 1e6 / (width * height)) + 1,
                                IsSmall(width, height) ? kManySmall : 1);
    for (std::size_t tries = 0; pieces.size() < count; ++tries) {
        const Photograph& photo = photographs[tries % photographs.size()];
        if (photo.width >= width && photo.height >= height)
            pieces.push_back(Piece(photo, width, height, pieces.size() % 2 == 1, random));
        else if (tries > photographs.size() && pieces.empty())
            Stop("the photographs are too small");
    }
    return pieces;
}

// ---- measuring

// CPU time of this thread in seconds: other programs disturb it less than the wall clock's.
double CpuSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// The value below which that share of all lies.
double Quantile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(static_cast<double>(values.size()) * share)];
}
double Median(const std::vector<double>& values) {
    return Quantile(values, 0.5);
}

// What of the library's rounds ours are held against.
enum class Against { Median, NinthDecile };

using Way = std::function<void(std::size_t picture)>;

struct Outcome {
    double ours = 0;   // milliseconds per picture
    double ratio = 0;  // to the library's fastest way
    std::size_t fastest = 0;
};

// ways[0] is ours.
Outcome Compare(std::size_t pictures, const std::vector<Way>& ways, Against against = Against::Median) {
    constexpr int kRoundsForDeciles = 30;
    const int wanted = against == Against::Median ? rounds : std::max(rounds, kRoundsForDeciles);
    std::vector<std::vector<double>> times(ways.size());
    for (int round = 0; round <= wanted; ++round) {  // the first one warms up
        std::vector<double> sums(ways.size());
        for (std::size_t picture = 0; picture < pictures; ++picture) {
            for (std::size_t i = 0; i < ways.size(); ++i) {
                const std::size_t way = (i + picture) % ways.size();
                const double start = CpuSeconds();
                ways[way](picture);
                sums[way] += CpuSeconds() - start;
            }
        }
        for (std::size_t way = 0; way < ways.size() && round > 0; ++way)
            times[way].push_back(sums[way]);
    }
    Outcome outcome;
    outcome.ours = Median(times[0]) / static_cast<double>(pictures) * 1000;
    for (std::size_t way = 1; way < ways.size(); ++way) {
        std::vector<double> ratios;
        for (std::size_t round = 0; round < times[0].size(); ++round)
            ratios.push_back(times[way][round] / times[0][round]);
        // The fastest tenth is the one of the shortest times.
        const double ratio =
            against == Against::Median ? Median(ratios) : Quantile(times[way], 0.1) / Median(times[0]);
        if (outcome.fastest == 0 || ratio < outcome.ratio) {
            outcome.ratio = ratio;
            outcome.fastest = way;
        }
    }
    return outcome;
}

// ---- one cell of the table

struct Cell {
    int width;
    int height;
    int quality;
    bool isSubsampled;

    [[nodiscard]] int Mode() const { return isSubsampled ? 3 : 0; }
    [[nodiscard]] int Sampling() const { return isSubsampled ? TJSAMP_420 : TJSAMP_444; }
    [[nodiscard]] Against HeldAgainst() const {
        return IsSmall(width, height) ? Against::NinthDecile : Against::Median;
    }
};

class Comparison {
  public:
    Comparison(const Cell& cell, const std::vector<Bytes>& pictures)
        : m_cell(cell),
          m_pictures(pictures),
          m_ours(MaximumStreamSize(cell.width, cell.height, cell.Mode())),
          m_theirs(tjBufSize(cell.width, cell.height, cell.Sampling())),
          m_pixels(static_cast<std::size_t>(cell.width) * static_cast<std::size_t>(cell.height) * 3) {}
    ~Comparison() {
        tjDestroy(m_compressor);
        tjDestroy(m_decompressor);
    }
    Comparison(const Comparison&) = delete;
    Comparison& operator=(const Comparison&) = delete;

    Outcome Encoding() {
        return Compare(m_pictures.size(),
                       {[this](std::size_t i) { Encode(m_pictures[i]); },
                        [this](std::size_t i) { Compress(m_pictures[i], TJFLAG_ACCURATEDCT); },
                        [this](std::size_t i) { Compress(m_pictures[i], TJFLAG_FASTDCT); }},
                       m_cell.HeldAgainst());
    }
    // Beside stb's writer, which subsamples up to quality 90. It takes what is there for red, green, blue.
    Outcome EncodingBesideStb() {
        const auto count = [](void* size, void*, int bytes) { *static_cast<int*>(size) += bytes; };
        return Compare(m_pictures.size(), {[this](std::size_t i) { Encode(m_pictures[i]); },
                                           [&, this](std::size_t i) {
                                               int size = 0;
                                               stbi_write_jpg_to_func(count, &size, m_cell.width,
                                                                      m_cell.height, 3, m_pictures[i].data(),
                                                                      m_cell.quality);
                                           }});
    }
    Outcome Decoding() {
        std::vector<Bytes> streams;
        std::vector<Bytes> files;
        for (const Bytes& picture : m_pictures) {
            const ByteSpan stream = Encode(picture);
            streams.emplace_back(stream.begin(), stream.end());
            const ByteSpan file = Compress(picture, 0);
            files.emplace_back(file.begin(), file.end());
        }
        return Compare(
            m_pictures.size(),
            {[&](std::size_t i) { Decode(streams[i]); }, [&](std::size_t i) { Decompress(files[i], 0); },
             [&](std::size_t i) { Decompress(files[i], TJFLAG_FASTDCT); },
             [&](std::size_t i) { Decompress(files[i], TJFLAG_FASTDCT | TJFLAG_FASTUPSAMPLE); }},
            m_cell.HeldAgainst());
    }

  private:
    ByteSpan Encode(const Bytes& picture) {
        int size = 0;
        const CVaskJpegEncoder encoder(m_cell.quality);
        if (!encoder.CompressImage(picture.data(), m_ours.data(), m_cell.width, m_cell.height, size,
                                   m_cell.Mode()))
            Stop("the encoder refused a picture");
        return ByteSpan(m_ours).first(static_cast<std::size_t>(size));
    }
    ByteSpan Compress(const Bytes& picture, int flags) {
        unsigned char* out = m_theirs.data();
        unsigned long size = m_theirs.size();
        if (tjCompress2(m_compressor, picture.data(), m_cell.width,
                        static_cast<int>(BitmapStride(m_cell.width)), m_cell.height, TJPF_BGR, &out, &size,
                        m_cell.Sampling(), m_cell.quality, TJFLAG_BOTTOMUP | TJFLAG_NOREALLOC | flags) != 0)
            Stop(tjGetErrorStr2(m_compressor));
        return ByteSpan(m_theirs).first(size);
    }
    void Decode(const Bytes& stream) {
        if (!DecodeStream(stream, m_cell.width, m_cell.height, m_decoded))
            Stop("the decoder refused a picture");
    }
    void Decompress(const Bytes& file, int flags) {
        if (tjDecompress2(m_decompressor, file.data(), file.size(), m_pixels.data(), m_cell.width, 0,
                          m_cell.height, TJPF_BGR, flags) != 0)
            Stop(tjGetErrorStr2(m_decompressor));
    }

    Cell m_cell;
    const std::vector<Bytes>& m_pictures;
    Bytes m_ours;
    Bytes m_theirs;
    Bytes m_pixels;
    DecodedPicture m_decoded;
    tjhandle m_compressor = tjInitCompress();
    tjhandle m_decompressor = tjInitDecompress();
};

// ---- the table

void PrintTable(const std::vector<Photograph>& photographs) {
    constexpr int kSizes[][2] = {{128, 128}, {320, 240}, {480, 234}, {800, 480}, {1024, 600}};
    constexpr const char* kEncodings[] = {"", "accurate", "fast"};
    constexpr const char* kDecodings[] = {"", "default", "fast DCT", "fast DCT and upsampling"};
    std::printf("| picture | encode, ms | ratio | beside | decode, ms | ratio | beside |\n");
    std::printf("|---|---|---|---|---|---|---|\n");
    double encoding = 0;
    double decoding = 0;
    double stb = 0;
    int cells = 0;
    for (const auto& [width, height] : kSizes) {
        const std::vector<Bytes> pictures = Pieces(photographs, width, height);
        for (const int quality : {50, 90}) {
            for (const bool isSubsampled : {true, false}) {
                const Cell cell{width, height, quality, isSubsampled};
                const char* const held = cell.HeldAgainst() == Against::NinthDecile ? ", 9th decile" : "";
                Comparison comparison(cell, pictures);
                const Outcome encoded = comparison.Encoding();
                const Outcome decoded = comparison.Decoding();
                // All these widths are multiples of 4: rows without padding, as stb wants them.
                if (!UsesVectors() && isSubsampled)
                    stb += std::log(comparison.EncodingBesideStb().ratio);
                std::printf("| %d x %d, quality %d, %s | %.3f | %.2f | %s%s | %.3f | %.2f | %s%s |\n", width,
                            height, quality, isSubsampled ? "4:2:0" : "4:4:4", encoded.ours, encoded.ratio,
                            kEncodings[encoded.fastest], held, decoded.ours, decoded.ratio,
                            kDecodings[decoded.fastest], held);
                std::fflush(stdout);
                encoding += std::log(encoded.ratio);
                decoding += std::log(decoded.ratio);
                ++cells;
            }
        }
    }
    std::printf("| geometric mean | | %.2f | | | %.2f | |\n", std::exp(encoding / cells),
                std::exp(decoding / cells));
    if (!UsesVectors())
        std::printf("| 4:2:0 beside stb's writer, geometric mean | | %.2f | | | | |\n",
                    std::exp(stb / (cells / 2)));
}

}  // namespace
}  // namespace lumato::jpeg

int main(int argc, char** argv) {
    using namespace lumato::jpeg;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--rounds") == 0 && i + 1 < argc)
            rounds = std::max(1, std::atoi(argv[++i]));
        else if (std::strcmp(argv[i], "--pixels") == 0 && i + 1 < argc)
            megapixels = std::atof(argv[++i]);
        else if (std::strcmp(argv[i], "--form") == 0 && i + 1 < argc) {
            if (!UseCodecForm(argv[++i]))
                Stop("no such form here");
        } else {
            photographFolder = argv[i];
        }
    }
    std::printf(
        "Codec, form %s; the library is TurboJPEG. Ratios above 1: ours is faster. Medians; of the library "
        "at 128 x 128 its 9th decile.\n\n",
        UsesVectors() ? "with vectors" : "plain");
    const auto photographs = LoadPhotographs();
    PrintTable(photographs);
    return 0;
}
