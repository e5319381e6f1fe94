// How pictures come into the edit view and the preview, and what becomes of them when the frame changes.
#include <algorithm>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "device/comm_usb.h"
#include "picture/picture_state.h"
#include "store/local_files.h"
#include "store/messages.h"
#include "store/safekeeping.h"

namespace lumato::app {

// The last of the files selected in the folder that was opened last is the one to edit.
void MainWindow::TakeSelection() {
    if (!MainThreadOwns())
        return;
    const std::vector<ItemID> selected = m_browser->Selected();
    const FileItems::Items& items = m_browser->Items().All();
    for (auto item = items.rbegin(); item != items.rend(); ++item) {
        const tagFILEITEM& record = item->second;
        if (record.isFolder != 0 && record.firstInFolder != 0)
            return;
        if (record.isFolder != 0 || !std::ranges::binary_search(selected, record.itemID))
            continue;
        m_addWhenLoaded = false;
        EndEditAgain();
        if (selected.size() >= 2)
            ShowBatchRoom(CollectBatch().size());
        if (record.pictureCandidate != 0) {
            m_loader.Load({record.itemID, record.spec});
        } else {
            m_loader.Forget();
            picture::ReleaseSelection();
        }
        return;
    }
}

void MainWindow::SelectFile(const Path& file) {
    EndEditAgain();
    m_addWhenLoaded = false;
    m_loader.Load({kNoItem, file});
}

void MainWindow::TakeLoaded(LoadedPicture loaded) {
    if (!MainThreadOwns()) {
        m_waiting = std::move(loaded);
        return;
    }
    if (!m_panel->IsEnabled())
        return;
    m_editPanel->SetPictureName(ShownName(loaded.file));
    const bool selected = picture::SelectImported(loaded.file, std::move(loaded.picture)).has_value();
    TakeEditAgain(loaded.file, selected);
    if (tagFILEITEM* item = m_browser->Items().Find(loaded.item);
        item != nullptr && item->spec == loaded.file) {
        m_browser->SelectQuietly(loaded.item);
        if (selected)
            m_browser->G_CurSelItem = loaded.item;
        else
            item->pictureCandidate = 0;
    }
    if (std::exchange(m_addWhenLoaded, false) && selected)
        AddEditPicture();
}

// The next file after the current one that is a picture.
void MainWindow::SelectNextPicture() {
    if (m_browser->G_CurSelItem == kNoItem)
        return;
    const FileItems::Items& items = m_browser->Items().All();
    std::vector<PictureLoader::Candidate> candidates;
    for (auto item = items.upper_bound(m_browser->G_CurSelItem); item != items.end(); ++item) {
        if (item->second.isFolder == 0)
            candidates.push_back({item->first, item->second.spec});
    }
    m_loader.LoadFirstPicture(std::move(candidates));
}

void MainWindow::TakeFrameChange() {
    m_loader.Forget();
    m_waiting.reset();
    m_selectedMeanwhile = 0;
    m_addWhenLoaded = false;
    m_frameMenu->Refresh();
    ShowNoFrameNotice(device::Link().Attached() == nullptr);
    if (!MainThreadOwns())
        return;
    ForgetFrame();
}

// What the window had of a frame that is no longer there, or of the one before this one.
void MainWindow::ForgetFrame() {
    EndEditAgain();
    ForgetEdits();
    picture::ReleaseSelection();
    if (device::Link().Attached() == nullptr) {
        m_differs = false;
        m_preview->Clear();
        m_panel->ClearInfo();
        ShowWhatToDo();
    }
}

// A frame of another size may have come: what was in the edit view is fitted anew.
void MainWindow::TakeOnlineEnd() {
    if (MainThreadOwns()) {
        ForgetEdits();
        EndEditAgain();
        picture::ReleaseSelection();
    }
    InvalidWindow();
    // Pictures may be back that an earlier download did not bring to the frame.
    TakeListState();
    if (!MainThreadOwns() || store::LastConnection() != store::Connection::Online)
        return;
    m_panel->UpdateInfo();
    // Posted, so that it comes after the panel has been enabled.
    QMetaObject::invokeMethod(
        this, [this] { TakeUpFiles(); }, Qt::QueuedConnection);
}

void MainWindow::TakeUpFiles() {
    if (std::exchange(m_firstFrame, false))
        m_browser->TakeFocus();
    const std::vector<Path> files = std::exchange(m_options.files, {});
    if (files.empty())
        TakeSelection();
    else if (files.size() == 1)
        SelectFile(files.front());
    else
        AddFiles(files);
}

void MainWindow::ComeForward(std::vector<Path> files) {
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
    if (!files.empty())
        m_options.files = std::move(files);
    if (MainThreadOwns() && m_panel->IsEnabled() && !m_options.files.empty())
        TakeUpFiles();
}

void MainWindow::ShowNoFrameNotice(bool show) {
    m_noFrame->setVisible(show);
    const QWidget* focus = focusWidget();
    if (show && (focus == nullptr || focus == FindControl(this, myHIRectID)))
        m_noFrame->setFocus();  // the rectangle has nothing to surround
    FindControlAs<RectView>(this, myHIRectID)->MakeRoomForNotice(show);
}

void MainWindow::ShowWhatToDo() {
    const QString hint =
        Localized("CONNECT_HINT", "Connect your photo frame, or attach a virtual one from the Frame menu");
    m_noFrame->SetText(hint);
    ShowNoFrameNotice(true);
    store::ShowNote(store::kDeviceNotOnline);
    m_panel->SetNoteDetail(hint.toStdString());
}

}  // namespace lumato::app
