#include "vframe/virtual_bus.h"

#include <atomic>
#include <utility>

#include "base/printable.h"

namespace lumato::vframe {
namespace {

// A frame and whether somebody holds it.
struct Slot {
    Slot(FlashImage flash, FrameOptions options) : plugged(std::move(flash), std::move(options)) {}

    PluggedFrame plugged;
    std::atomic<bool> held{false};
};

// The exclusive hold: one exists per frame at most.
class HeldFrame : public platform::ScsiDevice {
  public:
    explicit HeldFrame(std::shared_ptr<Slot> slot) : m_slot(std::move(slot)) {}
    ~HeldFrame() override { m_slot->held = false; }
    HeldFrame(const HeldFrame&) = delete;
    HeldFrame& operator=(const HeldFrame&) = delete;

    [[nodiscard]] platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override {
        return IsGone() ? platform::ScsiOutcome{} : m_slot->plugged.Execute(request);
    }
    [[nodiscard]] bool IsGone() const override { return m_slot->plugged.IsGone(); }

  private:
    std::shared_ptr<Slot> m_slot;
};

}  // namespace

class VirtualBus::Service : public platform::BusService {
  public:
    Service(FlashImage flash, FrameOptions options)
        : m_name(flash.Name()),
          m_individual(flash.FileIdentity()),
          m_slot(std::make_shared<Slot>(std::move(flash), std::move(options))) {}

    [[nodiscard]] std::string Name() const override { return m_name; }
    [[nodiscard]] std::string Individual() const override { return m_individual; }

    [[nodiscard]] Result<std::unique_ptr<platform::ScsiDevice>> Open() override {
        if (Frame().IsGone())
            return Fail(ErrorKind::Gone, About(Printable(m_name), kUnplugged));
        if (m_slot->held.exchange(true))
            return Fail(ErrorKind::Busy, About(Printable(m_name), Phrase("IN_USE", "in use")));
        return std::make_unique<HeldFrame>(m_slot);
    }

    [[nodiscard]] VirtualFrame& Frame() { return m_slot->plugged.Frame(); }
    void Order(Fault fault) { m_slot->plugged.Order(fault); }

    // Each tells the listener once.
    void Announce(platform::BusListener& listener) {
        if (!Frame().IsGone() && !std::exchange(m_announced, true))
            listener.ServiceAppeared(*this);
    }
    void Withdraw(platform::BusListener& listener) {
        if (Frame().IsGone() && std::exchange(m_announced, false))
            listener.ServiceDisappeared(*this);
    }

  private:
    std::string m_name;
    std::string m_individual;
    std::shared_ptr<Slot> m_slot;
    bool m_announced = false;
};

VirtualBus::VirtualBus() = default;
VirtualBus::~VirtualBus() = default;

Result<void> VirtualBus::Start(platform::BusListener& listener) {
    m_listener = &listener;
    // By index, here and below: a listener may plug or unplug while it is told.
    for (std::size_t i = 0; i < m_services.size(); ++i)
        m_services[i]->Announce(listener);
    return {};
}

platform::BusService& VirtualBus::Plug(FlashImage flash, FrameOptions options) {
    m_services.push_back(std::make_unique<Service>(std::move(flash), std::move(options)));
    Service& service = *m_services.back();
    if (m_listener != nullptr)
        service.Announce(*m_listener);
    return service;
}

Result<platform::BusService*> VirtualBus::Plug(const Path& image, FrameOptions options) {
    LUMATO_TRY(FlashImage flash, FlashImage::Open(image));
    return &Plug(std::move(flash), std::move(options));
}

void VirtualBus::Unplug(platform::BusService& service) {
    Frame(service).Unplug();
    DeliverEvents();
}

void VirtualBus::Order(platform::BusService& service, Fault fault) {
    static_cast<Service&>(service).Order(fault);
}

void VirtualBus::DeliverEvents() {
    if (m_listener == nullptr)
        return;
    for (std::size_t i = 0; i < m_services.size(); ++i)
        m_services[i]->Withdraw(*m_listener);
}

VirtualFrame& VirtualBus::Frame(platform::BusService& service) {
    return static_cast<Service&>(service).Frame();
}

}  // namespace lumato::vframe
