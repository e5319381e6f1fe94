#include "app/list/batch_report_dialog.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

constexpr int kLetters = 84;  // that the window is wide at first
constexpr int kLines = 20;    // and high

QString Count(const char* key, const char* text, std::size_t number) {
    return LocalizedWith(key, text, QString::number(number));
}

}  // namespace

BatchReportDialog::BatchReportDialog(const picture::BatchReport& report, QWidget* parent)
    : QDialog(parent), m_rows(new QTreeWidget(this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(Localized("BATCH_TITLE", "Pictures that were left out"));
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
    m_rows->setHeaderLabels({Localized("BATCH_FILE", "File"), Localized("BATCH_REASON", "Reason")});
    m_rows->setAccessibleName(windowTitle());
    for (const picture::BatchReport::Refused& refused : report.refused)
        Add(refused.file, Localized(refused.reason.cause));
    for (const Path& file : report.notTried)
        Add(file, Localized("BATCH_WAS_NOT_TRIED", "not tried"));
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

void BatchReportDialog::Add(const Path& file, const QString& reason) {
    auto* row = new QTreeWidgetItem(m_rows, {ShownName(file), reason});
    row->setToolTip(0, FromPath(file));
    row->setToolTip(1, reason);
}

void BatchReportDialog::Copy() const {
    const bool all = m_rows->selectedItems().isEmpty();
    QStringList lines;
    for (int row = 0; row < m_rows->topLevelItemCount(); ++row) {
        const QTreeWidgetItem* item = m_rows->topLevelItem(row);
        if (all || item->isSelected())
            lines += item->text(0) + QLatin1Char('\t') + item->text(1);
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
