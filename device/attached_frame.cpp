#include "device/attached_frame.h"

#include <utility>

#include "base/diagnostics.h"
#include "device/scsi_exchange.h"

namespace lumato::device {
namespace {

using platform::Direction;

constexpr std::size_t kBlockLength = 16;
constexpr std::chrono::milliseconds kCommandTimeout{5000};
constexpr std::chrono::seconds kAttemptsApart{2};  // at most: what comes later is other work

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

AttachedFrame::AttachedFrame(std::shared_ptr<platform::ScsiDevice> device, std::string name,
                             std::string individual, FrameModel model)
    : m_name(std::move(name)),
      m_individual(std::move(individual)),
      m_model(std::move(model)),
      DevInterface(std::move(device)) {}

std::shared_ptr<platform::ScsiDevice> AttachedFrame::Borrow() {
    const std::lock_guard lock(m_mutex);
    if (DevInterface == nullptr)
        return nullptr;
    NoteIfGone(*DevInterface);
    return IsThere() ? DevInterface : nullptr;
}

void AttachedFrame::NoteIfGone(const platform::ScsiDevice& device) {
    auto attached = Presence::Attached;
    if (device.IsGone())
        DeviceStatus.compare_exchange_strong(attached, Presence::Vanished);
}

void AttachedFrame::Release() {
    DeviceStatus = Presence::Released;
    std::shared_ptr<platform::ScsiDevice> last;  // closed outside the lock, if no command still uses it
    const std::lock_guard lock(m_mutex);
    last.swap(DevInterface);
}

void AttachedFrame::NoteBegin() {
    const Clock::time_point now = Clock::now();
    if (m_unansweredSince == 0 || now - m_ended > kAttemptsApart)
        m_unansweredSince = now.time_since_epoch().count();
}

std::chrono::seconds AttachedFrame::Silence() const {
    const Clock::rep since = m_unansweredSince;
    if (since == 0)
        return {};
    return std::chrono::duration_cast<std::chrono::seconds>(Clock::now().time_since_epoch() -
                                                            Clock::duration(since));
}

bool AttachedFrame::ConfirmIdentity() {
    const std::shared_ptr<platform::ScsiDevice> device = Borrow();
    if (device == nullptr || !device->WantsIdentityConfirmed())
        return device != nullptr;
    const bool confirmed = AnswersAsFrame(*device);
    NoteIfGone(*device);
    return confirmed;
}

bool AttachedFrame::SendCmdToDPF(char* commandBlock, char* data, int length, int direction) {
    const std::shared_ptr<platform::ScsiDevice> device = Borrow();
    if (device == nullptr)
        return false;

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

    NoteBegin();
    const bool good = Exchange(*device, request, "*********** ERROR Executing Task ***********");
    m_ended = Clock::now();
    if (good)
        m_unansweredSince = 0;
    NoteIfGone(*device);
    return good;
}

}  // namespace lumato::device
