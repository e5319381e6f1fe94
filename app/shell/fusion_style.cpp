#include "app/shell/fusion_style.h"

#include <QApplication>
#include <QPainter>
#include <QStyleOption>
#include <algorithm>

namespace lumato::app {
namespace {

constexpr int kDark = 96;           // of 255: a window's lightness
constexpr int kSeen = 40;           // likewise: so much lighter is seen
constexpr double kEdge = 0.4;       // of the way from the window's colour to that of its words
constexpr int kStyleDarkens = 140;  // per cent, from the window's colour to its edges
constexpr int kSymbolGap = 4;       // pixels, from a symbol to its words

bool IsDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < kDark;
}

// Seen on the window, and not as strong as its words.
QColor Between(const QPalette& palette) {
    const QColor window = palette.color(QPalette::Active, QPalette::Window);
    const QColor words = palette.color(QPalette::Active, QPalette::WindowText);
    const auto mixed = [](int from, int to) { return static_cast<int>(from + kEdge * (to - from)); };
    return {mixed(window.red(), words.red()), mixed(window.green(), words.green()),
            mixed(window.blue(), words.blue())};
}

// The style makes the edges from the window's colour.
template <class Option>
Option WithEdges(const Option& option) {
    Option seen(option);
    seen.palette.setColor(QPalette::Window, Between(option.palette).lighter(kStyleDarkens));
    return seen;
}

}  // namespace

void FusionStyle::Install() {
    if (QApplication::style()->name() == QLatin1String("fusion"))
        QApplication::setStyle(new FusionStyle);
}

// What is disabled has the colour of the window on some dark desktops.
void FusionStyle::polish(QPalette& palette) {
    const int window = palette.color(QPalette::Window).lightness();
    if (!IsDark(palette) ||
        palette.color(QPalette::Disabled, QPalette::WindowText).lightness() > window + kSeen)
        return;
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, Between(palette));
}

void FusionStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                const QWidget* widget) const {
    const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
    const auto* frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
    if (button != nullptr && IsDark(option->palette) &&
        (element == PE_IndicatorCheckBox || element == PE_IndicatorRadioButton ||
         element == PE_PanelButtonCommand)) {
        const QStyleOptionButton seen = WithEdges(*button);
        QProxyStyle::drawPrimitive(element, &seen, painter, widget);
    } else if (frame != nullptr && IsDark(option->palette) &&
               (element == PE_Frame || element == PE_FrameLineEdit)) {
        const QStyleOptionFrame seen = WithEdges(*frame);
        QProxyStyle::drawPrimitive(element, &seen, painter, widget);
    } else {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
}

void FusionStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                     QPainter* painter, const QWidget* widget) const {
    const auto* box = qstyleoption_cast<const QStyleOptionSpinBox*>(option);
    if (box != nullptr && control == CC_SpinBox && IsDark(option->palette)) {
        const QStyleOptionSpinBox seen = WithEdges(*box);
        QProxyStyle::drawComplexControl(control, &seen, painter, widget);
    } else {
        QProxyStyle::drawComplexControl(control, option, painter, widget);
    }
}

void FusionStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                              const QWidget* widget) const {
    const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
    if (element != CE_PushButtonLabel || button == nullptr || button->direction != Qt::RightToLeft ||
        button->icon.isNull() || button->text.isEmpty()) {
        QProxyStyle::drawControl(element, option, painter, widget);
        return;
    }
    const int words = button->fontMetrics.size(Qt::TextShowMnemonic, button->text).width();
    const QRect& room = button->rect;
    const int left =
        room.x() + std::max((room.width() - words - kSymbolGap - button->iconSize.width()) / 2, 0);
    const bool enabled = (button->state & State_Enabled) != 0;
    proxy()->drawItemText(painter, QRect(left, room.y(), words, room.height()),
                          Qt::AlignCenter | Qt::TextShowMnemonic, button->palette, enabled, button->text,
                          QPalette::ButtonText);
    button->icon.paint(
        painter,
        QRect(QPoint(left + words + kSymbolGap, room.y() + (room.height() - button->iconSize.height()) / 2),
              button->iconSize),
        Qt::AlignCenter, enabled ? QIcon::Normal : QIcon::Disabled);
}

}  // namespace lumato::app
