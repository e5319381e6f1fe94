#include "app/parts/main_button.h"

#include <QApplication>
#include <QEvent>
#include <cmath>

namespace lumato::app {
namespace {

constexpr double kContrast = 4.5;    // that small texts need
constexpr int kStyleLightens = 124;  // per cent, at a button's upper edge

double Luminance(const QColor& color) {
    const auto linear = [](float value) { return std::pow(static_cast<double>(value), 2.2); };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

// Selections are made for large areas, and many are too pale for the words on a button.
QColor GroundFor(const QColor& text, QColor ground) {
    if (Luminance(text) < Luminance(ground))
        return ground;
    for (int step = 0; step < 20; ++step) {
        if ((Luminance(text) + 0.05) / (Luminance(ground.lighter(kStyleLightens)) + 0.05) >= kContrast)
            break;
        ground = ground.darker(105);
    }
    return ground;
}

}  // namespace

MainButton::MainButton(QWidget* parent) : QPushButton(parent) {
    QFont bold = font();
    bold.setBold(true);
    setFont(bold);
    TakeColors();
}

void MainButton::changeEvent(QEvent* event) {
    QPushButton::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && !m_taking)
        TakeColors();
}

// Where it is disabled it looks as all others do.
void MainButton::TakeColors() {
    QPalette palette = QApplication::palette(this);
    const QColor text = palette.color(QPalette::Active, QPalette::HighlightedText);
    const QColor ground = GroundFor(text, palette.color(QPalette::Active, QPalette::Highlight));
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
        palette.setColor(group, QPalette::Button, ground);
        palette.setColor(group, QPalette::ButtonText, text);
    }
    m_taking = true;
    setPalette(palette);
    m_taking = false;
}

}  // namespace lumato::app
