#include "app/parts/mnemonics.h"

#include <QAbstractButton>
#include <QLabel>
#include <QRegularExpression>
#include <QToolButton>
#include <algorithm>
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

bool IsComposed(const QString& text) {
    return std::any_of(text.begin(), text.end(), [](QChar c) { return IsComposed(c); });
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

QString Marked(QString text, qsizetype at) {
    return text.insert(at, kMark);
}

// "保存(&S)…": before what only ends the text.
QString WithBrackets(QString text, QChar letter) {
    static const QRegularExpression kEnd(QStringLiteral("[…:： \\x{A0}]*$"));
    return text.insert(text.indexOf(kEnd), QStringLiteral("(&%1)").arg(letter));
}

// A field or view, not just another text.
bool IsField(const QWidget* named) {
    return named != nullptr && named->focusPolicy() != Qt::NoFocus &&
           qobject_cast<const QLabel*>(named) == nullptr;
}

// Not a picture of what it does, nor the name of a folder, which such buttons show that have none themselves.
bool HasOwnWords(const QAbstractButton& button) {
    const bool named = qobject_cast<const QToolButton*>(&button) == nullptr || !button.objectName().isEmpty();
    const QString text = button.text();
    return named && std::any_of(text.begin(), text.end(), [](QChar c) { return c.isLetter(); });
}

}  // namespace

QString WithLetter(const QString& text, const QString& english, QString& taken) {
    const auto isFree = [&](QChar c) { return !taken.contains(c.toUpper()); };
    const qsizetype at = IsComposed(text) ? -1 : FindBest(text, isFree);
    if (at >= 0) {
        taken += text[at].toUpper();
        return Marked(text, at);
    }
    const QString others = english.toUpper() + QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZ1234567890");
    const auto* other = std::find_if(others.begin(), others.end(), [&](QChar c) {
        return isFree(c) && (IsPlain(c) || (c >= u'0' && c <= u'9'));
    });
    if (other == others.end() || text.isEmpty())
        return text;
    taken += *other;
    return WithBrackets(text, *other);
}

QString WithLetterOf(const QString& text, const QString& before) {
    const QChar letter = LetterOf(before);
    if (letter.isNull() || text.isEmpty())
        return text;
    const qsizetype at = FindBest(text, [&](QChar c) { return c.toUpper() == letter; });
    return at >= 0 ? Marked(text, at) : WithBrackets(text, letter);
}

QString WithoutLetter(const QString& text) {
    static const QRegularExpression kBrackets(QStringLiteral("\\(&[A-Z0-9]\\)"));
    return QString(text).remove(kBrackets).remove(kMark);
}

QChar LetterOf(const QString& text) {
    const qsizetype at = text.indexOf(kMark);
    return at >= 0 && at + 1 < text.size() ? text[at + 1].toUpper() : QChar();
}

// Buttons before labels, and short texts before long ones, which have more letters to choose from. Letters of
// other words in brackets are for scripts that have none of their own: where all of a text are taken, it gets
// none.
void GiveLetters(QWidget& window, QString taken) {
    std::vector<QAbstractButton*> buttons;
    std::vector<QLabel*> labels;
    for (QWidget* widget : window.findChildren<QWidget*>()) {
        if (widget->window() != &window)
            continue;
        if (auto* button = qobject_cast<QAbstractButton*>(widget); button != nullptr && HasOwnWords(*button))
            buttons.push_back(button);
        else if (auto* label = qobject_cast<QLabel*>(widget); label != nullptr && IsField(label->buddy()))
            labels.push_back(label);
    }
    const auto give = [&](auto& widgets) {
        const auto words = [](const auto* named) { return WithoutLetter(named->text()); };
        std::ranges::stable_sort(widgets, {}, [&](const auto* named) { return words(named).size(); });
        for (auto* named : widgets) {
            const QString text = words(named);
            QString joined = taken;
            const QString lettered = WithLetter(text, named->objectName(), joined);
            const bool foreign = lettered.size() > text.size() + 1 && !IsComposed(text);
            named->setText(foreign ? text : lettered);
            if (!foreign)
                taken = joined;
        }
    };
    give(buttons);
    give(labels);
}

}  // namespace lumato::app
