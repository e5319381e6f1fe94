// Any picture that libvips reads, into rows.
#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include <unistd.h>
#include <vips/vips.h>

#include "reader/heif_reduced.h"
#include "reader/read_picture.h"
#include "reader/tiff_kind.h"
#include "reader/usual_colours.h"
#include "reader/vips_image.h"

namespace lumato::reader {
namespace {

// The readers that may be used.
struct Reader {
    std::string_view name;
    Format format;
    bool shrinks;  // can decode smaller
};
constexpr Reader kReaders[] = {
    {"VipsForeignLoadPngSource", Format::Png, false},   {"VipsForeignLoadWebpSource", Format::WebP, true},
    {"VipsForeignLoadTiffSource", Format::Tiff, false}, {"VipsForeignLoadNsgifSource", Format::Gif, false},
    {"VipsForeignLoadHeifSource", Format::Heif, false}, {"VipsForeignLoadJxlSource", Format::JpegXl, false},
};

const Reader* ReaderFor(VipsSource* source) {
    const char* const name = vips_foreign_find_load_source(source);
    if (!name)
        return nullptr;
    const auto* const found = std::find_if(std::begin(kReaders), std::end(kReaders),
                                           [&](const Reader& reader) { return reader.name == name; });
    return found == std::end(kReaders) ? nullptr : found;
}

// What libvips has to say, on one line; some of its reasons tell that the file is too short.
End SayVipsError() {
    std::string said = vips_error_buffer();
    vips_error_clear();
    while (said.ends_with('\n'))
        said.pop_back();
    std::replace(said.begin(), said.end(), '\n', ' ');
    if (said.find("out of memory") != std::string::npos)
        return {Outcome::TooLarge, Reason::BeyondMemory};
    constexpr std::string_view kEnds[] = {
        "end of file", "end of input",   "EOF",        "eof",       "truncated",
        "Truncated",   "Unexpected end", "not enough", "Not enough"};
    for (const std::string_view end : kEnds)
        if (said.find(end) != std::string::npos)
            return {Outcome::Damaged, Reason::CutOff};
    return {Outcome::Damaged, Reason::Broken, said.empty() ? "libvips says no more" : said};
}

Source OpenSource(int descriptor) {
    // The position in the file is shared with every earlier source on the descriptor.
    ::lseek(descriptor, 0, SEEK_SET);
    return Source(vips_source_new_from_descriptor(descriptor));
}

Image Open(int descriptor, double scale) {
    const Source source = OpenSource(descriptor);
    if (!source)
        return nullptr;
    // A name in front of it would be read for options, so that the file is handed over open.
    if (scale < 1)
        return Image(vips_image_new_from_source(source.get(), "", "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                                VIPS_FAIL_ON_TRUNCATED, "scale", scale, nullptr));
    return Image(vips_image_new_from_source(source.get(), "", "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                            VIPS_FAIL_ON_TRUNCATED, nullptr));
}

bool IsInterlaced(VipsImage* image) {
    int interlaced = 0;
    return vips_image_get_typeof(image, "interlaced") != 0 &&
           vips_image_get_int(image, "interlaced", &interlaced) == 0 && interlaced != 0;
}

// Its brands stand in the first box (ISO/IEC 14496-12, 4.3).
bool HasAvifBrand(int descriptor) {
    std::array<char, 64> start{};
    const ssize_t size = ::pread(descriptor, start.data(), start.size(), 0);
    return size > 0 && std::string_view(start.data(), static_cast<std::size_t>(size)).find("avif") !=
                           std::string_view::npos;
}

Format FormatOf(VipsImage* image, int descriptor, const Reader& reader, const TiffKind& kind) {
    constexpr std::int64_t kLargeRow = 8 << 20;
    if (IsInterlaced(image) || kind.tileRow > kLargeRow)
        return Format::Whole;
    return reader.format == Format::Heif && HasAvifBrand(descriptor) ? Format::Avif : reader.format;
}

Found Describe(VipsImage* image, int descriptor, const Reader& reader, const TiffKind& kind) {
    const auto bytes = vips_format_sizeof(vips_image_get_format(image)) *
                       static_cast<unsigned>(std::max(1, vips_image_get_bands(image)));
    return {.width = vips_image_get_width(image),
            .height = vips_image_get_height(image),
            .orientation = static_cast<std::uint8_t>(std::clamp(vips_image_get_orientation(image), 0, 255)),
            .format = FormatOf(image, descriptor, reader, kind),
            .pixelBytes = static_cast<std::uint8_t>(std::clamp<std::uint64_t>(bytes, 1, 255))};
}

// The profile in whose colours the pixels may be left, where they are of the usual kind: whoever shows them
// converts fewer. Empty where they are not.
ByteSpan ProfileToOffer(VipsImage* image) {
    const void* profile = nullptr;
    std::size_t size = 0;
    if (vips_image_get_interpretation(image) != VIPS_INTERPRETATION_sRGB ||
        vips_image_get_format(image) != VIPS_FORMAT_UCHAR ||
        vips_image_get_typeof(image, VIPS_META_ICC_NAME) == 0 ||
        vips_image_get_blob(image, VIPS_META_ICC_NAME, &profile, &size) != 0 || size > kHalf)
        return {};
    return {static_cast<const std::uint8_t*>(profile), size};
}

// sRGB, 8 bits, three of them, on black where it is transparent; or the colours of the profile that is taken.
bool Prepare(Image& image, int descriptor, const TiffKind& kind, bool profileTaken, bool& isProfileUsable) {
    if (kind.samples != 0 && !ToUsualSamples(image, kind, kind.IsFloating() ? Open(descriptor, 1) : nullptr))
        return false;
    isProfileUsable = !HidesProfile(image.get(), descriptor);
    return Flatten(image, isProfileUsable) && (profileTaken || ToSrgb(image, isProfileUsable)) &&
           ToThreeBytes(image);
}

struct Delivery {
    Receiver& receiver;
    bool stopped = false;
};

int Deliver(VipsRegion* region, VipsRect* area, void* user) {
    auto& delivery = *static_cast<Delivery*>(user);
    // The area spans the picture's width, and so does the region.
    const auto stride = static_cast<std::ptrdiff_t>(VIPS_REGION_LSKIP(region));
    const VipsPel* row = VIPS_REGION_ADDR_TOPLEFT(region) + (area->top - region->valid.top) * stride;
    for (int y = 0; y < area->height; ++y, row += stride) {
        if (delivery.receiver.Row(row))
            continue;
        delivery.stopped = true;
        return -1;
    }
    return 0;
}

// Decoded smaller where the format's library can, or we. The divisor as in Coming; none: an error.
std::optional<std::int32_t> Shrink(Image& image, int descriptor, const Job& job, const Reader& reader,
                                   std::int32_t most) {
    if (reader.format == Format::Heif)
        return ReduceHeif(image, descriptor, job, most) ? most : 0;
    if (reader.shrinks && most > 1) {
        image = Open(descriptor, 1.0 / most);
        if (!image)
            return std::nullopt;
    }
    return 0;
}

End ReadOpened(int descriptor, const Job& job, const Reader& reader, Receiver& receiver) {
    TiffKind kind;
    if (reader.format == Format::Tiff && ReadTiffKind(descriptor, kind)) {
        if (const std::optional<End> refusal = WhyNotRead(kind))
            return *refusal;
    }
    Image image = Open(descriptor, 1);
    if (!image)
        return SayVipsError();
    const auto go =
        receiver.Begin(Describe(image.get(), descriptor, reader, kind), ProfileToOffer(image.get()));
    if (!go)
        return {Outcome::Stopped};
    const auto divisor = Shrink(image, descriptor, job, reader, go->mostShrink);
    if (!divisor)
        return SayVipsError();
    bool isProfileUsable = true;
    if (!Prepare(image, descriptor, kind, go->profileTaken, isProfileUsable))
        return SayVipsError();
    if (!receiver.Decoded({vips_image_get_width(image.get()), vips_image_get_height(image.get()), *divisor}))
        return {Outcome::Stopped};
    Delivery delivery{receiver};
    if (vips_sink_disc(image.get(), Deliver, &delivery) != 0)
        return delivery.stopped ? End{Outcome::Stopped} : SayVipsError();
    return {Outcome::Done, isProfileUsable ? Reason::None : Reason::ProfileUnusable};
}

}  // namespace

End ReadWithVips(int descriptor, const Job& job, Receiver& receiver) {
    vips_concurrency_set(job.threads);
    vips_error_clear();
    const Source source = OpenSource(descriptor);
    const Reader* const reader = source ? ReaderFor(source.get()) : nullptr;
    if (!reader) {
        vips_error_clear();
        return {Outcome::Unsupported, Reason::NotReadableHere};
    }
    return ReadOpened(descriptor, job, *reader, receiver);
}

}  // namespace lumato::reader
