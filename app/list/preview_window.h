// What the preview shows at the frame's own size: a pixel of the frame is one, two or three of the screen's.
// A key that is held, or a button, shows the picture as it was before it was encoded.
//
// Main thread only.
#pragma once

#include <QDialog>
#include <QPushButton>
#include <QScrollArea>
#include <array>

#include "app/list/preview.h"
#include "app/parts/detail_label.h"
#include "app/parts/screen_view.h"

namespace lumato::app {

class PreviewWindow : public QDialog {
    Q_OBJECT

  public:
    // Follows the preview, which it does not outlive.
    PreviewWindow(const Preview& preview, QWidget* parent);

    void ShowTexts();

    [[nodiscard]] const ScreenView& View() const { return *m_view; }

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    void Take();
    void ShowImage();
    void Magnify(int times);
    void Grow();
    void Compare(bool unencoded);

    const Preview& m_preview;
    ScreenView* m_view;
    QScrollArea* m_area;
    std::array<QPushButton*, 3> m_times{};
    QPushButton* m_compare;
    DetailLabel* m_facts;
    bool m_unencoded = false;  // is shown
    bool m_sized = false;      // it has been shown with a picture
};

}  // namespace lumato::app
