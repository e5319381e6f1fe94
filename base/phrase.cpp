#include "base/phrase.h"

#include <charconv>
#include <utility>

namespace lumato {
namespace {

// The number of the value that `braces` ("{}", "{2}") stands for; `count` and more: none.
std::size_t ValueIn(std::string_view braces, std::size_t count) {
    const std::string_view digits = braces.substr(1, braces.size() - 2);
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool whole = digits.empty() || (error == std::errc() && end == digits.data() + digits.size());
    return whole ? number : count;
}

}  // namespace

std::string Phrase::English() const {
    return In([](const Words& words) { return std::string(words.english); });
}

std::string Phrase::In(const std::function<std::string(const Words&)>& textOf) const {
    if (m_values.empty() && m_key.empty())
        return m_text;
    const std::string text = m_key.empty() ? m_text : textOf({m_key, m_text});
    std::string filled;
    std::string_view rest = text;
    // A value's own braces are not looked at, and braces without a value stand for themselves.
    for (auto open = rest.find('{'); open != std::string_view::npos; open = rest.find('{')) {
        const std::size_t close = rest.find('}', open);
        const std::size_t value = close == std::string_view::npos
                                      ? m_values.size()
                                      : ValueIn(rest.substr(open, close + 1 - open), m_values.size());
        const std::size_t end = value < m_values.size() ? close + 1 : open + 1;
        filled += rest.substr(0, value < m_values.size() ? open : end);
        if (value < m_values.size())
            filled += m_values[value].In(textOf);
        rest.remove_prefix(end);
    }
    return filled.append(rest);
}

Phrase Phrase::WithGiven(const std::function<std::string(const std::string&)>& textOf) const {
    Phrase other = *this;
    if (m_given)
        other.m_text = textOf(m_text);
    for (Phrase& value : other.m_values)
        value = value.WithGiven(textOf);
    return other;
}

Phrase Joined(Phrase first, const Words& join, Phrase second) {
    if (first.empty() || second.empty())
        return first.empty() ? second : first;
    return Phrase(join, std::move(first), std::move(second));
}

Phrase About(Phrase subject, Phrase what) {
    return Phrase(kColon, std::move(subject), std::move(what));
}

}  // namespace lumato
