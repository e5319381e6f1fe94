#include "app/shell/desktop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>
#include <QVariantMap>
#include <utility>

namespace lumato::app {
namespace {

constexpr const char* kNotifications = "org.freedesktop.Notifications";
constexpr const char* kNotificationsPath = "/org/freedesktop/Notifications";
constexpr const char* kDefaultAction = "default";  // a click on the whole

}  // namespace

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

Desktop::Desktop(QObject* parent) : QObject(parent) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(QString(), kNotificationsPath, kNotifications, QStringLiteral("ActivationToken"), this,
                SLOT(TakeToken(uint, QString)));
    bus.connect(QString(), kNotificationsPath, kNotifications, QStringLiteral("ActionInvoked"), this,
                SLOT(TakeClick(uint, QString)));
}

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
    update << QStringLiteral("application://%1.desktop").arg(QLatin1String(kApplicationId)) << entry;
    QDBusConnection::sessionBus().send(update);
}

void Desktop::Notify(const QString& title, const QString& text, const QString& show) {
    QDBusMessage call = QDBusMessage::createMethodCall(kNotifications, kNotificationsPath, kNotifications,
                                                       QStringLiteral("Notify"));
    const QString id = QLatin1String(kApplicationId);
    const QStringList actions{kDefaultAction, show};
    call << QStringLiteral("Lumato") << m_told << id << title << text << actions
         << QVariantMap{{QStringLiteral("desktop-entry"), id}} << -1;
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* ended) {
        const QDBusPendingReply<uint> reply = *ended;
        m_told = reply.isValid() ? reply.value() : 0;
        ended->deleteLater();
    });
}

void Desktop::TakeToken(uint notification, const QString& token) {
    if (notification == m_told)
        m_token = token;
}

void Desktop::TakeClick(uint notification, const QString& action) {
    if (m_told != 0 && notification == m_told && action == QLatin1String(kDefaultAction))
        emit WindowWanted(std::exchange(m_token, QString()));
}

}  // namespace lumato::app
