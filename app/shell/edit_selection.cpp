// How pictures come into the edit view and the preview, and what becomes of them when the frame changes.
#include <QApplication>
#include <algorithm>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "base/printable.h"
#include "device/comm_usb.h"
#include "picture/messages.h"
#include "picture/picture_state.h"
#include "store/local_files.h"
#include "store/messages.h"
#include "store/safekeeping.h"

namespace lumato::app {

// The last of the files selected in the folder that was opened last is the one to edit.
void MainWindow::TakeSelection() {
    if (!IsReady())
        return;
    const std::vector<ItemID> selected = m_browser->Selected();
    const std::vector<ItemID>& items = m_browser->InOrder();
    for (auto id = items.rbegin(); id != items.rend(); ++id) {
        const tagFILEITEM& record = *m_browser->Items().Find(*id);
        if (record.isFolder != 0 || !std::ranges::binary_search(selected, *id))
            continue;
        m_addNext = false;
        ++m_againAsked;
        EndEditAgain();
        m_panel->ForgetNotes(NoteOf::Picture);
        if (selected.size() >= 2)
            ShowBatchRoom(CollectBatch().size());
        if (record.pictureCandidate != 0) {
            m_loader.Load({record.itemID, record.spec});
        } else {
            m_loader.Forget();
            picture::ReleaseSelection();
            const ControlPanel::NotesAbout about(*m_panel, NoteOf::Picture);
            store::ShowNote(picture::kCannotRead);
            m_panel->SetNoteDetail(record.whyNot);
        }
        return;
    }
}

// One that was not chosen in the browser: nothing is selected there any more.
void MainWindow::SelectFile(const Path& file) {
    ++m_againAsked;
    EndEditAgain();
    m_addNext = false;
    m_browser->SelectQuietly(kNoItem);
    m_loader.Load({kNoItem, file});
}

// What is dropped onto the edit view: one file is to be edited, everything else to be added. Whether it is a
// folder its disk knows, which may take its time: by then something else may be in the edit view, or another
// frame be here.
void MainWindow::TakeDrop(const std::vector<Path>& files) {
    if (files.size() != 1) {
        AddDropped(files);
        return;
    }
    m_looks.Clear();
    m_looks.Start([this, file = files.front(), asked = ++m_againAsked,
                   frame = std::weak_ptr(device::Link().Attached())]() -> LooseThreads::Outcome {
        std::error_code ignored;
        const bool isFolder = std::filesystem::is_directory(file, ignored);
        return [this, file, asked, frame, isFolder] {
            if (frame.lock() != device::Link().Attached() || (!isFolder && asked != m_againAsked))
                return;
            if (isFolder)
                AddDropped({file});
            else
                SelectFile(file);
        };
    });
}

void MainWindow::AddDropped(const std::vector<Path>& files) {
    if (IsReady())
        AddFiles(files);
    else  // until the window is ready again
        m_handedOver.insert(m_handedOver.end(), files.begin(), files.end());
}

void MainWindow::TakeLoaded(LoadedPicture loaded) {
    if (!MainThreadOwns()) {
        m_waiting = std::move(loaded);
        return;
    }
    if (!IsReady())
        return;
    m_panel->ForgetNotes(NoteOf::Picture);
    const ControlPanel::NotesAbout about(*m_panel, NoteOf::Picture);
    const Phrase whyNot = loaded.picture ? Phrase() : loaded.picture.error().message;
    const bool selected =
        picture::SelectImported(loaded.file, std::move(loaded.picture), std::move(loaded.levels)).has_value();
    TakeEditAgain(loaded.file, selected);
    if (tagFILEITEM* item = m_browser->Items().Find(loaded.item);
        item != nullptr && item->spec == loaded.file) {
        m_browser->SelectQuietly(loaded.item);
        if (selected) {
            m_browser->G_CurSelItem = loaded.item;
        } else {
            item->pictureCandidate = 0;
            item->whyNot = About(Printable(loaded.file.filename().string()), whyNot);
        }
    }
    if (std::exchange(m_addNext, false) && selected)
        AddEditPicture();
}

// The next file after the current one that is a picture.
void MainWindow::SelectNextPicture() {
    const std::vector<ItemID>& items = m_browser->InOrder();
    const auto current = std::ranges::find(items, m_browser->G_CurSelItem);
    if (current == items.end())
        return;
    std::vector<PictureLoader::Candidate> candidates;
    for (auto id = current + 1; id != items.end(); ++id) {
        if (const tagFILEITEM* item = m_browser->Items().Find(*id); item->isFolder == 0)
            candidates.push_back({*id, item->spec});
    }
    m_loader.LoadFirstPicture(std::move(candidates));
}

void MainWindow::TakeFrameChange() {
    m_loader.Forget();
    m_waiting.reset();
    m_addNext = false;
    // No answer may mean another frame.
    for (QDialog* question : findChildren<QDialog*>()) {
        if (question == m_quitQuestion || question->property(kAboutFrame).toBool())
            question->done(QDialog::Rejected);
    }
    ShowState();
}

// What the window had of a frame that is no longer there, or of the one before this one.
void MainWindow::ForgetFrame() {
    m_steps.clear();
    m_batchBefore.reset();
    ++m_againAsked;
    EndEditAgain();
    ForgetEdits();
    picture::ReleaseSelection();
    if (App().state == WindowState::NoFrame) {
        m_preview->Clear();
        m_panel->ClearInfo();
    }
}

// A frame of another size may have come: what was in the edit view is fitted anew.
void MainWindow::TakeOnlineEnd() {
    ForgetFrame();
    const int asked = m_againAsked;
    TakeEnd();
    if (!IsReady())
        return;
    m_panel->UpdateInfo();
    if (std::exchange(m_browserIsNext, false) || focusWidget() == nullptr)
        m_browser->TakeFocus();
    if (asked == m_againAsked)  // nothing was handed over
        TakeSelection();
}

// Several are added, one is for the user to fit.
void MainWindow::TakeUpFiles() {
    if (!IsReady() || m_handedOver.empty())
        return;
    TakeDrop(std::exchange(m_handedOver, {}));
}

bool MainWindow::ComeForward(std::vector<Path> files, const QString& action) {
    if (m_leaving || m_closed)
        return false;
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    // With a question open the window takes no keys. The desktop's own dialogs are no widgets to activate.
    QWidget* question = QApplication::activeModalWidget();
    const bool ours = question != nullptr && !question->testAttribute(Qt::WA_DontShowOnScreen);
    (ours ? question : this)->activateWindow();
    m_handedOver.insert(m_handedOver.end(), files.begin(), files.end());
    TakeUpFiles();
    if (QApplication::activeModalWidget() == nullptr)
        m_frameMenu->Trigger(action);
    return true;
}

void MainWindow::ShowNoFrameNotice(bool show) {
    const QWidget* focus = focusWidget();
    // What is hidden passes the focus on, by its place alone.
    m_browserIsNext = !show && (m_browserIsNext || m_noFrame->isAncestorOf(focus));
    m_noFrame->setVisible(show);
    if (show && (focus == nullptr || focus == FindControl(this, myHIRectID)))
        m_noFrame->setFocus();  // the rectangle has nothing to surround
}

void MainWindow::ShowWhatToDo() {
    ShowNoFrameNotice(true);
    store::ShowNote(store::kDeviceNotOnline);
}

}  // namespace lumato::app
