// The languages of the language file, and which of them is chosen.
//
// Main thread only.
#pragma once

#include <QString>
#include <QStringList>

#include "base/error.h"
#include "base/file.h"

namespace lumato::app {

class LanguageFile {
  public:
    explicit LanguageFile(Path file) : m_file(std::move(file)) {}

    // Puts the program's own file in its place where there is none yet, with the desktop's language chosen,
    // and has the program's own give the texts that an older one lacks; without either, every text keeps its
    // built-in words.
    void ProvideDefault() const;

    // The sections that hold texts, in the order of the file.
    [[nodiscard]] QStringList Languages() const;
    [[nodiscard]] static QString Chosen();
    // What the language calls itself.
    [[nodiscard]] static QString NameOf(const QString& language);

    // From now on texts are shown in this language. Errors: those of reading and writing the file.
    [[nodiscard]] Result<void> Choose(const QString& language) const;

  private:
    void ChooseDesktops() const;

    Path m_file;
};

}  // namespace lumato::app
