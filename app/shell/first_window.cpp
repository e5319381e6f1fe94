#include "app/shell/first_window.h"

#include <QCryptographicHash>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QThread>
#include <QUrl>
#include <utility>

#include "app/parts/file_urls.h"
#include "app/shell/desktop.h"
#include "platform/linux/folders.h"

namespace lumato::app {
namespace {

// A window that is just starting takes the folder first, and its name then.
constexpr int kPatience = 2000;  // milliseconds
constexpr int kPause = 50;
constexpr const char* kToken = "activation-token";

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
    UseActivationToken(platform.value(QLatin1String(kToken)).toString());
    QList<QUrl> urls;
    for (const QString& address : addresses)
        urls += QUrl::fromEncoded(address.toUtf8());
    m_comeForward(PathsOf(urls), {});
}

void FirstWindow::ActivateAction(const QString& action, const QVariantList&, const QVariantMap& platform) {
    UseActivationToken(platform.value(QLatin1String(kToken)).toString());
    m_comeForward({}, action);
}

bool FirstWindow::Call(const Path& home, const std::vector<Path>& files, const QString& action) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        NameFor(home), ObjectPath(), QStringLiteral("org.freedesktop.Application"),
        action.isEmpty() ? QStringLiteral("Open") : QStringLiteral("ActivateAction"));
    const QVariantMap platform{{QLatin1String(kToken), qEnvironmentVariable("XDG_ACTIVATION_TOKEN")}};
    QStringList addresses;
    for (const Path& file : files)
        addresses += QString::fromStdString(FileAddress(file));
    if (action.isEmpty())
        call << addresses << platform;
    else
        call << action << QVariantList() << platform;
    call.setAutoStartService(false);  // another program holds the folder, then
    const QDeadlineTimer end(kPatience);
    for (;;) {
        const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, kPatience);
        const QDBusError::ErrorType error = QDBusError(reply).type();
        if (error == QDBusError::NoError)
            return true;
        if (error == QDBusError::NoReply)  // a window that is busy takes them up later, if it is not leaving
            return QDBusConnection::sessionBus().interface()->isServiceRegistered(call.service());
        if (error != QDBusError::ServiceUnknown || end.hasExpired())
            return false;
        QThread::msleep(kPause);
    }
}

}  // namespace lumato::app
