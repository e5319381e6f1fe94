// What stands over the edit view while there is no frame: what to do, and the two ways to a virtual one.
//
// Main thread only.
#pragma once

#include <QAction>
#include <QLabel>
#include <QPushButton>
#include <QWidget>

namespace lumato::app {

class NoFrameNotice : public QWidget {
    Q_OBJECT

  public:
    // Covers the lower part of `view`. The buttons do what the actions do, under their names.
    NoFrameNotice(QWidget* view, QAction* newFrame, QAction* attachFrame);

    void SetText(const QString& text);

  private:
    QPushButton* MakeButton(QAction* action, const char* name);

    QLabel* m_text;
};

}  // namespace lumato::app
