#include "base/diagnostics.h"
#include "device/comm_usb.h"
#include "device/open_device.h"
#include "device/scsi_exchange.h"

namespace lumato::device {
namespace {

using platform::Direction;

constexpr std::size_t kBlockLength = 16;
constexpr std::chrono::milliseconds kCommandTimeout{5000};

Direction DirectionOf(int code) {
    switch (code) {
        case 1:
            return Direction::Out;
        case 2:
            return Direction::In;
        default:
            return Direction::None;
    }
}

}  // namespace

bool CCommUSB::SendCmdToDPF(char* commandBlock, char* data, int length, int direction) {
    const std::shared_ptr<platform::ScsiDevice> device = OpenDevice();
    if (device == nullptr)
        return false;
    if (device->IsGone()) {
        NoteIfGone(device);
        return false;
    }

    platform::ScsiRequest request;
    request.block = {reinterpret_cast<const std::uint8_t*>(commandBlock), kBlockLength};
    request.direction = DirectionOf(direction);
    request.timeout = kCommandTimeout;
    if (request.direction != Direction::None) {
        // A data phase that cannot be described must not start: the frame would program what nobody sent.
        if (length < 0 || data == nullptr) {
            Diagnose("*********** ERROR Setting SG Entries ***********\n");
            return false;
        }
        request.data = {reinterpret_cast<std::uint8_t*>(data), static_cast<std::size_t>(length)};
    }

    const bool good = Exchange(*device, request, "*********** ERROR Executing Task ***********");
    NoteIfGone(device);
    return good;
}

}  // namespace lumato::device
