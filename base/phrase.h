// What the program says, before it is put into a language: a text of the language file with values in it.
// Whoever has something to say makes a Phrase; whoever shows it takes its English (the command line) or has
// it put into the chosen language (`text/localized.h`, the window).
//
//     Phrase("FRAME_HOLDS_AT_MOST", "the frame holds at most {0} pictures", limit)
//
// No state; callable from any thread.
#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumato {

// A text of the language file: its key, and its built-in English. Both are literals. Where values belong,
// the text has "{0}", "{1}" and so on, or "{}" for its only one.
struct Words {
    std::string_view key;
    std::string_view english;
};

class Phrase {
  public:
    // Nothing to say.
    Phrase() = default;

    // What is the same in every language: a name, a number, what the system or a library says. Literals are
    // ours; what comes as a string is given, and may be private.
    Phrase(std::string given) : m_text(std::move(given)), m_given(true) {}
    Phrase(const char* ours) : m_text(ours) {}
    template <std::integral Number>
    requires(!std::same_as<Number, bool>) Phrase(Number number) : m_text(std::to_string(number)) {}

    // A text with its values, which may be phrases themselves.
    template <class... Values>
    Phrase(const Words& words, Values&&... values)
        : m_key(words.key), m_text(words.english), m_values{Phrase(std::forward<Values>(values))...} {}
    template <class... Values>
    Phrase(const char* key, const char* english, Values&&... values)
        : Phrase(Words{key, english}, std::forward<Values>(values)...) {}

    [[nodiscard]] bool empty() const { return m_text.empty(); }
    [[nodiscard]] std::string English() const;

    // In the words that `textOf` gives for each text.
    [[nodiscard]] std::string In(const std::function<std::string(const Words&)>& textOf) const;

    // With what `textOf` makes of each text that is given, at any depth.
    [[nodiscard]] Phrase WithGiven(const std::function<std::string(const std::string&)>& textOf) const;

    // They say the same.
    bool operator==(const Phrase& other) const {
        return m_key == other.m_key && m_text == other.m_text && m_values == other.m_values;
    }

  private:
    std::string_view m_key;  // empty: the same in every language
    std::string m_text;      // the English
    bool m_given = false;
    std::vector<Phrase> m_values;
};

// How phrases are put together; languages differ in that, too.
inline constexpr Words kColon{"JOINED_COLON", "{0}: {1}"};
inline constexpr Words kSemicolon{"JOINED_SEMICOLON", "{0}; {1}"};
inline constexpr Words kComma{"JOINED_COMMA", "{0}, {1}"};
inline constexpr Words kNumbered{"", "{0}: {1}"};  // the same in every language, as without a key

// Both, or the one that says something.
[[nodiscard]] Phrase Joined(Phrase first, const Words& join, Phrase second);
// "photo.jpg: not a picture"
[[nodiscard]] Phrase About(Phrase subject, Phrase what);

}  // namespace lumato
