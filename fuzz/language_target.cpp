// The input is a file in front of which stand the length of a section's and a key's name.
#include "fuzz/input.h"
#include "fuzz/targets.h"
#include "text/ini_file.h"
#include "text/localized.h"
#include "text/unicode_file.h"
#include "text/utf16.h"

namespace lumato::fuzz {
namespace {

std::u16string Name(ByteSpan bytes) {
    std::u16string name;
    for (const std::uint8_t byte : bytes)
        name += static_cast<char16_t>(byte);
    return name;
}

void ReadLines(const Path& path, int capacity) {
    text::CUnicodeFile file;
    if (file.Load(path.c_str()) != text::kSuccess)
        return;
    std::array<unsigned char, 256> line{};
    int length = 0;
    while (file.ReadLine(line.data(), capacity, length) == text::kSuccess)
        Demand(length >= 0 && length <= capacity, "a line fits its buffer");
    file.Seek(-3, text::CUnicodeFile::kSeekEnd);
    static_cast<void>(file.GetNextLineOffset());
    file.Seek(capacity, text::CUnicodeFile::kSeekCurrent);
    static_cast<void>(file.ReadLine(line.data(), capacity, length));
}

Bytes Utf16File(std::string_view names, std::u16string_view content) {
    Bytes file(names.begin(), names.end());
    file.insert(file.end(), {0xFF, 0xFE});
    for (const char16_t unit : content) {
        file.push_back(static_cast<std::uint8_t>(unit));
        file.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return file;
}

}  // namespace

void RunLanguage(ByteSpan bytes) {
    Input input(bytes);
    const std::u16string section = Name(input.Take(input.Byte() % 32));
    const std::u16string key = Name(input.Take(input.Byte() % 32));
    const MemoryFile file(input.Rest());
    ReadLines(file.Name(), static_cast<int>(bytes.size() % 256));

    text::CIniFile ini;
    ini.SetFilePath(file.Name().c_str());
    std::u16string out;
    ini.GetString(section, key, u"default", out);
    Demand(out.size() < text::CIniFile::kLineBytes, "a text is no longer than a line");

    text::SetLanguageFile(file.Name());
    const std::string shown = text::FitForControl(text::Localized(text::Utf8FromUtf16(key), "default"));
    Demand(shown.size() <= text::kControlBytes, "a control holds its text");
}

std::vector<Bytes> LanguageSeeds() {
    constexpr std::u16string_view kFile =
        u"[language]\r\nlanguage_1=German\r\n\r\n; note\r\n[German]\r\nA=Bild\r\nB = \xD83D\xDE00 "
        u"\r\n[English]\r\nA=x\r\n";
    return {Utf16File("\x06German\x01"
                      "A",
                      kFile),
            Utf16File("\x06German\x01"
                      "B",
                      kFile.substr(0, 70)),
            Utf16File(std::string_view("\0\0", 2), u"=\r\n[]\r\n==\r\n"), Bytes{0, 0, 0xFF, 0xFE}, Bytes{}};
}

}  // namespace lumato::fuzz
