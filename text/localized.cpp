#include "text/localized.h"

#include "text/ini_file.h"
#include "text/utf16.h"

namespace lumato::text {
namespace {

CIniFile ownFile;

// What no file says: a default that shows whether a file says anything.
const std::u16string kNothing(1, u'\0');

// What the program's own file says, or the default. A file that somebody made himself is to be taken at its
// word: only our own, of whatever age, have a language's name.
void TextOfOwnFile(const std::u16string& language, const std::u16string& key,
                   const std::u16string& defaultText, std::u16string& out) {
    iniFile.GetString(language, u"LANGUAGE_NAME", kNothing, out);
    if (out == kNothing)
        out = defaultText;
    else
        ownFile.GetString(language, key, defaultText, out);
}

}  // namespace

void SetLanguageFile(const Path& path) {
    iniFile.SetFilePath(path.c_str());
}

void SetOwnLanguageFile(const Path& path) {
    ownFile.SetFilePath(path.c_str());
}

std::string LookUp(std::string_view section, std::string_view key, std::string_view defaultText) {
    std::u16string text;
    iniFile.GetString(Utf16FromUtf8(section), Utf16FromUtf8(key), Utf16FromUtf8(defaultText), text);
    return Utf8FromUtf16(text);
}

std::string Localized(std::string_view key, std::string_view defaultText, std::string_view defaultLanguage) {
    const std::u16string language = Utf16FromUtf8(LookUp("language", "language_1", defaultLanguage));
    const std::u16string wanted = Utf16FromUtf8(key);
    std::u16string text;
    iniFile.GetString(language, wanted, kNothing, text);
    if (text == kNothing)
        TextOfOwnFile(language, wanted, Utf16FromUtf8(defaultText), text);
    return Utf8FromUtf16(text);
}

std::string Localized(const Phrase& phrase) {
    return phrase.In([](const Words& words) { return Localized(words.key, words.english); });
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
