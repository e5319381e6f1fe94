// Tiles from all over a picture, by which the sizes of its streams are foreseen.
//
// One thread per object.
#pragma once

#include <cstddef>
#include <memory>

#include "jpeg/encode_vectors.h"

namespace lumato::jpeg {

class PictureSample {
  public:
    // They have no tile in common.
    enum class Which { First, Second };

    PictureSample(const SourcePicture& source, int mode, Which which);

    // Nothing of a picture that is too small for samples.
    [[nodiscard]] bool IsEmpty() const { return m_count == 0; }

    // About how many bytes the picture's MCUs take.
    [[nodiscard]] double MeasureWith(const std::array<const FastCoding*, 2>& codings) const;

  private:
    std::size_t m_pictureMcus;
    McuGrid m_grid;  // of the chunks
    std::size_t m_count = 0;
    std::unique_ptr<ChunkCoefficients[]> m_chunks;  // four tiles each
};

}  // namespace lumato::jpeg
