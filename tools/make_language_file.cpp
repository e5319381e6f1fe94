// Makes "Language.ini" from one UTF-8 source per language, at build time:
//
//     make_language_file OUTPUT REFERENCE.txt OTHER.txt...
//
// A source holds "key = text" lines and is named after its section. The reference language is the one chosen
// in the file and says which keys there are. A source that a running program could not use as it is fails the
// build: keys missing, unknown or double, a text too long for its control, a section name beyond ASCII.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/file.h"
#include "base/standard_descriptors.h"
#include "base/utf8.h"
#include "text/ini_file.h"
#include "text/localized.h"
#include "text/utf16.h"

namespace lumato::text {
namespace {

constexpr std::string_view kSeparator = " = ";
constexpr std::size_t kLineUnits = CIniFile::kLineBytes / 2;

struct Entry {
    std::string key;
    std::string text;
};

struct Language {
    std::string name;
    std::vector<Entry> entries;

    const Entry* Find(std::string_view key) const {
        const auto found = std::ranges::find(entries, key, &Entry::key);
        return found == entries.end() ? nullptr : &*found;
    }
};

tl::unexpected<Error> Damaged(const std::string& what) {
    return Fail(ErrorKind::Damaged, what);
}

bool IsPrintableAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
}

bool IsUtf8WithoutControls(std::string_view text) {
    while (!text.empty()) {
        const Utf8Character character = FirstUtf8Character(text);
        if (!character.valid || character.codePoint < 0x20 || character.codePoint == 0x7F)
            return false;
        text.remove_prefix(character.length);
    }
    return true;
}

Result<void> CheckEntry(const Entry& entry) {
    if (entry.key.empty() || !IsPrintableAscii(entry.key) || entry.key.front() == '[' ||
        entry.key.find('=') != std::string::npos)
        return Damaged("\"" + entry.key + "\" is no key");
    if (entry.text.empty() || entry.text.front() == ' ' || entry.text.back() == ' ')
        return Damaged("\"" + entry.key + "\" is empty, or has blanks at an end");
    if (!IsUtf8WithoutControls(entry.text))
        return Damaged("\"" + entry.key + "\" is not plain UTF-8 text");
    if (entry.text.find('%') != std::string::npos)
        return Damaged("\"" + entry.key + "\" holds a %, which texts never do");
    if (entry.text.size() > kControlBytes)
        return Damaged("\"" + entry.key + "\" is longer than " + std::to_string(kControlBytes) + " bytes");
    if (Utf16FromUtf8(entry.key + "=" + entry.text).size() > kLineUnits)
        return Damaged("\"" + entry.key + "\" makes a line longer than can be read");
    return {};
}

// An entry, or nothing for a blank line or a comment.
Result<std::optional<Entry>> ParseLine(std::string_view line) {
    if (line.empty() || line.front() == '#')
        return std::nullopt;
    const std::size_t at = line.find(kSeparator);
    if (at == std::string_view::npos)
        return Damaged("\"" + std::string(line) + "\" has no \" = \"");
    Entry entry{std::string(line.substr(0, at)), std::string(line.substr(at + kSeparator.size()))};
    LUMATO_TRY_VOID(CheckEntry(entry));
    return entry;
}

Result<Language> ReadLanguage(const Path& path) {
    LUMATO_TRY(const auto bytes, ReadFile(path));
    std::string_view rest(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    Language language{path.stem().string(), {}};
    if (!IsPrintableAscii(language.name) || language.name == "language")
        return Damaged("the section name is not ASCII, or taken");
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        LUMATO_TRY(const auto entry, ParseLine(rest.substr(0, end)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (entry && language.Find(entry->key) != nullptr)
            return Damaged("\"" + entry->key + "\" stands there twice");
        if (entry)
            language.entries.push_back(*entry);
    }
    if (language.entries.empty())
        return Damaged("there are no texts");
    return language;
}

// The values that a text has a place for: "{0}", "{}".
std::set<std::string> PlacesIn(std::string_view text) {
    std::set<std::string> places;
    for (auto open = text.find('{'); open != std::string_view::npos; open = text.find('{', open + 1))
        places.emplace(text.substr(open, text.find('}', open) - open));
    return places;
}

Result<void> CheckKeys(const Language& language, const Language& reference) {
    for (const Entry& entry : reference.entries) {
        const Entry* own = language.Find(entry.key);
        if (own == nullptr)
            return Damaged("\"" + entry.key + "\" is missing");
        if (PlacesIn(own->text) != PlacesIn(entry.text))
            return Damaged("\"" + entry.key + "\" has other values in braces than in " + reference.name);
    }
    for (const Entry& entry : language.entries) {
        if (reference.Find(entry.key) == nullptr)
            return Damaged("\"" + entry.key + "\" is unknown in " + reference.name);
    }
    return {};
}

Result<std::vector<Language>> ReadLanguages(const std::vector<Path>& sources) {
    std::vector<Language> languages;
    for (const Path& source : sources) {
        auto language = ReadLanguage(source);
        const auto checked = language
                                 ? CheckKeys(*language, languages.empty() ? *language : languages.front())
                                 : Result<void>(tl::unexpected(language.error()));
        if (!checked)
            return tl::unexpected(Context(source.string(), checked.error()));
        languages.push_back(std::move(*language));
    }
    return languages;
}

std::string IniText(const std::vector<Language>& languages) {
    // A line above the first section header is never found by a look-up, so it can explain the file.
    std::string text = "; language_1 names the section whose texts are shown:";
    for (const Language& language : languages)
        text += " " + language.name;
    text += "\r\n[language]\r\nlanguage_1=" + languages.front().name + "\r\n";
    for (const Language& language : languages) {
        text += "\r\n[" + language.name + "]\r\n";
        for (const Entry& entry : languages.front().entries)
            text += entry.key + "=" + language.Find(entry.key)->text + "\r\n";
    }
    return text;
}

std::vector<std::uint8_t> Utf16LeFile(std::string_view text) {
    std::vector<std::uint8_t> bytes{0xFF, 0xFE};
    for (const char16_t unit : Utf16FromUtf8(text)) {
        bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return bytes;
}

Result<void> MakeLanguageFile(const Path& output, const std::vector<Path>& sources) {
    LUMATO_TRY(const auto languages, ReadLanguages(sources));
    return WriteFile(output, Utf16LeFile(IniText(languages)));
}

}  // namespace
}  // namespace lumato::text

int main(int argc, char** argv) {
    lumato::OccupyStandardDescriptors();
    if (argc < 3) {
        std::fputs("usage: make_language_file OUTPUT REFERENCE.txt OTHER.txt...\n", stderr);
        return 2;
    }
    const auto made = lumato::text::MakeLanguageFile(argv[1], {argv + 2, argv + argc});
    if (!made)
        std::fprintf(stderr, "make_language_file: %s\n", made.error().message.English().c_str());
    return made ? 0 : 1;
}
