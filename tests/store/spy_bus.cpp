#include "tests/store/spy_bus.h"

#include <algorithm>

#include "tests/support/command_letter.h"

namespace lumato::store {

class SpyBus::Device : public platform::ScsiDevice {
  public:
    Device(SpyBus& bus, std::unique_ptr<platform::ScsiDevice> device)
        : m_bus(bus), m_device(std::move(device)) {}

    platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override {
        platform::ScsiOutcome outcome = m_device->Execute(request);
        const char letter = test::LetterOf(request.block);
        if (letter == 'I')
            std::ranges::copy(m_bus.m_vendor, request.data.begin() + 8);
        {
            const std::lock_guard lock(m_bus.m_mutex);
            m_bus.m_commands += letter;
        }
        if (m_bus.m_watcher)
            m_bus.m_watcher();
        return outcome;
    }
    bool IsGone() const override { return m_device->IsGone(); }
    bool WantsIdentityConfirmed() const override { return !m_bus.m_vendor.empty(); }

  private:
    SpyBus& m_bus;
    std::unique_ptr<platform::ScsiDevice> m_device;
};

class SpyBus::Service : public platform::BusService {
  public:
    Service(SpyBus& bus, platform::BusService& service) : m_bus(bus), m_service(service) {}

    std::string Name() const override { return m_service.Name(); }
    Result<std::unique_ptr<platform::ScsiDevice>> Open() override {
        LUMATO_TRY(auto device, m_service.Open());
        return std::make_unique<Device>(m_bus, std::move(device));
    }
    bool Wraps(const platform::BusService& service) const { return &m_service == &service; }

  private:
    SpyBus& m_bus;
    platform::BusService& m_service;
};

SpyBus::SpyBus(platform::Bus& bus) : m_bus(bus) {}
SpyBus::~SpyBus() = default;

Result<void> SpyBus::Start(platform::BusListener& listener) {
    m_listener = &listener;
    return m_bus.Start(*this);
}

std::string SpyBus::Take() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_commands, {});
}

void SpyBus::ServiceAppeared(platform::BusService& service) {
    m_services.push_back(std::make_unique<Service>(*this, service));
    m_listener->ServiceAppeared(*m_services.back());
}

void SpyBus::ServiceDisappeared(platform::BusService& service) {
    for (const auto& known : m_services) {
        if (known->Wraps(service))
            m_listener->ServiceDisappeared(*known);
    }
}

}  // namespace lumato::store
