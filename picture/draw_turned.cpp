#include <algorithm>
#include <cmath>
#include <vector>

#include "picture/picture_placement.h"
#include "picture/pixel_coverage.h"
#include "picture/resample_kernels.h"

namespace lumato::picture {
namespace {

// The level that a picture is drawn from has at least this many pixels for each one that is shown, and less
// than twice as many: fine enough that the filter over it decides what stays, small enough that the filter
// needs few of them.
constexpr double kLeastOversize = 1.3;

// The filter lies along the picture's sides, and lets through most at the corners of what it passes. Turned,
// these come to lie where the surface's rows and columns cannot tell fine from coarse: there it is made
// wider, by this share of what a square of the picture grows in width when it is turned.
constexpr double kWiderWhereTurned = 0.32;

struct SourcePoint {
    double u = 0, v = 0;
};

// From surface positions back to a picture's pixels, counted from its top left corner.
class Inverse {
  public:
    explicit Inverse(const PicturePlacement& p) {
        const double determinant = p.columnPerU * p.rowPerV - p.columnPerV * p.rowPerU;
        m_perColumn = {p.rowPerV / determinant, -p.rowPerU / determinant};
        m_perRow = {-p.columnPerV / determinant, p.columnPerU / determinant};
        m_origin = {p.left + p.width / 2 - m_perColumn.u * p.centerColumn - m_perRow.u * p.centerRow,
                    p.top + p.height / 2 - m_perColumn.v * p.centerColumn - m_perRow.v * p.centerRow};
    }

    // The middles of the surface's pixels from this one to the right.
    [[nodiscard]] PositionRun From(int column, int row) const {
        const SourcePoint first = {m_origin.u + m_perColumn.u * (column + 0.5) + m_perRow.u * (row + 0.5),
                                   m_origin.v + m_perColumn.v * (column + 0.5) + m_perRow.v * (row + 0.5)};
        return {Fixed(first.u), Fixed(first.v), Fixed(m_perColumn.u), Fixed(m_perColumn.v)};
    }

  private:
    // Only a picture smaller than a pixel has steps, and positions of a pixel that it touches, as large as
    // this.
    static std::int64_t Fixed(double position) {
        constexpr double kFarthest = 1 << 21;
        return std::llround(std::ldexp(std::clamp(position, -kFarthest, kFarthest), kPositionBits));
    }

    SourcePoint m_perColumn, m_perRow, m_origin;
};

// The same placement, counted in pixels of a view of another size.
PicturePlacement Recount(PicturePlacement placement, const PixelView& from, const PixelView& to) {
    const double perU = static_cast<double>(from.width) / to.width;
    const double perV = static_cast<double>(from.height) / to.height;
    placement.columnPerU *= perU;
    placement.rowPerU *= perU;
    placement.columnPerV *= perV;
    placement.rowPerV *= perV;
    placement.left = placement.left * to.width / from.width;
    placement.width = placement.width * to.width / from.width;
    placement.top = placement.top * to.height / from.height;
    placement.height = placement.height * to.height / from.height;
    return placement;
}

// By the direction in which more is shown.
int LevelFor(double scale) {
    int level = 0;
    while (level < 30 && scale * 2 * kLeastOversize <= 1) {
        scale *= 2;
        ++level;
    }
    return level;
}

void BlendRow(const Surface& surface, int row, const PixelCoverage::RowPart& part,
              const PixelCoverage& coverage, const std::uint8_t* colours) {
    for (int column = part.begin; column < part.end; ++column, colours += kChannels) {
        const bool whole = column >= part.wholeBegin && column < part.wholeEnd;
        BlendPixel(surface.At(column, row), surface.order, colours + 1,
                   whole ? 1.0F : coverage.Of(column, row));
    }
}

}  // namespace

void DrawTurned(const Surface& surface, PictureLevels& picture, const PicturePlacement& placement,
                const IsWanted& isWanted) {
    const double scaleU = std::hypot(placement.columnPerU, placement.rowPerU);
    const double scaleV = std::hypot(placement.columnPerV, placement.rowPerV);
    if (scaleU <= 0 || scaleV <= 0)
        return;
    const PixelView held = picture.At(0);
    const PixelView source = picture.At(LevelFor(std::max(scaleU, scaleV)));
    const Inverse inverse(Recount(placement, held, source));
    const double box = (std::abs(placement.columnPerU) + std::abs(placement.rowPerU)) / scaleU;
    const double wider = 1 + kWiderWhereTurned * (box - 1);
    const BlockFilter filter(source, wider * source.width / (scaleU * held.width),
                             wider * source.height / (scaleV * held.height));
    const PixelCoverage coverage(placement, placement.width / 2, placement.height / 2);
    const auto draw = [&](int begin, int end) {
        PixelBlockReader reader(source, filter);
        std::vector<std::uint8_t> colours(static_cast<std::size_t>(surface.width) * kChannels);
        for (int row = begin; row < end; ++row) {
            const PixelCoverage::RowPart part = coverage.InRow(row, surface.width);
            if (part.begin >= part.end)
                continue;
            CombineBlocks(reader, inverse.From(part.begin, row),
                          static_cast<std::size_t>(part.end - part.begin), colours.data());
            if (placement.colours != nullptr)
                placement.colours->Convert(colours.data(), colours.data(),
                                           static_cast<std::size_t>(part.end - part.begin));
            BlendRow(surface, row, part, coverage, colours.data());
        }
    };
    DrawInBands(surface.height, draw, isWanted);
}

}  // namespace lumato::picture
