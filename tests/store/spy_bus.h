// A bus whose devices note every command they are sent, in words.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/bus.h"

namespace lumato::store {

using Commands = std::vector<std::string>;

class SpyBus : public platform::Bus, private platform::BusListener {
  public:
    using Watcher = std::function<void(const platform::ScsiRequest&, const platform::ScsiOutcome&)>;

    explicit SpyBus(platform::Bus& bus);
    ~SpyBus() override;

    [[nodiscard]] Result<void> Start(platform::BusListener& listener) override;

    // The commands since the last call: "erase D8 010000", "read 010000 4096", "status" ...; one that did not
    // end with GOOD has " failed" behind it. Any byte that the known commands do not have gives the whole
    // block in hex.
    Commands Take();
    // From now on its devices pass for hardware, whose INQUIRY tells this vendor (8 characters).
    void BecomeHardware(std::string vendor) { m_vendor = std::move(vendor); }
    // Called for each command afterwards, on the thread that sent it.
    void Watch(Watcher watcher) { m_watcher = std::move(watcher); }

  private:
    class Device;
    class Service;

    void ServiceAppeared(platform::BusService& service) override;
    void ServiceDisappeared(platform::BusService& service) override;
    void Note(const platform::ScsiRequest& request, const platform::ScsiOutcome& outcome);

    platform::Bus& m_bus;
    platform::BusListener* m_listener = nullptr;
    std::vector<std::unique_ptr<Service>> m_services;
    std::mutex m_mutex;
    Commands m_commands;
    Watcher m_watcher;
    std::string m_vendor;  // empty: as the devices are
};

// What the operations of the lower room send.
Commands Erase(int address, int instruction = 0xD8);
Commands Program(int address, int length);
Commands Sum(int address, int length);
Commands Read(int address, int length);   // checked
Commands Write(int address, int length);  // checked, one attempt
Commands operator+(Commands first, const Commands& second);

}  // namespace lumato::store
