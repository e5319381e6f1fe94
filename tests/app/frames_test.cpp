// Real frames in the window: found, come and gone, beside virtual ones, and those that cannot be used.
#include <QClipboard>
#include <atomic>
#include <thread>

#include "app/frame/usb_watch.h"
#include "app/parts/loose_threads.h"
#include "tests/app/window_support.h"
#include "tests/support/fake_system.h"
#include "tests/support/scripted_device.h"
#include "vframe/virtual_bus.h"

namespace lumato::app {
namespace {

// Longer than a busy machine keeps a window waiting that does not wait for it.
constexpr std::chrono::milliseconds kUnmountTime{1500};

// One volume, the frame's, which takes its time to be unmounted.
class SlowVolumes : public platform::Volumes {
  public:
    explicit SlowVolumes(Path root) : m_root(std::move(root)) {
        std::filesystem::create_directories(m_root);
        test::PutBytes(m_root / "languageunicode.INI", {'x'});
    }
    [[nodiscard]] std::vector<platform::Volume> List() override {
        if (m_unmounted)
            return {};
        return {{.name = "FRAME", .root = m_root}};
    }
    [[nodiscard]] Result<void> Eject(const platform::Volume&) override {
        m_begun = true;
        std::this_thread::sleep_for(kUnmountTime);
        m_unmounted = true;
        return {};
    }

    Path m_root;
    std::atomic<bool> m_begun{false}, m_unmounted{false};
};

class FramesTest : public WindowFixture {
    Q_OBJECT

    platform::BusService& Plug(vframe::VirtualBus& bus, const char* name) {
        const Path file = m_folder->Get() / name;
        std::filesystem::copy_file(Frame(), file, std::filesystem::copy_options::skip_existing);
        return **bus.Plug(file);
    }

    // One that notes what it is asked, and refuses: then the command is said. Once it agrees nothing is left
    // to do.
    void PolkitIsAsked() {
        AWAIT(m_window->findChild<QAction*>("permit")->isVisible());
        m_window->findChild<QAction*>("permit")->trigger();
        AWAIT(Question() != nullptr);
        QVERIFY(Question()->text().contains("lumatoctl permit"));
        Question()->accept();
        const std::vector<std::uint8_t> asked = test::TakeBytes(m_folder->Get() / "asked");
        QVERIFY(std::string(asked.begin(), asked.end()).ends_with("lumatoctl permit\n"));
        test::PutBytes(m_folder->Get() / "agreed", {});
        m_window->findChild<QAction*>("permit")->trigger();
        AWAIT(!m_window->findChild<QAction*>("permit")->isVisible());
        QVERIFY(Question() == nullptr);
    }

  private slots:
    void aFrameComesOnlineAtStartAndOnPlug() {
        vframe::VirtualBus usb;
        platform::BusService* frame = &Plug(usb, "real.frame");
        Open(0, &usb);
        for (int round = 0; round < 2; ++round) {
            WaitForPanel();
            QVERIFY(m_window->Link().UsesHardware());
            usb.Unplug(*frame);
            AWAIT(!m_window->Panel().IsEnabled());
            WaitForNote("Device Not Online!");
            frame = &Plug(usb, "real.frame");
        }
        WaitForPanel();
        AddAndWait({"a.png", "b.png"});
        DownloadAndWait();
        m_window.reset();
    }

    void itsVolumeIsUnmountedWhileTheWindowLives() {
        vframe::VirtualBus usb;
        SlowVolumes volumes(m_folder->Get() / "volume");
        Open(0, &usb, &volumes);
        Plug(usb, "real.frame");
        const qint64 longest = LongestGapUntil([this] { return m_window->Panel().IsEnabled(); });
        qDebug("longest gap in unmounting: %lld ms", longest);
        QVERIFY(longest < kUnmountTime.count());
        QVERIFY(volumes.m_unmounted);
        volumes.m_unmounted = false;  // the desktop mounts it again
        AddAndWait({"a.png"});
        DownloadAndWait();
        QVERIFY(volumes.m_unmounted);
        m_window.reset();
    }

    void aFrameUnpluggedDuringTheUnmountingIsForgotten() {
        vframe::VirtualBus usb;
        SlowVolumes volumes(m_folder->Get() / "volume");
        Open(0, &usb, &volumes);
        platform::BusService& first = Plug(usb, "first.frame");
        AWAIT(volumes.m_begun);
        usb.Unplug(first);
        Plug(usb, "second.frame");
        usb.Unplug(Plug(usb, "third.frame"));
        WaitForPanel();
        QVERIFY(device::Link().Attached()->Name().ends_with("second.frame"));
        volumes.m_begun = volumes.m_unmounted = false;
        Plug(usb, "fourth.frame");  // and the window closes meanwhile, without waiting
        AWAIT(volumes.m_begun);
        m_window.reset();
        QVERIFY(LooseThreads::AnyRun());
        AWAIT(!LooseThreads::AnyRun());
    }

    void aSecondFrameIsNamedAndLeftAlone() {
        vframe::VirtualBus usb;
        Open(0, &usb);
        Attach();
        platform::BusService& real = Plug(usb, "real.frame");
        AWAIT(Detail().contains(QStringLiteral("real.frame: a second frame")));
        QCOMPARE(Text(kNotesID), QStringLiteral("No Picture"));
        QVERIFY(m_window->Panel().IsEnabled());
        QVERIFY(!m_window->Link().UsesHardware());
        usb.Unplug(real);
        AddAndWait({"a.png"});
        m_window->Link().DetachVirtualFrame();
        AWAIT(!m_window->Panel().IsEnabled());

        Plug(usb, "other.frame");
        WaitForPanel();
        QVERIFY(!Entry("Attach Virtual")->isEnabled());
        m_window->Frames().Attach(Frame());
        AWAIT(Question() != nullptr && Question()->text().contains("connected already"));
        QVERIFY(m_window->Link().UsesHardware());
        m_window.reset();
    }

    void whatCannotBeUsedIsExplained() {
        const std::string polkit =
            "#!/bin/sh\necho \"$@\" > \"${0%/*}/asked\"\n[ -e \"${0%/*}/agreed\" ] || exit 126\n";
        test::PutBytes(m_folder->Get() / "pkexec", {polkit.begin(), polkit.end()});
        std::filesystem::permissions(m_folder->Get() / "pkexec", std::filesystem::perms(0700));
        qputenv("PATH", QByteArray::fromStdString(m_folder->Get().string()) + ':' + qgetenv("PATH"));
        for (const auto& [kind, reason] : {std::pair{ErrorKind::Busy, "/dev/sg7: in use by cat (7)"},
                                           {ErrorKind::Refused, "/dev/sg7: no permission"}}) {
            test::DeviceScript unused;
            test::ScriptedService closed(reason, unused);  // its name is all that its refusal says
            closed.openError = kind;
            test::ScriptedBus usb;
            usb.present = {&closed};
            Open(0, &usb);
            AWAIT_EQUAL(Detail(), QString::fromLatin1(reason));
            WaitForNote("Device Not Online!");
            QVERIFY(!m_window->Panel().IsEnabled());
            if (kind == ErrorKind::Refused)
                PolkitIsAsked();
            usb.Unplug(closed);
            const auto* permit = m_window->findChild<QAction*>("permit");
            AWAIT(Detail().isEmpty() && !permit->isVisible());
            m_window.reset();
        }
    }

    void aReportNamesNoFile() {
        Open();
        Attach();
        m_window->findChild<QAction*>("report")->trigger();
        AWAIT(Question() != nullptr);
        const QString report = QGuiApplication::clipboard()->text();
        QVERIFY(report.startsWith(QStringLiteral("Lumato report 1\n")) &&
                report.contains(QStringLiteral("! attached\n")));
        QVERIFY(report.contains(QStringLiteral("{\"lcd_width\":")));
        QVERIFY(!report.contains(QString::fromStdString(m_folder->Get().string())));
        Question()->accept();
        m_window.reset();
    }

    // The kernel shows the frame, and has no node for it.
    void theUsbBusItselfIsAsked() {
        test::FakeSystem system;
        system.Add("usb", "1:0:0:0", "QUORVANE", "0", "");
        UsbWatch usb(system.Options());
        Open(0, &usb);
        AWAIT(Detail().contains(QStringLiteral("modprobe sg")));
        m_window.reset();
    }
};

LUMATO_WINDOW_TEST(FramesTest)

}  // namespace
}  // namespace lumato::app

#include "frames_test.moc"
