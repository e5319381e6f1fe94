#include "platform/linux/usb_bus.h"

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fake_system.h"

namespace lumato::platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Recorder : public BusListener {
  public:
    void ServiceAppeared(BusService& service) override {
        appeared.push_back(Path(service.Name()).filename());
        opened = service.Open().map([](const auto&) { return true; });
    }
    void ServiceDisappeared(BusService& service) override {
        disappeared.push_back(Path(service.Name()).filename());
        opened = service.Open().map([](const auto&) { return true; });
    }

    std::vector<std::string> appeared, disappeared;
    Result<bool> opened;
};

class UsbBusTest : public testing::Test {
  protected:
    void Start() { ASSERT_TRUE(m_bus.Start(m_recorder)); }

    test::FakeSystem m_system;
    UsbBus m_bus{m_system.Options()};
    Recorder m_recorder;
};

TEST_F(UsbBusTest, OnlyDisksAndDiscWritersOnUsbAreCandidates) {
    m_system.Add("usb", "1:0:0:0", "QUORVANE", "0", "sg1");
    m_system.Add("usb", "2:0:0:0", "QuorVane", "5", "sg2");
    m_system.Add("usb", "3:0:0:0", "QUORVANE", "3", "sg3");  // a processor
    m_system.Add("usb", "4:0:0:0", "QUORVANE", "", "sg4");   // says nothing
    m_system.Add("pci", "5:0:0:0", "QUORVANE", "0", "sg5");  // the computer's own disk
    m_system.Add("usb", "6:0:0:0", "Somebody", "0", "sg10");
    std::vector<std::string> found;
    for (const ScsiCandidate& candidate : FindCandidates(m_system.Sys()))
        found.push_back(candidate.generic + " " + candidate.vendor + "/" + candidate.model);
    EXPECT_THAT(found, ElementsAre("sg1 QUORVANE/Photo Frame", "sg2 QuorVane/Photo Frame",
                                   "sg10 Somebody/Photo Frame"));
    EXPECT_THAT(FindCandidates(m_system.Sys() / "nowhere"), IsEmpty());
}

TEST_F(UsbBusTest, FramesAreAnnouncedOnceAndTakenLeaveOf) {
    m_system.Add("usb", "1:0:0:0", "QUORVANE", "0", "sg1");
    Start();
    const Path second = m_system.Add("usb", "2:0:0:0", "QUORVANE", "0", "sg2");
    m_bus.DeviceAdded(second);
    m_bus.DeviceAdded(second);
    EXPECT_THAT(m_recorder.appeared, ElementsAre("sg1", "sg2"));

    m_bus.DeviceRemoved(second);
    m_bus.DeviceRemoved(second);
    EXPECT_THAT(m_recorder.disappeared, ElementsAre("sg2"));
    ASSERT_FALSE(m_recorder.opened);
    EXPECT_EQ(m_recorder.opened.error().kind, ErrorKind::Gone);

    m_bus.DeviceAdded(second);  // plugged in again, under the same address
    EXPECT_THAT(m_recorder.appeared, ElementsAre("sg1", "sg2", "sg2"));
}

// The node may come later, with the kernel's module.
TEST_F(UsbBusTest, AFrameWithoutItsNodeIsExplainedAndAnotherDiskIsNot) {
    m_system.Add("usb", "1:0:0:0", "Somebody", "0", "");
    m_system.Add("usb", "2:0:0:0", "Somebody", "0", "sg7");  // a file, not a device: cannot be asked
    const Path frame = m_system.Add("usb", "3:0:0:0", "QUORVANE", "0", "");
    Start();
    EXPECT_THAT(m_recorder.appeared, ElementsAre("3:0:0:0"));
    ASSERT_FALSE(m_recorder.opened);
    EXPECT_THAT(m_recorder.opened.error().message.English(), HasSubstr("modprobe sg"));

    m_bus.DeviceAdded(frame);  // not yet
    std::filesystem::create_directories(frame / "scsi_generic/sg3");
    m_bus.DeviceAdded(frame);
    m_bus.DeviceAdded(frame);
    EXPECT_THAT(m_recorder.appeared, ElementsAre("3:0:0:0", "sg3"));
    EXPECT_THAT(m_recorder.disappeared, ElementsAre("3:0:0:0"));
}

// The kernel shows a device a moment before its node.
TEST_F(UsbBusTest, AFrameWhoseNodeIsStillToComeIsWaitedFor) {
    std::filesystem::create_directories(m_system.Sys() / "class/scsi_generic");
    const Path device = m_system.Add("usb", "1:0:0:0", "QUORVANE", "0", "");
    m_system.Add("usb", "2:0:0:0", "Somebody", "0", "");
    Start();
    EXPECT_THAT(m_recorder.appeared, IsEmpty());
    EXPECT_TRUE(m_bus.IsSettling());
    std::filesystem::create_directories(device / "scsi_generic/sg4");
    m_bus.DeviceAdded(device);
    EXPECT_THAT(m_recorder.appeared, ElementsAre("sg4"));
    EXPECT_FALSE(m_bus.IsSettling());
}

// udev tells of it before the node is there: it is found when it is, or explained when that takes too long.
TEST(UsbBus, ANodeThatComesAfterItsEventIsLookedForAgain) {
    for (const bool comes : {true, false}) {
        test::FakeSystem system;
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

TEST_F(UsbBusTest, AStorageInterfaceWithoutItsDeviceIsStillSettling) {
    EXPECT_FALSE(StorageIsSettling(m_system.Sys()));
    m_system.AddInterface("1-1:1.0", "03");
    EXPECT_FALSE(StorageIsSettling(m_system.Sys()));
    m_system.AddInterface("1-2:1.0", "08");
    EXPECT_TRUE(StorageIsSettling(m_system.Sys()));
    const Path target = m_system.Sys() / "bus/usb/devices/1-2:1.0/host1/target1:0:0";
    std::filesystem::create_directories(target / "power");
    EXPECT_TRUE(StorageIsSettling(m_system.Sys()));
    std::filesystem::create_directories(target / "1:0:0:0");
    test::PutBytes(target / "1:0:0:0/type", {'0', '\n'});
    EXPECT_FALSE(StorageIsSettling(m_system.Sys()));
}

}  // namespace
}  // namespace lumato::platform
