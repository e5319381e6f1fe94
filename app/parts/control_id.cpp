#include "app/parts/control_id.h"

#include <QVariant>

namespace lumato::app {
namespace {

// Most widgets are no controls, which is quickly seen; a property's value takes longer.
bool Has(const QWidget& widget, ControlId id) {
    static const QByteArray kSignature("signature");
    if (!widget.dynamicPropertyNames().contains(kSignature))
        return false;
    const QByteArray signature = widget.property("signature").toString().toLatin1();
    if (signature.size() != 4 || widget.property("controlId").toInt() != id.id)
        return false;
    char text[5] = {};
    std::copy(signature.begin(), signature.end(), text);
    return Code(text) == id.signature;
}

}  // namespace

QWidget* FindControl(QWidget* root, ControlId id) {
    if (root == nullptr)
        return nullptr;
    const QList<QWidget*> widgets = root->findChildren<QWidget*>();
    for (QWidget* widget : widgets) {
        if (Has(*widget, id))
            return widget;
    }
    return nullptr;
}

}  // namespace lumato::app
