// What is to be known of a batch: the files that it left out with the reasons, and what importing others
// took; to be read, copied, and in part tried once more.
//
// Main thread only.
#pragma once

#include <QDialog>
#include <QTreeView>
#include <memory>
#include <vector>

#include "picture/add_pictures.h"

namespace lumato::app {

class BatchReportDialog : public QDialog {
    Q_OBJECT

  public:
    using Report = std::shared_ptr<const picture::BatchReport>;
    BatchReportDialog(const Report& report, QWidget* parent);

  signals:
    // The files that were not tried shall be.
    void Retried(const std::vector<Path>& files);

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    // The selected rows, or all of them when none is.
    void Copy() const;

    QTreeView* m_rows;
};

}  // namespace lumato::app
