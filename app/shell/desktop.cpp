#include "app/shell/desktop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>
#include <QVariantMap>

namespace lumato::app {

// The service lets go when the descriptor that it handed out is closed, however that happens.
class Desktop::Inhibition : public QObject {
  public:
    explicit Inhibition(const QString& why) {
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
        call << QStringLiteral("sleep:shutdown:idle") << QStringLiteral("Lumato") << why
             << QStringLiteral("block");
        auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::systemBus().asyncCall(call), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* ended) {
            const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *ended;
            if (reply.isValid())
                m_held = reply.value();
            ended->deleteLater();
        });
    }

  private:
    QDBusUnixFileDescriptor m_held;
};

Desktop::Desktop(QObject* parent) : QObject(parent) {}

Desktop::~Desktop() = default;

void Desktop::InhibitSleep(const QString& why) {
    m_inhibition = std::make_unique<Inhibition>(why);
}

void Desktop::AllowSleep() {
    m_inhibition.reset();
}

// The signal that docks and task bars agree on.
void Desktop::ShowProgress(int percent) {
    QDBusMessage update = QDBusMessage::createSignal(QStringLiteral("/lumato"),
                                                     QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                                     QStringLiteral("Update"));
    const QVariantMap entry{{QStringLiteral("progress"), percent / 100.0},
                            {QStringLiteral("progress-visible"), percent > 0}};
    update << QStringLiteral("application://lumato.desktop") << entry;
    QDBusConnection::sessionBus().send(update);
}

void Desktop::Notify(const QString& title, const QString& text) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("lumato")}};
    call << QStringLiteral("Lumato") << 0U << QStringLiteral("lumato") << title << text << QStringList()
         << hints << -1;
    QDBusConnection::sessionBus().send(call);
}

}  // namespace lumato::app
