#include "app/shell/no_frame_notice.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

#include "app/parts/mnemonics.h"

namespace lumato::app {

NoFrameNotice::NoFrameNotice(QWidget* view, QAction* newFrame, QAction* attachFrame)
    : QWidget(view), m_text(new QLabel(this)) {
    m_text->setWordWrap(true);
    m_text->setAlignment(Qt::AlignHCenter | Qt::AlignBottom);
    QPalette onDark = m_text->palette();  // the view is dark whatever the desktop is
    onDark.setColor(QPalette::WindowText, QColor(235, 235, 235));
    m_text->setPalette(onDark);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    QPushButton* first = MakeButton(newFrame);
    setFocusProxy(first);
    buttons->addWidget(first);
    buttons->addWidget(MakeButton(attachFrame));
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_text, 1);
    layout->addLayout(buttons);

    auto* place = new QVBoxLayout(view);
    place->addStretch(2);
    place->addWidget(this, 1);
    setCursor(Qt::ArrowCursor);
}

QPushButton* NoFrameNotice::MakeButton(QAction* action) {
    auto* button = new QPushButton(this);
    button->setAutoDefault(false);
    const auto follow = [button, action] {
        button->setText(WithLetterOf(WithoutLetter(action->text()), button->text()));
        button->setMinimumWidth(button->sizeHint().width() + button->fontMetrics().averageCharWidth() * 3);
        button->setEnabled(action->isEnabled());
    };
    connect(action, &QAction::changed, button, follow);
    connect(button, &QPushButton::clicked, action, &QAction::trigger);
    follow();
    return button;
}

void NoFrameNotice::SetText(const QString& text) {
    m_text->setText(text);
}

}  // namespace lumato::app
