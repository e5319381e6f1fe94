// The way out, and the messages of the help menu.
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QSessionManager>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "store/store.h"
#include "text/localized.h"

namespace lumato::app {
namespace {

// The one confirmation takes no language for granted: without a choice it keeps its built-in words.
QString QuitText(std::string_view key, std::string_view defaultText) {
    return QString::fromStdString(text::Localized(key, defaultText, ""));
}

bool Transferring() {
    return store::Store().gmyIsTransferData || !MainThreadOwns();
}

// What leaving now would mean for the frame; empty when it holds what the list shows.
QString WhatIsAtStake() {
    if (!MainWindow::HasUnsavedChanges())
        return {};
    const store::StoreState& store = store::Store();
    QStringList lines;
    if (store.resuming && !store.picturesShown)
        lines += Localized("QUIT_EMPTY_TIPS",
                           "A download broke off: the frame shows no pictures until it is finished.");
    else if (store.resuming)
        lines +=
            Localized("QUIT_PARTLY_TIPS",
                      "A download broke off: the frame does not show all pictures until it is finished.");
    const store::Waiting waiting = store::CountWaiting();
    if (!store.resuming && (store::StoredPicturesDiffer() || waiting.unkept > 0))
        lines +=
            Localized("QUIT_FORGOTTEN_TIPS",
                      "What was deleted, moved or restored is not yet on the frame, and would be forgotten.");
    if (!store.resuming && waiting.kept > 0)
        lines += Localized(
            About(Phrase("QUIT_KEPT_TIPS", "Not yet on the frame, but kept until it is connected again"),
                  waiting.kept));
    return lines.join(QLatin1Char('\n'));
}

}  // namespace

void MainWindow::closeEvent(QCloseEvent* event) {
    event->ignore();  // whatever the answer: the window goes with the program
    QuitApplication();
}

void MainWindow::QuitApplication() {
    if (Transferring()) {
        constexpr const char* kBuiltIn = "Can not quit application,during transfering data!";
        const ControlPanel::NotesAbout about(*m_panel, NoteOf::Moment);
        m_panel->SetNotes(QuitText("CANNOT_QUIT_TIPS", kBuiltIn) == QLatin1String(kBuiltIn)
                              ? Phrase(kBuiltIn)
                              : Phrase("CANNOT_QUIT_TIPS", kBuiltIn));
        return;
    }
    if (m_quitQuestion != nullptr) {
        m_quitQuestion->raise();
        return;
    }
    m_quitQuestion = new QMessageBox(QMessageBox::Information, QuitText("WINDOW_TITLE", "MacLumato"),
                                     QuitText("WINDOW_TITLE", "MacLumato"), QMessageBox::NoButton, this);
    m_quitQuestion->setAttribute(Qt::WA_DeleteOnClose);
    QString question = QuitText("EXIT_APPLICATION_TIPS", "Really want to quit?");
    QPushButton* download = nullptr;
    m_atStake = WhatIsAtStake();
    if (!m_atStake.isEmpty()) {
        question.prepend(m_atStake + QStringLiteral("\n\n"));
        download = m_quitQuestion->addButton(Localized("QUIT_DOWNLOAD_BUTTON", "Download First"),
                                             QMessageBox::ActionRole);
    }
    m_quitQuestion->setInformativeText(question);
    QPushButton* quit = m_quitQuestion->addButton(QuitText("OK_BUTTON", "OK"), QMessageBox::AcceptRole);
    m_quitQuestion->addButton(QuitText("CANCLE_BUTTON", "Canle"), QMessageBox::RejectRole);
    m_quitQuestion->setDefaultButton(quit);
    GiveLetters(*m_quitQuestion);
    connect(m_quitQuestion, &QDialog::finished, this, [this, quit, download] {
        const QAbstractButton* answer = m_quitQuestion->clickedButton();
        if (answer == quit)
            Leave();
        else if (answer != nullptr && answer == download)
            Download([this](bool written) {
                if (written)
                    Leave();
            });
    });
    m_quitQuestion->open();
}

// Files can be handed over while the question stands there: it is asked once more where it says too little.
void MainWindow::AskAnew() {
    if (m_quitQuestion == nullptr || m_atStake == WhatIsAtStake())
        return;
    m_quitQuestion->reject();
    m_quitQuestion = nullptr;
    QuitApplication();
}

// A frame may have come while the question stood there, and its pictures are being read.
void MainWindow::Leave() {
    if (Transferring()) {
        QuitApplication();
        return;
    }
    CloseResource();
    QCoreApplication::exit(0);
}

// Nobody can be asked. A download ends where that costs nothing; who says it twice does not want to wait.
void MainWindow::LeaveUnasked() {
    Remember();
    store::RequestStop();
    if (App().state == WindowState::Downloading && !std::exchange(m_leaving, true))
        return;
    CloseResource();
    QCoreApplication::exit(0);
}

// The session ends: a download is finished first, where the desktop lets it.
void MainWindow::TakeSessionEnd(QSessionManager& session) {
    Remember();
    if (Transferring() && session.allowsInteraction()) {
        session.cancel();
        session.release();
        QuitApplication();
    }
}

void MainWindow::CloseResource() {
    if (std::exchange(m_closed, true))
        return;
    // What still runs ends with the window, which hears nothing of it any more.
    for (QProcess* process : findChildren<QProcess*>())
        process->disconnect(this);
    if (m_browser != nullptr) {
        Remember();
        m_browser->ForgetAll();
    }
    m_loader.Forget();
    m_link.CloseResource();  // the task that runs is over then
    m_edits.Forget();
}

// In labels: a table in one would be laid out a dozen times before it is seen.
void MainWindow::ShowShortcuts() {
    auto* dialog = new QDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(Localized("HELP_SHORTCUTS", "Keyboard Shortcuts"));
    auto* rows = new QFormLayout(dialog);
    for (const MenuBuilder::Entry& entry : m_menus->Entries()) {
        if (const QString keys = entry.action->shortcut().toString(QKeySequence::NativeText); !keys.isEmpty())
            rows->addRow(keys, new QLabel(WithoutLetter(entry.action->text())));
    }
    rows->addRow(QStringLiteral("←↑→↓"),
                 new QLabel(Localized("SHORTCUT_ARROWS", "Move the visible part; ten pixels with Shift")));
    auto* buttons = new QDialogButtonBox(dialog);
    buttons->addButton(Localized("OK_BUTTON", "OK"), QDialogButtonBox::AcceptRole);
    connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    rows->addRow(buttons);
    dialog->open();
}

void MainWindow::ShowAbout() {
    ShowMessage(Localized("HELP_ABOUT", "About Lumato"),
                Localized(Phrase("ABOUT_TEXT", "Lumato {} – the pictures of your photo frame",
                                 QCoreApplication::applicationVersion().toStdString())));
}

void MainWindow::ShowMessage(const QString& title, const QString& text) {
    auto* box = new QMessageBox(QMessageBox::NoIcon, title, text, QMessageBox::NoButton, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->addButton(Localized("OK_BUTTON", "OK"), QMessageBox::AcceptRole);
    box->open();
}

}  // namespace lumato::app
