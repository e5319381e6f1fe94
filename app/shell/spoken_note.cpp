#include "app/shell/spoken_note.h"

#include <QAccessible>

namespace lumato::app {
namespace {

constexpr std::chrono::milliseconds kPauseBefore(300);

}  // namespace

SpokenNote::SpokenNote(QWidget* window) : QWidget(window) {
    setFixedSize(1, 1);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    m_pause.setSingleShot(true);
    m_pause.setInterval(kPauseBefore);
    connect(&m_pause, &QTimer::timeout, this, &SpokenNote::Speak);
}

void SpokenNote::Say(const QString& text) {
    if (text == m_text)
        return;
    m_text = text;
    m_pause.start();
}

void SpokenNote::Speak() {
    if (m_text.isEmpty() || accessibleName() == m_text)
        return;
    setAccessibleName(m_text);
    QAccessibleEvent shown(this, QAccessible::ObjectShow);
    QAccessible::updateAccessibility(&shown);
}

}  // namespace lumato::app
