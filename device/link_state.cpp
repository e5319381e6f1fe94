#include "device/comm_usb.h"
#include "device/open_device.h"

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
    link.frameIndividual.clear();
    link.frame = nullptr;
}

FrameNames NamesOfFrame() {
    LinkState& link = Link();
    const std::lock_guard lock(link.deviceMutex);
    return {link.frameName, link.frameIndividual};
}

std::shared_ptr<platform::ScsiDevice> OpenDevice() {
    LinkState& link = Link();
    const std::lock_guard lock(link.deviceMutex);
    return link.DevInterface;
}

void NoteIfGone(const std::shared_ptr<platform::ScsiDevice>& device) {
    if (!device->IsGone())
        return;
    LinkState& link = Link();
    const std::lock_guard lock(link.deviceMutex);
    if (link.DevInterface == device)
        link.deviceGone = true;
}

}  // namespace lumato::device
