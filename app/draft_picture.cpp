#include "app/draft_picture.h"

#include <QPainter>
#include <QTransform>
#include <cmath>

#include "app/screen_image.h"

namespace lumato::app {
namespace {

constexpr int kSmallestSide = 64;

}  // namespace

DraftPicture::DraftPicture(const picture::BitmapInfo& picture) {
    m_levels.push_back(ImageOf(picture));
    while (std::min(m_levels.back().width(), m_levels.back().height()) / 2 >= kSmallestSide)
        m_levels.push_back(m_levels.back().scaled(m_levels.back().size() / 2, Qt::IgnoreAspectRatio,
                                                  Qt::SmoothTransformation));
}

// The smallest level that has a pixel for each of the screen's.
void DraftPicture::Draw(QImage& into, const picture::MyImage& pose, double pixelsPerCanvasPixel) const {
    const double perU = pixelsPerCanvasPixel * static_cast<double>(pose.scaleX) * pose.image->width;
    const double perV = pixelsPerCanvasPixel * static_cast<double>(pose.scaleY) * pose.image->height;
    std::size_t level = 0;
    while (level + 1 < m_levels.size() && m_levels[level + 1].height() >= std::abs(perV))
        ++level;
    const QImage& source = m_levels[level];
    QTransform transform;
    transform.translate(into.width() / 2.0 + static_cast<double>(pose.translateX) * pixelsPerCanvasPixel,
                        into.height() / 2.0 + static_cast<double>(pose.translateY) * pixelsPerCanvasPixel);
    transform.rotate(static_cast<double>(pose.rotation));
    transform.scale(perU / source.width(), -perV / source.height());
    transform.translate(-source.width() / 2.0, -source.height() / 2.0);
    QPainter painter(&into);
    painter.setRenderHints(QPainter::SmoothPixmapTransform | QPainter::Antialiasing);
    painter.setTransform(transform);
    painter.drawImage(0, 0, source);
}

}  // namespace lumato::app
