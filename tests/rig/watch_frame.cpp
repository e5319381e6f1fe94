// What a program with a main loop does with the bus, without its window: finds frames at its start and as
// they are plugged in, keeps one busy on a worker task, and takes leave of it. Says so line by line, each
// with the seconds since the system's start in front:
//
//   12.34 online /dev/sg1          a frame is there, its task begins
//   12.34 error TEXT               why one that may be a frame cannot be used
//   13.57 lost                     a command has failed, and the link knows that the frame is gone
//   13.58 offline                  the main loop has let go of it
//
// Ends when its standard input does.
#include <array>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <string>
#include <vector>

#include <poll.h>
#include <unistd.h>

#include "base/diagnostics.h"
#include "base/standard_descriptors.h"
#include "device/comm_usb.h"
#include "platform/linux/mounted_volumes.h"
#include "platform/linux/usb_bus.h"
#include "platform/services.h"

namespace lumato {
namespace {

constexpr int kInData = 2;
constexpr int kWholeBlock = 65536;

class Watcher : public device::FramePort {
  public:
    // Reads the flash from the start over and over, a whole block in a command.
    void SetFlashOnline(std::shared_ptr<device::AttachedFrame> frame) override {
        Say("online " + frame->Name());
        std::array<char, 16> block = {'\xCD', 0, 0, 0, 0, 0, 4, 1, 0, 0, 3, 0, 0, 0, 0, 0};
        std::vector<char> data(kWholeBlock);
        while (frame->SendCmdToDPF(block.data(), data.data(), kWholeBlock, kInData)) {
        }
        Say(frame->IsThere() ? "failed" : "lost");
    }
    void SetFlashOffline() override { Say("offline"); }
    void ShowLinkError(const Error& error) override { Say("error " + error.message.English()); }

  private:
    void Say(const std::string& what) {
        timespec now{};
        ::clock_gettime(CLOCK_BOOTTIME, &now);
        const std::lock_guard lock(m_mutex);
        std::printf("%.3f %s\n", static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9,
                    what.c_str());
        std::fflush(stdout);
    }

    std::mutex m_mutex;
};

int Watch() {
    platform::UsbBus bus({.family = std::string(device::kFamily)});
    platform::MountedVolumes volumes;
    platform::CurrentServices().bus = &bus;
    platform::CurrentServices().volumes = &volumes;
    device::CCommUSB link;
    Watcher watcher;
    device::Link().frame = &watcher;
    link.IniUSBDevice();
    for (;;) {
        std::array<pollfd, 2> waits = {pollfd{.fd = bus.Descriptor(), .events = POLLIN, .revents = 0},
                                       pollfd{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0}};
        ::poll(waits.data(), waits.size(), -1);
        if (waits[0].revents != 0)
            bus.DeliverEvents();
        if (waits[1].revents != 0)
            break;
    }
    link.DevClose();
    device::ResetLink();
    return 0;
}

}  // namespace
}  // namespace lumato

int main() {
    lumato::OccupyStandardDescriptors();
    lumato::SetDiagnosticStream(stderr);
    return lumato::Watch();
}
