#include "app/frame/frame_buses.h"

#include <algorithm>
#include <utility>

namespace lumato::app {

using platform::BusService;

FrameBuses::FrameBuses(platform::Bus& virtualFrames, platform::Bus* hardware, LooseThreads::Job prepare)
    : m_virtualFrames(virtualFrames), m_hardware(hardware), m_prepare(std::move(prepare)) {
    m_virtualRelay.appeared = [this](BusService& service) { m_listener->ServiceAppeared(service); };
    m_virtualRelay.disappeared = [this](BusService& service) { m_listener->ServiceDisappeared(service); };
    m_hardwareRelay.appeared = [this](BusService& service) { HardwareAppeared(service); };
    m_hardwareRelay.disappeared = [this](BusService& service) { HardwareDisappeared(service); };
}

Result<void> FrameBuses::Start(platform::BusListener& listener) {
    m_listener = &listener;
    LUMATO_TRY_VOID(m_virtualFrames.Start(m_virtualRelay));
    return m_hardware != nullptr ? m_hardware->Start(m_hardwareRelay) : Result<void>();
}

void FrameBuses::Stop() {
    m_waiting.clear();
    m_beingPrepared = 0;
    m_prepare = nullptr;
}

void FrameBuses::HardwareAppeared(BusService& service) {
    if (m_prepare == nullptr)
        return;
    m_waiting.push_back(&service);
    if (m_beingPrepared == 0)
        Prepare();
}

// Of one that was gone before it was announced nobody hears.
void FrameBuses::HardwareDisappeared(BusService& service) {
    const auto waiting = std::ranges::find(m_waiting, &service);
    if (waiting == m_waiting.end()) {
        m_listener->ServiceDisappeared(service);
        return;
    }
    if (static_cast<std::size_t>(waiting - m_waiting.begin()) < m_beingPrepared)
        *waiting = nullptr;
    else
        m_waiting.erase(waiting);
}

void FrameBuses::Prepare() {
    m_beingPrepared = m_waiting.size();
    m_preparations.Start([this, prepare = m_prepare]() -> LooseThreads::Outcome {
        return [this, outcome = prepare()] {
            if (outcome)
                outcome();
            AnnounceHardware();
        };
    });
}

void FrameBuses::AnnounceHardware() {
    while (m_beingPrepared > 0) {
        --m_beingPrepared;
        BusService* const service = m_waiting.front();
        m_waiting.pop_front();
        if (service != nullptr)
            m_listener->ServiceAppeared(*service);
    }
    if (!m_waiting.empty())
        Prepare();
}

}  // namespace lumato::app
