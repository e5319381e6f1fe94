// The buses of the window as one: hardware, and virtual frames beside it. Before a frame of hardware is
// announced, its volume is unmounted, which can take seconds: nobody waits for it, the end of the program
// included.
//
// Main thread only, as every bus.
#pragma once

#include <deque>
#include <functional>

#include "app/parts/loose_threads.h"
#include "platform/bus.h"

namespace lumato::app {

class FrameBuses : public platform::Bus {
  public:
    // `hardware` may be null. `prepare`, which holds all that it needs by itself, is run on a thread before
    // services of the hardware are announced, those that came meanwhile together.
    FrameBuses(platform::Bus& virtualFrames, platform::Bus* hardware, LooseThreads::Job prepare);

    // Virtual frames are announced before it returns, those of the hardware later on the event loop. Errors:
    // those of the hardware; virtual frames come and go all the same.
    [[nodiscard]] Result<void> Start(platform::BusListener& listener) override;
    // Announces nothing any more.
    void Stop();

  private:
    struct Relay : platform::BusListener {
        std::function<void(platform::BusService&)> appeared, disappeared;
        void ServiceAppeared(platform::BusService& service) override { appeared(service); }
        void ServiceDisappeared(platform::BusService& service) override { disappeared(service); }
    };

    void HardwareAppeared(platform::BusService& service);
    void HardwareDisappeared(platform::BusService& service);
    void Prepare();
    void AnnounceHardware();

    platform::Bus& m_virtualFrames;
    platform::Bus* m_hardware;
    LooseThreads::Job m_prepare;
    platform::BusListener* m_listener = nullptr;
    Relay m_virtualRelay, m_hardwareRelay;
    std::deque<platform::BusService*> m_waiting;  // appeared, and not yet announced
    std::size_t m_beingPrepared = 0;              // of those, from the front
    LooseThreads m_preparations{1};
};

}  // namespace lumato::app
