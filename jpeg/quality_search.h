// The search for the quality at which a picture fits a budget: gives what encoding at one quality after the
// other gives, in little more time than the last of these encodings takes.
//
// A sample of the picture tells the likely quality. Encoding at that quality also bounds what the same
// coefficients take at higher ones (size_codes.h). That may prove that none of them fits; else MCUs are
// counted, from the same transform, until it is proved, or one does fit.
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
    class Forecast;

    [[nodiscard]] std::optional<Outcome> RunPlainly() const;
    [[nodiscard]] std::optional<Outcome> EncodeAt(int quality) const;
    [[nodiscard]] std::optional<Outcome> RunByForecast() const;

    SourcePicture m_source;
    std::uint8_t* m_destination;
    int m_mode;
    McuGrid m_grid;  // empty when the picture cannot be encoded
    int m_budget = 0;
    std::vector<int> m_qualities;  // to be tried, in this order
};

}  // namespace lumato::jpeg
