// Qt's own style, which desktops without one get, where it cannot be read: on dark windows it draws edges in
// a darker colour still, and on buttons that are written from the right the symbol stands apart from the
// words.
//
// Main thread only.
#pragma once

#include <QProxyStyle>

namespace lumato::app {

class FusionStyle : public QProxyStyle {
    Q_OBJECT

  public:
    FusionStyle() : QProxyStyle(QStringLiteral("fusion")) {}

    // For the whole program, unless the desktop has another style.
    static void Install();

    using QProxyStyle::polish;
    void polish(QPalette& palette) override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
};

}  // namespace lumato::app
