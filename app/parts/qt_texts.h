// The texts that Qt brings itself, as those of its file dialogs, and the direction of the layout: both follow
// the language chosen.
//
// Main thread only.
#pragma once

#include <QLocale>
#include <QString>

namespace lumato::app {

// The locale of a language that goes by its English name, as the sections of the language file do; that of C
// for any other name.
[[nodiscard]] QLocale LocaleOf(const QString& language);

// Texts stay in English where Qt's translations are not installed.
void FollowLanguage(const QString& language);

}  // namespace lumato::app
