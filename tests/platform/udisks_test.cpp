#include "platform/linux/udisks.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "platform/linux/mounted_volumes.h"
#include "tests/support/temporary_folder.h"

namespace lumato::platform {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

// A message bus of the test's own in place of the system's; none where dbus-daemon is not installed.
class PrivateBus {
  public:
    PrivateBus() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return;
        m_daemon = ::fork();
        if (m_daemon == 0) {
            ::dup2(ends[1], STDOUT_FILENO);
            ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
            ::execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address=1", nullptr);
            ::_exit(127);
        }
        ::close(ends[1]);
        FILE* answer = ::fdopen(ends[0], "r");
        char line[300] = {};
        if (std::fgets(line, sizeof line, answer) != nullptr)
            m_address = std::string(line, std::string(line).find('\n'));
        std::fclose(answer);
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.c_str(), 1);
    }
    ~PrivateBus() {
        ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        ::kill(m_daemon, SIGTERM);
        ::waitpid(m_daemon, nullptr, 0);
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
    EXPECT_THAT(refused.message, HasSubstr("what the service says"));
}

TEST_F(UdisksTest, AServiceThatDoesNotAnswerIsNotWaitedForLonger) {
    const auto begin = std::chrono::steady_clock::now();
    const Error silent = Unmount("silent", milliseconds(200)).error();
    EXPECT_EQ(silent.kind, ErrorKind::Refused);
    EXPECT_THAT(silent.message, HasSubstr("does not answer"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
}

TEST_F(UdisksTest, WithoutTheServiceOrTheBusThereIsNone) {
    EXPECT_EQ(UnmountByService("/dev/sdb1").error().kind, ErrorKind::NotFound);
    {
        DiskService service(m_bus.Address(), "");
        EXPECT_EQ(UnmountByService("/dev/unknown").error().kind, ErrorKind::NotFound);
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
    EXPECT_THAT(ejected.error().message, HasSubstr("(process " + std::to_string(::getpid()) + ")"));
}

}  // namespace
}  // namespace lumato::platform
