#include "app/parts/texts.h"

#include <QFile>

#include "base/printable.h"
#include "text/localized.h"

namespace lumato::app {

QString Localized(std::string_view key, std::string_view defaultText) {
    return QString::fromStdString(text::Localized(key, defaultText));
}

QString LocalizedWith(const char* key, const char* defaultText, const QString& value) {
    return Localized(Phrase(key, defaultText, value.toStdString()));
}

QString Localized(const Phrase& phrase) {
    return QString::fromStdString(text::Localized(phrase));
}

QString ShownName(const Path& file) {
    return QString::fromStdString(Printable(file.filename().string()));
}

QColor QuietColor(const QPalette& palette) {
    QColor color = palette.color(QPalette::Active, QPalette::WindowText);
    color.setAlphaF(kQuietness);
    return color;
}

Path PathOf(const QString& file) {
    return QFile::encodeName(file).toStdString();
}

QString FromPath(const Path& file) {
    return QFile::decodeName(QByteArray::fromStdString(file.string()));
}

}  // namespace lumato::app
