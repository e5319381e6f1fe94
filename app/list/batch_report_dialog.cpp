#include "app/list/batch_report_dialog.h"

#include <QAbstractTableModel>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <utility>
#include <vector>

#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

constexpr int kLetters = 84;  // that the window is wide at first
constexpr int kLines = 20;    // and high

QString Count(const char* key, const char* text, std::size_t number) {
    return LocalizedWith(key, text, QString::number(number));
}

// What was refused, then what is to be known of others, then what was not tried. Texts are made of what is
// looked at: there may be 20,000 files.
class LeftOutModel : public QAbstractTableModel {
  public:
    LeftOutModel(BatchReportDialog::Report report, QObject* parent)
        : QAbstractTableModel(parent), m_report(std::move(report)) {
        for (const picture::BatchReport::Added& added : m_report->added) {
            if (!added.note.empty())
                m_noted.push_back(&added);
        }
    }

    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(NotTried() + m_report->notTried.size());
    }
    int columnCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : 2; }
    QVariant headerData(int column, Qt::Orientation orientation, int role) const override {
        if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
            return {};
        return column == 0 ? Localized("BATCH_FILE", "File") : Localized("BATCH_REASON", "Note");
    }
    QVariant data(const QModelIndex& index, int role) const override {
        if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
            return {};
        const auto row = static_cast<std::size_t>(index.row());
        if (index.column() == 0)
            return role == Qt::ToolTipRole ? FromPath(File(row)) : ShownName(File(row));
        if (row >= NotTried())
            return Localized("BATCH_WAS_NOT_TRIED", "not tried");
        return Reason(row < Noted() ? m_report->refused[row].reason.cause : m_noted[row - Noted()]->note);
    }

  private:
    // The first row of each part.
    [[nodiscard]] std::size_t Noted() const { return m_report->refused.size(); }
    [[nodiscard]] std::size_t NotTried() const { return Noted() + m_noted.size(); }
    [[nodiscard]] const Path& File(std::size_t row) const {
        if (row < Noted())
            return m_report->refused[row].file;
        return row < NotTried() ? m_noted[row - Noted()]->file : m_report->notTried[row - NotTried()];
    }

    // Most have the one of the row before.
    [[nodiscard]] QString Reason(const Phrase& reason) const {
        if (std::exchange(m_reason, reason) != reason)
            m_shown = Localized(reason);
        return m_shown;
    }

    const BatchReportDialog::Report m_report;
    std::vector<const picture::BatchReport::Added*> m_noted;
    mutable Phrase m_reason;
    mutable QString m_shown;  // of it
};

}  // namespace

BatchReportDialog::BatchReportDialog(const Report& left, QWidget* parent)
    : QDialog(parent), m_rows(new QTreeView(this)) {
    const picture::BatchReport& report = *left;
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(Localized("BATCH_TITLE", "Notes on the Pictures"));
    auto* numbers = new QLabel(QStringList{Count("BATCH_ADDED", "{} added", report.added.size()),
                                           Count("BATCH_REFUSED", "{} refused", report.refused.size()),
                                           Count("BATCH_NOT_TRIED", "{} not tried", report.notTried.size())}
                                   .join(QStringLiteral(", ")),
                               this);
    m_rows->setRootIsDecorated(false);
    m_rows->setUniformRowHeights(true);
    m_rows->setAlternatingRowColors(true);
    m_rows->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_rows->setTextElideMode(Qt::ElideMiddle);
    m_rows->setModel(new LeftOutModel(left, this));
    m_rows->setAccessibleName(windowTitle());
    m_rows->header()->resizeSection(0, fontMetrics().averageCharWidth() * kLetters / 3);
    auto* buttons = new QDialogButtonBox(this);
    QPushButton* copy = buttons->addButton(Localized("BATCH_COPY", "Copy"), QDialogButtonBox::ActionRole);
    connect(copy, &QPushButton::clicked, this, &BatchReportDialog::Copy);
    if (!report.notTried.empty()) {
        QPushButton* retry =
            buttons->addButton(Localized("BATCH_RETRY", "Try the Rest"), QDialogButtonBox::AcceptRole);
        connect(retry, &QPushButton::clicked, this, [this, files = report.notTried] {
            accept();
            emit Retried(files);
        });
    }
    buttons->addButton(QDialogButtonBox::Close)->setDefault(true);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(numbers);
    layout->addWidget(m_rows, 1);
    layout->addWidget(buttons);
    resize(fontMetrics().averageCharWidth() * kLetters, fontMetrics().height() * kLines);
    m_rows->setFocus();
    GiveLetters(*this);
}

void BatchReportDialog::Copy() const {
    const QItemSelectionModel& selection = *m_rows->selectionModel();
    const QAbstractItemModel& model = *m_rows->model();
    QStringList lines;
    for (int row = 0; row < model.rowCount(); ++row) {
        if (!selection.hasSelection() || selection.isRowSelected(row))
            lines += model.index(row, 0).data().toString() + QLatin1Char('\t') +
                     model.index(row, 1).data().toString();
    }
    QGuiApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
}

void BatchReportDialog::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy))
        Copy();
    else
        QDialog::keyPressEvent(event);
}

}  // namespace lumato::app
