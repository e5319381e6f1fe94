#include "text/localized.h"

#include "text/ini_file.h"
#include "text/utf16.h"

namespace lumato::text {

void SetLanguageFile(const Path& path) {
    iniFile.SetFilePath(path.c_str());
}

std::string LookUp(std::string_view section, std::string_view key, std::string_view defaultText) {
    std::u16string text;
    iniFile.GetString(Utf16FromUtf8(section), Utf16FromUtf8(key), Utf16FromUtf8(defaultText), text);
    return Utf8FromUtf16(text);
}

std::string Localized(std::string_view key, std::string_view defaultText, std::string_view defaultLanguage) {
    return LookUp(LookUp("language", "language_1", defaultLanguage), key, defaultText);
}

std::string FitForControl(std::string text) {
    if (text.size() <= kControlBytes)
        return text;
    // A character is at most 4 bytes: three steps back reach the start of one that the limit cuts.
    std::size_t end = kControlBytes;
    const auto continues = [&text](std::size_t at) { return (text[at] & 0xC0) == 0x80; };
    while (end > kControlBytes - 3 && continues(end))
        --end;
    text.resize(continues(end) ? kControlBytes : end);  // text that is not UTF-8 is cut anywhere
    return text;
}

}  // namespace lumato::text
