#include "app/shell/fusion_style.h"

#include <QApplication>
#include <QPainter>
#include <QStyleOption>
#include <algorithm>

namespace lumato::app {
namespace {

constexpr int kDark = 96;           // of 255: a window's lightness
constexpr double kEdge = 0.4;       // of the way from the window's colour to that of its words
constexpr int kStyleDarkens = 140;  // per cent, from the window's colour to its edges
constexpr int kBetween = 4;         // pixels, from a symbol to its words

bool IsDark(const QStyleOption& option) {
    return option.palette.color(QPalette::Window).lightness() < kDark;
}

// The style makes the edges from the window's colour.
template <class Option>
Option WithEdges(const Option& option) {
    const QColor window = option.palette.color(QPalette::Window);
    const QColor words = option.palette.color(QPalette::WindowText);
    const auto mixed = [](int from, int to) { return static_cast<int>(from + kEdge * (to - from)); };
    const QColor edge(mixed(window.red(), words.red()), mixed(window.green(), words.green()),
                      mixed(window.blue(), words.blue()));
    Option seen(option);
    seen.palette.setColor(QPalette::Window, edge.lighter(kStyleDarkens));
    return seen;
}

}  // namespace

void FusionStyle::Install() {
    if (QApplication::style()->name() == QLatin1String("fusion"))
        QApplication::setStyle(new FusionStyle);
}

void FusionStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                const QWidget* widget) const {
    const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
    const auto* frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
    if (button != nullptr && IsDark(*option) &&
        (element == PE_IndicatorCheckBox || element == PE_IndicatorRadioButton)) {
        const QStyleOptionButton seen = WithEdges(*button);
        QProxyStyle::drawPrimitive(element, &seen, painter, widget);
    } else if (frame != nullptr && IsDark(*option) && (element == PE_Frame || element == PE_FrameLineEdit)) {
        const QStyleOptionFrame seen = WithEdges(*frame);
        QProxyStyle::drawPrimitive(element, &seen, painter, widget);
    } else {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
}

void FusionStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                     QPainter* painter, const QWidget* widget) const {
    const auto* box = qstyleoption_cast<const QStyleOptionSpinBox*>(option);
    if (box != nullptr && control == CC_SpinBox && IsDark(*option)) {
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
    const int left = room.x() + std::max((room.width() - words - kBetween - button->iconSize.width()) / 2, 0);
    const bool enabled = (button->state & State_Enabled) != 0;
    proxy()->drawItemText(painter, QRect(left, room.y(), words, room.height()),
                          Qt::AlignCenter | Qt::TextShowMnemonic, button->palette, enabled, button->text,
                          QPalette::ButtonText);
    button->icon.paint(
        painter,
        QRect(QPoint(left + words + kBetween, room.y() + (room.height() - button->iconSize.height()) / 2),
              button->iconSize),
        Qt::AlignCenter, enabled ? QIcon::Normal : QIcon::Disabled);
}

}  // namespace lumato::app
