#include "import/png_file.h"

#include <cstdlib>
#include <string_view>

#include <zlib.h>

#include "base/bytes.h"
#include "import/messages.h"

namespace lumato::picture {
namespace {

using Bytes = std::vector<std::uint8_t>;

void AddNumber(Bytes& file, std::size_t value) {
    std::uint8_t bytes[4];
    PutBe32(bytes, static_cast<std::uint32_t>(value));
    file.insert(file.end(), bytes, bytes + 4);
}

void AddChunk(Bytes& file, std::string_view kind, ByteSpan data) {
    AddNumber(file, data.size());
    const std::size_t start = file.size();
    file.insert(file.end(), kind.begin(), kind.end());
    file.insert(file.end(), data.begin(), data.end());
    AddNumber(file, ::crc32_z(0, file.data() + start, file.size() - start));
}

// The nearest of left, above and above left to left + above - above left.
int Paeth(int left, int above, int corner) {
    const int toLeft = std::abs(above - corner);
    const int toAbove = std::abs(left - corner);
    const int toCorner = std::abs(left + above - 2 * corner);
    if (toLeft <= toAbove && toLeft <= toCorner)
        return left;
    return toAbove <= toCorner ? above : corner;
}

// Each row behind the number of its filter, as differences to what its neighbours let expect.
Bytes Filtered(std::size_t rowBytes, ByteSpan pixels) {
    constexpr std::uint8_t kPaeth = 4;
    Bytes filtered;
    filtered.reserve(pixels.size() + pixels.size() / rowBytes);
    for (std::size_t row = 0; row < pixels.size(); row += rowBytes) {
        filtered.push_back(kPaeth);
        for (std::size_t at = row; at < row + rowBytes; ++at) {
            const bool hasLeft = at >= row + 3;
            const bool hasAbove = row > 0;
            const int expected = Paeth(hasLeft ? pixels[at - 3] : 0, hasAbove ? pixels[at - rowBytes] : 0,
                                       hasLeft && hasAbove ? pixels[at - rowBytes - 3] : 0);
            filtered.push_back(static_cast<std::uint8_t>(pixels[at] - expected));
        }
    }
    return filtered;
}

}  // namespace

Result<Bytes> EncodePng(int width, int height, ByteSpan pixels) {
    const Bytes filtered = Filtered(static_cast<std::size_t>(width) * 3, pixels);
    uLongf size = ::compressBound(filtered.size());
    Bytes packed(size);
    if (::compress2(packed.data(), &size, filtered.data(), filtered.size(), Z_DEFAULT_COMPRESSION) != Z_OK)
        return Fail(ErrorKind::TooLarge, kBeyondMemory);
    packed.resize(size);

    Bytes header;
    AddNumber(header, static_cast<std::size_t>(width));
    AddNumber(header, static_cast<std::size_t>(height));
    header.insert(header.end(),
                  {8, 2, 0, 0, 0});  // bits, red-green-blue; the only compression and filters; no passes
    Bytes file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    AddChunk(file, "IHDR", header);
    AddChunk(file, "IDAT", packed);
    AddChunk(file, "IEND", {});
    return file;
}

}  // namespace lumato::picture
