// The buttons: add, delete, download, save.
#include <QApplication>
#include <QFileDialog>
#include <QTimer>
#include <algorithm>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "picture/coverage.h"
#include "picture/picture_state.h"
#include "store/messages.h"
#include "store/room_left.h"
#include "store/store.h"
#include "store/transfer.h"
#include "text/localized.h"

namespace lumato::app {
namespace {

// Who turned to something else meanwhile is told of its end.
constexpr qint64 kLongDownload = 5000;  // milliseconds
constexpr int kOwnerLeaves = 10;        // likewise, or less

// Folders stand for the files that are in them. On the worker: folders can be large.
std::vector<Path> FilesOf(const std::vector<Path>& dropped) {
    std::vector<Path> files;
    for (const Path& path : dropped) {
        std::error_code ignored;
        if (!std::filesystem::is_directory(path, ignored)) {
            files.push_back(path);
            continue;
        }
        for (FolderEntry& entry : FSGetDirectoryItems(path, false)) {
            if (!entry.isFolder)
                files.push_back(std::move(entry.path));
        }
    }
    return files;
}

std::string TextOf(const store::DownloadCost& cost) {
    const auto seconds = static_cast<int>(cost.seconds + 0.5);
    return std::to_string(cost.blocks) + " blocks to write, about " + std::to_string(std::max(seconds, 1)) +
           " s";
}

}  // namespace

void MainWindow::ShowNote(std::string_view key, std::string_view defaultText, const std::string& detail) {
    store::ShowNote({key, defaultText});
    m_panel->SetNoteDetail(detail);
}

bool MainWindow::RunTask(std::function<void()> work, std::function<void()> then) {
    return m_link.StartTask([this, work = std::move(work), then = std::move(then)] {
        store::TransferOwner owner;
        owner.PostRefresh();
        work();
        if (then)
            m_calls.Post(then);
    });
}

void MainWindow::Ask(QMessageBox* box) {
    if (MainThreadOwns())
        box->open();
    else
        QTimer::singleShot(kOwnerLeaves, box, [this, box] { Ask(box); });
}

void MainWindow::RunLongTask(std::function<void()> work, std::function<void()> then) {
    m_panel->SetControlPanlEnable(false);
    if (RunTask(std::move(work), std::move(then)))
        ShowStop(true);
    else
        m_panel->SetControlPanlEnable(true);
}

// The selected files of the folder that was opened last, from its end.
std::vector<ItemID> MainWindow::CollectBatch() {
    const std::vector<ItemID> selected = m_browser->Selected();
    std::vector<ItemID> batch;
    const FileItems::Items& items = m_browser->Items().All();
    for (auto item = items.rbegin(); item != items.rend(); ++item) {
        const tagFILEITEM& record = item->second;
        if (record.isFolder == 0 && record.pictureCandidate != 0 &&
            std::ranges::binary_search(selected, record.itemID))
            batch.push_back(record.itemID);
        if (record.firstInFolder != 0)
            break;
    }
    return batch;
}

void MainWindow::MyAddButtonHandler() {
    if (m_adding)
        m_addWhenLoaded = true;  // pressed twice: the next one is meant
    if (!MainThreadOwns() || !store::FrameOnline() || !m_panel->IsEnabled())
        return;
    const store::Rect& rect = store::Store().gmyDrawrect;
    if (rect.width == 0 || rect.height == 0)
        return;
    SelPicArrayRef = CollectBatch();
    if (SelPicArrayRef.size() >= 2 && !m_again) {
        std::vector<Path> files;
        for (auto id = SelPicArrayRef.rbegin(); id != SelPicArrayRef.rend(); ++id)
            files.push_back(m_browser->Items().Find(*id)->spec);
        AddFiles(std::move(files));
        return;
    }
    SelPicArrayRef.clear();
    // A picture that is still being loaded is the one that was meant.
    m_addWhenLoaded = m_loader.IsLoading();
    if (!m_addWhenLoaded)
        AddEditPicture();
}

void MainWindow::AddEditPicture() {
    const picture::MyImage* image = picture::Pictures().gmyCGimage.get();
    if (image == nullptr)
        return;
    if (picture::ShowsNothing(*image, store::Store().gmyDrawrect))
        AskToAddEmpty();
    else
        AddAsPosed();
}

void MainWindow::AskToAddEmpty() {
    auto* box = new QMessageBox(
        QMessageBox::Question, windowTitle(),
        Localized("ADD_EMPTY_TIPS", "Nothing of the picture would be seen. Add it all the same?"),
        QMessageBox::NoButton, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box->addButton(Localized("Add", "Add"), QMessageBox::AcceptRole), &QPushButton::clicked, this,
            [this] {
                if (MainThreadOwns() && m_panel->IsEnabled() && picture::Pictures().gmyCGimage != nullptr)
                    AddAsPosed();
            });
    box->setDefaultButton(box->addButton(Localized("CANCLE_BUTTON", "Cancel"), QMessageBox::RejectRole));
    Ask(box);
}

// A task, for composing, encoding and putting it safely on the disk take longer than a window may be away.
void MainWindow::AddAsPosed() {
    struct Adding {
        Path source = picture::Pictures().editSource;
        picture::Pose pose = picture::CurrentPose();
        bool added = false;
        std::vector<picture::Lowered> plan{};
    };
    auto adding = std::make_shared<Adding>();
    const int replaces = PositionEditedAgain();
    const auto add = [adding, replaces] {
        const auto added = picture::AddEditPicture({replaces});
        adding->added = added.has_value();
        if (!added && added.error().kind == ErrorKind::Refused && replaces == 0)
            adding->plan = picture::WouldMakeRoom(adding->source, adding->pose);
    };
    const auto kind = replaces != 0 ? store::Edit::Kind::Replace : store::Edit::Kind::Add;
    m_adding = RunTask([this, kind, add] { m_edits.Do(kind, add); },
                       [this, adding] {
                           m_adding = false;
                           if (adding->added) {
                               m_again.reset();
                               ShowReplacing();
                           }
                           OfferRoom(adding->plan, {adding->source}, adding->pose);
                       });
}

// Whether so many more would fit, as far as the listed ones tell.
void MainWindow::ShowBatchRoom(std::size_t pictures) {
    if (MainThreadOwns() && pictures >= 2)
        m_panel->SetNoteDetail(store::BatchRoomText(static_cast<int>(pictures)));
}

void MainWindow::AddFiles(std::vector<Path> files, const picture::Pose& pose, picture::Room room) {
    if (files.empty() || !m_panel->IsEnabled() || !MainThreadOwns() || !store::FrameOnline())
        return;
    m_loader.Forget();
    EndEditAgain();
    ShowBatchRoom(files.size());
    picture::ReleaseSelection();
    auto report = std::make_shared<picture::BatchReport>();
    const auto add = [report, files = std::move(files), pose, room] {
        *report = picture::ProcessMorePic(FilesOf(files), pose, room);
    };
    RunLongTask([this, add] { m_edits.Do(store::Edit::Kind::Add, add); },
                [this, report] { TakeBatch(*report); });
}

void MainWindow::StopWork() {
    if (MainThreadOwns()) {
        EndEditAgain();
        return;
    }
    ShowStop(false);
    store::RequestStop();
}

void MainWindow::ShowStop(bool possible) {
    m_stopAction->setEnabled(possible || (m_again && m_again->shown));
    findChild<QPushButton*>(QLatin1String(kStopButton))->setVisible(possible);
}

void MainWindow::MovePicture(int from, int to) {
    if (!MainThreadOwns() || !m_panel->IsEnabled() || from == to)
        return;
    m_edits.Do(store::Edit::Kind::Move, [=] { store::MovePicture(from, to); });
    TakeListState();
    ShowPrice();
    ShowUndo();
}

void MainWindow::TakeListState() {
    m_differs = MainThreadOwns() && store::ListDiffers();
    // Of a download that broke off, the price would put the list into its order.
    const bool counts = m_differs && !store::Store().resuming;
    const auto cost = counts ? store::CostOfDownload() : store::DownloadCost();
    FindControl(this, kDownLoadButtonID)
        ->setToolTip(counts && cost ? QString::fromStdString(TextOf(*cost)) : QString());
}

// What pressing Download would cost.
void MainWindow::ShowPrice() {
    const auto cost = m_differs ? store::CostOfDownload() : store::DownloadCost();
    if (cost)
        m_panel->SetNoteDetail(m_differs ? TextOf(*cost) : "");
}

void MainWindow::TakeBatch(const picture::BatchReport& report) {
    for (const picture::BatchReport::Refused& refused : report.refused) {
        if (!refused.unreadable)
            continue;
        for (const ItemID id : SelPicArrayRef) {
            tagFILEITEM* item = m_browser->Items().Find(id);
            if (item != nullptr && item->spec == refused.file)
                item->pictureCandidate = 0;
        }
    }
    SelPicArrayRef.clear();
    if (report.couldLower.empty())
        return;
    std::vector<Path> left = report.notTried;
    left.insert(left.begin(), report.refused.back().file);
    OfferRoom(report.couldLower, std::move(left), {});
}

void MainWindow::MyDeleteAllCheckBoxHandler(bool on) {
    if (MainThreadOwns())
        store::Store().gmyDeleteAll = on;
}

void MainWindow::MyDelButtonHandler() {
    if (!MainThreadOwns() || !m_panel->IsEnabled() || store::Store().gmyTotalePictureNum == 0)
        return;
    m_preview->Clear();
    RunTask([this] { m_edits.Do(store::Edit::Kind::Delete, store::DeletePictures); });
}

void MainWindow::MyDownLoadButtonHandler() {
    if (!MainThreadOwns())
        return;
    store::Store().checkWritten = m_checkAction->isChecked();
    if (!m_link.StartDownload([this](bool) { TakeDownload(); }))
        return;
    ShowStop(true);
    ForgetEdits();
    m_downloadTime.start();
    m_desktop.InhibitSleep(Localized("DOWNLOAD_PICS_TIPS", "Download Pictures(s)"));
}

void MainWindow::TakeDownload() {
    m_desktop.AllowSleep();
    if (m_downloadTime.elapsed() >= kLongDownload && QApplication::activeWindow() == nullptr)
        m_desktop.Notify(windowTitle(), m_panel->Note());
}

void MainWindow::MyUpLoadButtonHandler() {
    if (!MainThreadOwns() || !m_panel->IsEnabled() || !store::FrameOnline())
        return;
    if (store::Store().gmyTotalePictureNum < 1)
        ShowNote("NO_PIC_TIPS", "No Pictures");
    else
        SelectFileLocation();
}

void MainWindow::SelectFileLocation() {
    auto* dialog = new QFileDialog(this, Localized("SAVE_TITLE", "Select File Location"),
                                   FromPath(m_settings.Folder(kSaveFolderSetting)));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& folder) {
        m_settings.SetFolder(kSaveFolderSetting, PathOf(folder));
        SavePicturesTo(PathOf(folder));
    });
    dialog->open();
}

void MainWindow::SavePicturesTo(const Path& folder) {
    if (!m_panel->IsEnabled() || !MainThreadOwns())
        return;
    m_panel->SetControlPanlEnable(false);
    auto report = std::make_shared<store::SaveReport>();
    if (!RunTask([report, folder] { *report = store::SavePictures(folder); },
                 [this, report] { TakeSaving(*report); }))
        m_panel->SetControlPanlEnable(true);
}

void MainWindow::TakeSaving(const store::SaveReport& report) {
    if (report.failed.empty()) {
        store::ShowNote({"SAVED_TIPS", "Pictures saved"}, report.saved);
        if (!report.replaced.empty())
            m_panel->SetNoteDetail(store::ReplacedText(report));
    } else {
        ShowNote("SAVE_FAILED_TIPS", "The pictures could not be saved", report.failed.front().message);
    }
}

}  // namespace lumato::app
