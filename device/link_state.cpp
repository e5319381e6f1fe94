#include "device/comm_usb.h"

namespace lumato::device {

LinkState& Link() {
    static LinkState state;
    return state;
}

void ResetLink() {
    LinkState& link = Link();
    link.DeviceStatus = false;
    link.deviceGone = false;
    link.task.Join();
    link.task = platform::Task();
    {
        const std::lock_guard lock(link.deviceMutex);
        link.DevInterface.reset();
    }
    link.frameName.clear();
    link.frame = nullptr;
}

}  // namespace lumato::device
