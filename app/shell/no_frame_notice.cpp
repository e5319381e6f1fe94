#include "app/shell/no_frame_notice.h"

#include <QHBoxLayout>
#include <utility>

#include "app/parts/mnemonics.h"
#include "app/parts/symbols.h"

namespace lumato::app {
namespace {

const QColor kOnDark(235, 235, 235);
const QColor kQuietOnDark(150, 150, 150);
constexpr double kHeadingSize = 1.5;

}  // namespace

NoFrameNotice::NoFrameNotice(QWidget* view, QAction* newFrame, QAction* attachFrame, QAction* permit)
    : QWidget(view), m_column(new QVBoxLayout(this)) {
    const int line = fontMetrics().height();
    m_column->setSpacing(line * 2 / 3);
    m_column->addStretch(2);
    m_picture = AddLabel(1);
    m_picture->setMinimumHeight(line * 5);
    m_heading = AddLabel(kHeadingSize);
    m_text = AddLabel(1);
    m_column->addSpacing(line / 2);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(line / 2);
    buttons->addStretch();
    QPushButton* first = MakeButton(newFrame, "new-frame");
    setFocusProxy(first);
    buttons->addWidget(first);
    buttons->addWidget(MakeButton(attachFrame, "attach-frame"));
    buttons->addWidget(MakeButton(permit, "frame"));
    buttons->addStretch();
    m_column->addLayout(buttons);
    m_column->addStretch(3);

    auto* place = new QVBoxLayout(view);
    place->addWidget(this);
    setCursor(Qt::ArrowCursor);
}

QLabel* NoFrameNotice::AddLabel(double size) {
    auto* label = new QLabel(this);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignCenter);
    QFont sized = label->font();
    sized.setPointSizeF(sized.pointSizeF() * size);
    label->setFont(sized);
    QPalette onDark = label->palette();  // the view is dark whatever the desktop is
    onDark.setColor(QPalette::WindowText, kOnDark);
    label->setPalette(onDark);
    m_column->addWidget(label);
    return label;
}

QPushButton* NoFrameNotice::MakeButton(QAction* action, const char* symbol) {
    auto* button = new QPushButton(this);
    button->setObjectName(QLatin1String(symbol));
    button->setAutoDefault(false);
    button->setIcon(Symbol(symbol));
    const auto follow = [button, action] {
        button->setText(WithLetterOf(WithoutLetter(action->text()), button->text()));
        button->setMinimumWidth(button->sizeHint().width() + button->fontMetrics().averageCharWidth() * 3);
        button->setEnabled(action->isEnabled());
        button->setVisible(action->isVisible());
    };
    connect(action, &QAction::changed, button, follow);
    connect(button, &QPushButton::clicked, action, &QAction::trigger);
    follow();
    return button;
}

// The window may have come to a screen of another resolution.
void NoFrameNotice::paintEvent(QPaintEvent* event) {
    if (std::exchange(m_ratio, devicePixelRatioF()) != devicePixelRatioF()) {
        const int line = fontMetrics().height();
        m_picture->setPixmap(SymbolPixmap("frame", QSize(line, line) * 5, m_ratio, kQuietOnDark));
    }
    QWidget::paintEvent(event);
}

void NoFrameNotice::SetTexts(const QString& heading, const QString& text) {
    m_picture->setAccessibleName(heading);
    m_heading->setText(heading);
    m_text->setText(text);
}

}  // namespace lumato::app
