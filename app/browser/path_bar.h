// Where the browser is: the way to the open folder, each step of which can be clicked, or the folder's path
// in a line that can be typed into.
//
// Main thread only; what is typed is looked up beside it.
#pragma once

#include <QCompleter>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QStringListModel>
#include <QToolButton>
#include <QWidget>
#include <vector>

#include "app/parts/loose_threads.h"
#include "base/file.h"

namespace lumato::app {

class PathBar : public QWidget {
    Q_OBJECT

  public:
    explicit PathBar(QWidget* parent = nullptr);

    // The names on the way, and the folder that it leads to; an empty one for the volumes.
    void SetWay(const QStringList& names, const Path& folder);
    // Turns to the line, with the folder's path or with this text.
    void Edit(const QString& text = {});
    void ShowTexts();

    [[nodiscard]] QSize minimumSizeHint() const override;

  signals:
    // The user wants to go back to this step of the way.
    void StepChosen(int step);
    // The user has named a folder, and it is there.
    void FolderNamed(const lumato::Path& folder);
    // The user is done with the line.
    void Left();

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    int NameStep(int step, int most);
    void LayOut();
    void TakeText();
    void TakeAnswer(const QString& text, const Path& folder, bool isFolder);
    void Complete(const QString& text);
    void EndEditing();
    void Say(const QString& words);
    [[nodiscard]] Path PathIn(const QString& text) const;

    QStringList m_names;
    Path m_folder;
    QWidget* m_steps;
    QHBoxLayout* m_stepsLayout;
    QToolButton* m_more;  // leads to the steps that there is no room for
    QMenu* m_moreMenu;
    std::vector<QToolButton*> m_buttons;
    QLineEdit* m_line;
    QStringListModel m_found;
    QString m_lookedUp;  // what was entered; empty as soon as something else is typed
    QLabel* m_message;
    LooseThreads m_looks{2};
    LooseThreads m_completions{1};
};

}  // namespace lumato::app
