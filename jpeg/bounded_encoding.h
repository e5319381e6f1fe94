// Encodes a picture within a budget, and proves which higher qualities exceed it.
//
// One thread per object. Borrows the picture and the destination.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "jpeg/encode_vectors.h"
#include "jpeg/encoder.h"

namespace lumato::jpeg {

// The bytes of a stream in front of its MCUs.
[[nodiscard]] std::size_t SizeBeforeMcus(const McuGrid& grid, int mode);

class BoundedEncoding {
  public:
    // As for CVaskJpegEncoder::CompressImage(). Requires: the picture can be encoded, and vectors are in use.
    BoundedEncoding(const SourcePicture& source, std::uint8_t* destination, int mode, std::size_t budget);

    // A share (0 to 1) of the picture to be counted at a quality that Fits() will be asked about: the same
    // transform serves both.
    struct Ahead {
        int quality = 0;
        double share = 0;
    };

    // Encodes at that quality. Answers with the stream's size, or nothing, as soon as the budget is exceeded.
    [[nodiscard]] std::optional<std::size_t> Encode(int quality, const Ahead& ahead);

    // True when the stream fits at that quality. Requires: it was encoded last, and fits, at a lower one;
    // none that Encode() found to exceed the budget is higher.
    [[nodiscard]] bool Fits(int quality);

  private:
    struct Chunk {
        std::size_t index;
        int x;  // in chunks
        int y;
        std::size_t firstMcu;
        int mcus;
    };

    void StartCounting(int quality);
    [[nodiscard]] Chunk ChunkAt(std::size_t index) const;
    void Transform(const Chunk& chunk);
    void KeepFirsts(const Chunk& chunk);
    void Count(const CVaskJpegEncoder& encoder, const Chunk& chunk);
    [[nodiscard]] std::size_t SumOfBounds(const Chunk& chunk) const;

    SourcePicture m_source;
    std::uint8_t* m_destination;
    int m_mode;
    McuGrid m_grid;
    std::size_t m_budget;
    ChunkCoefficients m_coefficients;  // of one chunk
    FirstCoefficients m_firsts;
    // What MCUs take at least at higher qualities (CodingPosition), and in all at the quality that is looked
    // at.
    std::vector<std::uint16_t> m_leastBits;
    std::vector<std::uint16_t> m_leastBytes;
    // Chunks in front whose bounds stay: they are those of a quality that exceeded the budget, and better
    // than those of the lower one that follows.
    std::size_t m_boundedChunks = 0;
    // What chunks take at that quality; 0: not counted yet.
    int m_countedQuality = 0;
    std::vector<std::size_t> m_countedBytes;
};

}  // namespace lumato::jpeg
