#include "reader/tiff_kind.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "reader/tiff_file.h"

namespace lumato::reader {
namespace {

constexpr double kWhite = 65535;

bool IsGrey(const TiffKind& kind) {
    return kind.photometric == PHOTOMETRIC_MINISWHITE || kind.photometric == PHOTOMETRIC_MINISBLACK;
}

bool AreSamplesReadable(const TiffKind& kind) {
    // libvips divides by an alpha of 8 bits.
    const bool divided =
        kind.isAssociated && kind.format != SAMPLEFORMAT_IEEEFP &&
        (!kind.HasUsualSamples() || (kind.bits > 8 && kind.photometric == PHOTOMETRIC_SEPARATED));
    if (divided)
        return false;
    switch (kind.format) {
        case SAMPLEFORMAT_UINT:
        case SAMPLEFORMAT_VOID:
            return kind.bits == 8 || kind.bits == 16 || kind.bits == 32 ||
                   (kind.samples == 1 && (kind.bits == 1 || kind.bits == 2 || kind.bits == 4));
        case SAMPLEFORMAT_INT:
            return kind.bits == 8 || kind.bits == 16 || kind.bits == 32;
        case SAMPLEFORMAT_IEEEFP:
            return kind.bits == 32;
        default:
            return false;
    }
}

bool AreColoursReadable(const TiffKind& kind) {
    switch (kind.photometric) {
        case PHOTOMETRIC_MINISWHITE:
        case PHOTOMETRIC_MINISBLACK:
        case PHOTOMETRIC_RGB:
            return kind.samples >= kind.Colours();
        case PHOTOMETRIC_PALETTE:
            return kind.HasUsualSamples();
        case PHOTOMETRIC_SEPARATED:
            return kind.isCmyk && kind.samples >= kind.Colours();
        case PHOTOMETRIC_YCBCR:
            return kind.compression == COMPRESSION_JPEG;  // whose reader gives red, green and blue
        case PHOTOMETRIC_CIELAB:
            return kind.samples == kind.Colours() && (kind.bits == 8 || kind.bits == 16);
        default:
            return false;
    }
}

// What is white among floating-point samples of that mean: they have no range of their own. 0 to 1 is usual,
// some programs leave them that of 8 or 16 bits, and no picture is brighter than white on the whole.
double WhiteOf(double mean) {
    return mean <= 1 ? 1 : mean <= 255 ? 255 : kWhite;
}

// Of each band.
bool Means(VipsImage* image, std::vector<double>& means) {
    VipsImage* stats = nullptr;
    if (vips_stats(image, &stats, nullptr) != 0)
        return false;
    const Image owned(stats);
    // A row for all bands, then one for each.
    const auto* const table = static_cast<const double*>(vips_image_get_data(stats));
    if (table == nullptr)
        return false;
    constexpr int kMean = 4;
    for (int band = 0; band < image->Bands; ++band)
        means.push_back(table[(band + 1) * stats->Xsize + kMean]);
    return true;
}

struct Range {
    double black = 0, white = 1;
};

// Of a sample of integers.
Range IntegerRange(const TiffKind& kind) {
    const double span = static_cast<double>((std::int64_t{1} << kind.bits) - 1);
    const double least = kind.format == SAMPLEFORMAT_INT ? -(span + 1) / 2 : 0;
    return {least, least + span};
}

bool Ranges(const TiffKind& kind, const Image& again, std::vector<Range>& ranges) {
    const auto colours = static_cast<std::size_t>(kind.Colours());
    ranges.assign(colours + (kind.alpha >= 0 ? 1 : 0), IntegerRange(kind));
    if (kind.format != SAMPLEFORMAT_IEEEFP)
        return true;
    std::vector<double> means;
    if (!again || !Means(again.get(), means))
        return false;
    double sum = 0;
    for (std::size_t i = 0; i < colours; ++i)
        sum += means[i];
    ranges.assign(ranges.size(), {0, WhiteOf(sum / static_cast<double>(colours))});
    if (kind.alpha >= 0)
        ranges.back().white = WhiteOf(means.back());
    return true;
}

// The colours, then the alpha.
bool SelectSamples(Image& image, const TiffKind& kind) {
    const int colours = kind.Colours();
    if (image->Bands == colours + (kind.alpha >= 0 ? 1 : 0) && kind.alpha <= colours)
        return true;
    Image alpha;
    if (kind.alpha >= 0) {
        VipsImage* band = nullptr;
        if (vips_extract_band(image.get(), &band, kind.alpha, nullptr) != 0)
            return false;
        alpha.reset(band);
    }
    return ExtractBands(image, 0, colours) && (!alpha || Apply(image, [&](VipsImage* in, VipsImage** out) {
               return vips_bandjoin2(in, alpha.get(), out, nullptr);
           }));
}

VipsInterpretation InterpretationOf(const TiffKind& kind) {
    return IsGrey(kind)                                ? VIPS_INTERPRETATION_GREY16
           : kind.photometric == PHOTOMETRIC_SEPARATED ? VIPS_INTERPRETATION_CMYK
                                                       : VIPS_INTERPRETATION_RGB16;
}

bool Scale(Image& image, const TiffKind& kind, const std::vector<Range>& ranges) {
    std::vector<double> factors, offsets;
    for (std::size_t band = 0; band < ranges.size(); ++band) {
        const bool isColour = band < static_cast<std::size_t>(kind.Colours());
        auto [black, white] = ranges[band];
        // libvips has turned unsigned ones already.
        if (isColour && kind.photometric == PHOTOMETRIC_MINISWHITE &&
            (kind.format == SAMPLEFORMAT_INT || kind.format == SAMPLEFORMAT_IEEEFP))
            std::swap(black, white);
        factors.push_back(kWhite / (white - black));
        offsets.push_back(-black * factors.back() + 0.5);  // the cast cuts off
    }
    return Apply(image,
                 [&](VipsImage* in, VipsImage** out) {
                     return vips_linear(in, out, factors.data(), offsets.data(),
                                        static_cast<int>(factors.size()), nullptr);
                 }) &&
           Apply(image, [](VipsImage* in, VipsImage** out) { return vips_cast_ushort(in, out, nullptr); }) &&
           Apply(image, [&](VipsImage* in, VipsImage** out) {
               return vips_copy(in, out, "interpretation", InterpretationOf(kind), nullptr);
           });
}

std::int64_t TileRow(TIFF* tiff) {
    constexpr std::uint64_t kBeyondAll = 1ULL << 40;
    std::uint32_t width = 0, across = 0;
    if (TIFFIsTiled(tiff) == 0 || TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width) == 0 ||
        TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &across) == 0 || across == 0)
        return 0;
    const std::uint64_t tiles = width / across + 1;
    return static_cast<std::int64_t>(tiles * std::min(TIFFTileSize64(tiff), kBeyondAll / tiles));
}

}  // namespace

int TiffKind::Colours() const {
    switch (photometric) {
        case PHOTOMETRIC_MINISWHITE:
        case PHOTOMETRIC_MINISBLACK:
        case PHOTOMETRIC_PALETTE:
            return 1;
        case PHOTOMETRIC_SEPARATED:
            return 4;
        default:
            return 3;
    }
}

TiffFile OpenTiff(int descriptor) {
    TiffFile tiff(nullptr, TIFFClose);
    const int own = ::dup(descriptor);
    if (own < 0)
        return tiff;
    ::lseek(own, 0, SEEK_SET);
    // Not mapped: who cuts the file off meanwhile would end the program.
    tiff.reset(TIFFFdOpen(own, "", "rm"));
    if (!tiff)
        ::close(own);
    return tiff;
}

bool ReadTiffKind(int descriptor, TiffKind& kind) {
    const TiffFile tiff = OpenTiff(descriptor);
    if (!tiff)
        return false;
    std::uint16_t photometric = 0, bits = 1, format = 1, samples = 1, compression = 1, inks = INKSET_CMYK,
                  extras = 0;
    std::uint16_t* types = nullptr;
    if (TIFFGetField(tiff.get(), TIFFTAG_PHOTOMETRIC, &photometric) == 0)
        return false;
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLEFORMAT, &format);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_COMPRESSION, &compression);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_INKSET, &inks);
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_EXTRASAMPLES, &extras, &types);
    kind = {photometric,        bits, format, samples, compression, inks == INKSET_CMYK, -1, false,
            TileRow(tiff.get())};
    // Whoever has a single one without saying what it is means alpha, too.
    const auto* const alpha = std::find_if(types, types + extras, [](std::uint16_t type) {
        return type == EXTRASAMPLE_ASSOCALPHA || type == EXTRASAMPLE_UNASSALPHA;
    });
    if (alpha != types + extras) {
        kind.alpha = samples - extras + static_cast<int>(alpha - types);
        kind.isAssociated = *alpha == EXTRASAMPLE_ASSOCALPHA;
    } else if (samples == kind.Colours() + 1 && photometric != PHOTOMETRIC_PALETTE) {
        kind.alpha = kind.Colours();
    }
    return true;
}

std::optional<End> WhyNotRead(const TiffKind& kind) {
    if (!AreColoursReadable(kind))
        return End{Outcome::Unsupported, Reason::TiffColours, std::to_string(kind.photometric)};
    if (!AreSamplesReadable(kind))
        return End{Outcome::Unsupported, Reason::TiffSamples, std::to_string(kind.bits)};
    return std::nullopt;
}

bool ToUsualSamples(Image& image, const TiffKind& kind, Image again) {
    const bool isAsRead = kind.photometric == PHOTOMETRIC_PALETTE || kind.photometric == PHOTOMETRIC_YCBCR ||
                          kind.photometric == PHOTOMETRIC_CIELAB;
    if (isAsRead)
        return true;
    if (!SelectSamples(image, kind) || (again && !SelectSamples(again, kind)))
        return false;
    std::vector<Range> ranges;
    return kind.HasUsualSamples() || (Ranges(kind, again, ranges) && Scale(image, kind, ranges));
}

}  // namespace lumato::reader
