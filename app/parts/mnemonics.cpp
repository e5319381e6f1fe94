#include "app/parts/mnemonics.h"

#include <QAbstractButton>
#include <QLabel>
#include <QRegularExpression>
#include <algorithm>
#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace lumato::app {
namespace {

constexpr QChar kMark = u'&';

// Written with an input method, by several keys.
bool IsComposed(QChar c) {
    switch (c.script()) {
        case QChar::Script_Han:
        case QChar::Script_Hiragana:
        case QChar::Script_Katakana:
        case QChar::Script_Hangul:
            return true;
        default:
            return false;
    }
}

bool IsPlain(QChar c) {
    return c.unicode() < 0x80 && c.isLetter();
}

// Where the mark goes in a text for the first letter that `may` be one, at the beginnings of words or
// anywhere; -1: there is none.
template <class May>
qsizetype Find(const QString& text, bool beginnings, May may) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool begins = i == 0 || !text[i - 1].isLetterOrNumber();
        if ((begins || !beginnings) && text[i].isLetter() && may(text[i]))
            return i;
    }
    return -1;
}

// Plain letters are on every keyboard.
template <class May>
qsizetype FindBest(const QString& text, May may) {
    for (const bool plain : {true, false}) {
        for (const bool beginnings : {true, false}) {
            const qsizetype at =
                Find(text, beginnings, [&](QChar c) { return may(c) && (!plain || IsPlain(c)); });
            if (at >= 0)
                return at;
        }
    }
    return -1;
}

// All that may be, the best first.
QString LettersOf(const QString& text) {
    QString letters;
    if (std::any_of(text.begin(), text.end(), IsComposed))
        return letters;
    const auto isNew = [&](QChar c) { return !letters.contains(c.toUpper()); };
    for (qsizetype at = FindBest(text, isNew); at >= 0; at = FindBest(text, isNew))
        letters += text[at].toUpper();
    return letters;
}

QString Marked(QString text, qsizetype at) {
    return text.insert(at, kMark);
}

// "保存(&S)…": before what only ends the text.
QString WithBrackets(QString text, QChar letter) {
    static const QRegularExpression kEnd(QStringLiteral("[…:： \\x{A0}]*$"));
    return text.insert(text.indexOf(kEnd), QStringLiteral("(&%1)").arg(letter));
}

bool TakesFocus(const QWidget* field) {
    return field != nullptr && (field->focusPolicy() & Qt::TabFocus) != 0;
}

// Each text gets one of its own letters wherever that can be had, if need be by giving another text its
// second best: what the first come takes for granted may be all that a later one has.
class Deal {
  public:
    Deal(std::vector<QString> choices, const QString& taken) : m_choices(std::move(choices)) {
        for (QString& letters : m_choices)
            letters.removeIf([&](QChar letter) { return taken.contains(letter); });
        for (std::size_t i = 0; i < m_choices.size(); ++i) {
            QString asked;
            GetFor(i, asked);
        }
    }

    [[nodiscard]] QChar LetterFor(std::size_t item) const {
        const auto found = std::ranges::find(m_owners, item, [](const auto& owner) { return owner.second; });
        return found == m_owners.end() ? QChar() : found->first;
    }

  private:
    bool GetFor(std::size_t item, QString& asked) {
        for (const QChar letter : m_choices[item]) {
            if (asked.contains(letter))
                continue;
            asked += letter;
            const auto owner = m_owners.find(letter);
            if (owner == m_owners.end() || GetFor(owner->second, asked)) {
                m_owners[letter] = item;
                return true;
            }
        }
        return false;
    }

    std::vector<QString> m_choices;
    std::map<QChar, std::size_t> m_owners;
};

}  // namespace

QString WithLetter(const QString& text, const QString& english, QString& taken) {
    const auto isFree = [&](QChar c) { return !taken.contains(c.toUpper()); };
    const bool composed = std::any_of(text.begin(), text.end(), IsComposed);
    const qsizetype at = composed ? -1 : FindBest(text, isFree);
    if (at >= 0) {
        taken += text[at].toUpper();
        return Marked(text, at);
    }
    const QString letters = english + QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    const qsizetype other = FindBest(letters, [&](QChar c) { return isFree(c) && IsPlain(c); });
    if (other < 0 || text.isEmpty())
        return text;
    taken += letters[other].toUpper();
    return WithBrackets(text, letters[other].toUpper());
}

QString WithLetterOf(const QString& text, const QString& before) {
    const QChar letter = LetterOf(before);
    if (letter.isNull() || text.isEmpty())
        return text;
    const qsizetype at = FindBest(text, [&](QChar c) { return c.toUpper() == letter; });
    return at >= 0 ? Marked(text, at) : WithBrackets(text, letter);
}

QString WithoutLetter(const QString& text) {
    static const QRegularExpression kBrackets(QStringLiteral("\\(&[A-Z]\\)"));
    return QString(text).remove(kBrackets).remove(kMark);
}

QChar LetterOf(const QString& text) {
    const qsizetype at = text.indexOf(kMark);
    return at >= 0 && at + 1 < text.size() ? text[at + 1].toUpper() : QChar();
}

void GiveLetters(QWidget& window, QString taken) {
    struct Named {
        QString text;
        QString english;
        std::function<void(const QString&)> show;
    };
    std::vector<Named> all;
    for (QWidget* widget : window.findChildren<QWidget*>()) {
        if (widget->window() != &window)
            continue;
        const auto take = [&](auto* named) {
            all.push_back({WithoutLetter(named->text()), widget->objectName(),
                           [named](const QString& text) { named->setText(text); }});
        };
        if (auto* button = qobject_cast<QAbstractButton*>(widget); button != nullptr)
            take(button);
        else if (auto* label = qobject_cast<QLabel*>(widget); label != nullptr && TakesFocus(label->buddy()))
            take(label);
    }
    std::vector<QString> choices;
    for (const Named& named : all)
        choices.push_back(LettersOf(named.text));
    const Deal deal(std::move(choices), taken);
    for (std::size_t i = 0; i < all.size(); ++i)
        taken += deal.LetterFor(i);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const QChar letter = deal.LetterFor(i);
        all[i].show(letter.isNull() ? WithLetter(all[i].text, all[i].english, taken)
                                    : WithLetterOf(all[i].text, QString(kMark) + letter));
    }
}

}  // namespace lumato::app
