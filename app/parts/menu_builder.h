// Menus whose texts follow the chosen language: each menu and action keeps the key of its text.
//
// Main thread only.
#pragma once

#include <QAction>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lumato::app {

class MenuBuilder {
  public:
    explicit MenuBuilder(QMenuBar& bar) : m_bar(bar) {}

    QMenu* AddMenu(std::string key, std::string defaultText);
    // `needsPanel`: enabled and disabled with the control panel.
    QAction* AddAction(QMenu* menu, std::string key, std::string defaultText, const QKeySequence& shortcut,
                       bool needsPanel, std::function<void()> run);

    // The action whose text has this key. Requires: there is one.
    [[nodiscard]] QAction* Action(std::string_view key) const;

    // All texts in the chosen language, with letters that open them. Gives those of the menus themselves.
    QString ShowTexts();
    void EnablePanelActions(bool enable);

    struct Entry {
        QAction* action;
        std::string key;
        std::string defaultText;
        bool needsPanel;
    };
    [[nodiscard]] const std::vector<Entry>& Entries() const { return m_entries; }

  private:
    void GiveLettersIn(const QWidget& menu, QString& taken) const;

    QMenuBar& m_bar;
    std::vector<Entry> m_entries;
};

}  // namespace lumato::app
