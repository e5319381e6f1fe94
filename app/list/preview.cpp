#include "app/list/preview.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyleOptionFocusRect>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/texts.h"
#include "picture/picture_state.h"

namespace lumato::app {
namespace {

QImage Scaled(const QImage& image, QSize room) {
    return image.isNull() || room.isEmpty()
               ? QImage()
               : image.scaled(room, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

}  // namespace

Preview::Preview(QWidget* parent) : QFrame(parent) {
    setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    setFocusPolicy(Qt::StrongFocus);
    // Once for the many changes that make a new pose.
    m_editChanged.setSingleShot(true);
    m_editChanged.setInterval(0);
    connect(&m_editChanged, &QTimer::timeout, this, &Preview::TakeEditPicture);
}

Preview::~Preview() {
    ++m_request;  // what is under way gives up
    m_reader.Clear();
    m_reader.Wait();
}

void Preview::ShowListed(const ListedPicture& picture, bool touched) {
    const bool same = m_listed && m_listed->Key() == picture.Key();
    m_listed = picture;
    if (same && (!touched || !m_showsEdit))
        return;
    m_showsEdit = false;
    // The edit picture as it now is, is no news any more.
    if (auto trial = MainThreadOwns() ? picture::TakeTrial(m_replaces) : std::nullopt)
        Remember(*trial);
    Ask(picture.name, [picture](const auto&) { return ReadStream(picture); });
}

void Preview::ForgetListed() {
    if (!std::exchange(m_listed, std::nullopt) || m_showsEdit)
        return;
    m_subject.reset();
    Clear();
    m_editChanged.start();
}

void Preview::FollowEditPicture(int replaces, const QString& name) {
    m_replaces = replaces;
    m_editName = name;
    m_editChanged.start();
}

// By the time that this is called a worker may own the edit picture: its end brings another call.
void Preview::TakeEditPicture() {
    if (!MainThreadOwns())
        return;
    std::optional<picture::Trial> trial = picture::TakeTrial(m_replaces);
    if (!trial) {
        // None is left, or its rectangle is being placed.
        if (picture::Pictures().gmyCGimage == nullptr && std::exchange(m_showsEdit, false)) {
            m_subject.reset();
            if (m_listed)
                ShowListed(*std::exchange(m_listed, std::nullopt), true);
            else
                Clear();
        }
        return;
    }
    if (!IsNews(*trial))
        return;
    m_showsEdit = true;
    Remember(*trial);
    Ask(m_editName, [trial = *std::move(trial)](const auto& isWanted) { return TryOut(trial, isWanted); });
}

// Keeps neither pixels nor levels alive.
void Preview::Remember(const picture::Trial& trial) {
    m_subject = Subject{trial.pixels, trial};
    m_subject->trial.pixels.reset();
    m_subject->trial.image.levels.reset();
}

// A pose that stays brings nothing back over a picture of the list, whatever else is new.
bool Preview::IsNews(const picture::Trial& trial) const {
    if (!m_subject)
        return true;
    picture::Trial last = m_subject->trial;
    last.pixels = m_subject->pixels.lock();
    return !trial.ShowsTheSame(last) || (m_showsEdit && !(trial.plan == last.plan));
}

void Preview::Ask(const QString& name, std::function<StreamImage(const picture::IsWanted&)> make) {
    const int request = ++m_request;
    m_reader.Clear();
    m_reader.Start([this, request, name, make = std::move(make), room = Room()] {
        const auto isWanted = [&] { return request == m_request; };
        const StreamImage shown = make(isWanted);
        if (!isWanted())
            return;
        const QImage scaled = Scaled(shown.image, room);
        m_calls.Post([this, request, shown, scaled, name] {
            if (request == m_request)
                Take(shown, scaled, name);
        });
    });
}

void Preview::Take(const StreamImage& shown, const QImage& scaled, const QString& name) {
    m_shown = shown;
    m_scaled = scaled;
    m_name = name;
    const QString facts = FactsOf(m_shown);
    setAccessibleDescription(facts.isEmpty() ? name : name + QStringLiteral(", ") + facts);
    update();
    emit Changed();
}

void Preview::Clear() {
    ++m_request;
    m_reader.Clear();
    m_listed.reset();
    m_subject.reset();
    m_showsEdit = false;
    Take({}, {}, {});
}

void Preview::SetHint(const QString& hint) {
    m_hint = hint;
    update();
}

QSize Preview::sizeHint() const {
    return {fontMetrics().averageCharWidth() * 40, fontMetrics().height() * 10};
}

QSize Preview::Room() const {
    return (QSizeF(contentsRect().size()) * devicePixelRatioF()).toSize();
}

void Preview::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space || event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        emit Opened();
    else
        QFrame::keyPressEvent(event);
}

void Preview::mouseDoubleClickEvent(QMouseEvent*) {
    emit Opened();
}

void Preview::focusInEvent(QFocusEvent* event) {
    QFrame::focusInEvent(event);
    update();
}

void Preview::focusOutEvent(QFocusEvent* event) {
    QFrame::focusOutEvent(event);
    update();
}

void Preview::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(contentsRect(), palette().color(QPalette::Base));
    if (!m_shown.image.isNull()) {
        MyPreviewEventHandler(painter);
    } else {
        const int margin = fontMetrics().height() / 2;
        painter.setPen(QuietColor(palette()));
        painter.drawText(contentsRect().adjusted(margin, margin, -margin, -margin),
                         Qt::AlignCenter | Qt::TextWordWrap,
                         m_shown.whyNot.isEmpty() ? m_hint : m_shown.whyNot);
    }
    if (hasFocus()) {
        QStyleOptionFocusRect option;
        option.initFrom(this);
        option.rect = contentsRect().adjusted(1, 1, -1, -1);
        option.backgroundColor = palette().color(QPalette::Base);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
    }
    painter.end();
    QFrame::paintEvent(event);
}

// As large as fits, at the LCD's aspect ratio, which the picture has.
void Preview::MyPreviewEventHandler(QPainter& painter) {
    const double ratio = devicePixelRatioF();
    const QSize room = Room();
    if (m_scaled.size() != m_shown.image.size().scaled(room, Qt::KeepAspectRatio))
        m_scaled = Scaled(m_shown.image, room);
    const QPoint corner((room.width() - m_scaled.width()) / 2, (room.height() - m_scaled.height()) / 2);
    painter.drawImage(
        QRectF(contentsRect().topLeft() + QPointF(corner) / ratio, QSizeF(m_scaled.size()) / ratio),
        m_scaled);
}

}  // namespace lumato::app
