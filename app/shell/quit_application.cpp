// The way out, and the messages of the help menu.
#include <QCloseEvent>
#include <QCoreApplication>
#include <QPushButton>
#include <utility>

#include "app/parts/app_state.h"
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

}  // namespace

void MainWindow::closeEvent(QCloseEvent* event) {
    event->ignore();  // whatever the answer: the window goes with the program
    QuitApplication();
}

void MainWindow::QuitApplication() {
    if (Transferring()) {
        const QString note =
            QuitText("CANNOT_QUIT_TIPS", "Can not quit application,during transfering data!");
        const ControlPanel::NotesAbout about(*m_panel, NoteOf::Moment);
        m_panel->SetNotes(text::FitForControl(note.toStdString()));
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
    if (HasUnsavedChanges())
        question = Localized("UNSAVED_TIPS", "The list differs from the pictures on the frame.") +
                   QStringLiteral("\n") + question;
    m_quitQuestion->setInformativeText(question);
    QPushButton* quit = m_quitQuestion->addButton(QuitText("OK_BUTTON", "OK"), QMessageBox::AcceptRole);
    m_quitQuestion->addButton(QuitText("CANCLE_BUTTON", "Canle"), QMessageBox::RejectRole);
    m_quitQuestion->setDefaultButton(quit);
    connect(m_quitQuestion, &QDialog::finished, this,
            [this, quit] { TakeQuitAnswer(m_quitQuestion->clickedButton() == quit); });
    m_quitQuestion->open();
}

// A frame may have come while the question stood there, and its pictures are being read.
void MainWindow::TakeQuitAnswer(bool quit) {
    if (!quit)
        return;
    if (Transferring()) {
        m_quitQuestion = nullptr;
        QuitApplication();
        return;
    }
    CloseResource();
    QCoreApplication::exit(0);
}

void MainWindow::CloseResource() {
    if (std::exchange(m_closed, true))
        return;
    if (m_browser != nullptr) {
        Remember();
        m_browser->Items().Clear();
    }
    m_loader.Forget();
    m_link.CloseResource();  // the task that runs is over then
    m_edits.Forget();
}

void MainWindow::ShowShortcuts() {
    QString text;
    for (const MenuBuilder::Entry& entry : m_menus->Entries()) {
        const QString keys = entry.action->shortcut().toString(QKeySequence::NativeText);
        if (!keys.isEmpty())
            text += QStringLiteral("<tr><td>%1</td><td>&nbsp;&nbsp;&nbsp;</td><td>%2</td></tr>")
                        .arg(keys.toHtmlEscaped(), entry.action->text().toHtmlEscaped());
    }
    text +=
        QStringLiteral("<tr><td>←↑→↓</td><td></td><td>%1</td></tr>")
            .arg(
                Localized("SHORTCUT_ARROWS", "Move the visible part; ten pixels with Shift").toHtmlEscaped());
    ShowMessage(Localized("HELP_SHORTCUTS", "Keyboard Shortcuts"),
                QStringLiteral("<table>") + text + QStringLiteral("</table>"));
}

void MainWindow::ShowAbout() {
    ShowMessage(Localized("HELP_ABOUT", "About Lumato"),
                LocalizedWith("ABOUT_TEXT", "Lumato {} – the pictures of your photo frame",
                              QCoreApplication::applicationVersion()));
}

void MainWindow::ShowMessage(const QString& title, const QString& text) {
    auto* box = new QMessageBox(QMessageBox::NoIcon, title, text, QMessageBox::NoButton, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->addButton(Localized("OK_BUTTON", "OK"), QMessageBox::AcceptRole);
    box->open();
}

}  // namespace lumato::app
