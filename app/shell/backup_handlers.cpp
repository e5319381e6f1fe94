// The frame in one file, and back.
#include <QDate>
#include <QPushButton>
#include <algorithm>

#include "app/parts/app_state.h"
#include "app/parts/file_dialog.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "backup/back_up_frame.h"
#include "backup/restore_frame.h"
#include "base/printable.h"
#include "picture/add_pictures.h"

namespace lumato::app {
namespace {

using backup::RestoredPicture;

constexpr const char* kBackupFolderSetting = "backup folder";

Phrase Counted(std::size_t pictures) {
    return pictures == 1 ? Phrase("COUNT_PICTURE", "1 picture")
                         : Phrase("COUNT_PICTURES", "{0} pictures", pictures);
}

// What a restoration did that was not just giving back the same bytes.
Phrase DetailOf(const std::vector<RestoredPicture>& pictures) {
    Phrase detail;
    const auto add = [&](std::ptrdiff_t count, const Words& words) {
        if (count > 0)
            detail = Joined(std::move(detail), kComma, Phrase(words, count));
    };
    const auto made = [&](backup::Made how) {
        return std::ranges::count_if(pictures, [=](const RestoredPicture& picture) {
            return picture.refused.empty() && picture.made == how;
        });
    };
    add(made(backup::Made::FromOriginal), {"FITTED_ANEW", "{0} fitted anew from their photographs"});
    add(made(backup::Made::FromPicture), {"FITTED_FROM_BACKUP", "{0} fitted anew from the backup"});
    for (const RestoredPicture& picture : pictures) {
        if (!picture.refused.empty())
            detail = Joined(std::move(detail), kSemicolon, About(Printable(picture.name), picture.refused));
    }
    return detail;
}

}  // namespace

void MainWindow::MakeBackupMenu(QMenu* menu) {
    m_menus->AddAction(menu, "FRAME_BACK_UP", "Back Up…", {}, true, [this] { ChooseBackup(false); });
    m_menus->AddAction(menu, "FRAME_RESTORE", "Restore…", {}, true, [this] { ChooseBackup(true); });
}

void MainWindow::ChooseBackup(bool restore) {
    if (!IsReady())
        return;
    const QString title =
        restore ? Localized("FRAME_RESTORE", "Restore…") : Localized("FRAME_BACK_UP", "Back Up…");
    auto* dialog =
        NewFileDialog(this, title, m_settings.Folder(kBackupFolderSetting), QStringLiteral("*.tar"));
    dialog->setFileMode(restore ? QFileDialog::ExistingFile : QFileDialog::AnyFile);
    dialog->setAcceptMode(restore ? QFileDialog::AcceptOpen : QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(QStringLiteral("tar"));
    if (!restore)
        dialog->selectFile(QStringLiteral("frame-%1.tar").arg(QDate::currentDate().toString(Qt::ISODate)));
    connect(dialog, &QFileDialog::fileSelected, this, [this, restore](const QString& file) {
        m_settings.SetFolder(kBackupFolderSetting, PathOf(file).parent_path());
        restore ? ReadBackup(PathOf(file)) : BackUpTo(PathOf(file));
    });
    dialog->open();
}

// The dialog has asked whether a file that is there is to be replaced.
void MainWindow::BackUpTo(const Path& file) {
    if (m_link.IsFlashFile(file)) {
        ShowNote("BACKUP_FAILED_TIPS", "The backup failed",
                 Phrase("FILE_IS_THE_FRAME", "that file is the frame itself"));
        return;
    }
    auto written = std::make_shared<Result<Phrase>>();
    const auto work = [written, file]() -> void {
        const auto write = [&]() -> Result<Phrase> {
            LUMATO_TRY(const backup::FrameBackup frame, backup::BackUpFrame());
            LUMATO_TRY_VOID(backup::WriteBackup(file, frame.backup));
            const Phrase unreadable = frame.unreadable == 0
                                          ? Phrase()
                                          : Phrase("OF_FRAME_UNREADABLE", "{0} of the frame cannot be read",
                                                   Counted(static_cast<std::size_t>(frame.unreadable)));
            return Joined(Counted(frame.backup.pictures.size()), kSemicolon, unreadable);
        };
        *written = write();
    };
    RunTask(WindowState::BackingUp, work, [this, written] {
        if (*written)
            ShowNote("BACKED_UP_TIPS", "The frame is backed up", **written);
        else
            ShowNote("BACKUP_FAILED_TIPS", "The backup failed", written->error().message);
    });
}

void MainWindow::ReadBackup(const Path& file) {
    auto read = std::make_shared<Result<backup::Backup>>();
    RunTask(
        WindowState::Restoring, [read, file] { *read = backup::ReadBackup(file); },
        [this, read] {
            if (*read)
                AskRestore(read);
            else
                ShowNote("RESTORE_FAILED_TIPS", "The backup could not be restored", read->error().message);
        });
}

void MainWindow::AskRestore(const std::shared_ptr<Result<backup::Backup>>& read) {
    const auto pictures = static_cast<int>((*read)->pictures.size());
    auto* box = new QMessageBox(
        QMessageBox::Question, windowTitle(),
        Localized(Phrase("RESTORE_QUESTION", "Put the {} pictures of the backup in the place of the list?",
                         pictures)),
        QMessageBox::NoButton, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(
        Localized("RESTORE_HINT", "Nothing changes on the frame until you press Download."));
    QPushButton* restore = box->addButton(Localized("EDIT_RESTORE", "Restore"), QMessageBox::AcceptRole);
    box->addButton(Localized("CANCLE_BUTTON", "Cancel"), QMessageBox::RejectRole);
    connect(restore, &QPushButton::clicked, this, [this, read] { Restore(read); });
    Ask(box);
}

// Fitting pictures anew takes the edit view's place, as a batch does.
void MainWindow::Restore(const std::shared_ptr<Result<backup::Backup>>& read) {
    if (!IsReady())
        return;
    m_loader.Forget();
    m_preview->Clear();
    picture::ReleaseSelection();
    auto restored = std::make_shared<Result<std::vector<RestoredPicture>>>();
    const auto work = [this, restored, read] {
        Result<backup::Restoration> prepared = backup::PrepareRestoration(**read);
        if (!prepared) {
            *restored = tl::unexpected(prepared.error());
            return;
        }
        *restored = prepared->Pictures();
        m_edits.Do(store::Edit::Kind::Restore, [&] { prepared->Apply(); });
    };
    RunTask(WindowState::Restoring, work, [this, restored] {
        if (*restored)
            ShowNote("RESTORED_TIPS", "The pictures of the backup are in the list", DetailOf(**restored));
        else
            ShowNote("RESTORE_FAILED_TIPS", "The backup could not be restored", restored->error().message);
    });
}

}  // namespace lumato::app
