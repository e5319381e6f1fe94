#include "app/frame/frame_menu.h"

#include <QMessageBox>

#include "app/frame/new_frame_dialog.h"
#include "app/frame/recover_dialog.h"
#include "app/parts/file_dialog.h"
#include "app/parts/texts.h"
#include "store/store_state.h"
#include "vframe/new_frame.h"

namespace lumato::app {
FrameMenu::FrameMenu(QMenu* menu, MenuBuilder& builder, FrameLink& link, Settings& settings, double pace,
                     QWidget* window)
    : QObject(window),
      m_link(link),
      m_settings(settings),
      m_pace(pace),
      m_window(window),
      m_screen([&link] { return link.VirtualFlash(); }, window),
      m_attach(builder.AddAction(menu, "FRAME_ATTACH", "Attach Virtual Frame…", QKeySequence::Open, false,
                                 [this] { ChooseFrame(); })),
      m_new(builder.AddAction(menu, "FRAME_NEW", "New Virtual Frame…", QKeySequence::New, false,
                              [this] { AskForNewFrame(); })),
      m_detach(builder.AddAction(menu, "FRAME_DETACH", "Detach Virtual Frame", QKeySequence("Ctrl+Shift+D"),
                                 false, [this] { m_link.DetachVirtualFrame(); })),
      m_show(builder.AddAction(menu, "FRAME_SHOW_SCREEN", "Show the Frame's Screen", QKeySequence("F9"),
                               false, [this] { m_screen.show(); })),
      m_readAgain(builder.AddAction(menu, "FRAME_READ_AGAIN", "Read Again", QKeySequence("Ctrl+Shift+R"),
                                    false, [this] { m_link.ReadAgain(); })) {
    builder.AddAction(menu, "FRAME_RECOVER", "Recover Pictures…", {}, false, [this] { Recover(); });
    ShowState();
}

void FrameMenu::ShowState() {
    const bool attached = m_link.HasVirtualFrame();
    const bool alone = !attached && !m_link.UsesHardware();
    m_attach->setEnabled(alone);
    m_new->setEnabled(alone);
    m_detach->setEnabled(attached);
    m_show->setEnabled(attached);
    m_readAgain->setEnabled(FrameLink::CanReadAgain());
    m_screen.SetWriting(App().state == WindowState::Downloading);
}

void FrameMenu::Trigger(const QString& action) {
    if (action == QLatin1String(kShowScreen))
        m_show->trigger();
    else if (action == QLatin1String(kNewFrame))
        m_new->trigger();
    else if (action == QLatin1String(kRecover))
        Recover();
}

void FrameMenu::Attach(const Path& file) {
    const Result<void> attached = m_link.AttachVirtualFrame(file, m_pace);
    if (!attached)
        ShowProblem(Localized(attached.error().message));
    ShowState();
}

void FrameMenu::ChooseFrame() {
    QFileDialog* dialog = NewFileDialog(m_window, Localized("FRAME_ATTACH_TITLE", "Choose a virtual frame"),
                                        m_settings.Folder(kFrameFolderSetting));
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& file) {
        m_settings.SetFolder(kFrameFolderSetting, PathOf(file).parent_path());
        Attach(PathOf(file));
    });
    dialog->open();
}

void FrameMenu::AskForNewFrame() {
    auto* dialog = new NewFrameDialog(m_window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog] { ChooseNewFile(dialog->Options()); });
    dialog->open();
}

void FrameMenu::ChooseNewFile(const vframe::NewFrame& options) {
    QFileDialog* dialog = NewFileDialog(m_window, Localized("NEW_FRAME_TITLE", "New virtual frame"),
                                        m_settings.Folder(kFrameFolderSetting));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    // A file that is there is never overwritten, so there is nothing to confirm.
    dialog->setOption(QFileDialog::DontConfirmOverwrite);
    dialog->setDefaultSuffix(QStringLiteral("frame"));
    connect(dialog, &QFileDialog::fileSelected, this, [this, options](const QString& file) {
        m_settings.SetFolder(kFrameFolderSetting, PathOf(file).parent_path());
        Create(PathOf(file), options);
    });
    dialog->open();
}

void FrameMenu::Create(const Path& file, const vframe::NewFrame& options) {
    const Result<void> created = vframe::CreateFrame(file, options);
    if (created)
        Attach(file);
    else
        ShowProblem(Localized(created.error().message));
}

void FrameMenu::Recover() {
    auto* dialog =
        new RecoverDialog(store::Store().statePath, m_settings.Folder(kSaveFolderSetting), m_window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

void FrameMenu::ShowProblem(const QString& text) {
    auto* box =
        new QMessageBox(QMessageBox::Warning, m_window->windowTitle(), text, QMessageBox::NoButton, m_window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->addButton(Localized("OK_BUTTON", "OK"), QMessageBox::AcceptRole);
    box->open();
}

}  // namespace lumato::app
