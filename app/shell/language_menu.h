// The menu "Language": the languages of the language file, by their own names.
//
// Main thread only.
#pragma once

#include <QActionGroup>
#include <QMenu>
#include <functional>

#include "app/parts/language_file.h"

namespace lumato::app {

class LanguageMenu : public QObject {
    Q_OBJECT

  public:
    // `changed` is called once another one is chosen, `failed` with the reason when that cannot be kept.
    LanguageMenu(QMenu* menu, LanguageFile file, std::function<void()> changed,
                 std::function<void(const Error&)> failed);

  private:
    void Choose(const QString& language);
    void ShowChosen();

    LanguageFile m_file;
    std::function<void()> m_changed;
    std::function<void(const Error&)> m_failed;
    QActionGroup* m_group;
};

}  // namespace lumato::app
