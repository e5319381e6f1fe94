#include "import/import_bmp.h"

#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include "import/bmp_header.h"
#include "import/messages.h"

namespace lumato::picture {
namespace {

Error CutOff() {
    return {ErrorKind::Damaged, kCutOff};
}

// One colour part of a masked pixel, widened to 8 bits.
class MaskedPart {
  public:
    explicit MaskedPart(std::uint32_t mask)
        : m_mask(mask), m_shift(std::countr_zero(mask) & 31), m_top(mask >> m_shift) {}

    std::uint8_t Of(std::uint32_t pixel) const {
        if (m_top == 0)
            return 0;
        const std::uint64_t value = (pixel & m_mask) >> m_shift;
        return static_cast<std::uint8_t>((value * 255 + m_top / 2) / m_top);
    }

  private:
    std::uint32_t m_mask;
    int m_shift;
    std::uint32_t m_top;
};

// Plain rows of any depth into red, green, blue.
class RowUnpacker {
  public:
    explicit RowUnpacker(const BmpHeader& header)
        : m_header(header),
          m_red(header.masks[0]),
          m_green(header.masks[1]),
          m_blue(header.masks[2]),
          m_bytesInOrder(header.masks == std::array<std::uint32_t, 3>{0xFF0000, 0x00FF00, 0x0000FF}) {}

    void Unpack(ByteSpan row, std::uint8_t* rgb) const {
        switch (m_header.bitsPerPixel) {
            case 16:
                return UnpackMasked(row, rgb, 2);
            case 24:
                return UnpackBytes(row.data(), rgb, 3);
            case 32:
                return m_bytesInOrder ? UnpackBytes(row.data(), rgb, 4) : UnpackMasked(row, rgb, 4);
            default:
                return UnpackIndices(row, rgb);
        }
    }

  private:
    void UnpackBytes(const std::uint8_t* row, std::uint8_t* rgb, int bytesPerPixel) const {
        for (int x = 0; x < m_header.size.width; ++x, row += bytesPerPixel, rgb += 3) {
            rgb[0] = row[2];
            rgb[1] = row[1];
            rgb[2] = row[0];
        }
    }

    void UnpackMasked(ByteSpan row, std::uint8_t* rgb, std::size_t bytesPerPixel) const {
        for (int x = 0; x < m_header.size.width; ++x, rgb += 3) {
            const ByteSpan at = row.subspan(static_cast<std::size_t>(x) * bytesPerPixel);
            const std::uint32_t pixel = bytesPerPixel == 2 ? GetLe16(at) : GetLe32(at);
            rgb[0] = m_red.Of(pixel);
            rgb[1] = m_green.Of(pixel);
            rgb[2] = m_blue.Of(pixel);
        }
    }

    void UnpackIndices(ByteSpan row, std::uint8_t* rgb) const {
        const int bits = m_header.bitsPerPixel;
        const unsigned mask = (1U << bits) - 1;
        for (int x = 0; x < m_header.size.width; ++x, rgb += 3) {
            const std::int64_t bit = std::int64_t{x} * bits;
            const int shift = 8 - bits - static_cast<int>(bit % 8);
            const unsigned index = static_cast<unsigned>(row[static_cast<std::size_t>(bit / 8)]) >> shift;
            const RgbColour& colour = m_header.palette[index & mask];
            std::copy(colour.begin(), colour.end(), rgb);
        }
    }

    const BmpHeader& m_header;
    MaskedPart m_red;
    MaskedPart m_green;
    MaskedPart m_blue;
    bool m_bytesInOrder;
};

Result<void> ReadPlain(const PictureFile& file, const BmpHeader& header, PictureBuilder& builder) {
    const RowUnpacker unpacker(header);
    const auto stride = static_cast<std::size_t>(header.Stride());
    const std::size_t batch = std::max<std::size_t>(1, (std::size_t{1} << 18) / stride);
    std::vector<std::uint8_t> rows(batch * stride);
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(header.size.width) * 3);
    // The padding of the last row may be missing: nothing of the picture is lost with it.
    const std::size_t rowNeeds =
        static_cast<std::size_t>((std::int64_t{header.size.width} * header.bitsPerPixel + 7) / 8);

    std::int64_t offset = header.pixelOffset;
    while (!builder.Complete()) {
        LUMATO_TRY(const std::size_t got, file.ReadAt(offset, rows));
        for (std::size_t at = 0; at < rows.size() && !builder.Complete(); at += stride) {
            if (at + rowNeeds > got)
                return tl::unexpected(CutOff());
            unpacker.Unpack(ByteSpan(rows).subspan(at, stride), rgb.data());
            builder.AddRow(rgb.data());
        }
        offset += static_cast<std::int64_t>(rows.size());
    }
    return {};
}

// The bytes of a file one after the other.
class ByteReader {
  public:
    ByteReader(const PictureFile& file, std::int64_t offset)
        : m_file(file), m_offset(offset), m_buffer(1 << 16) {}

    // -1 at the end of the file or when it cannot be read; Failure() tells.
    int Next() {
        if (m_at == m_have && !Fill())
            return -1;
        return m_buffer[m_at++];
    }
    [[nodiscard]] const Error& Failure() const { return m_failure; }

  private:
    bool Fill() {
        auto got = m_file.ReadAt(m_offset, m_buffer);
        if (!got)
            m_failure = got.error();
        m_have = got.value_or(0);
        m_at = 0;
        m_offset += static_cast<std::int64_t>(m_have);
        return m_have > 0;
    }

    const PictureFile& m_file;
    std::int64_t m_offset;
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_at = 0;
    std::size_t m_have = 0;
    Error m_failure = CutOff();
};

// Run-length coded rows: pairs of count and value; a count of 0 escapes to end of line (0), end of bitmap
// (1), a move (2, then right and up) or that many literal pixels, padded to 2 bytes.
class RunLengthReader {
  public:
    RunLengthReader(const PictureFile& file, const BmpHeader& header, PictureBuilder& builder)
        : m_bytes(file, header.pixelOffset),
          m_header(header),
          m_builder(builder),
          m_nibbles(header.coding == BmpCoding::RunLength4),
          m_row(static_cast<std::size_t>(header.size.width) * 3) {
        Blank();
    }

    Result<void> Read() {
        while (!m_builder.Complete() && !m_failed) {
            const int count = Byte();
            const int value = Byte();
            if (m_failed)
                break;
            if (count > 0)
                Run(count, value);
            else
                Escape(value);
        }
        if (m_failed)
            return tl::unexpected(m_bytes.Failure());
        return {};
    }

  private:
    int Byte() {
        const int byte = m_bytes.Next();
        m_failed = m_failed || byte < 0;
        return byte < 0 ? 0 : byte;
    }

    // Pixels that no code reaches have the first colour of the palette.
    void Blank() {
        for (std::size_t i = 0; i < m_row.size(); ++i)
            m_row[i] = m_header.palette[0][i % 3];
        m_x = 0;
    }

    // What sticks out at the right is dropped, as every reader does.
    void Put(int index) {
        if (m_x >= m_header.size.width)
            return;
        const RgbColour& colour = m_header.palette[static_cast<std::size_t>(index)];
        std::copy(colour.begin(), colour.end(), m_row.begin() + std::ptrdiff_t{m_x} * 3);
        ++m_x;
    }

    void PutOf(int value, int i) {
        if (m_nibbles)
            Put(i % 2 == 0 ? value >> 4 : value & 15);
        else
            Put(value);
    }

    void Run(int count, int value) {
        for (int i = 0; i < count; ++i)
            PutOf(value, i);
    }

    void Literal(int count) {
        const int bytes = m_nibbles ? (count + 1) / 2 : count;
        int value = 0;
        for (int i = 0; i < count; ++i) {
            if (!m_nibbles || i % 2 == 0)
                value = Byte();
            PutOf(value, i);
        }
        if (bytes % 2 != 0)
            Byte();
    }

    void EndRow() {
        m_builder.AddRow(m_row.data());
        Blank();
    }

    void Move() {
        const int right = Byte();
        const int up = Byte();
        const int x = std::min(m_x + right, m_header.size.width);
        for (int i = 0; i < up && !m_builder.Complete(); ++i)
            EndRow();
        m_x = x;
    }

    void Escape(int code) {
        switch (code) {
            case 0:
                return EndRow();
            case 1:
                while (!m_builder.Complete())
                    EndRow();
                return;
            case 2:
                return Move();
            default:
                return Literal(code);
        }
    }

    ByteReader m_bytes;
    const BmpHeader& m_header;
    PictureBuilder& m_builder;
    bool m_nibbles;
    std::vector<std::uint8_t> m_row;
    int m_x = 0;
    bool m_failed = false;
};

}  // namespace

bool StartsLikeBitmap(ByteSpan start) {
    return start.size() >= kBmpFileHeaderSize + 12 && start[0] == 'B' && start[1] == 'M' &&
           IsBmpInfoSize(GetLe32(start.subspan(kBmpFileHeaderSize)));
}

Result<void> ImportBmp(const PictureFile& file, PictureBuilder& builder) {
    LUMATO_TRY(const BmpHeader header, ReadBmpHeader(file));
    if (header.coding == BmpCoding::Plain &&
        header.pixelOffset + header.Stride() * (header.size.height - 1) >= file.Size())
        return tl::unexpected(CutOff());
    const Orientation rows = header.topDown ? Orientation::Upright : Orientation::MirroredDown;
    LUMATO_TRY_VOID(builder.Begin({header.size, header.size, rows}));
    if (header.coding == BmpCoding::Plain)
        return ReadPlain(file, header, builder);
    return RunLengthReader(file, header, builder).Read();
}

}  // namespace lumato::picture
