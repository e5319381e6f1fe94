// The search for the quality at which a picture fits a budget: gives what encoding at one quality after the
// other gives, in little more time than the last of these encodings takes.
//
// A sample of the picture tells the likely quality. Then one pass over the picture encodes at that quality
// and counts, from the same transform, what the next higher one would take at least; its bound holds for all
// higher ones, too (size_codes.h).
//
// One thread per object. Borrows the picture and the destination.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "jpeg/encoder.h"

namespace lumato::jpeg {

class QualitySearch {
  public:
    // What was encoded: at the first quality that fits, or at the lowest.
    struct Outcome {
        int quality = 0;
        int size = 0;
        bool fits = false;
    };

    // `pixels`, `destination` and `mode` as for CVaskJpegEncoder::CompressImage().
    QualitySearch(const std::uint8_t* pixels, std::uint8_t* destination, int width, int height, int mode);

    // Encodes at the first of the qualities `start`, `start` - `step`, ... above 0 whose stream has at most
    // `budget` bytes, else at the last one. `start` itself counts whatever it is. Nothing when the picture
    // cannot be encoded.
    [[nodiscard]] std::optional<Outcome> Run(int start, int step, int budget);

  private:
    class Counter;

    // What is known of the stream at one quality, and of those at all higher ones, from its first MCUs.
    struct Count {
        std::size_t bytes = 0;                 // of the stream so far
        std::size_t mcus = 0;                  // so many were counted
        std::vector<std::uint16_t> leastBits;  // see SizeCount
        std::vector<std::int16_t> firsts;
    };

    [[nodiscard]] std::optional<Outcome> RunPlainly() const;
    [[nodiscard]] std::optional<Outcome> EncodeAt(int quality) const;
    [[nodiscard]] std::optional<Outcome> RunFrom(std::size_t guess) const;
    [[nodiscard]] std::size_t Guess() const;
    // Encodes at the quality of that index; counts at the next higher one. Nothing when the stream does not
    // fit.
    [[nodiscard]] std::optional<Outcome> EncodeAndCountAbove(std::size_t index, Count& above) const;
    [[nodiscard]] Count CountAt(std::size_t index) const;
    // The next higher quality than that of the index that fits; the same one, when there is none.
    [[nodiscard]] std::size_t FittingAbove(std::size_t index, Count above) const;
    // The fewest bytes that the counted MCUs take at a higher quality than the counted one.
    [[nodiscard]] std::size_t LeastBytes(std::size_t index, const Count& lower) const;
    [[nodiscard]] bool Exceeds(std::size_t size) const { return size > static_cast<std::size_t>(m_budget); }

    SourcePicture m_source;
    std::uint8_t* m_destination;
    int m_mode;
    McuGrid m_grid;  // empty when the picture cannot be encoded
    int m_budget = 0;
    std::vector<int> m_qualities;  // to be tried, in this order
};

}  // namespace lumato::jpeg
