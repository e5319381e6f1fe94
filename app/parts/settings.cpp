#include "app/parts/settings.h"

#include <QDir>

#include "app/parts/texts.h"

namespace lumato::app {

Settings::Settings(const Path& stateFolder)
    : m_file(FromPath(stateFolder / "window.ini"), QSettings::IniFormat) {}

QByteArray Settings::Bytes(const char* name) const {
    return m_file.value(QLatin1String(name)).toByteArray();
}

void Settings::SetBytes(const char* name, const QByteArray& value) {
    m_file.setValue(QLatin1String(name), value);
}

// As bytes: not every folder's name is a text.
Path Settings::Folder(const char* name) const {
    const QByteArray saved = QByteArray::fromPercentEncoding(Bytes(name));
    return saved.isEmpty() ? PathOf(QDir::homePath()) : Path(saved.toStdString());
}

void Settings::SetFolder(const char* name, const Path& folder) {
    SetBytes(name, QByteArray::fromStdString(folder.string()).toPercentEncoding("/ "));
}

}  // namespace lumato::app
