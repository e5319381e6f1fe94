// Undo and redo of what was done to the list.
#include <QAction>

#include "app/parts/app_state.h"
#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"

namespace lumato::app {
namespace {

using store::Edit;

QString NameOf(const Edit& edit) {
    const auto name = [&] {
        switch (edit.kind) {
            case Edit::Kind::Add:
                return Localized("Add", "Add");
            case Edit::Kind::Delete:
                return Localized("Delete", "Delete");
            case Edit::Kind::Move:
                return Localized("EDIT_MOVE", "Move");
            case Edit::Kind::Replace:
                return Localized("EDIT_REPLACE", "Replace");
            case Edit::Kind::Restore:
                break;
        }
        return Localized("EDIT_RESTORE", "Restore");
    }();
    return edit.pictures > 1 ? QStringLiteral("%1 (%2)").arg(name).arg(edit.pictures) : name;
}

void ShowStep(QAction& action, const QString& verb, const std::optional<Edit>& edit) {
    action.setEnabled(edit.has_value());
    const QString text = edit ? Localized(About(verb.toStdString(), NameOf(*edit).toStdString())) : verb;
    action.setText(WithLetterOf(text, action.text()));
}

}  // namespace

void MainWindow::MakeUndoEntries(QMenu* menu) {
    m_undoAction = m_menus->AddAction(menu, "UNDO", "Undo", QKeySequence::Undo, false, [this] { Undo(); });
    m_redoAction = m_menus->AddAction(menu, "REDO", "Redo", {}, false, [this] { Redo(); });
    m_redoAction->setShortcuts({QKeySequence("Ctrl+Shift+Z"), QKeySequence("Ctrl+Y")});
}

void MainWindow::Undo() {
    if (!PutOff(Step::Undo))
        StepTo(&Edits::Undo);
}

void MainWindow::Redo() {
    if (!PutOff(Step::Redo))
        StepTo(&Edits::Redo);
}

void MainWindow::StepTo(Result<void> (Edits::*step)()) {
    if (!IsReady())
        return;
    auto stepped = std::make_shared<Result<void>>();
    RunTask(
        WindowState::Changing, [this, stepped, step] { *stepped = (m_edits.*step)(); },
        [this, stepped] {
            if (!*stepped)
                ShowNote("UNDO_FAILED_TIPS", "This could not be undone", stepped->error().message);
        });
}

void MainWindow::ForgetEdits() {
    m_edits.Forget();
    ShowUndo();
}

void MainWindow::ShowUndo() {
    if (App().state == WindowState::Changing) {  // over in a moment, in which a key counts all the same
        m_undoAction->setEnabled(true);
        m_redoAction->setEnabled(true);
        return;
    }
    const bool possible = IsReady();
    ShowStep(*m_undoAction, Localized("UNDO", "Undo"), possible ? m_edits.Undoable() : std::nullopt);
    ShowStep(*m_redoAction, Localized("REDO", "Redo"), possible ? m_edits.Redoable() : std::nullopt);
}

}  // namespace lumato::app
