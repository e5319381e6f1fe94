#include "app/shell/accessible_views.h"

#include <QAccessible>
#include <QAccessibleWidget>

#include "app/edit/edit_view.h"
#include "app/edit/rect_view.h"
#include "app/list/preview.h"
#include "app/parts/screen_view.h"
#include "app/shell/spoken_note.h"

namespace lumato::app {
namespace {

QAccessibleInterface* ViewInterface(const QString&, QObject* object) {
    if (qobject_cast<EditView*>(object) != nullptr || qobject_cast<RectView*>(object) != nullptr ||
        qobject_cast<Preview*>(object) != nullptr || qobject_cast<ScreenView*>(object) != nullptr)
        return new QAccessibleWidget(qobject_cast<QWidget*>(object), QAccessible::Graphic);
    if (auto* note = qobject_cast<SpokenNote*>(object))
        return new QAccessibleWidget(note, QAccessible::Notification);
    return nullptr;
}

}  // namespace

void InstallAccessibleViews() {
    static bool installed = false;
    if (!installed)
        QAccessible::installFactory(ViewInterface);
    installed = true;
}

}  // namespace lumato::app
