#include "picture/picture_levels.h"

#include "picture/picture_placement.h"
#include "picture/row_bands.h"

namespace lumato::picture {
namespace {

int Half(int length) {
    return length / 2 + length % 2;
}

// The whole of the picture on the whole of the surface.
AxisTaps FittedTaps(int held, int length) {
    return PlaceAxis({length / 2.0, static_cast<double>(length) / held, held, length, Filter::Lanczos});
}

}  // namespace

PixelView PictureLevels::Smallest() const {
    if (m_reduced.empty())
        return m_held;
    return {m_reduced.back().pixels.data(), m_reduced.back().width, m_reduced.back().height};
}

PixelView PictureLevels::At(int level) {
    if (level == 0)
        return m_held;
    const std::lock_guard lock(m_mutex);
    const auto count = static_cast<std::size_t>(level);
    while (m_reduced.size() < count) {
        const PixelView from = Smallest();
        Level made{Half(from.width), Half(from.height), {}};
        made.pixels.resize(static_cast<std::size_t>(made.width) * static_cast<std::size_t>(made.height) *
                           kChannels);
        const Surface surface{made.pixels.data(), made.width, made.height,
                              static_cast<std::size_t>(made.width) * kChannels};
        const AxesPainter painter(surface, FittedTaps(from.width, made.width),
                                  FittedTaps(from.height, made.height), false);
        DrawInBands(painter.Lines(), [&](int begin, int end) {
            AxesPainter own = painter;
            PaintLines(own, from, begin, end);
        });
        m_reduced.push_back(std::move(made));
    }
    const Level& wanted = m_reduced[count - 1];
    return {wanted.pixels.data(), wanted.width, wanted.height};
}

}  // namespace lumato::picture
