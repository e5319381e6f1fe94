#include "app/shell/appearance.h"

#include <QAbstractButton>
#include <QLabel>
#include <QLoggingCategory>

#include "app/parts/symbols.h"

namespace lumato::app {
namespace {

struct ButtonSymbol {
    const char* button;
    const char* symbol;
    QPalette::ColorRole color = QPalette::ButtonText;
};

constexpr ButtonSymbol kSymbols[] = {
    {"addButton", "add"},      {"deleteButton", "delete"},
    {"saveAllButton", "save"}, {"downLoadButton", "download", QPalette::HighlightedText},
    {"turnLeft", "turn-left"}, {"turnRight", "turn-right"},
    {"resetPose", "reset"},
};

}  // namespace

void DrawWithoutOpenGl() {
    constexpr const char* integration = "QT_WAYLAND_CLIENT_BUFFER_INTEGRATION";
    if (qEnvironmentVariableIsSet(integration))
        return;
    qputenv(integration, "none");
    // It warns that there is none of this name.
    QLoggingCategory::setFilterRules(QStringLiteral("qt.qpa.wayland.warning=false"));
}

void DressWindow(const QWidget& window) {
    for (const char* name : {"browserHeading", "editHeading", "frameHeading"}) {
        auto* label = window.findChild<QLabel*>(QLatin1String(name));
        QFont font = label->font();
        font.setBold(true);
        label->setFont(font);
    }
    for (const ButtonSymbol& row : kSymbols) {
        if (auto* button = window.findChild<QAbstractButton*>(QLatin1String(row.button)))
            button->setIcon(Symbol(row.symbol, row.color));
    }
}

}  // namespace lumato::app
