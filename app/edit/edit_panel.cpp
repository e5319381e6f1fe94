#include "app/edit/edit_panel.h"

#include <QSignalBlocker>
#include <QThread>
#include <chrono>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/control_id.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

using picture::EditControl;

constexpr std::chrono::milliseconds kMoment{300};
constexpr std::array kArrowIds = {kRotateArrowID, kScaleArrowXID, kTranlateArrowXID, kTranlateArrowYID};

picture::ArrowsControl& ControlOf(EditControl control) {
    picture::EditControls& controls = picture::Pictures().controls;
    switch (control) {
        case EditControl::Rotate:
            return controls.rotate;
        case EditControl::Scale:
            return controls.scale;
        case EditControl::TranslateX:
            return controls.translateX;
        default:
            return controls.translateY;
    }
}

}  // namespace

bool EditPanel::HasAllControls(QWidget* window) {
    for (const ControlId id : kArrowIds) {
        if (FindControlAs<LittleArrows>(window, id) == nullptr)
            return false;
    }
    return FindControlAs<QCheckBox>(window, kSuitableSizeID) != nullptr &&
           FindControlAs<EditView>(window, myHIViewID) != nullptr &&
           FindControlAs<RectView>(window, myHIRectID) != nullptr;
}

EditPanel::EditPanel(QWidget* window, std::function<void()> selectNextPicture)
    : QObject(window),
      m_suitableSize(FindControlAs<QCheckBox>(window, kSuitableSizeID)),
      m_editView(FindControlAs<EditView>(window, myHIViewID)),
      m_rectView(FindControlAs<RectView>(window, myHIRectID)),
      m_nameLabel(window->findChild<DetailLabel*>(QStringLiteral("editName"))),
      m_selectNextPicture(std::move(selectNextPicture)) {
    for (std::size_t i = 0; i < m_arrows.size(); ++i) {
        m_arrows[i] = FindControlAs<LittleArrows>(window, kArrowIds[i]);
        m_arrows[i]->Bind(ControlOf(static_cast<EditControl>(i)));
    }
    m_arrows[0]->setSuffix(QStringLiteral("°"));
    m_arrows[1]->setSuffix(QStringLiteral(" %"));
    m_loading.setSingleShot(true);
    connect(&m_loading, &QTimer::timeout, this,
            [this] { m_nameLabel->SetDetail(Localized("EDIT_LOADING", "Loading…")); });
    connect(m_suitableSize, &QCheckBox::toggled, this, &EditPanel::SetFitted);
    connect(m_editView, &EditView::PictureShown, this, &EditPanel::ShowState);
    connect(m_editView, &EditView::WheelTurned, this, &EditPanel::ScaleBy);
    connect(m_rectView, &RectView::RectChanged, this, &EditPanel::PoseChanged);
}

void EditPanel::Call(std::function<void()> call) {
    if (QThread::currentThread() == thread())
        call();
    else
        m_calls.Post(std::move(call));
}

EditPanel::Shown EditPanel::ValuesOf(EditControl control) {
    if (control == EditControl::SuitableSize)
        return {picture::Pictures().gmySuitableSize ? 1 : 0, 0, 1};
    const picture::ArrowsControl& arrows = ControlOf(control);
    return {arrows.Value(), arrows.Minimum(), arrows.Maximum()};
}

// Shown in the order in which the changes were made. By the time a worker's change arrives, the main thread
// may own the control again and have changed it: then that is what is shown.
void EditPanel::ControlChanged(EditControl control) {
    const Shown values = ValuesOf(control);
    Call([this, control, values] { Show(control, MainThreadOwns() ? ValuesOf(control) : values); });
}

void EditPanel::Show(EditControl control, Shown values) {
    if (control == EditControl::SuitableSize) {
        const QSignalBlocker quiet(m_suitableSize);
        m_suitableSize->setChecked(values.value != 0);
    } else {
        m_arrows[static_cast<std::size_t>(control)]->Show(values.value, values.minimum, values.maximum);
    }
}

void EditPanel::RedrawEditView() {
    Call([this] { Redraw(); });
}

void EditPanel::Redraw() {
    m_editView->Redraw();
    m_rectView->Redraw();
    emit PoseChanged();
}

// What is drawn, in words: for those who cannot see it.
void EditPanel::ShowState() {
    const bool shown = m_editView->ShowsPicture();
    if (MainThreadOwns())
        m_name = ShownName(picture::Pictures().editSource);
    m_rectView->ShowHint(!shown);
    m_nameLabel->SetDetail(shown ? m_name : QString());
    QStringList state;
    if (shown) {
        state << m_name;
        for (const LittleArrows* arrows : m_arrows)
            state << arrows->accessibleName() + QLatin1Char(' ') + arrows->text();
    }
    m_editView->setAccessibleDescription(state.join(QStringLiteral(", ")));
}

void EditPanel::ShowLoading(bool loading) {
    if (loading && !m_loading.isActive())
        m_loading.start(kMoment);
    if (!loading) {
        m_loading.stop();
        ShowState();
    }
}

void EditPanel::ShowAll() {
    for (int control = 0; control <= static_cast<int>(EditControl::SuitableSize); ++control)
        Show(static_cast<EditControl>(control), ValuesOf(static_cast<EditControl>(control)));
    Redraw();
}

void EditPanel::SelectNextPicture() {
    Call([this] { m_selectNextPicture(); });
}

void EditPanel::TurnBy(int degrees) {
    if (!MainThreadOwns() || !m_suitableSize->isEnabled())
        return;
    picture::ArrowsControl& rotate = picture::Pictures().controls.rotate;
    rotate.SetValue((rotate.Value() + degrees) % 360);
}

void EditPanel::ScaleBy(int percent) {
    if (!MainThreadOwns() || !m_suitableSize->isEnabled())
        return;
    picture::ArrowsControl& scale = picture::Pictures().controls.scale;
    scale.SetValue(scale.Value() + percent);
}

void EditPanel::SetFitted(bool fitted) {
    if (MainThreadOwns() && m_suitableSize->isEnabled())
        picture::MySuitableSizeCheckBoxHandler(fitted);
}

}  // namespace lumato::app
