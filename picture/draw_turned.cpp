#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "picture/picture_placement.h"
#include "picture/pixel_coverage.h"
#include "picture/resample_kernels.h"

namespace lumato::picture {
namespace {

// A picture that is reduced is first brought, straight, to this many times the size that it is shown at: fine
// enough that the second filter decides what stays, small enough that it needs few pixels.
constexpr double kOversize = 2;
// Positions between pixels are told apart in steps of 1/128 pixel.
constexpr int kPhases = 128;
constexpr double kHalfPhase = 0.5 / kPhases;

// The pixels that the turned picture is drawn from: the held ones themselves, or a window of the reduced
// picture. Positions count in its own pixels.
struct Source {
    const std::uint8_t* pixels = nullptr;
    int width = 0, height = 0;  // of the whole picture, in these pixels
    int left = 0, top = 0;      // the window that `pixels` has
    int windowWidth = 0, windowHeight = 0;
    std::vector<std::uint8_t> storage;  // of a reduced picture
};

struct Window {
    double minU = 0, maxU = 0, minV = 0, maxV = 0;
};

// From surface positions back to the picture.
struct Inverse {
    double uPerColumn = 0, uPerRow = 0, vPerColumn = 0, vPerRow = 0;
    double u0 = 0, v0 = 0;  // where the surface's corner lies, counted from the picture's top left corner

    Inverse(const PicturePlacement& p, int width, int height) {
        const double determinant = p.columnPerU * p.rowPerV - p.columnPerV * p.rowPerU;
        uPerColumn = p.rowPerV / determinant;
        uPerRow = -p.columnPerV / determinant;
        vPerColumn = -p.rowPerU / determinant;
        vPerRow = p.columnPerU / determinant;
        u0 = width / 2.0 - uPerColumn * p.centerColumn - uPerRow * p.centerRow;
        v0 = height / 2.0 - vPerColumn * p.centerColumn - vPerRow * p.centerRow;
    }
    [[nodiscard]] double U(double column, double row) const {
        return u0 + uPerColumn * column + uPerRow * row;
    }
    [[nodiscard]] double V(double column, double row) const {
        return v0 + vPerColumn * column + vPerRow * row;
    }
};

Window SeenWindow(const Inverse& inverse, const Surface& surface) {
    Window seen{inverse.U(0, 0), inverse.U(0, 0), inverse.V(0, 0), inverse.V(0, 0)};
    for (const int column : {0, surface.width})
        for (const int row : {0, surface.height}) {
            seen.minU = std::min(seen.minU, inverse.U(column, row));
            seen.maxU = std::max(seen.maxU, inverse.U(column, row));
            seen.minV = std::min(seen.minV, inverse.V(column, row));
            seen.maxV = std::max(seen.maxV, inverse.V(column, row));
        }
    return seen;
}

// How large the picture is drawn from, along one side.
int OversizedLength(int held, double scale) {
    const double wanted = std::ceil(held * scale * kOversize);
    return static_cast<int>(std::clamp(wanted, 1.0, static_cast<double>(held)));
}

// The seen part, with what the filter reaches beyond it, as whole pixels inside 0..length.
void SeenRange(double low, double high, double reach, int length, int& from, int& count) {
    from = static_cast<int>(std::clamp(std::floor(low - reach), 0.0, length - 1.0));
    const double end = std::clamp(std::ceil(high + reach), from + 1.0, static_cast<double>(length));
    count = static_cast<int>(end) - from;
}

Source HeldPixels(const BitmapInfo& picture) {
    Source source;
    source.pixels = picture.pixels.data();
    source.width = source.windowWidth = picture.heldWidth;
    source.height = source.windowHeight = picture.heldHeight;
    return source;
}

Source ReducedPixels(const BitmapInfo& picture, int width, int height, const Window& seen) {
    Source source;
    source.width = width;
    source.height = height;
    // The second filter reaches two of the surface's pixels to each side.
    constexpr double kReach = 2 * kOversize + 2;
    SeenRange(seen.minU, seen.maxU, kReach, width, source.left, source.windowWidth);
    SeenRange(seen.minV, seen.maxV, kReach, height, source.top, source.windowHeight);
    source.storage.resize(static_cast<std::size_t>(source.windowWidth) *
                          static_cast<std::size_t>(source.windowHeight) * kChannels);
    const Surface window{source.storage.data(), source.windowWidth, source.windowHeight,
                         static_cast<std::size_t>(source.windowWidth) * kChannels};
    const AxisTaps across =
        PlaceAxis({width / 2.0 - source.left, static_cast<double>(width) / picture.heldWidth,
                   picture.heldWidth, source.windowWidth});
    const AxisTaps down =
        PlaceAxis({height / 2.0 - source.top, static_cast<double>(height) / picture.heldHeight,
                   picture.heldHeight, source.windowHeight});
    DrawAxes(window, picture, across, down, false);
    source.pixels = source.storage.data();
    return source;
}

// The filter along one side at every phase: weights for the pixels from floor(position - 0.5) - reach + 1 on.
class PhaseTable {
  public:
    explicit PhaseTable(double pixelsPerSurfacePixel) {
        // Above kOversize only where the source is a single pixel wide, and then any filter does.
        const double filterScale = std::clamp(pixelsPerSurfacePixel, 1.0, kOversize);
        m_reach = static_cast<int>(std::ceil(2 * filterScale));
        m_width = 2 * m_reach;
        m_weights.resize(static_cast<std::size_t>(m_width) * (kPhases + 1));
        std::vector<double> weights(static_cast<std::size_t>(m_width));
        for (int phase = 0; phase <= kPhases; ++phase) {
            double sum = 0;
            for (int k = 0; k < m_width; ++k) {
                const double distance = k - m_reach + 1 - static_cast<double>(phase) / kPhases;
                sum += weights[static_cast<std::size_t>(k)] = CubicKernel(distance / filterScale);
            }
            for (double& weight : weights)
                weight /= sum;
            ToFixedPoint(weights, m_weights.data() + Offset(phase));
        }
    }

    [[nodiscard]] int Width() const { return m_width; }
    // The weights for a position, and the first pixel that they are for.
    [[nodiscard]] std::span<const std::int16_t> At(double position, int& first) const {
        const double base = std::floor(position - 0.5);
        const int phase = static_cast<int>((position - 0.5 - base + kHalfPhase) * kPhases);
        first = static_cast<int>(base) - m_reach + 1;
        return std::span(m_weights).subspan(Offset(phase), static_cast<std::size_t>(m_width));
    }

  private:
    [[nodiscard]] std::size_t Offset(int phase) const {
        return static_cast<std::size_t>(phase) * static_cast<std::size_t>(m_width);
    }

    int m_reach = 0;
    int m_width = 0;
    std::vector<std::int16_t> m_weights;
};

// Takes filtered colours out of a source, going on past its edges with the outermost pixels.
class Sampler {
  public:
    Sampler(const Source& source, double pixelsPerColumn, double pixelsPerRow)
        : m_source(source),
          m_stride(static_cast<std::size_t>(source.windowWidth) * kChannels),
          m_across(pixelsPerColumn),
          m_down(pixelsPerRow),
          m_block(static_cast<std::size_t>(m_across.Width() * m_down.Width() * kChannels)) {}

    void Take(double u, double v, std::uint8_t rgb[3]) {
        int column = 0;
        int row = 0;
        const auto across = m_across.At(std::clamp(u, 0.0, static_cast<double>(m_source.width)), column);
        const auto down = m_down.At(std::clamp(v, 0.0, static_cast<double>(m_source.height)), row);
        float sum[kChannels];
        const bool inside = column >= m_source.left && row >= m_source.top &&
                            column + m_across.Width() <= m_source.left + m_source.windowWidth &&
                            row + m_down.Width() <= m_source.top + m_source.windowHeight;
        if (inside)
            CombineBlock(Pixel(column, row), m_stride, across, down, sum);
        else
            CombineBlock(ClampedBlock(column, row), static_cast<std::size_t>(m_across.Width()) * kChannels,
                         across, down, sum);
        for (int c = 0; c < 3; ++c)
            rgb[c] = RoundToByte(static_cast<std::int32_t>(sum[c + 1]), kWeightBits);
    }

  private:
    [[nodiscard]] const std::uint8_t* Pixel(int column, int row) const {
        return m_source.pixels + static_cast<std::size_t>(row - m_source.top) * m_stride +
               static_cast<std::size_t>(column - m_source.left) * kChannels;
    }

    const std::uint8_t* ClampedBlock(int column, int row) {
        std::uint8_t* out = m_block.data();
        for (int r = 0; r < m_down.Width(); ++r)
            for (int c = 0; c < m_across.Width(); ++c, out += kChannels) {
                const int from =
                    std::clamp(column + c, m_source.left, m_source.left + m_source.windowWidth - 1);
                const int line = std::clamp(row + r, m_source.top, m_source.top + m_source.windowHeight - 1);
                std::copy_n(Pixel(from, line), kChannels, out);
            }
        return m_block.data();
    }

    const Source& m_source;
    std::size_t m_stride;
    PhaseTable m_across, m_down;
    std::vector<std::uint8_t> m_block;
};

// The same placement, counted in pixels of a source of another size than the held one.
PicturePlacement Recount(PicturePlacement placement, double perU, double perV) {
    placement.columnPerU *= perU;
    placement.rowPerU *= perU;
    placement.columnPerV *= perV;
    placement.rowPerV *= perV;
    return placement;
}

}  // namespace

void DrawTurned(const Surface& surface, const BitmapInfo& picture, const PicturePlacement& placement) {
    const double scaleU = std::hypot(placement.columnPerU, placement.rowPerU);
    const double scaleV = std::hypot(placement.columnPerV, placement.rowPerV);
    if (scaleU <= 0 || scaleV <= 0)
        return;
    const int width = OversizedLength(picture.heldWidth, scaleU);
    const int height = OversizedLength(picture.heldHeight, scaleV);
    const double heldPerU = static_cast<double>(picture.heldWidth) / width;
    const double heldPerV = static_cast<double>(picture.heldHeight) / height;
    const PicturePlacement recounted = Recount(placement, heldPerU, heldPerV);
    const Inverse inverse(recounted, width, height);

    const bool reduced = width < picture.heldWidth || height < picture.heldHeight;
    const Source source =
        reduced ? ReducedPixels(picture, width, height, SeenWindow(inverse, surface)) : HeldPixels(picture);
    Sampler sampler(source, 1 / (scaleU * heldPerU), 1 / (scaleV * heldPerV));
    const PixelCoverage coverage(placement, picture.heldWidth / 2.0, picture.heldHeight / 2.0);
    for (int row = 0; row < surface.height; ++row)
        for (int column = 0; column < surface.width; ++column) {
            const float covered = coverage.Of(column, row);
            if (covered <= 0)
                continue;
            std::uint8_t rgb[3];
            sampler.Take(inverse.U(column + 0.5, row + 0.5), inverse.V(column + 0.5, row + 0.5), rgb);
            BlendPixel(surface.At(column, row), surface.order, rgb, covered);
        }
}

}  // namespace lumato::picture
