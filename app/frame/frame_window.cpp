#include "app/frame/frame_window.h"

#include <QHBoxLayout>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"
#include "store/store_state.h"
#include "vframe/display.h"

namespace lumato::app {
namespace {

constexpr int kSlideMilliseconds = 3000;

struct Slide {
    QImage screen;
    std::size_t position = 0;
    std::size_t count = 0;
};

QImage ScreenImage(const vframe::Screen& screen) {
    const QImage view(screen.pixels.data(), screen.width, screen.height, screen.width * 3,
                      QImage::Format_RGB888);
    return view.convertToFormat(QImage::Format_RGB32);
}

Slide SlideOf(const std::vector<std::uint8_t>& flash, std::size_t position) {
    Slide slide;
    if (flash.empty())
        return slide;
    const Result<vframe::Display> display = vframe::Display::PowerOn(flash);
    if (!display || display->Count() == 0)
        return slide;
    slide.count = display->Count();
    slide.position = position < 1 ? slide.count : position > slide.count ? 1 : position;
    if (const Result<vframe::Screen> screen = display->Show(slide.position))
        slide.screen = ScreenImage(*screen);
    return slide;
}

}  // namespace

FrameWindow::FrameWindow(FlashReader readFlash, QWidget* parent)
    : QDialog(parent),
      m_readFlash(std::move(readFlash)),
      m_picture(new ScreenView(this)),
      m_caption(new QLabel(this)),
      m_previous(new QPushButton(this)),
      m_play(new QPushButton(this)),
      m_next(new QPushButton(this)) {
    m_play->setCheckable(true);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_previous);
    buttons->addWidget(m_play);
    buttons->addWidget(m_next);
    buttons->addStretch();
    buttons->addWidget(m_caption);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_picture, 1);
    layout->addLayout(buttons);
    m_slides.setInterval(kSlideMilliseconds);
    connect(m_picture, &ScreenView::Magnified, this, &FrameWindow::ShowCaption);
    connect(&m_slides, &QTimer::timeout, this, [this] { ShowPicture(m_position + 1); });
    connect(m_previous, &QPushButton::clicked, this, [this] { ShowPicture(m_position - 1); });
    connect(m_next, &QPushButton::clicked, this, [this] { ShowPicture(m_position + 1); });
    connect(m_play, &QPushButton::toggled, this, &FrameWindow::SetPlaying);
    ShowTexts();
}

FrameWindow::~FrameWindow() {
    ++m_request;
    m_decoder.Clear();
    m_decoder.Wait();
}

void FrameWindow::ShowTexts() {
    setWindowTitle(Localized("FRAME_SCREEN_TITLE", "The frame's screen"));
    m_previous->setText(Localized("FRAME_SCREEN_PREVIOUS", "Previous"));
    m_play->setText(Localized("FRAME_SCREEN_PLAY", "Slide show"));
    m_next->setText(Localized("FRAME_SCREEN_NEXT", "Next"));
    GiveLetters(*this);
}

void FrameWindow::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    const store::StoreState& store = store::Store();
    m_picture->SetFrameSize(
        QSizeF(static_cast<double>(store.gmyLcdWidth), static_cast<double>(store.gmyLcdHeight)).toSize());
    if (!std::exchange(m_sized, true))
        adjustSize();  // from now on the size is the user's
    m_play->setChecked(true);
    ShowPicture(1);
}

void FrameWindow::hideEvent(QHideEvent* event) {
    QDialog::hideEvent(event);
    m_play->setChecked(false);
}

void FrameWindow::SetPlaying(bool playing) {
    if (playing)
        m_slides.start();
    else
        m_slides.stop();
}

void FrameWindow::SetWriting(bool writing) {
    m_writing = writing;
    ShowPicture(m_position);
}

QString FrameWindow::EmptyText() const {
    return m_writing ? Localized("FRAME_SCREEN_WRITING", "The frame is being written")
                     : Localized("FRAME_SCREEN_EMPTY", "There is no picture on the frame");
}

void FrameWindow::ShowPicture(std::size_t position) {
    if (!isVisible())
        return;
    const int request = ++m_request;
    m_decoder.Clear();
    if (m_writing) {
        TakeScreen(request, QImage(), m_position, 0);
        return;
    }
    m_decoder.Start([this, request, position, flash = m_readFlash()] {
        const Slide slide = SlideOf(flash, position);
        m_calls.Post(
            [this, request, slide] { TakeScreen(request, slide.screen, slide.position, slide.count); });
    });
}

void FrameWindow::TakeScreen(int request, const QImage& screen, std::size_t position, std::size_t count) {
    if (request != m_request)
        return;
    m_screen = screen;
    m_position = std::max<std::size_t>(position, 1);
    m_count = count;
    m_picture->Show(screen, EmptyText());
    m_previous->setEnabled(count > 1);
    m_next->setEnabled(count > 1);
}

void FrameWindow::ShowCaption() {
    QString caption;
    if (m_count > 0)
        caption =
            QStringLiteral("%1 / %2  ·  %3 %").arg(m_position).arg(m_count).arg(m_picture->Magnification());
    m_caption->setText(caption);
    m_picture->setAccessibleName(windowTitle());
    m_picture->setAccessibleDescription(m_count > 0 ? caption : EmptyText());
}

}  // namespace lumato::app
