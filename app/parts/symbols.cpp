#include "app/parts/symbols.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>

// A library's resources are there once they are asked for, outside of any namespace.
static void ProvideSymbols() {
    Q_INIT_RESOURCE(icons);
}

namespace lumato::app {
namespace {

class SymbolEngine : public QIconEngine {
  public:
    SymbolEngine(const char* name, QPalette::ColorRole color) : m_name(name), m_color(color) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        const double ratio = painter->device()->devicePixelRatio();
        painter->drawPixmap(rect, SymbolPixmap(m_name, rect.size(), ratio, Color(mode)));
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
        return SymbolPixmap(m_name, size, 1, Color(mode));
    }
    [[nodiscard]] QIconEngine* clone() const override { return new SymbolEngine(*this); }

  private:
    [[nodiscard]] QColor Color(QIcon::Mode mode) const {
        const QPalette palette = QGuiApplication::palette();
        if (mode == QIcon::Disabled)
            return palette.color(QPalette::Disabled, QPalette::ButtonText);
        return palette.color(QPalette::Active, mode == QIcon::Selected ? QPalette::HighlightedText : m_color);
    }

    const char* m_name;
    QPalette::ColorRole m_color;
};

}  // namespace

QIcon Symbol(const char* name, QPalette::ColorRole color) {
    return QIcon(new SymbolEngine(name, color));
}

QPixmap SymbolPixmap(const char* name, QSize size, double pixelRatio, const QColor& color) {
    ProvideSymbols();
    const QIcon shape(QStringLiteral(":/symbols/%1.svg").arg(QLatin1String(name)));
    QPixmap pixmap((QSizeF(size) * pixelRatio).toSize());
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    shape.paint(&painter, pixmap.rect());
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    painter.end();
    pixmap.setDevicePixelRatio(pixelRatio);
    return pixmap;
}

}  // namespace lumato::app
