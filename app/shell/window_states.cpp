// What the window shows and enables in each of its states.
#include <QPushButton>
#include <utility>

#include "app/shell/main_window.h"
#include "store/store.h"

namespace lumato::app {
namespace {

struct Look {
    bool panel = false;    // the controls that change the list
    bool stop = false;     // the work can be ended early
    bool nothing = false;  // is to be edited: no frame has said how large its display is
};

Look LookOf(WindowState state) {
    switch (state) {
        case WindowState::NoFrame:
        case WindowState::Refused:
            return {.nothing = true};
        case WindowState::Idle:
        case WindowState::Loading:
            return {.panel = true};
        // Over in a moment, in which the controls only flickered.
        case WindowState::Adding:
        case WindowState::Changing:
            return {.panel = true};
        case WindowState::Reading:
            return {.stop = true, .nothing = true};
        case WindowState::AddingFiles:
        case WindowState::Downloading:
        case WindowState::Saving:
        case WindowState::Checking:
        case WindowState::BackingUp:
        case WindowState::Restoring:
            return {.stop = true};
    }
    return {};
}

bool IsMoment(WindowState state) {
    return state == WindowState::Loading || state == WindowState::Adding || state == WindowState::Changing;
}

}  // namespace

void MainWindow::ShowState() {
    const WindowState state = App().state;
    const Look look = LookOf(state);
    ShowNoFrameNotice(state == WindowState::NoFrame);  // before its buttons are disabled
    if (m_panel->IsEnabled() != look.panel)
        m_panel->Enable(look.panel);
    m_menus->EnablePanelActions(look.panel);
    FindControl(this, myHIViewID)->setAcceptDrops(look.panel);  // it looks the same, but takes nothing
    FindControlAs<RectView>(this, myHIRectID)->ShowNothing(look.nothing);
    findChild<QPushButton*>(QLatin1String(kStopButton))->setVisible(look.stop);
    m_stopAction->setEnabled(look.stop || IsEditingAgain());
    m_editPanel->ShowLoading(state == WindowState::Loading);
    ShowUndo();
    if (!IsMoment(std::exchange(m_shownState, state)) && !IsMoment(state))
        m_panel->ForgetNotes(NoteOf::Work);
    m_frameMenu->ShowState();
    m_factsAction->setEnabled(look.panel);
    if (state == WindowState::NoFrame)
        ForgetFrame();
    if (MainThreadOwns())
        AskWhatWaits();
}

}  // namespace lumato::app
