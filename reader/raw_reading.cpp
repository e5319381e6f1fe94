#include "reader/raw_reading.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

#include <libraw/libraw.h>
#include <unistd.h>

#include "reader/mapped_file.h"
#include "reader/raw_signatures.h"
#include "reader/tiff_file.h"

namespace lumato::reader {
namespace {

using namespace std::string_view_literals;

constexpr int kMostDirectories = 16;
constexpr int kCfa = 32803;        // a colour for each sensor pixel
constexpr int kLinearRaw = 34892;  // all of them, as the sensor saw them
// Of samples, by Sony, Nikon and Pentax.
constexpr int kCodings[] = {32767, 34713, 65535};

bool IsRawDirectory(TIFF* tiff) {
    std::uint16_t photometric = 0, coding = 0;
    void* version[2] = {};  // libtiff knows whether a count comes first
    TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric);
    TIFFGetField(tiff, TIFFTAG_COMPRESSION, &coding);
    return photometric == kCfa || photometric == kLinearRaw ||
           std::ranges::find(kCodings, coding) != std::end(kCodings) ||
           TIFFGetField(tiff, TIFFTAG_DNGVERSION, &version[0], &version[1]) != 0;
}

// One of its directories, or of those below the first ones.
bool HasRawDirectory(TIFF* tiff) {
    std::vector<std::uint64_t> below;
    for (int i = 0; i < kMostDirectories; ++i) {
        if (IsRawDirectory(tiff))
            return true;
        std::uint16_t count = 0;
        const std::uint64_t* offsets = nullptr;
        if (TIFFGetField(tiff, TIFFTAG_SUBIFD, &count, &offsets) != 0)
            below.insert(below.end(), offsets, offsets + count);
        if (TIFFReadDirectory(tiff) == 0)
            break;
    }
    below.resize(std::min<std::size_t>(below.size(), kMostDirectories));
    return std::ranges::any_of(below, [tiff](std::uint64_t offset) {
        return TIFFSetSubDirectory(tiff, offset) != 0 && IsRawDirectory(tiff);
    });
}

// libraw counts quarter turns in a way of its own.
std::uint8_t OrientationOf(int flip) {
    return flip == 3 ? 3 : flip == 5 ? 8 : flip == 6 ? 6 : 1;
}

End HandOver(const libraw_thumbnail_t& preview, std::uint8_t orientation, Receiver& receiver) {
    const std::size_t pixels = std::size_t{preview.twidth} * preview.theight;
    if (pixels == 0 || preview.tcolors != 3 || preview.tlength != pixels * 3)
        return {Outcome::Unsupported, Reason::NoPreview};
    if (!receiver.Begin({.width = preview.twidth,
                         .height = preview.theight,
                         .orientation = orientation,
                         .format = Format::Raw},
                        {}) ||
        !receiver.Decoded({preview.twidth, preview.theight}))
        return {Outcome::Stopped};
    const auto* row = reinterpret_cast<const std::uint8_t*>(preview.thumb);
    for (int y = 0; y < preview.theight; ++y, row += preview.twidth * 3)
        if (!receiver.Row(row))
            return {Outcome::Stopped};
    return {Outcome::Done, Reason::PreviewUsed};
}

End ReadPreview(LibRaw& raw, const MappedFile& file, Receiver& receiver) {
    if (raw.open_buffer(file.Data(), file.Size()) != LIBRAW_SUCCESS || raw.unpack_thumb() != LIBRAW_SUCCESS)
        return {Outcome::Unsupported, Reason::NoPreview};
    const libraw_thumbnail_t& preview = raw.imgdata.thumbnail;
    const std::uint8_t orientation = OrientationOf(raw.imgdata.sizes.flip);
    if (preview.tformat == LIBRAW_THUMBNAIL_BITMAP)
        return HandOver(preview, orientation, receiver);
    const std::int64_t offset = raw.get_internal_data_pointer()->internal_data.toffset;
    const std::int64_t length = preview.tlength;
    const auto size = static_cast<std::int64_t>(file.Size());
    if (preview.tformat != LIBRAW_THUMBNAIL_JPEG || offset <= 0 || length <= 0 || offset > size - length)
        return {Outcome::Unsupported, Reason::NoPreview};
    return receiver.Preview(offset, length, orientation) ? End{} : End{Outcome::Stopped};
}

}  // namespace

bool IsRaw(int descriptor) {
    std::array<char, 16> start{};
    if (::pread(descriptor, start.data(), start.size(), 0) != static_cast<ssize_t>(start.size()))
        return false;
    const std::string_view bytes(start.data(), start.size());
    if (!bytes.starts_with("II*\0"sv) && !bytes.starts_with("MM\0*"sv))
        return IsRawSignature(bytes);
    if (bytes.substr(8, 3) == "CR\x02"sv)
        return true;
    try {
        const TiffFile tiff = OpenTiff(descriptor);
        return tiff && HasRawDirectory(tiff.get());
    } catch (const std::bad_alloc&) {  // for more directories than any camera writes
        return false;
    }
}

End ReadRaw(int descriptor, const Job& job, Receiver& receiver) {
    const MappedFile file(descriptor, job.fileSize);
    if (file.Data() == nullptr)
        return {Outcome::TooLarge, Reason::BeyondMemory};
    const auto raw =
        std::make_unique<LibRaw>(LIBRAW_OPIONS_NO_DATAERR_CALLBACK | LIBRAW_OPIONS_NO_MEMERR_CALLBACK);
    return ReadPreview(*raw, file, receiver);
}

}  // namespace lumato::reader
