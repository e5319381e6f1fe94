// One line for every SCSI command that a device is sent: the command block in hex, "none", "out" or "in", the
// length of the data phase asked for, the status in hex (FF when the command came to none).
//
// Works around any device and any bus. Lines of several devices never mix; each is written out at once.
#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <vector>

#include "base/error.h"
#include "base/file.h"
#include "platform/bus.h"
#include "platform/scsi.h"

namespace lumato::platform {

// The file that the lines go to. Callable from any thread.
class TraceLog {
  public:
    // Empties the file, or makes it, and writes in place: what was sent before a crash is there to be read.
    // Errors: NotFound, Unwritable.
    [[nodiscard]] static Result<std::shared_ptr<TraceLog>> Create(const Path& path);
    ~TraceLog();
    TraceLog(const TraceLog&) = delete;
    TraceLog& operator=(const TraceLog&) = delete;

    // Whether every line so far has been written; the first error otherwise.
    [[nodiscard]] Result<void> Whole();

    void Write(const ScsiRequest& request, const ScsiOutcome& outcome);

  private:
    TraceLog(std::FILE* file, std::string name);

    std::mutex m_mutex;
    std::FILE* m_file;
    std::string m_name;
    Result<void> m_whole;
};

class TracedDevice : public ScsiDevice {
  public:
    TracedDevice(std::unique_ptr<ScsiDevice> device, std::shared_ptr<TraceLog> log);

    [[nodiscard]] ScsiOutcome Execute(const ScsiRequest& request) override;
    [[nodiscard]] bool IsGone() const override { return m_device->IsGone(); }
    [[nodiscard]] bool WantsIdentityConfirmed() const override { return m_device->WantsIdentityConfirmed(); }

  private:
    std::unique_ptr<ScsiDevice> m_device;
    std::shared_ptr<TraceLog> m_log;
};

// A bus whose devices are all traced. Main thread only, as every bus.
class TracedBus : public Bus, private BusListener {
  public:
    // Requires: the bus outlives this object.
    TracedBus(Bus& bus, std::shared_ptr<TraceLog> log);
    ~TracedBus() override;

    [[nodiscard]] Result<void> Start(BusListener& listener) override;

  private:
    class Service;

    void ServiceAppeared(BusService& service) override;
    void ServiceDisappeared(BusService& service) override;

    Bus& m_bus;
    std::shared_ptr<TraceLog> m_log;
    BusListener* m_listener = nullptr;
    std::vector<std::unique_ptr<Service>> m_services;  // kept to the end, as a listener may hold on to one
};

}  // namespace lumato::platform
