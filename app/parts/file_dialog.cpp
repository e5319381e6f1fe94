#include "app/parts/file_dialog.h"

#include <QAbstractFileIconProvider>
#include <QGuiApplication>
#include <QStyle>

#include "app/parts/texts.h"

namespace lumato::app {
namespace {

// Where the desktop has no dialog of its own, Qt looks into each file for its kind and reads a symbol from
// the disk for each, all on the main thread: the folder of a few photographs stopped the window.
class PlainIcons : public QObject, public QAbstractFileIconProvider {
  public:
    explicit PlainIcons(QWidget& dialog)
        : QObject(&dialog),
          m_folder(dialog.style()->standardIcon(QStyle::SP_DirIcon)),
          m_file(dialog.style()->standardIcon(QStyle::SP_FileIcon)) {}

    QIcon icon(IconType type) const override { return type == File ? m_file : m_folder; }
    QIcon icon(const QFileInfo& info) const override { return info.isDir() ? m_folder : m_file; }
    QString type(const QFileInfo& info) const override {
        const char* kContext = "QAbstractFileIconProvider";
        return info.isDir() ? QGuiApplication::translate(kContext, "Folder")
                            : QGuiApplication::translate(kContext, "%1 File").arg(info.suffix());
    }

  private:
    QIcon m_folder, m_file;
};

}  // namespace

QFileDialog* NewFileDialog(QWidget* window, const QString& title, const Path& folder, const QString& names) {
    auto* dialog = new QFileDialog(window, title, FromPath(folder), names);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setIconProvider(new PlainIcons(*dialog));
    return dialog;
}

}  // namespace lumato::app
