#include "app/parts/menu_builder.h"

#include <algorithm>
#include <utility>

#include "app/parts/texts.h"

namespace lumato::app {

QMenu* MenuBuilder::AddMenu(std::string key, std::string defaultText) {
    QMenu* menu = m_bar.addMenu(QString());
    m_entries.push_back({menu->menuAction(), std::move(key), std::move(defaultText), false});
    return menu;
}

QMenu* MenuBuilder::AddSubmenu(QMenu* menu, std::string key, std::string defaultText) {
    QMenu* submenu = menu->addMenu(QString());
    m_entries.push_back({submenu->menuAction(), std::move(key), std::move(defaultText), false});
    return submenu;
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

void MenuBuilder::ShowTexts() {
    for (const Entry& entry : m_entries)
        entry.action->setText(Localized(entry.key, entry.defaultText));
}

void MenuBuilder::EnablePanelActions(bool enable) {
    for (const Entry& entry : m_entries) {
        if (entry.needsPanel)
            entry.action->setEnabled(enable);
    }
}

}  // namespace lumato::app
