// The USB bus on the window's event loop: what comes and goes is announced as it happens.
//
// Main thread only.
#pragma once

#include <QSocketNotifier>
#include <QTimer>
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
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { Deliver(); });
        QObject::connect(&m_again, &QTimer::timeout, [this] { Deliver(); });
        m_again.setSingleShot(true);
        m_again.setInterval(kGlance);
        Deliver();
        return {};
    }

  private:
    static constexpr std::chrono::milliseconds kGlance{250};

    void Deliver() {
        m_bus.DeliverEvents();
        if (m_bus.AwaitsNode())
            m_again.start();
    }

    platform::UsbBus m_bus;
    QTimer m_again;
    std::unique_ptr<QSocketNotifier> m_notifier;  // goes before the bus, whose descriptor it watches
};

}  // namespace lumato::app
