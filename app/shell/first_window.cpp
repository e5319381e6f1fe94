#include "app/shell/first_window.h"

#include <QCryptographicHash>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QGuiApplication>
#include <QUrl>
#include <utility>

#include "app/parts/file_urls.h"
#include "app/shell/desktop.h"
#include "platform/linux/folders.h"

namespace lumato::app {
namespace {

// A window that is busy, with its leaving perhaps, answers late.
constexpr int kPatience = 20000;  // milliseconds
constexpr const char* kToken = "activation-token";
constexpr const char* kTokenBefore = "desktop-startup-id";  // GLib 2.74 hands a token out by this name alone
constexpr const char* kLeaving = "org.lumato.Error.Leaving";

Path Whole(const Path& folder) {
    std::error_code error;
    const Path whole = std::filesystem::weakly_canonical(folder, error);
    return error ? folder : whole;
}

// The desktop knows the window of the usual folder; those of others have names below its own.
QString NameFor(const Path& home) {
    const QString id = QString::fromLatin1(kApplicationId);
    const Path whole = Whole(home);
    if (whole == Whole(platform::ResourcesFolder(std::nullopt)))
        return id;
    const QByteArray hash =
        QCryptographicHash::hash(QByteArray::fromStdString(whole.string()), QCryptographicHash::Sha256);
    return id + QStringLiteral(".Home") + QString::fromLatin1(hash.toHex().left(16));
}

QString TokenOf(const QVariantMap& platform) {
    return platform.value(QLatin1String(kToken), platform.value(QLatin1String(kTokenBefore))).toString();
}

QString ObjectPath() {
    return QLatin1Char('/') + QString::fromLatin1(kApplicationId).replace(u'.', u'/');
}

}  // namespace

void UseActivationToken(const QString& token) {
    // Where Qt looks for it, on Wayland alone.
    if (!token.isEmpty() && !QGuiApplication::platformName().startsWith(QLatin1String("xcb")))
        qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
}

// Without a bus or the name a second program says that the folder is in use.
FirstWindow::FirstWindow(const Path& home, ComeForward comeForward)
    : m_comeForward(std::move(comeForward)),
      m_bus(QDBusConnection::SessionBus, [this, name = NameFor(home)](QDBusConnection bus) {
          bus.registerObject(ObjectPath(), this, QDBusConnection::ExportAllSlots);
          bus.registerService(name);
      }) {}

void FirstWindow::Activate(const QVariantMap& platform) {
    Open({}, platform);
}

void FirstWindow::Open(const QStringList& addresses, const QVariantMap& platform) {
    UseActivationToken(TokenOf(platform));
    QList<QUrl> urls;
    for (const QString& address : addresses)
        urls += QUrl::fromEncoded(address.toUtf8());
    Take(PathsOf(urls), {});
}

void FirstWindow::ActivateAction(const QString& action, const QVariantList&, const QVariantMap& platform) {
    UseActivationToken(TokenOf(platform));
    Take({}, action);
}

void FirstWindow::Take(const std::vector<Path>& files, const QString& action) {
    if (!m_comeForward(files, action))
        sendErrorReply(QLatin1String(kLeaving), QStringLiteral("the window is leaving"));
}

FirstWindow::Answer FirstWindow::Call(const Path& home, const std::vector<Path>& files,
                                      const QString& action) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        NameFor(home), ObjectPath(), QStringLiteral("org.freedesktop.Application"),
        action.isEmpty() ? QStringLiteral("Open") : QStringLiteral("ActivateAction"));
    const QString token =
        qEnvironmentVariable("XDG_ACTIVATION_TOKEN", qEnvironmentVariable("DESKTOP_STARTUP_ID"));
    const QVariantMap platform{{QLatin1String(kToken), token}};
    QStringList addresses;
    for (const Path& file : files)
        addresses += QString::fromStdString(FileAddress(file));
    if (action.isEmpty())
        call << addresses << platform;
    else
        call << action << QVariantList() << platform;
    call.setAutoStartService(false);  // another program holds the folder, then
    const QDBusConnection bus = QDBusConnection::sessionBus();
    const QDBusMessage reply = bus.call(call, QDBus::Block, kPatience);
    switch (QDBusError(reply).type()) {
        case QDBusError::NoError:
            return Answer::Taken;
        case QDBusError::NoReply:  // one that has gone takes nothing up later
            return bus.interface()->isServiceRegistered(call.service()) ? Answer::Taken : Answer::Leaving;
        case QDBusError::UnknownObject:
            return Answer::Leaving;
        default:
            return reply.errorName() == QLatin1String(kLeaving) ? Answer::Leaving : Answer::Nobody;
    }
}

}  // namespace lumato::app
