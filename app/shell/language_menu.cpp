#include "app/shell/language_menu.h"

#include <utility>

namespace lumato::app {

LanguageMenu::LanguageMenu(QMenu* menu, LanguageFile file, std::function<void()> changed,
                           std::function<void(const Error&)> failed)
    : QObject(menu),
      m_file(std::move(file)),
      m_changed(std::move(changed)),
      m_failed(std::move(failed)),
      m_group(new QActionGroup(this)) {
    const QStringList languages = m_file.Languages();
    for (const QString& language : languages) {
        QAction* action = menu->addAction(LanguageFile::NameOf(language));
        action->setCheckable(true);
        action->setData(language);
        m_group->addAction(action);
        connect(action, &QAction::triggered, this, [this, language] { Choose(language); });
    }
    menu->setEnabled(!languages.isEmpty());
    ShowChosen();
}

void LanguageMenu::Choose(const QString& language) {
    const Result<void> chosen = m_file.Choose(language);
    ShowChosen();
    if (chosen)
        m_changed();
    else
        m_failed(chosen.error());
}

void LanguageMenu::ShowChosen() {
    const QString chosen = m_file.Chosen();
    const QList<QAction*> actions = m_group->actions();
    for (QAction* action : actions)
        action->setChecked(action->data().toString() == chosen);
}

}  // namespace lumato::app
