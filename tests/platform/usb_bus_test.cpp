#include "platform/linux/usb_bus.h"

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace lumato::platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A sysfs and a /dev of a test's own.
class FakeSystem {
  public:
    // A SCSI device on a port of a bus ("usb" or "pci"), with the generic node of that name unless it is
    // empty.
    Path Add(const std::string& bus, const std::string& address, const std::string& vendor,
             const std::string& type, const std::string& generic) {
        const Path port = m_folder / ("sys/devices/" + bus + address);
        const Path device = port / "host1/target1" / address;
        std::filesystem::create_directories(device);
        Link(m_folder / "sys/bus" / bus, port / "subsystem");
        Link(m_folder / "sys/bus/scsi", device / "subsystem");
        Put(device / "type", type + "\n");
        Put(device / "vendor", vendor + "  \n");
        Put(device / "model", "Photo Frame     \n");
        if (!generic.empty()) {
            std::filesystem::create_directories(device / "scsi_generic" / generic);
            std::filesystem::create_directories(m_folder / "dev");
            Put(m_folder / "dev" / generic, "no device");
        }
        std::filesystem::create_directories(m_folder / "sys/bus/scsi/devices");
        Link(device, m_folder / "sys/bus/scsi/devices" / address);
        return std::filesystem::canonical(device);
    }
    void AddInterface(const std::string& name, const std::string& interfaceClass) {
        std::filesystem::create_directories(m_folder / "sys/bus/usb/devices" / name);
        Put(m_folder / "sys/bus/usb/devices" / name / "bInterfaceClass", interfaceClass + "\n");
    }
    void Remove(const std::string& address) {
        std::filesystem::remove(m_folder / "sys/bus/scsi/devices" / address);
    }
    UsbBusOptions Options() const {
        return {.family = "quorvane",
                .sysRoot = m_folder / "sys",
                .deviceRoot = m_folder / "dev",
                .watch = false,
                .patience = std::chrono::milliseconds(0)};
    }
    Path Sys() const { return m_folder / "sys"; }

  private:
    static void Put(const Path& file, const std::string& text) {
        test::PutBytes(file, {text.begin(), text.end()});
    }
    static void Link(const Path& to, const Path& link) { std::filesystem::create_symlink(to, link); }

    test::TemporaryFolder m_folder;
};

class Recorder : public BusListener {
  public:
    void ServiceAppeared(BusService& service) override {
        appeared.push_back(Path(service.Name()).filename());
        opened = service.Open().map([](const auto&) { return true; });
        last = &service;
    }
    void ServiceDisappeared(BusService& service) override {
        disappeared.push_back(Path(service.Name()).filename());
        opened = service.Open().map([](const auto&) { return true; });
    }

    std::vector<std::string> appeared, disappeared;
    Result<bool> opened;
    BusService* last = nullptr;
};

TEST(UsbBus, OnlyDisksAndDiscWritersOnUsbAreCandidates) {
    FakeSystem system;
    system.Add("usb", "1:0:0:0", "QUORVANE", "0", "sg1");
    system.Add("usb", "2:0:0:0", "QuorVane", "5", "sg2");
    system.Add("usb", "3:0:0:0", "QUORVANE", "3", "sg3");  // a processor
    system.Add("usb", "4:0:0:0", "QUORVANE", "", "sg4");   // says nothing
    system.Add("pci", "5:0:0:0", "QUORVANE", "0", "sg5");  // the computer's own disk
    system.Add("usb", "6:0:0:0", "Somebody", "0", "sg10");
    std::vector<std::string> found;
    for (const ScsiCandidate& candidate : FindCandidates(system.Sys()))
        found.push_back(candidate.generic + " " + candidate.vendor + "/" + candidate.model);
    EXPECT_THAT(found, ElementsAre("sg1 QUORVANE/Photo Frame", "sg2 QuorVane/Photo Frame",
                                   "sg10 Somebody/Photo Frame"));
    EXPECT_THAT(FindCandidates(system.Sys() / "nowhere"), IsEmpty());
}

TEST(UsbBus, FramesAreAnnouncedOnceAndTakenLeaveOf) {
    FakeSystem system;
    system.Add("usb", "1:0:0:0", "QUORVANE", "0", "sg1");
    UsbBus bus(system.Options());
    Recorder recorder;
    ASSERT_TRUE(bus.Start(recorder));
    const Path second = system.Add("usb", "2:0:0:0", "QUORVANE", "0", "sg2");
    bus.DeviceAdded(second);
    bus.DeviceAdded(second);
    EXPECT_THAT(recorder.appeared, ElementsAre("sg1", "sg2"));

    bus.DeviceRemoved(second);
    bus.DeviceRemoved(second);
    EXPECT_THAT(recorder.disappeared, ElementsAre("sg2"));
    ASSERT_FALSE(recorder.opened);
    EXPECT_EQ(recorder.opened.error().kind, ErrorKind::Gone);

    bus.DeviceAdded(second);  // plugged in again, under the same address
    EXPECT_THAT(recorder.appeared, ElementsAre("sg1", "sg2", "sg2"));
}

// The node may come later, with the kernel's module.
TEST(UsbBus, AFrameWithoutItsNodeIsExplainedAndAnotherDiskIsNot) {
    FakeSystem system;
    system.Add("usb", "1:0:0:0", "Somebody", "0", "");
    system.Add("usb", "2:0:0:0", "Somebody", "0", "sg7");  // a file, not a device: cannot be asked
    const Path frame = system.Add("usb", "3:0:0:0", "QUORVANE", "0", "");
    UsbBus bus(system.Options());
    Recorder recorder;
    ASSERT_TRUE(bus.Start(recorder));
    EXPECT_THAT(recorder.appeared, ElementsAre("3:0:0:0"));
    ASSERT_FALSE(recorder.opened);
    EXPECT_THAT(recorder.opened.error().message.English(), HasSubstr("modprobe sg"));

    bus.DeviceAdded(frame);  // not yet
    std::filesystem::create_directories(frame / "scsi_generic/sg3");
    bus.DeviceAdded(frame);
    bus.DeviceAdded(frame);
    EXPECT_THAT(recorder.appeared, ElementsAre("3:0:0:0", "sg3"));
    EXPECT_THAT(recorder.disappeared, ElementsAre("3:0:0:0"));
}

// The kernel shows a device a moment before its node.
TEST(UsbBus, AFrameWhoseNodeIsStillToComeIsWaitedFor) {
    FakeSystem system;
    std::filesystem::create_directories(system.Sys() / "class/scsi_generic");
    const Path device = system.Add("usb", "1:0:0:0", "QUORVANE", "0", "");
    system.Add("usb", "2:0:0:0", "Somebody", "0", "");
    UsbBus bus(system.Options());
    Recorder recorder;
    ASSERT_TRUE(bus.Start(recorder));
    EXPECT_THAT(recorder.appeared, IsEmpty());
    EXPECT_TRUE(bus.IsSettling());
    std::filesystem::create_directories(device / "scsi_generic/sg4");
    bus.DeviceAdded(device);
    EXPECT_THAT(recorder.appeared, ElementsAre("sg4"));
    EXPECT_FALSE(bus.IsSettling());
}

// udev tells of it before the node is there: it is found when it is, or explained when that takes too long.
TEST(UsbBus, ANodeThatComesAfterItsEventIsLookedForAgain) {
    for (const bool comes : {true, false}) {
        FakeSystem system;
        UsbBusOptions options = system.Options();
        options.patience = std::chrono::milliseconds(comes ? 60'000 : 500);
        UsbBus bus(options);
        Recorder recorder;
        ASSERT_TRUE(bus.Start(recorder));
        const Path frame = system.Add("usb", "1:0:0:0", "QUORVANE", "0", "sg5");
        const Path node = options.deviceRoot / "sg5", away = options.deviceRoot / "away";
        std::filesystem::rename(node, away);
        bus.DeviceAdded(frame);
        bus.DeviceAdded(frame);
        bus.DeliverEvents();
        EXPECT_THAT(recorder.appeared, IsEmpty());
        EXPECT_TRUE(bus.AwaitsNode());
        EXPECT_TRUE(bus.IsSettling());
        if (comes)
            std::filesystem::rename(away, node);
        else
            std::this_thread::sleep_for(options.patience);
        bus.DeliverEvents();
        bus.DeliverEvents();
        EXPECT_THAT(recorder.appeared, ElementsAre("sg5"));
        EXPECT_FALSE(bus.AwaitsNode());
        bus.DeviceRemoved(frame);
        EXPECT_THAT(recorder.disappeared, ElementsAre("sg5"));
    }
}

TEST(UsbBus, AStorageInterfaceWithoutItsDeviceIsStillSettling) {
    FakeSystem system;
    EXPECT_FALSE(StorageIsSettling(system.Sys()));
    system.AddInterface("1-1:1.0", "03");
    EXPECT_FALSE(StorageIsSettling(system.Sys()));
    system.AddInterface("1-2:1.0", "08");
    EXPECT_TRUE(StorageIsSettling(system.Sys()));
    const Path target = system.Sys() / "bus/usb/devices/1-2:1.0/host1/target1:0:0";
    std::filesystem::create_directories(target / "power");
    EXPECT_TRUE(StorageIsSettling(system.Sys()));
    std::filesystem::create_directories(target / "1:0:0:0");
    test::PutBytes(target / "1:0:0:0/type", {'0', '\n'});
    EXPECT_FALSE(StorageIsSettling(system.Sys()));
}

}  // namespace
}  // namespace lumato::platform
