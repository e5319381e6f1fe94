#include "jpeg/stream_header.h"

#include <algorithm>
#include <string>

namespace lumato::jpeg {
namespace {

constexpr StandardTable kTableOrder[] = {StandardTable::LuminanceDc, StandardTable::LuminanceAc,
                                         StandardTable::ChrominanceDc, StandardTable::ChrominanceAc};
constexpr std::uint8_t kTableClasses[] = {0x00, 0x10, 0x01, 0x11};  // in that order, T.81 section B.2.4.2

// Lengths of the DQT and DHT bodies, which count their own 2 bytes.
constexpr std::size_t kQuantEntrySize = 65;
constexpr std::size_t kFullQuantLength = 2 + 2 * kQuantEntrySize;
constexpr std::size_t kFullHuffmanLength = kTableBlockSize - kFullQuantLength;

tl::unexpected<Error> Damaged(const char* what) {
    return Fail(ErrorKind::Damaged, Phrase("NOT_SOUND", "not a sound frame picture: {0}", what));
}

// Cuts the first `size` bytes off. Requires: they are there.
ByteSpan TakeBytes(ByteSpan& from, std::size_t size) {
    const ByteSpan taken = from.first(size);
    from = from.subspan(size);
    return taken;
}

std::size_t PutQuantTable(MutableByteSpan out, std::uint8_t identifier, const QuantTable& table) {
    out[0] = identifier;
    for (std::size_t k = 0; k < 64; ++k)
        out[1 + k] = table[jpeg_natural_order[k]];
    return kQuantEntrySize;
}

std::size_t PutHuffmanTable(MutableByteSpan out, std::uint8_t tableClass, const HuffmanList& list) {
    out[0] = tableClass;
    std::copy(list.bits.begin(), list.bits.end(), out.begin() + 1);
    std::copy(list.huffval.begin(), list.huffval.end(), out.begin() + 17);
    return 17 + list.huffval.size();
}

dpf_header ReadHeader(ByteSpan bytes) {
    dpf_header header;
    header.width = GetBe16(bytes);
    header.height = GetBe16(bytes.subspan(2));
    header.mode = bytes[4];
    std::copy_n(bytes.begin() + 5, 3, header.quantTable.begin());
    std::copy_n(bytes.begin() + 8, 3, header.dcTable.begin());
    std::copy_n(bytes.begin() + 11, 3, header.acTable.begin());
    return header;
}

void DefineQuantTable(ParsedStream& parsed, std::size_t identifier, const QuantTable& natural) {
    for (std::size_t k = 0; k < 64; ++k)
        parsed.TableDQT[identifier][k] = static_cast<std::uint16_t>(natural[k] * factor[k]);
    parsed.isQuantDefined[identifier] = true;
}

// The body of a segment, without the 2 bytes of its length, cut off the front of `rest`.
Result<ByteSpan> TakeSegment(ByteSpan& rest) {
    if (rest.size() < 2)
        return Damaged("it ends before its tables");
    const std::size_t length = GetBe16(rest);
    if (length < 2 || length > rest.size())
        return Damaged("a table segment has an impossible length");
    return TakeBytes(rest, length).subspan(2);
}

Result<void> GetDQT(ByteSpan& rest, ParsedStream& parsed) {
    LUMATO_TRY(ByteSpan body, TakeSegment(rest));
    if (body.size() != kQuantEntrySize && body.size() != 2 * kQuantEntrySize)
        return Damaged("the quantization tables have an impossible length");
    while (!body.empty()) {
        const ByteSpan entry = TakeBytes(body, kQuantEntrySize);
        if (entry[0] > 1)
            return Damaged("a quantization table has an impossible number");
        QuantTable natural{};
        for (std::size_t k = 0; k < 64; ++k)
            natural[jpeg_natural_order[k]] = entry[1 + k];
        DefineQuantTable(parsed, entry[0], natural);
    }
    return {};
}

// The class byte's high half is 1 for AC, its low half the table's number.
Result<void> GetHuffmanTable(ByteSpan& body, ParsedStream& parsed) {
    if (body.size() < 17)
        return Damaged("a Huffman table is cut off");
    const std::uint8_t tableClass = body[0];
    if ((tableClass & 0xEE) != 0)
        return Damaged("a Huffman table has an impossible class");
    const bool isAc = (tableClass & 0x10) != 0;
    const ByteSpan bits = TakeBytes(body, 17).subspan(1);
    std::size_t count = 0;
    for (const std::uint8_t codes : bits)
        count += codes;
    if (count < 1 || count > (isAc ? 162U : 16U) || count > body.size())
        return Damaged("a Huffman table has an impossible number of codes");
    SymbolTable& table = parsed.huffman[(isAc ? 2U : 0U) + (tableClass & 1U)];
    if (!table.Define(bits, TakeBytes(body, count)))
        return Damaged("a Huffman table has more codes than there can be");
    return {};
}

Result<void> GetDHT(ByteSpan& rest, ParsedStream& parsed) {
    LUMATO_TRY(ByteSpan body, TakeSegment(rest));
    while (!body.empty())
        LUMATO_TRY_VOID(GetHuffmanTable(body, parsed));
    return {};
}

// The tables of a stream that was written without them: the standard ones, scaled as header bytes 5 and 6
// say. These bytes stand where two of the quantization selectors would, which then have their usual values.
Result<void> UseStandardTables(ByteSpan headerBytes, ParsedStream& parsed) {
    const int scaleFactor = GetBe16(headerBytes.subspan(5));
    if (scaleFactor > kLargestScaleFactor)
        return Damaged("its quality is impossible");
    parsed.header.quantTable[0] = 0;
    parsed.header.quantTable[1] = 1;
    DefineQuantTable(parsed, 0, ScaleTable(std_luminance_quant_tbl, scaleFactor));
    DefineQuantTable(parsed, 1, ScaleTable(std_chrominance_quant_tbl, scaleFactor));
    constexpr std::size_t kPlaces[] = {0, 2, 1, 3};  // of kTableOrder in ParsedStream::huffman
    for (std::size_t i = 0; i < 4; ++i) {
        const HuffmanList& list = StandardHuffman(kTableOrder[i]);
        parsed.huffman[kPlaces[i]].Define(list.bits, list.huffval);
    }
    return {};
}

Result<void> CheckSelectors(const ParsedStream& parsed) {
    const dpf_header& header = parsed.header;
    for (std::size_t component = 0; component < 3; ++component) {
        const std::size_t quant = header.quantTable[component];
        const std::size_t dc = header.dcTable[component];
        const std::size_t ac = header.acTable[component];
        if (quant > 1 || dc > 1 || ac > 1)
            return Damaged("its header names a table that cannot be");
        if (!parsed.isQuantDefined[quant] || !parsed.huffman[dc].IsDefined() ||
            !parsed.huffman[2 + ac].IsDefined())
            return Damaged("its header names a table that is missing");
    }
    return {};
}

Result<void> CheckSize(const dpf_header& header, int expectedWidth, int expectedHeight) {
    if (header.width == 0 || header.height == 0)
        return Damaged("it has no size");
    if ((expectedWidth != 0 && expectedWidth != header.width) ||
        (expectedHeight != 0 && expectedHeight != header.height))
        return Fail(ErrorKind::Refused,
                    Phrase("PICTURE_OF_OTHER_SIZE", "the picture has {0} x {1} pixels, not {2} x {3}",
                           header.width, header.height, expectedWidth, expectedHeight));
    return {};
}

}  // namespace

void PutHeader(MutableByteSpan out, int width, int height, int mode, std::uint16_t scaleFactor) {
    std::fill_n(out.begin(), kHeaderSize, std::uint8_t{0});
    PutBe16(out, static_cast<std::uint32_t>(width));
    PutBe16(out.subspan(2), static_cast<std::uint32_t>(height));
    out[4] = static_cast<std::uint8_t>(mode);
    for (const std::size_t selectors : {5U, 8U, 11U})  // quantization, DC, AC; Y stays with table 0
        out[selectors + 1] = out[selectors + 2] = 1;
    if ((mode & kOmitTables) != 0)
        PutBe16(out.subspan(5), scaleFactor);
}

void PutTableBlock(MutableByteSpan out, const QuantTable& quantY, const QuantTable& quantC) {
    PutBe16(out, kFullQuantLength);
    out = out.subspan(2);
    out = out.subspan(PutQuantTable(out, 0, quantY));
    out = out.subspan(PutQuantTable(out, 1, quantC));
    PutBe16(out, kFullHuffmanLength);
    out = out.subspan(2);
    for (std::size_t i = 0; i < 4; ++i)
        out = out.subspan(PutHuffmanTable(out, kTableClasses[i], StandardHuffman(kTableOrder[i])));
}

Result<ParsedStream> ParseStream(ByteSpan stream, int expectedWidth, int expectedHeight) {
    if (stream.size() < kHeaderSize)
        return Damaged("it ends in its header");
    ByteSpan rest = stream.subspan(kHeaderSize);
    ParsedStream parsed;
    parsed.header = ReadHeader(stream);
    LUMATO_TRY_VOID(CheckSize(parsed.header, expectedWidth, expectedHeight));
    parsed.grid = GridOf(parsed.header.width, parsed.header.height, parsed.header.mode);

    if ((parsed.header.mode & kOmitMcuTable) == 0) {
        // Its predictors are for readers that start in the middle.
        const std::size_t tableSize = parsed.grid.McuCount() * kMcuEntrySize;
        if (rest.size() < tableSize)
            return Damaged("it ends in its MCU table");
        rest = rest.subspan(tableSize);
    }
    if ((parsed.header.mode & kOmitTables) != 0) {
        LUMATO_TRY_VOID(UseStandardTables(stream, parsed));
    } else {
        LUMATO_TRY_VOID(GetDQT(rest, parsed));
        LUMATO_TRY_VOID(GetDHT(rest, parsed));
    }
    LUMATO_TRY_VOID(CheckSelectors(parsed));
    if (rest.size() < parsed.grid.McuCount())  // an MCU takes at least a byte
        return Damaged("it is too short for its size");
    parsed.coded = rest;
    return parsed;
}

std::optional<int> QualityOf(ByteSpan stream) {
    const Result<ParsedStream> parsed = ParseStream(stream, 0, 0);
    if (!parsed)
        return std::nullopt;
    for (int quality = 100; quality >= 1; --quality) {
        ParsedStream scaled;
        DefineQuantTable(scaled, 0, ScaleTable(std_luminance_quant_tbl, ScaleFactorOf(quality)));
        DefineQuantTable(scaled, 1, ScaleTable(std_chrominance_quant_tbl, ScaleFactorOf(quality)));
        if (scaled.TableDQT == parsed->TableDQT)
            return quality;
    }
    return std::nullopt;
}

}  // namespace lumato::jpeg
