#include "app/parts/qt_texts.h"

#include <QGuiApplication>
#include <QLibraryInfo>
#include <QTranslator>

namespace lumato::app {

QLocale LocaleOf(const QString& language) {
    for (int number = QLocale::C + 1; number <= QLocale::LastLanguage; ++number) {
        const auto candidate = static_cast<QLocale::Language>(number);
        if (QLocale::languageToString(candidate) == language)
            return QLocale(candidate);
    }
    return QLocale::c();
}

void FollowLanguage(const QString& language) {
    static QTranslator translator;
    // By the option of that name, before any language was followed.
    static const bool kReversed = QGuiApplication::layoutDirection() == Qt::RightToLeft;
    const QLocale locale = LocaleOf(language);
    QCoreApplication::removeTranslator(&translator);
    if (translator.load(locale, QStringLiteral("qtbase"), QStringLiteral("_"),
                        QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&translator);
    const bool fromTheRight = kReversed || locale.textDirection() == Qt::RightToLeft;
    QGuiApplication::setLayoutDirection(fromTheRight ? Qt::RightToLeft : Qt::LeftToRight);
}

}  // namespace lumato::app
