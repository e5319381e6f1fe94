#include "app/shell/control_panel.h"

#include <QAbstractButton>
#include <QLabel>
#include <QMainWindow>
#include <algorithm>
#include <array>
#include <utility>

#include "app/edit/rect_view.h"
#include "app/list/picture_list.h"
#include "app/list/preview.h"
#include "app/parts/detail_label.h"
#include "app/parts/texts.h"
#include "app/shell/shown_list.h"
#include "app/shell/spoken_note.h"
#include "app/shell/transfer_bar.h"
#include "base/diagnostics.h"
#include "base/private_text.h"
#include "picture/picture_state.h"
#include "store/picture_count_text.h"
#include "store/room_left.h"
#include "store/store.h"
#include "store/transfer.h"
#include "text/localized.h"

namespace lumato::app {
namespace {

// Enabled and disabled together.
constexpr std::array kPanelGroup = {
    kDeleteAllCheckBoxID, kSuitableSizeID,  kOpenButtonID, kDownLoadButtonID, kTranlateArrowXID,
    kTranlateArrowYID,    kUpLoadButtnonID, kDelButtonID,  kAddButtonID,      kRotateArrowID,
    kScaleArrowXID,       kColumList,       dbControlID1};

constexpr const char* kNoteDetail = "noteDetail";

struct ControlText {
    ControlId id;
    std::string_view key;
    std::string_view defaultText;
};

constexpr std::array kTexts = {
    ControlText{kSuitableSizeID, "Fit_Size_For_LCD", "Fit size for LCD"},
    ControlText{kUpLoadButtnonID, "Save_All", "Save ALL"},
    ControlText{kAddButtonID, "Add", "Add"},
    ControlText{kDownLoadButtonID, "DownLoad", "DownLoad"},
    ControlText{kDelButtonID, "Delete", "Delete"},
    ControlText{kDeleteAllCheckBoxID, "Delete_All", "Delete All"},
    ControlText{NoticeControlID, "Information:", "Information:"},
    ControlText{RotateControlID, "Rotate", "Rotate"},
    ControlText{ScaleControlID, "Scale:", "Scale"},
    ControlText{TranslateXControlID, "Translate_X", "Translate: X:"},
    ControlText{TranslateYControlID, "Translate_Y", "Translate: Y:"},
    ControlText{TotalControlID, "Total Picture", "Total Pictures"},
    ControlText{CurrentControlID, "Current", "Current:"},
};

struct FieldLabel {
    ControlId field;
    ControlId label;
};

// Fields that a label names.
constexpr std::array kFieldLabels = {
    FieldLabel{kRotateArrowID, RotateControlID},
    FieldLabel{kScaleArrowXID, ScaleControlID},
    FieldLabel{kTranlateArrowXID, TranslateXControlID},
    FieldLabel{kTranlateArrowYID, TranslateYControlID},
    FieldLabel{kTotalPic, TotalControlID},
    FieldLabel{kCurPic, CurrentControlID},
    FieldLabel{kNotesID, NoticeControlID},
};

QString WithoutColon(QString text) {
    while (text.endsWith(u':') || text.endsWith(u'：') || text.endsWith(QChar(0xA0)) || text.endsWith(u' '))
        text.chop(1);
    return text;
}

void SetHeading(QMainWindow& window, const char* name, const QString& text) {
    if (auto* label = window.findChild<QLabel*>(QLatin1String(name)))
        label->setText(text);
}

constexpr std::chrono::seconds kNoteStays{6};
const QString kNoNumber = QStringLiteral("–");

}  // namespace

ControlPanel::ControlPanel(QMainWindow& window)
    : QObject(&window), m_window(window), m_spoken(new SpokenNote(&window)) {
    m_moment.setSingleShot(true);
    connect(&m_moment, &QTimer::timeout, this, [this] {
        m_ofMoment.reset();
        ShowNotes();
    });
}

void ControlPanel::InitViewLanguage() {
    m_window.setWindowTitle(Localized("WINDOW_TITLE", "MacLumato"));
    for (const ControlText& row : kTexts)
        SetControlText(row.id, Localized(row.key, row.defaultText));
    SetHeadings();
    SetAccessibleNames();
    ShowNotes();
    ShowRoom();
}

void ControlPanel::SetControlText(ControlId id, const QString& text) {
    QWidget* control = FindControl(&m_window, id);
    if (auto* button = qobject_cast<QAbstractButton*>(control)) {
        button->setText(text);
        button->setAccessibleName(text);
    } else if (auto* label = qobject_cast<QLabel*>(control)) {
        label->setText(text);
    }
}

void ControlPanel::SetHeadings() {
    if (auto* stop = m_window.findChild<QAbstractButton*>(QLatin1String(kStopButton)))
        stop->setText(Localized("CANCLE_BUTTON", "Cancel"));
    if (auto* report = m_window.findChild<QAbstractButton*>(QLatin1String(kBatchReportButton)))
        report->setText(Localized("BATCH_SHOW", "Show…"));
    SetHeading(m_window, "browserHeading", Localized("BROWSER_HEADING", "This computer"));
    SetHeading(m_window, "editHeading", Localized("EDIT_HEADING", "Picture"));
    SetHeading(m_window, "frameHeading", Localized("FRAME_HEADING", "On the frame"));
    if (auto* view = FindControlAs<RectView>(&m_window, myHIRectID))
        view->SetHint(Localized("EDIT_HINT", "Select a picture on the left, or drop one here"));
    if (auto* list = FindControlAs<PictureList>(&m_window, dbControlID1)) {
        list->SetHint(Localized("LIST_HINT", "The frame's pictures appear here"));
        list->Model().SetWaitingText(Localized("LIST_WAITING", "not yet on the frame"));
    }
    if (auto* preview = FindControlAs<Preview>(&m_window, myHIPreviewID))
        preview->SetHint(Localized("PREVIEW_HINT", "Preview"));
}

void ControlPanel::SetAccessibleNames() {
    for (const FieldLabel& row : kFieldLabels) {
        const auto* label = FindControlAs<QLabel>(&m_window, row.label);
        QWidget* field = FindControl(&m_window, row.field);
        if (label == nullptr || field == nullptr)
            continue;
        // A text that changes is named by itself, whatever else has no words of its own by its label.
        if (qobject_cast<QLabel*>(field) != nullptr)
            field->setAccessibleDescription(WithoutColon(label->text()));
        else
            field->setAccessibleName(WithoutColon(label->text()));
    }
    const auto name = [this](ControlId id, const QString& text) {
        if (QWidget* control = FindControl(&m_window, id))
            control->setAccessibleName(text);
    };
    name(kColumList, Localized("BROWSER_HEADING", "This computer"));
    name(dbControlID1, Localized("FRAME_HEADING", "On the frame"));
    name(myHIViewID, Localized("EDIT_HEADING", "Picture"));
    name(myHIRectID, Localized("RECT_NAME", "Part that the frame shows"));
    name(myHIPreviewID, Localized("PREVIEW_HINT", "Preview"));
    name(kDownLoadProcessID, Localized("PROGRESS_NAME", "Progress"));
}

void ControlPanel::Post(std::function<void()> call) {
    m_calls.Post(std::move(call));
}

// What is said of the work is the last word on everything.
ControlPanel::Said& ControlPanel::SaidOf(NoteOf subject) {
    if (subject == NoteOf::Work)
        return m_said;
    std::optional<Said>& said = subject == NoteOf::Picture ? m_ofPicture : m_ofMoment;
    if (!said)
        said = m_said;
    return *said;
}

void ControlPanel::SetNotes(const Phrase& note) {
    if (IsOfTask())
        return Say(&note, {});
    Log("note: " + WithoutNames(note));
    Post([this, subject = m_subject, note] {
        if (subject == NoteOf::Work)
            ForgetNotes(NoteOf::Work);
        SaidOf(subject) = {note, {}};
        if (subject == NoteOf::Moment)
            m_moment.start(kNoteStays);
        ShowNotes();
    });
}

void ControlPanel::SetNoteDetail(const Phrase& detail) {
    if (IsOfTask())
        return Say(nullptr, detail);
    if (!detail.empty())
        Log("note: " + WithoutNames(detail));
    Post([this, subject = m_subject, detail] {
        SaidOf(subject).detail = detail;
        ShowNotes();
    });
}

// A task says more than can be shown, of 20,000 files that are no pictures for example: what was not yet
// shown gives way, and the log is told once of what comes again and again.
void ControlPanel::Say(const Phrase* note, const Phrase& detail) {
    const std::string logged = WithoutNames(note != nullptr ? *note : detail);
    const std::lock_guard lock(m_mutex);
    if (!logged.empty() && std::exchange(note != nullptr ? m_logged : m_loggedDetail, logged) != logged)
        Log("note: " + logged);
    if (note != nullptr)
        m_coming.note = *note;
    m_coming.detail = detail;
    if (!std::exchange(m_coming.isTold, true))
        Post([this] { TakeComing(); });
}

void ControlPanel::TakeComing() {
    Coming coming;
    {
        const std::lock_guard lock(m_mutex);
        coming = std::exchange(m_coming, {});
    }
    if (coming.note) {
        m_ofPicture.reset();
        m_ofMoment.reset();
        m_said.note = *std::move(coming.note);
    }
    m_said.detail = std::move(coming.detail);
    ShowNotes();
}

void ControlPanel::ForgetNotes(NoteOf subject) {
    m_ofPicture.reset();
    if (subject == NoteOf::Work) {
        m_ofMoment.reset();
        const std::lock_guard lock(m_mutex);
        m_logged = m_loggedDetail = {};
    }
    ShowNotes();
}

void ControlPanel::ShowNotes() {
    const Said& said = m_ofMoment ? *m_ofMoment : m_ofPicture ? *m_ofPicture : m_said;
    if (auto* label = FindControlAs<QLabel>(&m_window, kNotesID)) {
        label->setText(QString::fromStdString(text::FitForControl(text::Localized(said.note))));
        label->setAccessibleName(label->text());
    }
    if (auto* detail = m_window.findChild<DetailLabel*>(QLatin1String(kNoteDetail)))
        detail->SetDetail(Localized(said.detail));
    m_spoken->Say(Localized(Joined(said.note, kColon, said.detail)));
    emit NoteShown();
}

QString ControlPanel::Note() const {
    const auto* label = FindControlAs<QLabel>(&m_window, kNotesID);
    return label != nullptr ? label->text() : QString();
}

void ControlPanel::SetDownLoadPrcess(int percent) {
    if (m_percent.exchange(percent) == percent && percent != 0)
        return;  // as is said of every file
    Post([this, percent] {
        if (auto* bar = FindControlAs<TransferBar>(&m_window, kDownLoadProcessID))
            bar->ShowPercent(percent);
    });
}

// A batch can be faster than the window: what was not yet shown gives way.
void ControlPanel::SetProgress(const store::Progress& progress) {
    const std::lock_guard lock(m_mutex);
    if (std::exchange(m_progress, progress))
        return;
    Post([this] {
        std::optional<store::Progress> last;
        {
            const std::lock_guard taking(m_mutex);
            last = std::exchange(m_progress, std::nullopt);
        }
        if (auto* bar = FindControlAs<TransferBar>(&m_window, kDownLoadProcessID); bar != nullptr && last)
            bar->ShowProgress(*last);
    });
}

void ControlPanel::UpdateInfo() {
    const store::StoreState& store = store::Store();
    const int selected = store.gmyTotalePictureNum == 0 ? 0 : store.gmyCurrentSelectItem;
    // Each picture gets its share of such a frame, and the next one's is about the last one's.
    const int quality = store.G_TotalPicNum != 0 ? picture::Pictures().G_CurQuanlity : 0;
    // A frame that was not read to its end is none yet.
    const bool known = store.geometry.flashSize > 0;
    Post([this, total = known ? QString::fromStdString(store::SpaceText()) : kNoNumber, selected,
          room = store::RoomForMore(), quality] {
        m_room = room;
        m_quality = quality;
        ShowRoom();
        SetPicNumInfo(total, false);
        SetPicNumInfo(QStringLiteral("%1").arg(selected, 3, 10, QLatin1Char('0')), true);
    });
}

void ControlPanel::ClearInfo() {
    Post([this] {
        m_room.reset();
        ShowRoom();
        SetPicNumInfo(kNoNumber, false);
        SetPicNumInfo(QStringLiteral("000"), true);
    });
}

void ControlPanel::ShowRoom() {
    auto* label = m_window.findChild<DetailLabel*>(QStringLiteral("roomLabel"));
    if (label == nullptr)
        return;
    QString text;
    if (m_room)
        text = Localized(About(Phrase("ROOM_FOR", "Room for more"), *m_room));
    if (m_room && m_quality > 0)
        text += QStringLiteral(" (%1)").arg(Localized(Phrase("ROOM_QUALITY", "quality {}", m_quality)));
    label->SetDetail(text);
}

void ControlPanel::SetPicNumInfo(const QString& text, bool isCurrent) {
    if (auto* field = FindControlAs<QLabel>(&m_window, isCurrent ? kCurPic : kTotalPic)) {
        field->setText(text);
        field->setAccessibleName(text);
    }
}

void ControlPanel::SetControlPanlEnable(bool enable) {
    Post([this, enable] { Enable(enable); });
}

void ControlPanel::Enable(bool enable) {
    // A control that is disabled loses the focus, and is to have it back.
    if (m_enabled && !enable)
        m_focus = m_window.focusWidget();
    m_enabled = enable;
    for (const ControlId id : kPanelGroup) {
        if (QWidget* control = FindControl(&m_window, id))
            control->setEnabled(enable);
    }
    if (enable && m_focus != nullptr)
        std::exchange(m_focus, nullptr)->setFocus();
}

void ControlPanel::InvalidateMyWindow() {
    Post([this] { emit RefreshPosted(); });
}

void ControlPanel::ShowPictureList(int count, int selected) {
    Post([this, list = TakeShownList(count), selected] { list.ShowIn(m_window, selected); });
}

void ControlPanel::ShowPictureList() {
    const store::StoreState& store = store::Store();
    TakeShownList(store.gmyTotalePictureNum).ShowIn(m_window, store.gmyCurrentSelectItem);
}

void ControlPanel::RedrawPictures() {
    Post([this] { emit RedrawPosted(); });
}

}  // namespace lumato::app
