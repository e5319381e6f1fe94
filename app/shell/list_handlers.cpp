// The list of the frame's pictures and the preview: what is selected, moved, deleted and looked at.
#include <QCheckBox>
#include <algorithm>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "picture/picture_state.h"
#include "store/store.h"

namespace lumato::app {

void MainWindow::ConnectList() {
    connect(m_list, &PictureList::ItemsMoved, this, &MainWindow::MovePictures);
    connect(m_list, &PictureList::activated, this, &MainWindow::EditAgain);
    connect(m_list, &PictureList::ItemSelected, this, &MainWindow::SelPicInList);
    connect(m_editPanel.get(), &EditPanel::PoseChanged, this, [this] {
        if (MainThreadOwns())
            m_preview->FollowEditPicture(PositionEditedAgain(), ShownName(picture::Pictures().editSource));
    });
    connect(m_preview, &Preview::Opened, this, &MainWindow::ShowPreviewWindow);
    connect(m_preview, &Preview::Changed, this, [this] {
        findChild<DetailLabel*>(QStringLiteral("previewFacts"))->SetDetail(FactsOf(m_preview->Shown()));
    });
}

void MainWindow::ShowPreviewWindow() {
    if (m_previewWindow == nullptr)
        m_previewWindow = new PreviewWindow(*m_preview, this);
    m_previewWindow->ShowTexts();
    m_previewWindow->show();
    m_previewWindow->raise();
    m_previewWindow->activateWindow();
}

// While a task owns the store, the list's own selection is kept for its end.
void MainWindow::SelPicInList(int item) {
    ShowListed(item, true);
}

void MainWindow::ShowListed(int item, bool touched) {
    if (!IsReady())
        return;
    store::StoreState& store = store::Store();
    const QList<ListedPicture>& pictures = m_list->Model().Pictures();
    if (item < 0 || item > pictures.size() || item > store.gmyTotalePictureNum)
        return;
    store.gmyCurrentSelectItem = item;
    m_panel->UpdateInfo();
    if (item == 0)
        m_preview->ForgetListed();
    else
        m_preview->ShowListed(pictures[item - 1], touched);
}

// Keys come faster than changes end: those of meanwhile wait for the end, and moves in a row make one.
bool MainWindow::PutOff(Step step, int by) {
    if (App().state != WindowState::Changing)
        return false;
    if (step == Step::Move && !m_steps.empty() && m_steps.back().step == step)
        m_steps.back().by += by;
    else
        m_steps.push_back({step, by});
    return true;
}

bool MainWindow::PutOffDrag(const std::vector<int>& positions, int before) {
    if (!PutOff(Step::Drag))
        return false;
    const QList<ListedPicture>& pictures = m_list->Model().Pictures();
    for (const int position : positions)
        m_steps.back().dragged.append(pictures[position - 1].Key());
    if (before <= pictures.size())
        m_steps.back().before = pictures[before - 1].Key();
    return true;
}

void MainWindow::TakeSteps() {
    if (!IsReady())
        m_steps.clear();
    while (!m_steps.empty() && IsReady()) {
        const PutOffStep next = m_steps.front();
        m_steps.pop_front();
        if (next.step == Step::Move)
            MoveSelected(next.by);
        else if (next.step == Step::Drag)
            TakeDrag(next);
        // Without a selection the last picture was meant, which by now may be another one.
        else if (next.step == Step::Delete && next.by > 0 && !m_list->Selected().empty())
            DeleteSelected();
        else if (next.step == Step::Undo && m_edits.Undoable())
            Undo();
        else if (next.step == Step::Redo && m_edits.Redoable())
            Redo();
    }
}

// Nothing is left of one whose place, or pictures, have gone.
void MainWindow::TakeDrag(const PutOffStep& drag) {
    const QList<ListedPicture>& pictures = m_list->Model().Pictures();
    std::vector<int> positions;
    int before = drag.before.isEmpty() ? m_list->Model().rowCount() + 1 : 0;
    for (int position = 1; position <= m_list->Model().rowCount(); ++position) {
        const QByteArray key = pictures[position - 1].Key();
        if (drag.dragged.contains(key))
            positions.push_back(position);
        if (drag.before == key)
            before = position;
    }
    if (!positions.empty() && before > 0)
        MovePictures(positions, before);
}

// By so many places: all of them follow the first one up and the last one down.
void MainWindow::MoveSelected(int by) {
    if (PutOff(Step::Move, by))
        return;
    const std::vector<int> selected = m_list->Selected();
    if (selected.empty() || by == 0)
        return;
    const int before = by < 0 ? selected.front() + by : selected.back() + by + 1;
    MovePictures(selected, std::clamp(before, 1, m_list->Model().rowCount() + 1));
}

void MainWindow::MovePictures(const std::vector<int>& positions, int before) {
    if (PutOffDrag(positions, before))
        return;
    RunTask(WindowState::Changing, [this, positions, before] {
        m_edits.Do(store::Edit::Kind::Move, [&] { store::MovePictures(positions, before); });
        ShowListChange();
    });
}

void MainWindow::MyDeleteAllCheckBoxHandler(bool on) {
    if (MainThreadOwns())
        store::Store().gmyDeleteAll = on;
}

// The tick at "all" counts for one deletion, so that none comes unawares.
void MainWindow::Delete(std::function<void()> work) {
    if (!IsReady() || store::Store().gmyTotalePictureNum == 0)
        return;
    RunTask(
        WindowState::Changing,
        [this, work = std::move(work)] { m_edits.Do(store::Edit::Kind::Delete, work); },
        [this] { FindControlAs<QCheckBox>(this, kDeleteAllCheckBoxID)->setChecked(false); });
}

// The button beside the check box.
void MainWindow::MyDelButtonHandler() {
    if (!MainThreadOwns() && FindControlAs<QCheckBox>(this, kDeleteAllCheckBoxID)->isChecked())
        return;  // all of another list than the one that is seen
    if (MainThreadOwns() && store::Store().gmyDeleteAll)
        Delete([] {
            store::DeletePictures();
            store::Store().gmyDeleteAll = false;
        });
    else
        DeleteSelected();
}

void MainWindow::DeleteSelected() {
    std::vector<int> positions = m_list->Selected();
    if (PutOff(Step::Delete, static_cast<int>(positions.size())))
        return;
    if (positions.empty())
        positions.push_back(m_list->Model().rowCount());
    Delete([positions = std::move(positions)] {
        store::Store().gmyDeleteAll = false;
        store::DeletePicturesAt(positions);
    });
}

}  // namespace lumato::app
