// The letters that open menus, entries, buttons and labelled fields together with Alt. The program gives
// them, the first free one of each text, so that translators need not think of them.
//
// Main thread only.
#pragma once

#include <QString>
#include <QWidget>

namespace lumato::app {

// `text` with an "&" before a letter that is not in `taken`, which it joins: beginnings of words first. Where
// no single key writes the text, a letter of `english` stands in brackets behind it.
[[nodiscard]] QString WithLetter(const QString& text, const QString& english, QString& taken);

// A text that takes the place of another one, with the same letter.
[[nodiscard]] QString WithLetterOf(const QString& text, const QString& before);

// As it was before it got its letter.
[[nodiscard]] QString WithoutLetter(const QString& text);

// The letter, in upper case; null: it has none.
[[nodiscard]] QChar LetterOf(const QString& text);

// Letters for the window's buttons and for the labels of its fields, as long as their texts have free ones;
// none of them in `taken`.
void GiveLetters(QWidget& window, QString taken = {});

}  // namespace lumato::app
