// What the window asks of the desktop, on message buses of the test's own with services that note what they
// are asked.
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusUnixFileDescriptor>
#include <QProcess>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "app/parts/app_state.h"
#include "tests/app/window_support.h"

namespace lumato::app {
namespace {

constexpr double kAQuarterAsFast = 0.25;

class LoginService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

  public:
    ~LoginService() override { Close(); }
    QStringList asked;

    // Somebody holds the descriptor that was handed out.
    bool IsHeld() const {
        pollfd end{.fd = m_ends[0], .events = POLLIN, .revents = 0};
        return m_ends[0] >= 0 && ::poll(&end, 1, 0) == 0;
    }

  public slots:
    QDBusUnixFileDescriptor Inhibit(const QString& what, const QString& who, const QString& why,
                                    const QString& mode) {
        asked = {what, who, why, mode};
        Close();
        if (::pipe2(m_ends, O_CLOEXEC) != 0)
            return {};
        QDBusUnixFileDescriptor handed(m_ends[1]);  // a duplicate
        ::close(m_ends[1]);
        return handed;
    }

  private:
    void Close() {
        if (m_ends[0] >= 0)
            ::close(m_ends[0]);
    }
    int m_ends[2] = {-1, -1};
};

class NotificationService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

  public:
    QStringList told;

  public slots:
    uint Notify(const QString& program, uint, const QString&, const QString& title, const QString& text,
                const QStringList& actions, const QVariantMap& hints, int) {
        told = QStringList{program, title, text, hints["desktop-entry"].toString()} + actions;
        return kNumber;
    }

  signals:
    void ActivationToken(uint notification, const QString& token);
    void ActionInvoked(uint notification, const QString& action);

  public:
    static constexpr uint kNumber = 7;
};

class DesktopTest : public WindowFixture {
    Q_OBJECT

    QProcess m_daemon;
    std::unique_ptr<LoginService> m_login;
    std::unique_ptr<NotificationService> m_notifications;

    void Serve() {
        QDBusConnection desktop = QDBusConnection::connectToBus(
            QString::fromLatin1(qgetenv("DBUS_SESSION_BUS_ADDRESS")), QStringLiteral("desktop"));
        m_login = std::make_unique<LoginService>();
        m_notifications = std::make_unique<NotificationService>();
        QVERIFY(desktop.registerService(QStringLiteral("org.freedesktop.login1")));
        QVERIFY(desktop.registerService(QStringLiteral("org.freedesktop.Notifications")));
        QVERIFY(desktop.registerObject(QStringLiteral("/org/freedesktop/login1"), m_login.get(),
                                       QDBusConnection::ExportAllSlots));
        QVERIFY(desktop.registerObject(QStringLiteral("/org/freedesktop/Notifications"),
                                       m_notifications.get(),
                                       QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals));
    }

  private slots:
    void initTestCase() {
        m_daemon.start(QStringLiteral("dbus-daemon"), {"--session", "--nofork", "--print-address"});
        if (!m_daemon.waitForStarted() || !m_daemon.waitForReadyRead())
            QSKIP("no dbus-daemon");
        const QByteArray address = m_daemon.readLine().trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
        Serve();
    }
    void cleanupTestCase() {
        QDBusConnection::disconnectFromBus(QStringLiteral("desktop"));
        m_daemon.terminate();
        m_daemon.waitForFinished();
    }
    void init() { SetUp(); }
    void cleanup() { TearDown(); }

    void theComputerStaysAwakeForADownload_data() {
        QTest::addColumn<bool>("unplugged");
        QTest::newRow("to its end") << false;
        QTest::newRow("unplugged") << true;
    }
    void theComputerStaysAwakeForADownload() {
        QFETCH(bool, unplugged);
        // Slow enough that a busy computer sees it held before it ends; a frame unplugged ends it anyway.
        Open(unplugged ? kAQuarterAsFast : kHundredTimesAsFast / 5);
        Attach();
        AddAndWait({"a.png", "b.png"});
        m_login->asked.clear();
        QVERIFY(!m_login->IsHeld());
        Click(kDownLoadButtonID);
        QTRY_COMPARE_WITH_TIMEOUT(
            m_login->asked, (QStringList{"sleep:shutdown:idle", "Lumato", "Download Pictures(s)", "block"}),
            kPatience);
        if (unplugged) {
            QTRY_VERIFY_WITH_TIMEOUT(m_login->IsHeld(), kPatience);
            QVERIFY(!MainThreadOwns());
            m_window->Link().DetachVirtualFrame();
        }
        QTRY_VERIFY_WITH_TIMEOUT(MainThreadOwns(), kPatience);
        QTRY_VERIFY_WITH_TIMEOUT(!m_login->IsHeld(), kPatience);
        QVERIFY(m_notifications->told.isEmpty());  // it was looked at, and short
    }

    void aLongDownloadThatEndsOutOfSightIsTold() {
        Open(kAQuarterAsFast);
        Attach();
        AddAndWait({"a.png", "b.png"});
        Click(kDownLoadButtonID);
        m_window->hide();
        QTRY_VERIFY_WITH_TIMEOUT(!m_notifications->told.isEmpty(), kPatience);
        QCOMPARE(m_notifications->told, (QStringList{"Lumato", "MacLumato", "DownLoad Finished!",
                                                     "org.lumato.Lumato", "default", "Show the Window"}));
        emit m_notifications->ActionInvoked(NotificationService::kNumber + 1, "default");  // another's
        emit m_notifications->ActivationToken(NotificationService::kNumber, "leave");
        emit m_notifications->ActionInvoked(NotificationService::kNumber, "default");
        QTRY_VERIFY_WITH_TIMEOUT(m_window->isVisible(), kPatience);
        QCOMPARE(qgetenv("XDG_ACTIVATION_TOKEN"), "leave");
    }
};

LUMATO_WINDOW_TEST(DesktopTest)

}  // namespace
}  // namespace lumato::app

#include "desktop_test.moc"
