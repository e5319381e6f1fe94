// A bus into which virtual frames are plugged, several at once if need be.
//
// Main thread only, as every bus; the devices that were opened from it may be used on any thread. A frame
// that vanishes by itself (a fault on order) is reported by the next DeliverEvents().
#pragma once

#include <memory>
#include <vector>

#include "platform/bus.h"
#include "vframe/plugged_frame.h"

namespace lumato::vframe {

class VirtualBus : public platform::Bus {
  public:
    VirtualBus();
    ~VirtualBus() override;

    [[nodiscard]] Result<void> Start(platform::BusListener& listener) override;

    // Plugs in a frame with this flash; its service is announced at once, or by Start(). The service stays
    // valid until the bus is destroyed.
    platform::BusService& Plug(FlashImage flash, FrameOptions options = {});
    // The same with an image file. Errors: those of FlashImage::Open().
    [[nodiscard]] Result<platform::BusService*> Plug(const Path& image, FrameOptions options = {});

    // Pulls the plug, in the middle of a command or not: open devices are gone at once, the image file is
    // free, and the listener has been told when it returns. Requires: the service is one of this bus.
    void Unplug(platform::BusService& service);

    // The frame gets one more fault, its command counted from now on. Not while one runs.
    void Order(platform::BusService& service, Fault fault);

    // Tells the listener of frames that have vanished by themselves since the last call.
    void DeliverEvents();

    // The frame behind a service of this bus, plugged or not.
    [[nodiscard]] VirtualFrame& Frame(platform::BusService& service);

  private:
    class Service;

    std::vector<std::unique_ptr<Service>> m_services;
    platform::BusListener* m_listener = nullptr;
};

}  // namespace lumato::vframe
