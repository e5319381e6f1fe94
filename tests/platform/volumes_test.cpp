// Volumes: which there are, who holds them, and how they are unmounted.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "platform/linux/file_holders.h"
#include "platform/linux/mount_table.h"
#include "platform/linux/mounted_volumes.h"
#include "platform/linux/udisks.h"
#include "tests/support/temporary_folder.h"

namespace lumato::platform {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kTable =
    "21 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
    "22 21 0:20 / /proc rw - proc proc rw\n"
    "23 21 8:1 / /boot/efi rw shared:2 - vfat /dev/sda1 rw\n"
    "24 21 8:3 / /home rw - ext4 /dev/sda3 rw\n"
    "25 21 8:3 /user /mnt/again rw - ext4 /dev/sda3 rw\n"
    "26 21 8:17 / /media/user/MY\\040FRAME rw shared:5 master:3 - vfat /dev/sdb1 rw\n"
    "27 21 0:44 / /mnt/net rw - nfs server:/export rw\n"
    "broken\n"
    "28 21 8:33 / /media/user/back\\134slash rw - exfat /dev/sdc1 rw";

TEST(MountTable, DisksAreListedOnceUnderTheirRealNames) {
    EXPECT_THAT(
        ParseMountTable(kTable),
        ElementsAre(Mount{"/dev/sda2", "/", "ext4"}, Mount{"/dev/sda1", "/boot/efi", "vfat"},
                    Mount{"/dev/sda3", "/home", "ext4"}, Mount{"/dev/sdb1", "/media/user/MY FRAME", "vfat"},
                    Mount{"/dev/sdc1", "/media/user/back\\slash", "exfat"}));
    EXPECT_THAT(ParseMountTable(""), IsEmpty());
}

class MountedVolumesTest : public testing::Test {
  protected:
    MountedVolumesTest() { std::ofstream(m_folder / "mountinfo") << kTable; }

    Result<void> Eject(const Path& root) { return m_volumes.Eject({.name = "NAME", .root = root}); }

    test::TemporaryFolder m_folder;
    std::vector<std::string> m_unmounted;
    Result<void> m_answer;
    MountedVolumes m_volumes{m_folder / "mountinfo", "/home/user",
                             [this](const std::string& device, const Path&) {
                                 m_unmounted.push_back(device);
                                 return m_answer;
                             }};
};

TEST_F(MountedVolumesTest, ListHoldsWhatAPersonWouldCallADiskAndTheHomeFolder) {
    std::vector<std::string> listed;
    for (const Volume& volume : m_volumes.List())
        listed.push_back(volume.name + " at " + volume.root.string());
    EXPECT_THAT(listed, ElementsAre("/ at /", "home at /home", "MY FRAME at /media/user/MY FRAME",
                                    "back\\slash at /media/user/back\\slash", "user at /home/user"));
}

TEST_F(MountedVolumesTest, TheSystemsOwnVolumesAreNeverEjected) {
    for (const char* root : {"/", "/home", "/home/user"})
        EXPECT_EQ(Eject(root).error().kind, ErrorKind::Refused) << root;
    EXPECT_EQ(Eject("/media/user/GONE").error().kind, ErrorKind::NotFound);
    EXPECT_THAT(m_unmounted, IsEmpty());
    EXPECT_TRUE(Eject("/media/user/MY FRAME"));
    EXPECT_THAT(m_unmounted, ElementsAre("/dev/sdb1"));
}

TEST_F(MountedVolumesTest, ABusyVolumeIsReportedAsSuch) {
    m_answer = Fail(ErrorKind::Busy, "target is busy");
    const Result<void> ejected = Eject("/media/user/MY FRAME");
    EXPECT_EQ(ejected.error().kind, ErrorKind::Busy);
    EXPECT_THAT(ejected.error().message.English(), HasSubstr("NAME: in use by"));
}

TEST(FileHolders, ProgramsAreNamedByOpenFileWorkingFolderAndMapping) {
    const test::TemporaryFolder proc;
    const auto process = [&](const char* number, const char* name) {
        const Path folder = proc / number;
        std::filesystem::create_directories(folder / "fd");
        std::ofstream(folder / "comm") << name << "\n";
        return folder;
    };
    std::filesystem::create_symlink("/media/frame/a.bmp", process("11", "viewer") / "fd/3");
    std::filesystem::create_symlink("/media/frame", process("12", "shell") / "cwd");
    std::ofstream(process("13", "player") / "maps") << "7f00-7f01 r--p 0000 08:11 5    /media/frame/b.so\n";
    std::filesystem::create_symlink("/media/framework/a", process("14", "other") / "fd/3");
    std::filesystem::create_symlink("/media/frame", process("self", "not a process") / "cwd");
    EXPECT_EQ(FileHolders("/media/frame", proc.Get()),
              "player (process 13), shell (process 12), viewer (process 11)");
    EXPECT_EQ(InUseBy("/media/none", proc.Get()).English(), "in use by another program");
}

// A message bus of the test's own in place of the system's; none where dbus-daemon is not installed.
class PrivateBus {
  public:
    PrivateBus() {
        FILE* answer =
            ::popen("dbus-daemon --session --fork --print-address=1 --print-pid=1 2>/dev/null", "r");
        char line[300] = {};
        if (std::fscanf(answer, "%299s %d", line, &m_daemon) == 2)
            m_address = line;
        ::pclose(answer);
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.c_str(), 1);
    }
    ~PrivateBus() {
        ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        if (m_daemon > 0)
            ::kill(m_daemon, SIGTERM);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    [[nodiscard]] const std::string& Address() const { return m_address; }

  private:
    pid_t m_daemon = -1;
    std::string m_address;
};

// Answers as the disk service does for the one device sdb1: with the error of that name, or success when it
// is empty, or not at all when it is "silent".
class DiskService {
  public:
    DiskService(const std::string& address, std::string error) : m_error(std::move(error)) {
        static const sd_bus_vtable methods[] = {
            SD_BUS_VTABLE_START(0),
            SD_BUS_METHOD("Unmount", "a{sv}", "", Unmount, SD_BUS_VTABLE_UNPRIVILEGED),
            SD_BUS_VTABLE_END,
        };
        EXPECT_GE(sd_bus_new(&m_bus), 0);
        EXPECT_GE(sd_bus_set_address(m_bus, address.c_str()), 0);
        EXPECT_GE(sd_bus_set_bus_client(m_bus, 1), 0);
        EXPECT_GE(sd_bus_start(m_bus), 0);
        EXPECT_GE(sd_bus_add_object_vtable(m_bus, nullptr,
                                           "/org/freedesktop/UDisks2/block_devices/disk_5fwith_2dodd_5fname",
                                           "org.freedesktop.UDisks2.Filesystem", methods, this),
                  0);
        EXPECT_GE(sd_bus_request_name(m_bus, "org.freedesktop.UDisks2", 0), 0);
        m_thread = std::thread([this] {
            while (!m_ends) {
                if (sd_bus_process(m_bus, nullptr) == 0)
                    sd_bus_wait(m_bus, 10000);
            }
        });
    }
    ~DiskService() {
        m_ends = true;
        m_thread.join();
        sd_bus_flush_close_unref(m_bus);
    }
    DiskService(const DiskService&) = delete;
    DiskService& operator=(const DiskService&) = delete;

    std::atomic<int> calls{0};

  private:
    static int Unmount(sd_bus_message* call, void* self, sd_bus_error* error) {
        auto& service = *static_cast<DiskService*>(self);
        ++service.calls;
        if (service.m_error == "silent")
            return 1;
        if (service.m_error.empty())
            return sd_bus_reply_method_return(call, nullptr);
        return sd_bus_error_set(error, service.m_error.c_str(), "what the service says");
    }

    const std::string m_error;
    sd_bus* m_bus = nullptr;
    std::atomic<bool> m_ends{false};
    std::thread m_thread;
};

class UdisksTest : public testing::Test {
  protected:
    void SetUp() override {
        if (m_bus.Address().empty())
            GTEST_SKIP() << "dbus-daemon is not installed: nothing was tested with a disk service";
    }
    Result<void> Unmount(const std::string& error, milliseconds limit = milliseconds(5000)) {
        DiskService service(m_bus.Address(), error);
        Result<void> done = UnmountByService("/dev/disk_with-odd_name", limit);
        EXPECT_EQ(service.calls, 1);
        return done;
    }

    PrivateBus m_bus;
};

TEST_F(UdisksTest, WhatTheServiceSaysIsWhatWeSay) {
    EXPECT_TRUE(Unmount(""));
    EXPECT_TRUE(Unmount("org.freedesktop.UDisks2.Error.NotMounted"));  // somebody was quicker
    EXPECT_EQ(Unmount("org.freedesktop.UDisks2.Error.DeviceBusy").error().kind, ErrorKind::Busy);
    const Error refused = Unmount("org.freedesktop.UDisks2.Error.NotAuthorizedCanObtain").error();
    EXPECT_EQ(refused.kind, ErrorKind::Refused);
    EXPECT_THAT(refused.message.English(), HasSubstr("what the service says"));
}

TEST_F(UdisksTest, AServiceThatDoesNotAnswerIsNotWaitedForLonger) {
    const auto begin = std::chrono::steady_clock::now();
    const Error silent = Unmount("silent", milliseconds(200)).error();
    EXPECT_EQ(silent.kind, ErrorKind::Refused);
    EXPECT_THAT(silent.message.English(), HasSubstr("does not answer"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
}

TEST_F(UdisksTest, WithoutTheServiceOrTheBusThereIsNone) {
    EXPECT_EQ(UnmountByService("/dev/sdb1").error().kind, ErrorKind::NotFound);
    {
        DiskService service(m_bus.Address(), "");
        EXPECT_EQ(UnmountByService("/dev/unknown").error().kind, ErrorKind::Gone)
            << "a volume, not the service";
    }
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1);
    EXPECT_EQ(UnmountByService("/dev/sdb1").error().kind, ErrorKind::NotFound);
}

TEST_F(UdisksTest, TheProgramThatHoldsABusyVolumeIsNamed) {
    DiskService service(m_bus.Address(), "org.freedesktop.UDisks2.Error.DeviceBusy");
    const test::TemporaryFolder folder;
    const Path root = folder / "FRAME";
    std::filesystem::create_directories(root);
    const std::ofstream held(root / "picture");
    std::ofstream(folder / "mountinfo")
        << "26 21 8:17 / " << root.native() << " rw shared:5 - vfat /dev/disk_with-odd_name rw\n";
    MountedVolumes volumes(folder / "mountinfo", "/home/user",
                           [](const std::string& device, const Path&) { return UnmountByService(device); });
    const Result<void> ejected = volumes.Eject({.name = "FRAME", .root = root});
    ASSERT_FALSE(ejected);
    EXPECT_EQ(ejected.error().kind, ErrorKind::Busy);
    EXPECT_THAT(ejected.error().message.English(), HasSubstr("(process " + std::to_string(::getpid()) + ")"));
}

}  // namespace
}  // namespace lumato::platform
