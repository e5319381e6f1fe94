// The encoder of frame picture streams: one object per picture (or per quality: the tables depend on it
// alone).
//
// Nothing in the object changes while it encodes: it may be shared by threads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "jpeg/encode_vectors.h"
#include "jpeg/forward_dct.h"
#include "jpeg/huffman_code.h"
#include "jpeg/mcu_samples.h"
#include "jpeg/tables.h"

namespace lumato::jpeg {

class BitWriter;

class CVaskJpegEncoder {
  public:
    // Quality 1 to 100; 0 counts as 1 and more than 100 (compared in 16 bits) as 100.
    explicit CVaskJpegEncoder(int quality);

    // Encodes `source` (rows of blue, green, red bytes, bottom row first, each padded to a multiple of 4
    // bytes) into `destination`. `mode`: stream_format.h. Sets `outputSize` to the bytes written. False, with
    // `outputSize` as it was, for a null pointer, a size below 1 or above 65,535, or a stream whose size no
    // int holds. Requires: the destination holds MaximumStreamSize() bytes.
    bool CompressImage(const unsigned char* source, unsigned char* destination, int width, int height,
                       int& outputSize, int mode) const;
    // The same within `budget` bytes: the size, or nothing. A stream that takes more is given up where it
    // does.
    [[nodiscard]] std::optional<int> CompressWithin(const SourcePicture& source, std::uint8_t* destination,
                                                    int mode, int budget) const;

  private:
    // What the blocks of one kind have in common in the plain form; [0] is luminance, [1] chrominance.
    struct BlockCoding {
        Quantizer quantizer;
        const tag_HUFFMAN_TABLE* dc;
        const tag_HUFFMAN_TABLE* ac;
    };

    [[nodiscard]] std::array<const FastCoding*, 2> FastCodings() const {
        return {&m_fastCoding[0], &m_fastCoding[1]};
    }
    std::uint8_t* WriteJpegHeader(std::uint8_t* out, int width, int height, int mode) const;
    static void HuffmanEncode(const Block& coefficients, const BlockCoding& coding, int& predictor,
                              BitWriter& bits);
    // Codes one MCU with its fill bits. `predictors`: the last DC values of Y, Cb and Cr.
    void CompressOneTile(const McuBlocks& samples, int lumaBlocks, std::array<int, 3>& predictors,
                         BitWriter& bits) const;
    // Code MCUs from `out` on, until all are coded or there are more than `room` bytes; they return the end
    // of the coded data. `mcuTable`: null without one.
    std::uint8_t* CodePlainly(const SourcePicture& source, const McuGrid& grid, std::uint8_t* mcuTable,
                              std::uint8_t* out, std::ptrdiff_t room) const;
    std::uint8_t* CodeInVectors(const SourcePicture& source, const McuGrid& grid, std::uint8_t* mcuTable,
                                std::uint8_t* out, std::ptrdiff_t room) const;

    std::uint16_t m_scaleFactor;
    std::array<QuantTable, 2> m_quant;
    std::array<BlockCoding, 2> m_coding;
    std::array<FastCoding, 2> m_fastCoding;
};

// Encodes at the first of the qualities `quality`, `quality` - `step`, ... above 0 whose stream has at most
// `budget` bytes, else at the last one, and sets `quality` to it; `quality` itself counts whatever it is. The
// size, or nothing when the picture cannot be encoded.
[[nodiscard]] std::optional<int> EncodeWithin(const SourcePicture& source, std::uint8_t* destination,
                                              int mode, int& quality, int step, int budget);

// The largest stream that a picture of this size can become, in bytes; 0 for a size that cannot be encoded.
[[nodiscard]] std::size_t MaximumStreamSize(int width, int height, int mode);

}  // namespace lumato::jpeg
