#include "app/parts/language_file.h"

#include <QCoreApplication>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStringConverter>

#include "app/parts/texts.h"
#include "base/printable.h"
#include "text/localized.h"

namespace lumato::app {
namespace {

constexpr auto kMultiline = QRegularExpression::MultilineOption;

Result<QString> ReadText(const Path& path) {
    QFile file(FromPath(path));
    if (!file.open(QIODevice::ReadOnly))
        return Fail(ErrorKind::Unreadable, About(Printable(path.string()), file.errorString().toStdString()));
    QStringDecoder decoder(QStringDecoder::Utf16LE);
    return QString(decoder(file.readAll()));
}

Result<void> WriteText(const Path& path, const QString& text) {
    QSaveFile file(FromPath(path));
    QStringEncoder encoder(QStringEncoder::Utf16LE, QStringEncoder::Flag::WriteBom);
    const QByteArray bytes = encoder(text);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        return Fail(ErrorKind::Unwritable, About(Printable(path.string()), file.errorString().toStdString()));
    return {};
}

}  // namespace

void LanguageFile::ProvideDefault() const {
    const QString wanted = FromPath(m_file);
    const QString program = QCoreApplication::applicationDirPath();
    for (const char* place : {"/resources/Language.ini", "/../share/lumato/Language.ini"}) {
        const QString own = program + QLatin1String(place);
        if (!QFile::exists(own))
            continue;
        text::SetOwnLanguageFile(PathOf(own));
        if (!QFile::exists(wanted) && QFile::copy(own, wanted)) {
            QFile::setPermissions(wanted, QFile::permissions(wanted) | QFile::WriteOwner);
            ChooseDesktops();
        }
        return;
    }
}

// The first of the user's languages that there is.
void LanguageFile::ChooseDesktops() const {
    const QStringList languages = Languages();
    const QStringList wanted = QLocale::system().uiLanguages();
    for (const QString& name : wanted) {
        const QString language = QLocale::languageToString(QLocale(name).language());
        if (!languages.contains(language))
            continue;
        static_cast<void>(Choose(language));  // it stays English
        return;
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

QString LanguageFile::Chosen() {
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
        return Fail(ErrorKind::Damaged, About(Printable(m_file.string()),
                                              Phrase("NO_LANGUAGE_LINE", "it has no line for the language")));
    text.replace(match.capturedStart(), match.capturedLength(), QStringLiteral("language_1=") + language);
    return WriteText(m_file, text);
}

}  // namespace lumato::app
