#include "app/language_file.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStringConverter>

#include "app/texts.h"
#include "base/printable.h"
#include "text/localized.h"

namespace lumato::app {
namespace {

constexpr auto kMultiline = QRegularExpression::MultilineOption;

Result<QString> ReadText(const Path& path) {
    QFile file(FromPath(path));
    if (!file.open(QIODevice::ReadOnly))
        return Fail(ErrorKind::Unreadable,
                    Printable(path.string()) + ": " + file.errorString().toStdString());
    QStringDecoder decoder(QStringDecoder::Utf16LE);
    return QString(decoder(file.readAll()));
}

Result<void> WriteText(const Path& path, const QString& text) {
    QSaveFile file(FromPath(path));
    QStringEncoder encoder(QStringEncoder::Utf16LE, QStringEncoder::Flag::WriteBom);
    const QByteArray bytes = encoder(text);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        return Fail(ErrorKind::Unwritable,
                    Printable(path.string()) + ": " + file.errorString().toStdString());
    return {};
}

}  // namespace

void LanguageFile::ProvideDefault() const {
    const QString wanted = FromPath(m_file);
    if (QFile::exists(wanted))
        return;
    const QString program = QCoreApplication::applicationDirPath();
    for (const char* place : {"/resources/Language.ini", "/../share/lumato/Language.ini"}) {
        if (QFile::copy(program + QLatin1String(place), wanted)) {
            QFile::setPermissions(wanted, QFile::permissions(wanted) | QFile::WriteOwner);
            return;
        }
    }
}

QStringList LanguageFile::Languages() const {
    QStringList languages;
    const Result<QString> text = ReadText(m_file);
    if (!text)
        return languages;
    static const QRegularExpression kSection(QStringLiteral("^\\[([^\\]\\r\\n]+)\\]"), kMultiline);
    for (auto match = kSection.globalMatch(*text); match.hasNext();) {
        const QString name = match.next().captured(1);
        if (name != QLatin1String("language"))
            languages.append(name);
    }
    return languages;
}

QString LanguageFile::Chosen() const {
    return QString::fromStdString(text::LookUp("language", "language_1", "English"));
}

QString LanguageFile::NameOf(const QString& language) {
    return QString::fromStdString(
        text::LookUp(language.toStdString(), "LANGUAGE_NAME", language.toStdString()));
}

Result<void> LanguageFile::Choose(const QString& language) const {
    LUMATO_TRY(QString text, ReadText(m_file));
    static const QRegularExpression kChoice(QStringLiteral("^language_1=[^\\r\\n]*"), kMultiline);
    const QRegularExpressionMatch match = kChoice.match(text);
    if (!match.hasMatch())
        return Fail(ErrorKind::Damaged, Printable(m_file.string()) + ": it has no line for the language");
    text.replace(match.capturedStart(), match.capturedLength(), QStringLiteral("language_1=") + language);
    return WriteText(m_file, text);
}

}  // namespace lumato::app
