// Pictures of the list that are edited once more from their photographs, and others that give way to one
// which does not fit.
#include <QMessageBox>
#include <QPushButton>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "base/printable.h"
#include "picture/picture_state.h"
#include "store/messages.h"
#include "store/store.h"

namespace lumato::app {

void MainWindow::EditAgain() {
    if (!IsReady())
        return;
    const store::StoreState& store = store::Store();
    const int position = store.gmyCurrentSelectItem;
    if (position < 1 || position > store.gmyTotalePictureNum)
        return;
    const store::FileData& record = *store::GetNode(store.gmyPictureData.get(), position);
    const picture::AlbumEntry* made =
        record.streamHash ? picture::Pictures().album.Find(*record.streamHash) : nullptr;
    if (made == nullptr) {
        ShowNote("EDIT_AGAIN_FAILED_TIPS", "This picture cannot be edited again",
                 Phrase("PHOTOGRAPH_UNKNOWN", "this computer does not know its photograph"));
        return;
    }
    // Its disk may not answer.
    m_looks.Clear();
    m_looks.Start([this, name = record.fileName, made = *made]() -> LooseThreads::Outcome {
        return [this, name, made, original = picture::StateOf(made)] { EditFrom(name, made, original); };
    });
}

void MainWindow::EditFrom(const std::string& name, const picture::AlbumEntry& made,
                          picture::Original original) {
    if (!IsReady())
        return;
    if (original == picture::Original::Missing) {
        ShowNote("EDIT_AGAIN_FAILED_TIPS", "This picture cannot be edited again",
                 Phrase("PHOTOGRAPH_MISSING", "{0} is not there, or cannot be read",
                        Printable(made.source.string())));
        return;
    }
    EndEditAgain();
    m_again = Again{name, made.source, made.pose, original == picture::Original::Changed};
    m_addNext = false;
    m_loader.Load({kNoItem, made.source});
}

// The photograph has come into the edit view; another one ends it.
void MainWindow::TakeEditAgain(const Path& file, bool selected) {
    if (!m_again || m_again->shown || m_again->source != file || !selected) {
        EndEditAgain();
        return;
    }
    picture::ApplyPose(m_again->pose);
    m_editPanel->ShowAll();
    m_again->shown = true;
    ShowReplacing();
    store::ShowNote({"REPLACES_TIPS", "Replaces picture"}, PositionEditedAgain());
    if (m_again->changed)
        m_panel->SetNoteDetail(Phrase("PHOTOGRAPH_CHANGED",
                                      "{0} has another size or date than when the picture was made from it",
                                      Printable(file.filename().string())));
}

// 0: none is, or it has left the list.
int MainWindow::PositionEditedAgain() const {
    return IsEditingAgain() ? store::PositionOf(store::Store().gmyPictureData.get(), m_again->name) : 0;
}

void MainWindow::EndEditAgain() {
    if (IsEditingAgain())
        m_panel->ForgetNotes(NoteOf::Picture);
    m_again.reset();
    ShowReplacing();
}

void MainWindow::ShowReplacing() {
    const bool replaces = IsEditingAgain();
    auto* add = FindControlAs<QPushButton>(this, kAddButtonID);
    const QString text = replaces ? Localized("REPLACE_BUTTON", "Replace") : Localized("Add", "Add");
    add->setText(WithLetterOf(text, add->text()));
    if (MainThreadOwns())
        m_stopAction->setEnabled(replaces);
}

// One click; what gives way is made anew from its photograph.
QMessageBox* MainWindow::OfferRoom(const std::vector<picture::Lowered>& plan, std::vector<Path> files,
                                   const picture::Pose& pose) {
    if (plan.empty() || files.empty())
        return nullptr;
    auto* box =
        new QMessageBox(QMessageBox::Question, windowTitle(),
                        Localized("MAKE_ROOM_TIPS", "Make room by lowering the quality of other pictures?"),
                        QMessageBox::NoButton, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(
        Localized(About(Printable(files.front().filename().string()), picture::TextOf(plan))));
    QPushButton* make = box->addButton(Localized("MAKE_ROOM_BUTTON", "Make Room"), QMessageBox::AcceptRole);
    connect(make, &QPushButton::clicked, this,
            [this, files = std::move(files), pose] { AddFiles(files, pose, picture::Room::Make); });
    box->addButton(Localized("CANCLE_BUTTON", "Cancel"), QMessageBox::RejectRole);
    Ask(box);
    return box;
}

}  // namespace lumato::app
