// The language file: sections of "key=text" lines in UTF-16, one look-up at a time.
//
// SetFilePath comes before all look-ups; these may run on several threads.
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "text/unicode_file.h"

namespace lumato::text {

class CIniFile {
  public:
    // The longest line that is read, in bytes without its terminator; a longer one ends a look-up.
    static constexpr int kLineBytes = 2048;

    // Takes the first 511 bytes of `path`.
    void SetFilePath(const char* path);

    // Sets `out` to the text of `key` in the first section of that name, or to `defaultText`. A file that has
    // changed is read anew, so that an edited one shows at the next look-up. Returns the ResultCode of the
    // last file operation; `out` is good whatever it is.
    int GetString(std::u16string_view section, std::u16string_view key, std::u16string_view defaultText,
                  std::u16string& out) const;

  private:
    struct Contents;
    // Requires: the mutex. Null: there is no such file.
    const Contents* Current() const;

    std::array<char, CUnicodeFile::kPathBytes> m_path{};
    mutable std::mutex m_mutex;
    mutable std::shared_ptr<const Contents> m_contents;
};

// The program's language file. Its path is set once, at start-up.
extern CIniFile iniFile;

}  // namespace lumato::text
