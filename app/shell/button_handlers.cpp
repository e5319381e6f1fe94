// The buttons: add, delete, download, save.
#include <QApplication>
#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "app/list/batch_report_dialog.h"
#include "app/parts/app_state.h"
#include "app/parts/file_dialog.h"
#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "base/printable.h"
#include "import/messages.h"
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

// The files in a folder, or, where it has none, those in its folders.
void AppendFilesIn(const Path& folder, int levels, std::vector<Path>& files) {
    std::vector<FolderEntry> entries = FSGetDirectoryItems(folder, false);
    const bool hasFiles =
        std::ranges::any_of(entries, [](const FolderEntry& entry) { return !entry.isFolder; });
    for (FolderEntry& entry : entries) {
        if (!entry.isFolder)
            files.push_back(std::move(entry.path));
        else if (!hasFiles && levels > 0)
            AppendFilesIn(entry.path, levels - 1, files);
    }
}

// Folders stand for the files that are in them. On the worker: folders can be large.
std::vector<Path> FilesOf(const std::vector<Path>& dropped) {
    std::vector<Path> files;
    for (const Path& path : dropped) {
        std::error_code ignored;
        if (std::filesystem::is_directory(path, ignored))
            AppendFilesIn(path, 1, files);
        else
            files.push_back(path);
    }
    return files;
}

Phrase TextOf(const store::DownloadCost& cost) {
    const auto seconds = static_cast<int>(cost.seconds + 0.5);
    return Phrase("DOWNLOAD_COST", "{0} blocks to write, about {1} s", cost.blocks, std::max(seconds, 1));
}

}  // namespace

void MainWindow::ShowNote(const char* key, const char* defaultText, const Phrase& detail) {
    store::ShowNote(Phrase(key, defaultText));
    m_panel->SetNoteDetail(detail);
}

bool MainWindow::RunTask(WindowState state, std::function<void()> work, std::function<void()> then) {
    const bool begun = m_link.BeginWork(state, [this, work = std::move(work), then = std::move(then)] {
        store::TransferOwner owner;
        owner.PostRefresh();
        try {
            work();
        } catch (const std::bad_alloc&) {
            store::ShowNote(picture::kBeyondMemory);
        }
        if (then)
            m_calls.Post(then);
    });
    if (!begun) {  // a dialog was answered while something came up
        const ControlPanel::NotesAbout about(*m_panel, NoteOf::Moment);
        ShowNote("NOT_NOW_TIPS", "Nothing was done: something else was under way");
    }
    return begun;
}

void MainWindow::Ask(QMessageBox* box) {
    delete m_question;
    m_question = box;
    GiveLetters(*box);
    if (MainThreadOwns())
        AskWhatWaits();
}

void MainWindow::AskWhatWaits() {
    if (QMessageBox* box = m_question) {
        m_question = nullptr;
        if (IsReady()) {
            box->setProperty(kAboutFrame, true);
            box->open();
        } else {
            delete box;
        }
    }
}

// The selected files of the folder that was opened last, from its end.
std::vector<ItemID> MainWindow::CollectBatch() {
    const std::vector<ItemID> selected = m_browser->Selected();
    std::vector<ItemID> batch;
    const std::vector<ItemID>& items = m_browser->InOrder();
    for (auto id = items.rbegin(); id != items.rend(); ++id) {
        const tagFILEITEM& record = *m_browser->Items().Find(*id);
        if (record.isFolder == 0 && record.pictureCandidate != 0 && std::ranges::binary_search(selected, *id))
            batch.push_back(*id);
    }
    return batch;
}

void MainWindow::MyAddButtonHandler() {
    if (App().state == WindowState::Adding)
        m_addNext = true;  // pressed twice: the next one is meant
    if (!IsReady())
        return;
    // One that is still being drawn has not the display's size yet.
    const store::Rect& rect = store::Store().gmyDrawrect;
    if (std::abs(rect.width) != store::Store().gmyLcdWidth ||
        std::abs(rect.height) != store::Store().gmyLcdHeight)
        return;
    SelPicArrayRef = CollectBatch();
    std::vector<Path> files;
    for (auto id = SelPicArrayRef.rbegin(); id != SelPicArrayRef.rend(); ++id)
        files.push_back(m_browser->Items().Find(*id)->spec);
    if (files.size() >= 2 && !m_again) {
        AddFiles(std::move(files));
        return;
    }
    SelPicArrayRef.clear();
    // A picture that is still being loaded is the one that was meant.
    m_addNext = m_loader.IsLoading();
    if (!m_addNext)
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
            [this, asked = picture::Pictures().editSource] {
                if (IsReady() && picture::Pictures().gmyCGimage != nullptr &&
                    picture::Pictures().editSource == asked)
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
    RunTask(
        WindowState::Adding, [this, kind, add] { m_edits.Do(kind, add); },
        [this, adding] {
            if (adding->added) {
                m_again.reset();
                ShowReplacing();
            }
            OfferRoom(adding->plan, {adding->source}, adding->pose);
        });
}

// Whether so many more would fit, as far as the listed ones tell.
void MainWindow::ShowBatchRoom(std::size_t pictures) {
    if (!IsReady() || pictures < 2)
        return;
    const ControlPanel::NotesAbout about(*m_panel, NoteOf::Picture);
    m_panel->SetNoteDetail(store::BatchRoomText(static_cast<int>(pictures)));
}

void MainWindow::AddFiles(std::vector<Path> files, const picture::Pose& pose, picture::Room room) {
    if (files.empty() || !IsReady())
        return;
    m_loader.Forget();
    EndEditAgain();
    picture::ReleaseSelection();
    auto report = std::make_shared<picture::BatchReport>();
    const auto add = [report, files = std::move(files), pose, room] {
        const std::vector<Path> pictures = FilesOf(files);
        if (pictures.empty())
            store::ShowNote({"FOLDER_NO_PICTURES", "There are no pictures in the folder"});
        else
            *report = picture::ProcessMorePic(pictures, pose, room);
    };
    RunTask(
        WindowState::AddingFiles, [this, add] { m_edits.Do(store::Edit::Kind::Add, add); },
        [this, report, before = std::exchange(m_batchBefore, nullptr)] { TakeBatch(report, before); });
}

void MainWindow::StopWork() {
    if (MainThreadOwns()) {
        EndEditAgain();
        return;
    }
    m_stopAction->setEnabled(false);
    findChild<QPushButton*>(QLatin1String(kStopButton))->setVisible(false);
    store::RequestStop();
}

// What pressing the button would cost. Of a download that broke off, the price would put the list into its
// order.
Phrase MainWindow::PriceOfList() {
    if (!store::Store().resuming) {
        if (const auto cost = store::CostOfDownload())
            return TextOf(*cost);
    }
    return {};
}

void MainWindow::ShowPrice() {
    FindControl(this, kDownLoadButtonID)
        ->setToolTip(Localized(HasUnsavedChanges() ? PriceOfList() : Phrase()));
}

// What a change of the list comes to; on the thread that owns the store.
void MainWindow::ShowListChange() {
    if (store::ListDiffers())
        ShowNote("UNSAVED_TIPS", "The list differs from the pictures on the frame.", PriceOfList());
    else
        store::ShowNote(store::kPicturesInFrame);
}

// Lots that were handed over in a row are one to the user.
void MainWindow::TakeBatch(const std::shared_ptr<picture::BatchReport>& taken, const Batch& before) {
    picture::BatchReport& report = *taken;
    std::vector<Path> wanted = report.notTried;
    if (!report.couldLower.empty())
        wanted.insert(wanted.begin(), report.refused.back().file);
    if (before != nullptr && TellsMore(*before)) {
        const auto join = [](auto& all, const auto& first) {
            all.insert(all.begin(), first.begin(), first.end());
        };
        join(report.added, before->added);
        join(report.refused, before->refused);
        join(report.notTried, before->notTried);
        m_panel->SetNotes(picture::NumbersOf(report));
        if (!report.refused.empty())
            m_panel->SetNoteDetail(About(Printable(report.refused.back().file.filename().string()),
                                         report.refused.back().reason.cause));
    }
    for (const picture::BatchReport::Refused& refused : report.refused) {
        if (!refused.unreadable)
            continue;
        for (const ItemID id : SelPicArrayRef) {
            tagFILEITEM* item = m_browser->Items().Find(id);
            if (item == nullptr || item->spec != refused.file)
                continue;
            item->pictureCandidate = 0;
            item->whyNot =
                About(Printable(refused.file.filename().string()),
                      refused.reason.cause.empty() ? refused.reason.message : refused.reason.cause);
        }
    }
    SelPicArrayRef.clear();
    m_batchBefore = taken;
    m_leftOut = TellsMore(report) ? taken : nullptr;
    // Behind the note, which is shown in its turn.
    m_calls.Post([this] {
        m_leftOutNote = m_panel->Note();
        findChild<QPushButton*>(QLatin1String(kBatchReportButton))->setVisible(m_leftOut != nullptr);
    });
    if (report.couldLower.empty())
        return;
    if (m_roomQuestion != nullptr) {
        wanted.insert(wanted.begin(), m_roomWanted.begin(), m_roomWanted.end());
        delete m_roomQuestion;
    }
    m_roomWanted = wanted;
    m_roomQuestion = OfferRoom(report.couldLower, std::move(wanted), {});
}

void MainWindow::ShowBatchReport() {
    if (m_leftOut == nullptr)
        return;
    auto* dialog = new BatchReportDialog(m_leftOut, this);
    dialog->setProperty(kAboutFrame, true);
    connect(dialog, &BatchReportDialog::Retried, this,
            [this](const std::vector<Path>& files) { AddFiles(files); });
    dialog->open();
}

void MainWindow::MyDownLoadButtonHandler() {
    Download();
}

void MainWindow::Download(std::function<void(bool written)> then) {
    if (!IsReady())
        return;
    store::Store().checkWritten = m_checkAction->isChecked();
    const auto done = [this, then = std::move(then)](bool written) {
        TakeDownload();
        if (then)
            then(written);
    };
    if (!m_link.BeginDownload(done))
        return;
    ForgetEdits();
    m_downloadTime.start();
    m_desktop.InhibitSleep(Localized("DOWNLOAD_PICS_TIPS", "Download Pictures(s)"));
}

void MainWindow::TakeDownload() {
    m_desktop.AllowSleep();
    if (m_downloadTime.elapsed() >= kLongDownload && QApplication::activeWindow() == nullptr)
        m_desktop.Notify(windowTitle(), m_panel->Note(), Localized("SHOW_WINDOW", "Show the Window"));
}

void MainWindow::MyUpLoadButtonHandler() {
    if (!IsReady())
        return;
    if (store::Store().gmyTotalePictureNum < 1)
        ShowNote("NO_PIC_TIPS", "No Pictures");
    else
        SelectFileLocation();
}

void MainWindow::SelectFileLocation() {
    QFileDialog* dialog = NewFileDialog(this, Localized("SAVE_TITLE", "Select File Location"),
                                        m_settings.Folder(kSaveFolderSetting));
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& folder) {
        m_settings.SetFolder(kSaveFolderSetting, PathOf(folder));
        SavePicturesTo(PathOf(folder));
    });
    dialog->open();
}

void MainWindow::SavePicturesTo(const Path& folder) {
    auto report = std::make_shared<store::SaveReport>();
    RunTask(
        WindowState::Saving, [report, folder] { *report = store::SavePictures(folder); },
        [this, report] { TakeSaving(*report); });
}

void MainWindow::TakeSaving(const store::SaveReport& report) {
    if (report.failed.empty()) {
        if (report.stopped)
            store::ShowNote({"SAVING_STOPPED_TIPS", "Stopped. Pictures saved"}, report.saved);
        else
            store::ShowNote({"SAVED_TIPS", "Pictures saved"}, report.saved);
        if (!report.replaced.empty())
            m_panel->SetNoteDetail(store::ReplacedText(report));
    } else {
        ShowNote("SAVE_FAILED_TIPS", "The pictures could not be saved", report.failed.front().message);
    }
}

}  // namespace lumato::app
