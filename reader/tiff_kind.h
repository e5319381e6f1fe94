// TIFF files of other kinds than libvips reads right: it takes signed samples and those of 32 bits for 8-bit
// ones out of their range, floating-point ones for linear light, other inks for these and extra samples for
// colours, without a word. Here such a file is told from the usual ones, and brought to 16 bits or refused by
// name. On the thread that reads.
#pragma once

#include <optional>

#include "reader/messages.h"
#include "reader/vips_image.h"

namespace lumato::reader {

struct TiffKind {
    int photometric = 0;
    int bits = 0;    // of a sample
    int format = 1;  // of samples: 1 unsigned, 2 signed, 3 floating-point, 4 not known
    int samples = 0;
    int compression = 0;
    bool isCmyk = false;  // if these are inks
    int alpha = -1;       // the sample that is, -1: none
    bool isAssociated = false;
    std::int64_t tileRow = 0;  // bytes of those tiles that lie beside each other

    // Without alpha and other samples.
    [[nodiscard]] int Colours() const;
    [[nodiscard]] bool IsFloating() const { return format == 3; }
    // 1 to 16 bits, as everybody takes them.
    [[nodiscard]] bool HasUsualSamples() const { return bits <= 16 && (format == 1 || format == 4); }
};

// Of the first picture of the file, as its fields say. `kind` stays as it is where they cannot be read:
// libvips will say why. The descriptor's position changes.
bool ReadTiffKind(int descriptor, TiffKind& kind);

// Why a file of that kind is not read; none: it is.
[[nodiscard]] std::optional<End> WhyNotRead(const TiffKind& kind);

// Leaves the colours and the alpha, as samples of 8 or 16 bits. `again`: the same picture once more, since
// the range of floating-point samples is to be found out first; unused, and may be none, with others.
[[nodiscard]] bool ToUsualSamples(Image& image, const TiffKind& kind, Image again);

}  // namespace lumato::reader
