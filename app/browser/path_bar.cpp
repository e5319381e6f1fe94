#include "app/browser/path_bar.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QDir>
#include <QKeyEvent>
#include <QMenu>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

#include "app/browser/folder_reader.h"
#include "app/parts/file_urls.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

constexpr int kLeastLetters = 14;
constexpr int kMostLetters = 22;  // of one step
constexpr std::chrono::seconds kPatientTime{1};

QToolButton* StepButton(QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    return button;
}

// The folders that a path which is being typed may mean.
QStringList FoldersIn(const Path& folder) {
    QStringList found;
    for (const FolderEntry& entry : FSGetDirectoryItems(folder, false)) {
        if (entry.isFolder)
            found.append(FromPath(entry.path));
    }
    return found;
}

}  // namespace

PathBar::PathBar(QWidget* parent)
    : QWidget(parent),
      m_steps(new QWidget(this)),
      m_stepsLayout(new QHBoxLayout(m_steps)),
      m_more(StepButton(m_steps)),
      m_moreMenu(new QMenu(m_more)),
      m_line(new QLineEdit(this)),
      m_message(new QLabel(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    for (QWidget* part : {m_steps, static_cast<QWidget*>(m_line), static_cast<QWidget*>(m_message)})
        layout->addWidget(part);
    m_stepsLayout->setContentsMargins(0, 0, 0, 0);
    m_stepsLayout->setSpacing(0);
    m_stepsLayout->addWidget(m_more);
    m_stepsLayout->addStretch(1);
    m_more->setText(QStringLiteral("…"));
    connect(m_more, &QToolButton::clicked, this,
            [this] { m_moreMenu->popup(m_more->mapToGlobal(m_more->rect().bottomLeft())); });
    m_steps->setCursor(Qt::IBeamCursor);
    m_message->setWordWrap(true);
    m_message->setTextFormat(Qt::PlainText);
    m_line->hide();
    m_message->hide();

    auto* completer = new QCompleter(&m_found, this);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    m_line->setCompleter(completer);
    m_line->installEventFilter(this);
    connect(m_line, &QLineEdit::textEdited, this, &PathBar::Complete);
    connect(m_line, &QLineEdit::returnPressed, this, &PathBar::TakeText);
}

void PathBar::SetWay(const QStringList& names, const Path& folder) {
    m_folder = folder;
    EndEditing();
    if (m_names == names)
        return;
    m_names = names;
    for (QToolButton* button : m_buttons)
        button->deleteLater();
    m_buttons.clear();
    for (int step = 0; step < names.size(); ++step) {
        QToolButton* button = StepButton(m_steps);
        button->setAccessibleName(names[step]);
        button->setToolTip(names[step]);
        button->setCursor(Qt::ArrowCursor);
        connect(button, &QToolButton::clicked, this, [this, step] { emit StepChosen(step); });
        m_stepsLayout->insertWidget(m_stepsLayout->count() - 1, button);
        setTabOrder(m_buttons.empty() ? m_more : m_buttons.back(), button);  // as they stand
        m_buttons.push_back(button);
    }
    LayOut();
}

// Gives a step its name, as much of it as fits; returns how wide it is.
int PathBar::NameStep(int step, int most) {
    QToolButton* button = m_buttons[static_cast<std::size_t>(step)];
    const auto show = [&](const QString& name) {
        button->setText((step > 0 ? QStringLiteral("› ") : QString()) + QString(name).replace(u'&', "&&"));
        return button->sizeHint().width();
    };
    const int letters = fontMetrics().averageCharWidth() * kMostLetters;
    const int beside = show({});
    return show(fontMetrics().elidedText(m_names[step], Qt::ElideMiddle, std::min(letters, most - beside)));
}

// The last steps, as many as there is room for; the others are in the menu.
void PathBar::LayOut() {
    const int last = static_cast<int>(m_buttons.size()) - 1;
    int room = width() - (last > 0 ? m_more->sizeHint().width() : 0);
    m_moreMenu->clear();
    for (int step = last; step >= 0; --step) {
        room -= NameStep(step, step == last ? room : width());
        const bool shown = room >= 0 || step == last;
        m_buttons[static_cast<std::size_t>(step)]->setVisible(shown);
        if (!shown)
            m_moreMenu->addAction(QString(m_names[step]).replace(u'&', "&&"), this,
                                  [this, step] { emit StepChosen(step); });
    }
    m_more->setVisible(!m_moreMenu->isEmpty());
}

void PathBar::ShowTexts() {
    m_line->setAccessibleName(Localized("PATH_NAME", "Path"));
    m_more->setAccessibleName(Localized("PATH_ABOVE", "Folders above"));
    m_more->setToolTip(m_more->accessibleName());
    m_steps->setToolTip(Localized("GO_TO_FOLDER", "Go to Folder…"));
}

QSize PathBar::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * kLeastLetters, QWidget::minimumSizeHint().height()};
}

void PathBar::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    LayOut();
}

void PathBar::mousePressEvent(QMouseEvent* event) {
    if (m_steps->isVisible() && m_steps->geometry().contains(event->pos()))
        Edit();
}

void PathBar::Edit(const QString& text) {
    m_steps->hide();
    m_line->show();
    m_line->setText(text.isEmpty() ? FromPath(m_folder) : text);
    m_line->setFocus(Qt::OtherFocusReason);
    if (text.isEmpty())
        m_line->selectAll();
    else
        Complete(text);
}

void PathBar::EndEditing() {
    m_looks.Clear();
    m_completions.Clear();
    m_message->hide();
    m_line->hide();
    m_steps->show();
}

bool PathBar::eventFilter(QObject* watched, QEvent* event) {
    const auto isEscape = [event] { return static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape; };
    // Before it is a menu's key.
    if (event->type() == QEvent::ShortcutOverride && isEscape())
        event->accept();
    if (event->type() == QEvent::KeyPress && isEscape()) {
        EndEditing();
        emit Left();
        return true;
    }
    if (event->type() == QEvent::FocusOut &&
        static_cast<QFocusEvent*>(event)->reason() != Qt::PopupFocusReason &&
        static_cast<QFocusEvent*>(event)->reason() != Qt::ActiveWindowFocusReason)
        EndEditing();
    return QWidget::eventFilter(watched, event);
}

// As it is typed, or as another program tells it; from the open folder where it does not say from where.
Path PathBar::PathIn(const QString& text) const {
    if (text.startsWith(QStringLiteral("file:/"))) {
        const std::vector<Path> files = PathsOf({QUrl::fromEncoded(text.toUtf8())});
        return files.empty() ? Path() : files.front();
    }
    if (text == QStringLiteral("~") || text.startsWith(QStringLiteral("~/")))
        return PathOf(QDir::homePath() + text.mid(1));
    if (text == FromPath(m_folder))
        return m_folder;  // whatever the line could not show of it
    return (m_folder / PathOf(text)).lexically_normal();
}

void PathBar::TakeText() {
    const QString text = m_line->text().trimmed();
    Path folder = PathIn(text);
    if (folder.has_relative_path() && !folder.has_filename())
        folder = folder.parent_path();  // "/home/" is "/home"
    if (folder.empty() || folder.is_relative()) {
        TakeAnswer(text, folder, false);
        return;
    }
    Say({});
    m_lookedUp = text;
    m_line->completer()->popup()->hide();
    QTimer::singleShot(kPatientTime, m_message, [this, text] {
        if (m_line->isVisible() && m_line->text().trimmed() == text && !m_message->isVisible())
            Say(Localized("BROWSER_READING", "Reading…"));
    });
    m_looks.Clear();
    m_looks.Start([this, text, folder]() -> LooseThreads::Outcome {
        std::error_code ignored;
        const bool isFolder = std::filesystem::is_directory(folder, ignored);
        return [this, text, folder, isFolder] { TakeAnswer(text, folder, isFolder); };
    });
}

void PathBar::TakeAnswer(const QString& text, const Path& folder, bool isFolder) {
    if (!m_line->isVisible() || m_line->text().trimmed() != text)
        return;  // something else has been typed
    if (!isFolder) {
        Say(LocalizedWith("BROWSER_NO_FOLDER", "There is no such folder: {}", text));
        return;
    }
    EndEditing();
    emit FolderNamed(folder);
    emit Left();
}

void PathBar::Say(const QString& words) {
    m_message->setText(words);
    m_message->setVisible(!words.isEmpty());
    m_line->setAccessibleDescription(words);
    if (words.isEmpty())
        return;
    QAccessibleEvent alert(m_message, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void PathBar::Complete(const QString& text) {
    Say({});
    m_lookedUp.clear();
    const Path typed = PathIn(text);
    const Path folder = typed.has_filename() ? typed.parent_path() : typed;
    if (folder.empty() || folder.is_relative())
        return;
    m_completions.Clear();
    m_completions.Start([this, folder]() -> LooseThreads::Outcome {
        return [this, found = FoldersIn(folder)] {
            if (m_found.stringList() == found)
                return;
            m_found.setStringList(found);
            // Not over what is said of a path that has been entered meanwhile.
            if (m_line->hasFocus() && m_lookedUp.isEmpty())
                m_line->completer()->complete();
        };
    });
}

}  // namespace lumato::app
