#include "app/edit/edit_panel.h"

#include <QEvent>
#include <QSignalBlocker>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/control_id.h"
#include "app/parts/texts.h"
#include "picture/coverage.h"
#include "picture/scale_gesture.h"

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

constexpr double kBlack = 0.5;       // more of it is worth a word
constexpr double kCoarse = 2;        // times its own size
constexpr double kWheelStep = 0.05;  // of the scale

QString Percent(int value) {
    return QString::number(value) + QStringLiteral(" %");
}

QString TextOf(picture::ScaleLimit limit, int value) {
    switch (limit) {
        case picture::ScaleLimit::FillsLcd:
            return LocalizedWith("SCALE_FILLS", "Below {} there would be bars: Whole picture allows them",
                                 Percent(value));
        case picture::ScaleLimit::SeenWhole:
            return LocalizedWith("SCALE_WHOLE", "The whole picture is seen already, at {}", Percent(value));
        case picture::ScaleLimit::Percent:
            return LocalizedWith("SCALE_PERCENT", "A picture can be enlarged to {} at most", Percent(value));
        case picture::ScaleLimit::Side:
            break;
    }
    return LocalizedWith("SCALE_SIDE", "The picture may be at most {} pixels wide and high here",
                         QString::number(value));
}

}  // namespace

EditPanel::EditPanel(QWidget* window, std::function<void()> selectNextPicture)
    : QObject(window),
      m_suitableSize(FindControlAs<QCheckBox>(window, kSuitableSizeID)),
      m_editView(FindControlAs<EditView>(window, myHIViewID)),
      m_rectView(FindControlAs<RectView>(window, myHIRectID)),
      m_nameLabel(window->findChild<DetailLabel*>(QStringLiteral("editName"))),
      m_remarkLabel(window->findChild<DetailLabel*>(QStringLiteral("editRemark"))),
      m_turnLeft(window->findChild<QAbstractButton*>(QStringLiteral("turnLeft"))),
      m_turnRight(window->findChild<QAbstractButton*>(QStringLiteral("turnRight"))),
      m_fill(window->findChild<QAbstractButton*>(QStringLiteral("fitFill"))),
      m_whole(window->findChild<QAbstractButton*>(QStringLiteral("fitWhole"))),
      m_reset(window->findChild<QAbstractButton*>(QStringLiteral("resetPose"))),
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
    connect(m_turnLeft, &QAbstractButton::clicked, this, [this] { TurnBy(-90); });
    connect(m_turnRight, &QAbstractButton::clicked, this, [this] { TurnBy(90); });
    connect(m_fill, &QAbstractButton::clicked, this, [this] { SetFit(picture::Fit::Fill); });
    connect(m_whole, &QAbstractButton::clicked, this, [this] { SetFit(picture::Fit::Whole); });
    connect(m_reset, &QAbstractButton::clicked, this, &EditPanel::ResetPose);
    connect(m_editView, &EditView::WheelTurned, this, &EditPanel::ScaleByWheel);
    connect(m_rectView, &RectView::RectChanged, this, &EditPanel::TakeRect);
    connect(m_rectView, &RectView::AreaChanged, m_editView, &EditView::ShowArea);
    connect(m_rectView, &RectView::ScaleWanted, this, &EditPanel::ScaleBy);
    m_suitableSize->installEventFilter(this);
    m_editView->ShowArea(m_rectView->Area());
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
    if (control == EditControl::Fit)
        return {static_cast<int>(picture::Pictures().fit), 0, 1};
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
    } else if (control == EditControl::Fit) {
        m_shownFit = values;
        (static_cast<picture::Fit>(values.value) == picture::Fit::Whole ? m_whole : m_fill)->setChecked(true);
    } else {
        m_arrows[static_cast<std::size_t>(control)]->Show(values.value, values.minimum, values.maximum);
    }
}

void EditPanel::RedrawEditView() {
    Call([this] { Redraw(); });
}

void EditPanel::Redraw() {
    m_refusal.clear();
    m_editView->Redraw();
    m_rectView->Redraw();
    emit PoseChanged();
}

void EditPanel::TakeRect() {
    m_refusal.clear();
    ShowState();
    emit PoseChanged();
}

void EditPanel::ScaleRefused(picture::ScaleLimit limit, int value) {
    Call([this, limit, value] {
        m_refusal = TextOf(limit, value);
        ShowState();
    });
}

QString EditPanel::Remark() const {
    const picture::MyImage* image = MainThreadOwns() ? picture::Pictures().gmyCGimage.get() : nullptr;
    if (!m_refusal.isEmpty() || image == nullptr)
        return m_refusal;
    const store::Rect& rect = store::Store().gmyDrawrect;
    if (picture::ShowsNothing(*image, rect))
        return Localized("POSE_EMPTY", "The frame would show nothing of the picture");
    if (picture::CoverageOf(*image, rect) < kBlack)
        return Localized("POSE_BLACK", "More than half of what the frame shows would be black");
    if (static_cast<double>(image->scaleY) > kCoarse)
        return LocalizedWith("POSE_COARSE", "Only {} pixels: the frame would show them coarsely",
                             QStringLiteral("%1 × %2").arg(image->image->width).arg(image->image->height));
    return {};
}

// What is drawn, in words: for those who cannot see it.
void EditPanel::ShowState() {
    const bool shown = m_editView->ShowsPicture();
    if (MainThreadOwns())
        m_name = ShownName(picture::Pictures().editSource);
    m_rectView->ShowHint(!shown);
    m_nameLabel->SetDetail(shown ? m_name : QString());
    const QString remark = shown ? Remark() : QString();
    m_remarkLabel->SetDetail(remark);
    QStringList state;
    if (shown) {
        state << m_name;
        for (const LittleArrows* arrows : m_arrows)
            state << arrows->accessibleName() + QLatin1Char(' ') + arrows->text();
        if (!remark.isEmpty())
            state << remark;
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
    for (int control = 0; control <= static_cast<int>(EditControl::Fit); ++control)
        Show(static_cast<EditControl>(control), ValuesOf(static_cast<EditControl>(control)));
    Redraw();
}

void EditPanel::SelectNextPicture() {
    Call([this] { m_selectNextPicture(); });
}

bool EditPanel::MayChange() const {
    return MainThreadOwns() && m_suitableSize->isEnabled();
}

void EditPanel::TurnBy(int degrees) {
    if (MayChange())
        picture::TurnPicture(degrees);
}

void EditPanel::ScaleBy(int percent) {
    if (!MayChange())
        return;
    picture::ArrowsControl& scale = picture::Pictures().controls.scale;
    scale.SetValue(scale.Value() + percent);
}

void EditPanel::ScaleByWheel(int notches, picture::CanvasPoint at) {
    if (!MayChange() || picture::Pictures().gmyCGimage == nullptr)
        return;
    const picture::ScaleGesture from = picture::BeginScaling();
    const double percent = static_cast<double>(from.scale) * 100;
    const double step = std::max(percent * kWheelStep, 1.0);
    picture::ScaleAround(from, (percent + notches * step) / percent, at);
}

void EditPanel::SetFitted(bool fitted) {
    if (MayChange())
        picture::MySuitableSizeCheckBoxHandler(fitted);
}

// What cannot be done now leaves the buttons as they were.
void EditPanel::SetFit(picture::Fit fit) {
    if (MayChange())
        picture::SetFit(fit);
    else
        Show(EditControl::Fit, m_shownFit);
}

void EditPanel::ResetPose() {
    if (MayChange())
        picture::ResetPose();
}

void EditPanel::ShowTexts() {
    const auto name = [](QAbstractButton* button, const QString& text, bool shown) {
        if (shown)
            button->setText(text);
        else
            button->setToolTip(text);
        button->setAccessibleName(text);
    };
    name(m_turnLeft, Localized("TURN_LEFT", "Rotate Left"), false);
    name(m_turnRight, Localized("TURN_RIGHT", "Rotate Right"), false);
    name(m_fill, Localized("FIT_FILL", "Fill"), true);
    name(m_whole, Localized("FIT_WHOLE", "Whole picture"), true);
    name(m_reset, Localized("POSE_RESET", "Reset"), false);
    m_refusal.clear();
    ShowState();
}

bool EditPanel::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::EnabledChange) {
        for (QAbstractButton* button : {m_turnLeft, m_turnRight, m_fill, m_whole, m_reset})
            button->setEnabled(m_suitableSize->isEnabled());
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace lumato::app
