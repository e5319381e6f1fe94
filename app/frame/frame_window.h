// What the virtual frame's screen shows: a slide show of the pictures in its flash, decoded from the flash
// itself. It grows with the window.
//
// Main thread only; decoding runs beside it.
#pragma once

#include <QDialog>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <vector>

#include "app/parts/main_thread_calls.h"
#include "app/parts/reader_thread.h"
#include "app/parts/screen_view.h"

namespace lumato::app {

class FrameWindow : public QDialog {
    Q_OBJECT

  public:
    using FlashReader = std::function<std::vector<std::uint8_t>()>;

    // `readFlash` gives the flash as it stands, empty without a frame.
    FrameWindow(FlashReader readFlash, QWidget* parent);
    ~FrameWindow() override;

    void ShowTexts();
    // Looks at the flash again; the frame may be another one. What is being written cannot be looked at.
    void SetWriting(bool writing);

    [[nodiscard]] QImage Shown() const { return m_screen; }

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void ShowPicture(std::size_t position);
    void TakeScreen(int request, const QImage& screen, std::size_t position, std::size_t count);
    void SetPlaying(bool playing);
    void ShowCaption();
    [[nodiscard]] QString EmptyText() const;

    FlashReader m_readFlash;
    MainThreadCalls m_calls;
    ReaderThread m_decoder;
    QTimer m_slides;
    ScreenView* m_picture;
    QLabel* m_caption;
    QPushButton* m_previous;
    QPushButton* m_play;
    QPushButton* m_next;
    bool m_writing = false;
    bool m_sized = false;  // it has been shown
    QImage m_screen;
    std::size_t m_position = 1;
    std::size_t m_count = 0;
    int m_request = 0;
};

}  // namespace lumato::app
