// A bus whose devices note every command they are sent.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/bus.h"

namespace lumato::store {

class SpyBus : public platform::Bus, private platform::BusListener {
  public:
    explicit SpyBus(platform::Bus& bus);
    ~SpyBus() override;

    [[nodiscard]] Result<void> Start(platform::BusListener& listener) override;

    // The commands since the last call, as tests/support/command_letter.h has them.
    std::string Take();
    // From now on its devices pass for hardware, whose INQUIRY tells this vendor (8 characters).
    void BecomeHardware(std::string vendor) { m_vendor = std::move(vendor); }
    // Called for each command afterwards, on the thread that sent it.
    void Watch(std::function<void()> watcher) { m_watcher = std::move(watcher); }

  private:
    class Device;
    class Service;

    void ServiceAppeared(platform::BusService& service) override;
    void ServiceDisappeared(platform::BusService& service) override;

    platform::Bus& m_bus;
    platform::BusListener* m_listener = nullptr;
    std::vector<std::unique_ptr<Service>> m_services;
    std::mutex m_mutex;
    std::string m_commands;
    std::function<void()> m_watcher;
    std::string m_vendor;  // empty: as the devices are
};

}  // namespace lumato::store
