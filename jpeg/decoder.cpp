#include "jpeg/decoder.h"

#include <algorithm>
#include <new>
#include <string>

#include "base/printable.h"
#include "jpeg/bit_reader.h"
#include "jpeg/bitmap_header.h"
#include "jpeg/codec_form.h"
#include "jpeg/decode_vectors.h"
#include "jpeg/mcu_painter.h"
#include "jpeg/stream_header.h"

namespace lumato::jpeg {
namespace {

constexpr std::size_t kY = 0;
constexpr std::size_t kCb = 1;
constexpr std::size_t kCr = 2;

// T.81 section F.2.2.1: the value that additional bits stand for. Requires: 32 bits were refilled, of which a
// code has taken at most 16.
int TakeValue(BitReader& bits, int category) {
    if (category == 0)
        return 0;
    const int value = static_cast<int>(bits.Take(category));
    const bool isPositive = (value >> (category - 1)) != 0;
    return isPositive ? value : value - ((1 << category) - 1);
}

// Reads the MCUs of one stream, in order.
class McuReader {
  public:
    explicit McuReader(const ParsedStream& parsed) : m_parsed(parsed), m_bits(parsed.coded) {}

    // Decodes the next MCU. False when the data ended within it.
    bool Read(McuSamples& samples) {
        ReadBlock(kCb, samples.cb.data(), 8);
        ReadBlock(kCr, samples.cr.data(), 8);
        const int blocksAcross = m_parsed.grid.wide ? 2 : 1;
        for (int block = 0; block < m_parsed.grid.lumaBlocks; ++block) {
            const int left = block % blocksAcross * 8;
            const int top = block / blocksAcross * 8;
            ReadBlock(kY, samples.luma.data() + top * McuSamples::kLumaStride + left,
                      McuSamples::kLumaStride);
        }
        m_bits.AlignToByte();
        return !m_bits.IsPastEnd();
    }

  private:
    void ReadBlock(std::size_t component, std::uint8_t* output, int stride) {
        const dpf_header& header = m_parsed.header;
        HuffmanDecode(m_parsed.huffman[header.dcTable[component]],
                      m_parsed.huffman[2U + header.acTable[component]], m_predictors[component]);
        idct_int(m_block, m_parsed.TableDQT[header.quantTable[component]], output, stride);
    }

    // Reads the coefficients of a block into m_block. Predictors wrap at 16 bits, and a run that passes the
    // last coefficient ends at it: so a damaged block ends, too.
    void HuffmanDecode(const SymbolTable& dc, const SymbolTable& ac, std::int16_t& predictor) {
        m_block.fill(0);
        m_bits.Refill();
        predictor = static_cast<std::int16_t>(predictor + TakeValue(m_bits, dc.Read(m_bits) & 15));
        m_block[0] = predictor;
        for (int position = 1; position <= 63;) {
            m_bits.Refill();
            const int symbol = ac.Read(m_bits);
            const int category = symbol & 15;
            const int run = symbol >> 4;
            if (category == 0 && run == 0)
                return;
            if (category == 0 && run == 15) {
                position += 16;
                continue;
            }
            const int place = std::min(position + run, 63);
            m_block[jpeg_natural_order[static_cast<std::size_t>(place)]] =
                static_cast<std::int16_t>(TakeValue(m_bits, category));
            position += run + 1;
        }
    }

    const ParsedStream& m_parsed;
    BitReader m_bits;
    std::array<std::int16_t, 3> m_predictors{};
    std::array<std::int16_t, 64> m_block{};
};

// Far more than any display has. A few megabytes of flash can claim sixteen times as many, and decoding those
// would bring the computer down.
constexpr std::size_t kMostPixels = std::size_t{1} << 28;

// Gives the picture the stream's size; its pixels are those of whatever it was before.
Result<void> Resize(DecodedPicture& picture, const dpf_header& header) {
    picture.width = header.width;
    picture.height = header.height;
    picture.stride = (header.width + 7) / 8 * 8;
    const std::size_t count =
        static_cast<std::size_t>(picture.stride) * static_cast<std::size_t>(picture.height);
    if (count > kMostPixels)
        return Fail(ErrorKind::TooLarge, "a picture of " + std::to_string(picture.width) + " x " +
                                             std::to_string(picture.height) + " pixels is too large");
    try {
        picture.pixels.resize(count * 3);
    } catch (const std::bad_alloc&) {
        return Fail(ErrorKind::TooLarge, "not enough memory for the picture");
    }
    return {};
}

// Decodes the MCUs in order, as far as the data go, and paints them. Returns how many there were.
std::size_t DecodePlainly(const ParsedStream& parsed, DecodedPicture& picture) {
    McuReader reader(parsed);
    McuSamples samples;
    std::size_t decoded = 0;
    for (int mcuY = 0; mcuY < parsed.grid.mcusDown; ++mcuY) {
        for (int mcuX = 0; mcuX < parsed.grid.mcusAcross; ++mcuX, ++decoded) {
            if (!reader.Read(samples))
                return decoded;
            PaintMcu(samples, parsed.grid, mcuX, mcuY, picture);
        }
    }
    return decoded;
}

// Makes everything black behind the first `painted` MCUs.
void Blacken(DecodedPicture& picture, const McuGrid& grid, std::size_t painted) {
    const auto across = static_cast<std::size_t>(grid.mcusAcross);
    const auto columns = painted % across * static_cast<std::size_t>(grid.mcuWidth);
    const auto top = painted / across * static_cast<std::size_t>(grid.mcuHeight);
    const auto height = static_cast<std::size_t>(picture.height);
    const auto stride = static_cast<std::size_t>(picture.stride);
    for (std::size_t row = top; row < height; ++row) {
        const bool isHalfPainted = row < top + static_cast<std::size_t>(grid.mcuHeight);
        const std::size_t from = isHalfPainted ? std::min(columns, stride) : 0;
        std::fill_n(picture.pixels.begin() + static_cast<std::ptrdiff_t>((row * stride + from) * 3),
                    (stride - from) * 3, std::uint8_t{0});
    }
}

// The bitmap file of a decoded picture. Rows are padded with the pixels right of the picture's width, which
// the picture has because its stride is a multiple of 8.
Result<void> BmpSave(const DecodedPicture& picture, const Path& path, Links links) {
    if (!FitsBitmapFile(picture.width, picture.height))
        return Fail(ErrorKind::TooLarge, "the picture is too large for a bitmap file");
    const std::size_t rowBytes = BitmapStride(picture.width);
    const std::size_t pixelBytes = rowBytes * static_cast<std::size_t>(picture.height);
    std::vector<std::uint8_t> file;
    try {
        file.resize(kBitmapHeaderSize + pixelBytes);
    } catch (const std::bad_alloc&) {
        return Fail(ErrorKind::TooLarge, "not enough memory for the bitmap file");
    }
    PutBitmapHeader(file, picture.width, picture.height, static_cast<std::uint32_t>(pixelBytes));
    auto out = file.begin() + kBitmapHeaderSize;
    for (int row = picture.height - 1; row >= 0; --row) {
        const std::size_t start =
            static_cast<std::size_t>(row) * static_cast<std::size_t>(picture.stride) * 3;
        out = std::copy_n(picture.pixels.begin() + static_cast<std::ptrdiff_t>(start), rowBytes, out);
    }
    return WriteFile(path, file, links);
}

}  // namespace

Result<void> DecodeStream(ByteSpan stream, int expectedWidth, int expectedHeight, DecodedPicture& picture) {
    LUMATO_TRY(const ParsedStream parsed, ParseStream(stream, expectedWidth, expectedHeight));
    LUMATO_TRY_VOID(Resize(picture, parsed.header));
    const std::size_t decoded =
        UsesVectors() ? DecodeInVectors(parsed, picture) : DecodePlainly(parsed, picture);
    if (decoded < parsed.grid.McuCount())
        Blacken(picture, parsed.grid, decoded);
    return {};
}

Result<DecodedPicture> DecodeStream(ByteSpan stream, int expectedWidth, int expectedHeight) {
    DecodedPicture picture;
    LUMATO_TRY_VOID(DecodeStream(stream, expectedWidth, expectedHeight, picture));
    return picture;
}

Result<void> JPGEncode::DecodeFile(const char* source, const char* destination, int expectedWidth,
                                   int expectedHeight) {
    LUMATO_TRY(const std::vector<std::uint8_t> stream, ReadFile(source));
    const Result<DecodedPicture> picture = DecodeStream(stream, expectedWidth, expectedHeight);
    if (!picture)
        return tl::unexpected(Context(Printable(source), picture.error()));
    m_lastWidth = picture->width;
    m_lastHeight = picture->height;
    return BmpSave(*picture, destination, m_links);
}

bool JPGEncode::DecodeMyPicture(const char* source, const char* destination, int expectedWidth,
                                int expectedHeight) {
    Result<void> result = DecodeFile(source, destination, expectedWidth, expectedHeight);
    if (!result)
        m_lastError = std::move(result).error();
    return result.has_value();
}

}  // namespace lumato::jpeg
