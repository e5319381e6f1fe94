// The USB bus on the window's event loop: what comes and goes is announced as it happens.
//
// Main thread only.
#pragma once

#include <QSocketNotifier>
#include <memory>

#include "platform/linux/usb_bus.h"

namespace lumato::app {

class UsbWatch : public platform::Bus {
  public:
    explicit UsbWatch(platform::UsbBusOptions options) : m_bus(std::move(options)) {}

    [[nodiscard]] Result<void> Start(platform::BusListener& listener) override {
        LUMATO_TRY_VOID(m_bus.Start(listener));
        if (m_bus.Descriptor() < 0)
            return {};
        m_notifier = std::make_unique<QSocketNotifier>(m_bus.Descriptor(), QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { m_bus.DeliverEvents(); });
        return {};
    }

  private:
    platform::UsbBus m_bus;
    std::unique_ptr<QSocketNotifier> m_notifier;  // goes before the bus, whose descriptor it watches
};

}  // namespace lumato::app
