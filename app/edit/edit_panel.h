// The controls under the edit view and what they change: shows the edit controls' values and runs the
// handlers of the user's changes.
//
// A port that is called by whichever thread owns the edit picture; everything else on the main thread.
#pragma once

#include <QAbstractButton>
#include <QCheckBox>
#include <QObject>
#include <QTimer>
#include <array>
#include <functional>

#include "app/edit/edit_view.h"
#include "app/edit/little_arrows.h"
#include "app/edit/rect_view.h"
#include "app/parts/detail_label.h"
#include "app/parts/main_thread_calls.h"
#include "picture/picture_state.h"

namespace lumato::app {

class EditPanel : public QObject, public picture::EditPort {
    Q_OBJECT

  public:
    // Takes the controls below `window`. Requires: all of them are there.
    EditPanel(QWidget* window, std::function<void()> selectNextPicture);

    void ControlChanged(picture::EditControl control) override;
    void RedrawEditView() override;
    void ScaleRefused(picture::ScaleLimit limit, int value) override;
    void SelectNextPicture() override;

    // The actions of the menus.
    void TurnBy(int degrees);
    void ScaleBy(int percent);
    void SetFitted(bool fitted);
    void SetFit(picture::Fit fit);
    void ResetPose();

    void ShowTexts();
    // The buttons rest with the check box.
    bool eventFilter(QObject* watched, QEvent* event) override;

    // Says so, should it take longer than a moment.
    void ShowLoading(bool loading);

    // Shows everything as it now is. Requires: the main thread owns the edit picture.
    void ShowAll();

  signals:
    // The pose, the rectangle or the picture itself may have changed; in a gesture with every move.
    void PoseChanged();

  private:
    struct Shown {
        int value = 0, minimum = 0, maximum = 0;
    };
    // The picture may be changed.
    [[nodiscard]] bool MayChange() const;
    void ScaleByWheel(int notches, picture::CanvasPoint at);
    void TakeRect();
    // What to know of the pose before the picture is added, or why the last change was not taken.
    [[nodiscard]] QString Remark() const;

    // At once on the main thread, otherwise there later.
    void Call(std::function<void()> call);
    [[nodiscard]] static Shown ValuesOf(picture::EditControl control);
    void Show(picture::EditControl control, Shown values);
    void Redraw();
    void ShowState();

    MainThreadCalls m_calls;
    std::array<LittleArrows*, 4> m_arrows{};  // in the order of EditControl
    QCheckBox* m_suitableSize;
    EditView* m_editView;
    RectView* m_rectView;
    DetailLabel* m_nameLabel;
    DetailLabel* m_remarkLabel;
    QAbstractButton *m_turnLeft, *m_turnRight, *m_fill, *m_whole, *m_reset;
    Shown m_shownFit;
    QString m_refusal;
    QString m_name;
    QTimer m_loading;  // runs until its being so is worth a word
    std::function<void()> m_selectNextPicture;
};

}  // namespace lumato::app
