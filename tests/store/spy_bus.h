// A bus whose devices note every command they are sent.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/bus.h"
#include "tests/support/command_letter.h"

namespace lumato::store {

class SpyBus : public platform::Bus, private platform::BusListener {
  public:
    explicit SpyBus(platform::Bus& bus) : m_bus(bus) {}

    [[nodiscard]] Result<void> Start(platform::BusListener& listener) override {
        m_listener = &listener;
        return m_bus.Start(*this);
    }

    // The commands since the last call, as tests/support/command_letter.h has them.
    std::string Take() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_commands, {});
    }
    // From now on its devices pass for hardware, whose INQUIRY tells this vendor (8 characters).
    void BecomeHardware(std::string vendor) { m_vendor = std::move(vendor); }
    // Called for each command afterwards, on the thread that sent it.
    void Watch(std::function<void()> watcher) { m_watcher = std::move(watcher); }

  private:
    struct Device : platform::ScsiDevice {
        Device(SpyBus& spy, std::unique_ptr<platform::ScsiDevice> real) : bus(spy), device(std::move(real)) {}

        platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override {
            platform::ScsiOutcome outcome = device->Execute(request);
            const char letter = test::LetterOf(request.block);
            if (letter == 'I')
                std::ranges::copy(bus.m_vendor, request.data.begin() + 8);
            {
                const std::lock_guard lock(bus.m_mutex);
                bus.m_commands += letter;
            }
            if (bus.m_watcher)
                bus.m_watcher();
            return outcome;
        }
        bool IsGone() const override { return device->IsGone(); }
        bool WantsIdentityConfirmed() const override { return !bus.m_vendor.empty(); }

        SpyBus& bus;
        std::unique_ptr<platform::ScsiDevice> device;
    };
    struct Service : platform::BusService {
        Service(SpyBus& spy, platform::BusService& real) : bus(spy), service(real) {}

        std::string Name() const override { return service.Name(); }
        Result<std::unique_ptr<platform::ScsiDevice>> Open() override {
            LUMATO_TRY(auto device, service.Open());
            return std::make_unique<Device>(bus, std::move(device));
        }

        SpyBus& bus;
        platform::BusService& service;
    };

    void ServiceAppeared(platform::BusService& service) override {
        m_services.push_back(std::make_unique<Service>(*this, service));
        m_listener->ServiceAppeared(*m_services.back());
    }
    void ServiceDisappeared(platform::BusService& service) override {
        for (const auto& known : m_services) {
            if (&known->service == &service)
                m_listener->ServiceDisappeared(*known);
        }
    }

    platform::Bus& m_bus;
    platform::BusListener* m_listener = nullptr;
    std::vector<std::unique_ptr<Service>> m_services;
    std::mutex m_mutex;
    std::string m_commands;
    std::function<void()> m_watcher;
    std::string m_vendor;  // empty: as the devices are
};

}  // namespace lumato::store
