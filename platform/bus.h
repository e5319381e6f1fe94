// What attaches and detaches: the buses on which frames appear. Main thread only; devices go where they are
// used.
#pragma once

#include <memory>
#include <string>

#include "base/error.h"
#include "platform/scsi.h"

namespace lumato::platform {

// A device of a fitting kind that the bus has announced. It may vanish at any time.
class BusService {
  public:
    virtual ~BusService() = default;

    // A name for people: "/dev/sg1", or the image file of a virtual frame. No two services that are present
    // share a name.
    [[nodiscard]] virtual std::string Name() const = 0;

    // What tells this device from another of its model, as far as the system knows: the USB serial number, or
    // the file of an image. Stays the same when it is plugged in again; empty where nothing is known.
    [[nodiscard]] virtual std::string Individual() const { return {}; }

    // Opens the device for exclusive use. Errors: Gone (already detached), Busy, Refused (no permission).
    [[nodiscard]] virtual Result<std::unique_ptr<ScsiDevice>> Open() = 0;
};

class BusListener {
  public:
    virtual ~BusListener() = default;
    virtual void ServiceAppeared(BusService& service) = 0;
    // The service is gone: its Open() fails from now on.
    virtual void ServiceDisappeared(BusService& service) = 0;
};

// All calls, and all calls of the listener, are made on the main thread.
class Bus {
  public:
    virtual ~Bus() = default;

    // Announces the devices already present before it returns, later ones as they come and go.
    // Requires: the listener outlives the bus.
    [[nodiscard]] virtual Result<void> Start(BusListener& listener) = 0;
};

}  // namespace lumato::platform
