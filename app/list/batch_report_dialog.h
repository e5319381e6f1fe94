// What a batch left out: file names and reasons, to be read, copied, and in part tried once more.
//
// Main thread only.
#pragma once

#include <QDialog>
#include <QTreeWidget>
#include <vector>

#include "picture/add_pictures.h"

namespace lumato::app {

class BatchReportDialog : public QDialog {
    Q_OBJECT

  public:
    BatchReportDialog(const picture::BatchReport& report, QWidget* parent);

  signals:
    // The files that were not tried shall be.
    void Retried(const std::vector<Path>& files);

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void Add(const Path& file, const QString& reason);
    // The selected rows, or all of them when none is.
    void Copy() const;

    QTreeWidget* m_rows;
};

}  // namespace lumato::app
