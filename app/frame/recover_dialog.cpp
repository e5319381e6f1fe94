#include "app/frame/recover_dialog.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QLocale>
#include <QVBoxLayout>

#include "app/parts/file_dialog.h"
#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"
#include "base/printable.h"
#include "picture/rv512_encoder.h"

namespace lumato::app {
namespace {

constexpr int kRowLetters = 70;

// As beside a note, in plain words.
QString SaidOf(const Result<store::GivenOut>& given, const Path& folder) {
    if (!given)
        return Localized(given.error().message);
    Phrase said("SAVED_IN", "{0} saved in {1}", given->saved, Printable(folder.string()));
    if (given->onFrame > 0)
        said = Joined(std::move(said), kSemicolon,
                      Phrase("ONLY_ON_FRAME", "{0} on the frame, of which no copy is kept", given->onFrame));
    QStringList lines(Localized(said));
    for (const Error& failed : given->failed)
        lines += Localized(failed.message);
    return lines.join(u'\n');
}

}  // namespace

RecoverDialog::RecoverDialog(const Path& statePath, Path folder, QWidget* parent)
    : QDialog(parent), m_folder(std::move(folder)), m_list(new QListWidget(this)), m_said(new QLabel(this)) {
    setWindowTitle(Localized("RECOVER_TITLE", "Recover pictures"));
    Result<std::vector<store::KeptJournal>> journals = store::KeptJournals(statePath);
    if (journals)
        m_journals = std::move(*journals);
    for (const store::KeptJournal& journal : m_journals) {
        m_list->addItem(Described(journal));
        m_list->item(m_list->count() - 1)->setToolTip(Described(journal));
    }
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);  // what is too long is elided
    m_list->setCurrentRow(static_cast<int>(m_journals.size()) - 1);
    m_list->setMinimumWidth(fontMetrics().averageCharWidth() * kRowLetters);
    m_list->setAccessibleName(windowTitle());
    m_said->setWordWrap(true);
    m_said->setTextFormat(Qt::PlainText);
    if (!journals)
        m_said->setText(Localized(journals.error().message));
    else if (m_journals.empty())
        m_said->setText(Localized("RECOVER_NONE", "There is nothing to recover"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Cancel)->setText(Localized("CANCLE_BUTTON", "Canle"));
    m_save = buttons->addButton(Localized("RECOVER_SAVE", "Save…"), QDialogButtonBox::ActionRole);
    m_save->setEnabled(!m_journals.empty());
    for (QAbstractButton* button : buttons->buttons())
        button->setIcon({});
    connect(m_save, &QPushButton::clicked, this, [this] { ChooseFolder(); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* column = new QVBoxLayout(this);
    column->addWidget(m_list);
    column->addWidget(m_said);
    column->addWidget(buttons);
    GiveLetters(*this);
}

// "7. 26 Nov 2026 04:10 – Pictures: 4 – 480 x 234, 4096 KB, my.frame"; the number is that of `lumatoctl
// recover`.
QString RecoverDialog::Described(const store::KeptJournal& journal) {
    QStringList parts;
    if (journal.time != 0)
        parts += QLocale().toString(QDateTime::fromSecsSinceEpoch(journal.time), QLocale::ShortFormat);
    parts += Localized(About(Phrase("MENU_PICTURES", "Pictures"), journal.pictures));
    // Of a sound one the kind says how it came about, which helps nobody to choose.
    if (journal.kind == "damaged")
        parts += Localized("KIND_DAMAGED", "damaged");
    else if (journal.kind == "forgotten")
        parts += Localized("KIND_FORGOTTEN", "forgotten");
    else if (journal.kind == "unknown")
        parts += Localized("KIND_UNKNOWN", "of another version of Lumato");
    if (!journal.frame.empty())
        parts += QString::fromStdString(Printable(journal.frame));
    return QStringLiteral("%1. %2").arg(journal.number).arg(parts.join(QStringLiteral(" \u2013 ")));
}

void RecoverDialog::ChooseFolder() {
    QFileDialog* dialog = NewFileDialog(this, windowTitle(), m_folder);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    connect(dialog, &QFileDialog::fileSelected, this,
            [this](const QString& folder) { SaveTo(PathOf(folder)); });
    dialog->open();
}

void RecoverDialog::SaveTo(const Path& folder) {
    const int row = m_list->currentRow();
    if (row < 0)
        return;
    m_save->setEnabled(false);
    m_writer.Start([this, journal = m_journals[static_cast<std::size_t>(row)], folder] {
        picture::CRv512Encoder codec;
        const QString said = SaidOf(store::GiveOut(journal, folder, codec), folder);
        m_calls.Post([this, said] { ShowSaved(said); });
    });
}

void RecoverDialog::ShowSaved(const QString& said) {
    m_said->setText(said);
    m_save->setEnabled(true);
}

}  // namespace lumato::app
