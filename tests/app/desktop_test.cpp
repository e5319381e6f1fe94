// What the window asks of the desktop, on message buses of the test's own with services that note what they
// are asked.
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusUnixFileDescriptor>
#include <QProcess>
#include <fstream>
#include <future>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "app/parts/app_state.h"
#include "platform/linux/mounted_volumes.h"
#include "platform/linux/udisks.h"
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

// Knows one device, and answers for it with the error of that name, with success when it is empty, or not at
// all when it is "silent".
class DiskService : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.UDisks2.Filesystem")

  public:
    static constexpr const char* kDevice = "/dev/disk_with-odd_name";
    QString error;

  public slots:
    void Unmount(const QVariantMap&) {
        if (error == QLatin1String("silent"))
            setDelayedReply(true);
        else if (!error.isEmpty())
            sendErrorReply(error, QStringLiteral("what the service says"));
    }
};

class DesktopTest : public WindowFixture {
    Q_OBJECT

    QProcess m_daemon;
    std::unique_ptr<LoginService> m_login;
    std::unique_ptr<NotificationService> m_notifications;
    DiskService m_disks;

    // Done on another thread, as the window has it done: the service answers on this one.
    template <class Work>
    static auto Meanwhile(const Work& work) {
        auto done = std::async(std::launch::async, work);
        [&] { AWAIT(done.wait_for(std::chrono::seconds(0)) == std::future_status::ready); }();
        return done.get();
    }

    void Serve() {
        QDBusConnection desktop = QDBusConnection::connectToBus(
            QString::fromLatin1(qgetenv("DBUS_SESSION_BUS_ADDRESS")), QStringLiteral("desktop"));
        m_login = std::make_unique<LoginService>();
        m_notifications = std::make_unique<NotificationService>();
        QVERIFY(desktop.registerService(QStringLiteral("org.freedesktop.login1")));
        QVERIFY(desktop.registerService(QStringLiteral("org.freedesktop.Notifications")));
        QVERIFY(desktop.registerService(QStringLiteral("org.freedesktop.UDisks2")));
        QVERIFY(desktop.registerObject(
            QStringLiteral("/org/freedesktop/UDisks2/block_devices/disk_5fwith_2dodd_5fname"), &m_disks,
            QDBusConnection::ExportAllSlots));
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
        AWAIT_EQUAL(m_login->asked,
                    (QStringList{"sleep:shutdown:idle", "Lumato", "Download Pictures(s)", "block"}));
        if (unplugged) {
            AWAIT(m_login->IsHeld());
            QVERIFY(!MainThreadOwns());
            m_window->Link().DetachVirtualFrame();
        }
        AWAIT(MainThreadOwns());
        AWAIT(!m_login->IsHeld());
        QVERIFY(m_notifications->told.isEmpty());  // it was looked at, and short
    }

    void aLongDownloadThatEndsOutOfSightIsTold() {
        Open(kAQuarterAsFast);
        Attach();
        AddAndWait({"a.png", "b.png"});
        Click(kDownLoadButtonID);
        m_window->hide();
        AWAIT(!m_notifications->told.isEmpty());
        QCOMPARE(m_notifications->told, (QStringList{"Lumato", "MacLumato", "DownLoad Finished!",
                                                     "org.lumato.Lumato", "default", "Show the Window"}));
        emit m_notifications->ActionInvoked(NotificationService::kNumber + 1, "default");  // another's
        emit m_notifications->ActivationToken(NotificationService::kNumber, "leave");
        emit m_notifications->ActionInvoked(NotificationService::kNumber, "default");
        AWAIT(m_window->isVisible());
        QCOMPARE(qgetenv("XDG_ACTIVATION_TOKEN"), "leave");
    }

    void volumesAreUnmountedByTheDiskService() {
        const std::string errors = "org.freedesktop.UDisks2.Error.";
        const struct {
            const char* device;
            std::string error;
            std::optional<ErrorKind> kind;
            const char* said;
        } rows[] = {
            {DiskService::kDevice, "", {}, ""},
            {DiskService::kDevice, errors + "NotMounted", {}, ""},  // somebody was quicker
            {DiskService::kDevice, errors + "DeviceBusy", ErrorKind::Busy, ""},
            {DiskService::kDevice, errors + "NotAuthorizedCanObtain", ErrorKind::Refused,
             "what the service says"},
            {DiskService::kDevice, "silent", ErrorKind::Refused, "does not answer"},
            {"/dev/unknown", "", ErrorKind::Gone, ""},
        };
        for (const auto& row : rows) {
            m_disks.error = QString::fromStdString(row.error);
            const auto limit = std::chrono::milliseconds(row.error == "silent" ? 200 : 30000);
            const auto done = Meanwhile([&] { return platform::UnmountByService(row.device, limit); });
            QVERIFY2(done.has_value() == !row.kind, row.error.c_str());
            if (row.kind) {
                QCOMPARE(done.error().kind, *row.kind);
                QVERIFY(QString::fromStdString(done.error().message.English()).contains(row.said));
            }
        }
        // Whoever holds a busy one is named.
        m_disks.error = QString::fromStdString(errors + "DeviceBusy");
        std::ofstream(m_folder->Get() / "mountinfo")
            << "26 21 8:17 / " << Pictures().native() << " rw shared:5 - vfat " << DiskService::kDevice
            << " rw\n";
        const std::ofstream held(Pictures() / "held");
        platform::MountedVolumes volumes(
            m_folder->Get() / "mountinfo", "/home/user",
            [](const std::string& device, const Path&) { return platform::UnmountByService(device); });
        const auto ejected = Meanwhile([&] { return volumes.Eject({.name = "FRAME", .root = Pictures()}); });
        QCOMPARE(ejected.error().kind, ErrorKind::Busy);
        const QString said = QString::fromStdString(ejected.error().message.English());
        QVERIFY2(said.contains(QStringLiteral("(process %1)").arg(::getpid())), qPrintable(said));
        // Without the service, or the bus, there is none.
        QDBusConnection(QStringLiteral("desktop"))
            .unregisterService(QStringLiteral("org.freedesktop.UDisks2"));
        for (const QByteArray& address :
             {qgetenv("DBUS_SYSTEM_BUS_ADDRESS"), QByteArray("unix:path=/nowhere")}) {
            qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
            QCOMPARE(Meanwhile([] { return platform::UnmountByService("/dev/sdb1"); }).error().kind,
                     ErrorKind::NotFound);
        }
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    }
};

LUMATO_WINDOW_TEST(DesktopTest)

}  // namespace
}  // namespace lumato::app

#include "desktop_test.moc"
