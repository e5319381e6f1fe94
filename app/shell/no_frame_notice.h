// What stands over the edit view while there is no frame: what to do, the two ways to a virtual one, and the
// permission for a real one that must not be used yet.
//
// Main thread only.
#pragma once

#include <QAction>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

namespace lumato::app {

class NoFrameNotice : public QWidget {
    Q_OBJECT

  public:
    // In the middle of `view`. The buttons do what the actions do, under their names.
    NoFrameNotice(QWidget* view, QAction* newFrame, QAction* attachFrame, QAction* permit);

    void SetTexts(const QString& heading, const QString& text);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QLabel* AddLabel(double size);
    QPushButton* MakeButton(QAction* action, const char* symbol);

    QVBoxLayout* m_column;
    QLabel* m_picture = nullptr;
    double m_ratio = 0;  // of the screen that it was drawn for
    QLabel* m_heading;
    QLabel* m_text;
};

}  // namespace lumato::app
