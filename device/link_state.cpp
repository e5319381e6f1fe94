#include "device/comm_usb.h"

namespace lumato::device {

LinkState& Link() {
    static LinkState state;
    return state;
}

std::shared_ptr<AttachedFrame> LinkState::Attached() const {
    const std::lock_guard lock(m_mutex);
    return m_attached;
}

void LinkState::Take(std::shared_ptr<AttachedFrame> next) {
    {
        const std::lock_guard lock(m_mutex);
        m_attached.swap(next);
    }
    if (next != nullptr)
        next->Release();
}

void ResetLink() {
    LinkState& link = Link();
    link.Take(nullptr);
    link.task.Join();
    link.task = platform::Task();
    link.frame = nullptr;
}

}  // namespace lumato::device
