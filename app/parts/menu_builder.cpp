#include "app/parts/menu_builder.h"

#include <algorithm>
#include <utility>

#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"

namespace lumato::app {

QMenu* MenuBuilder::AddMenu(std::string key, std::string defaultText) {
    QMenu* menu = m_bar.addMenu(QString());
    m_entries.push_back({menu->menuAction(), std::move(key), std::move(defaultText), false});
    return menu;
}

QAction* MenuBuilder::AddAction(QMenu* menu, std::string key, std::string defaultText,
                                const QKeySequence& shortcut, bool needsPanel, std::function<void()> run) {
    QAction* action = menu->addAction(QString());
    action->setShortcut(shortcut);
    QObject::connect(action, &QAction::triggered, action, [run = std::move(run)] { run(); });
    m_entries.push_back({action, std::move(key), std::move(defaultText), needsPanel});
    return action;
}

QAction* MenuBuilder::Action(std::string_view key) const {
    return std::ranges::find(m_entries, key, &Entry::key)->action;
}

QString MenuBuilder::ShowTexts() {
    for (const Entry& entry : m_entries)
        entry.action->setText(Localized(entry.key, entry.defaultText));
    QString ofMenus;
    GiveLettersIn(m_bar, ofMenus);
    return ofMenus;
}

// Each menu has its own.
void MenuBuilder::GiveLettersIn(const QWidget& menu, QString& taken) const {
    const QList<QAction*> actions = menu.actions();
    for (QAction* action : actions) {
        if (action->isSeparator())
            continue;
        const auto entry = std::ranges::find(m_entries, action, &Entry::action);
        const QString english =
            entry != m_entries.end() ? QString::fromStdString(entry->defaultText) : action->data().toString();
        action->setText(WithLetter(WithoutLetter(action->text()), english, taken));
        if (QString below; action->menu() != nullptr)
            GiveLettersIn(*action->menu(), below);
    }
}

void MenuBuilder::EnablePanelActions(bool enable) {
    for (const Entry& entry : m_entries) {
        if (entry.needsPanel)
            entry.action->setEnabled(enable);
    }
}

}  // namespace lumato::app
