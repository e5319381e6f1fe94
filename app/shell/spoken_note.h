// Has a screen reader say the note: it speaks what a notification says that comes into view.
//
// Main thread only.
#pragma once

#include <QTimer>
#include <QWidget>

namespace lumato::app {

class SpokenNote : public QWidget {
    Q_OBJECT

  public:
    // In a corner of the window, where it cannot be seen.
    explicit SpokenNote(QWidget* window);

    // Of notes that follow each other at once, such as those that count, the last one is said.
    void Say(const QString& text);

  private:
    void Speak();

    QString m_text;
    QTimer m_pause;
};

}  // namespace lumato::app
