#include "tests/store/spy_bus.h"

#include <algorithm>
#include <cstdio>

#include "base/bytes.h"

namespace lumato::store {
namespace {

std::string Text(const char* format, unsigned a = 0, unsigned b = 0) {
    char text[64];
    // The formats are the literals below.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(text, sizeof text, format, a, b);
#pragma GCC diagnostic pop
    return text;
}

std::string Hex(ByteSpan block) {
    std::string hex;
    for (const std::uint8_t byte : block)
        hex += Text("%02X", byte);
    return hex;
}

std::string Word(const platform::ScsiRequest& request) {
    const ByteSpan b = request.block;
    if (b.size() != 16)
        return b.size() == 6 && b[0] == 0x12 ? "inquiry" : Hex(b);
    const unsigned address = GetBe24(b.subspan(11));
    const unsigned length = GetBe24(b.subspan(7));
    const bool in = b[0] == 0xCD;
    const unsigned kind = (unsigned{b[5]} << 16) | (unsigned{b[6]} << 8) | b[10];
    if (b[0] == 0xCA)
        return "clock";
    if (in && kind == 0x050500)
        return Text("sum %06X %u", address, b[7] == 0 && b[8] == 0 ? 65536U : GetBe16(b.subspan(7)));
    if (in && kind == 0x000105)
        return "status";
    if (in && kind == 0x000403)
        return Text("read %06X %u", address, length);
    if (!in && kind == 0x000106)
        return "enable";
    if (!in && kind == 0x000201)
        return Text("write status %02X", b[11]);
    if (!in && kind == 0x000402)
        return Text("program %06X %u", address, length);
    if (!in && (kind & 0xFFFF00) == 0x000400 && length == 0)
        return Text("erase %02X %06X", b[10], address);
    return Hex(b);
}

Commands Prepare() {
    return {"enable", "write status 00", "enable"};
}

}  // namespace

class SpyBus::Device : public platform::ScsiDevice {
  public:
    Device(SpyBus& bus, std::unique_ptr<platform::ScsiDevice> device)
        : m_bus(bus), m_device(std::move(device)) {}

    platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override {
        platform::ScsiOutcome outcome = m_device->Execute(request);
        if (!m_bus.m_vendor.empty() && Word(request) == "inquiry")
            std::copy(m_bus.m_vendor.begin(), m_bus.m_vendor.end(), request.data.begin() + 8);
        m_bus.Note(request, outcome);
        return outcome;
    }
    bool IsGone() const override { return m_device->IsGone(); }
    bool WantsIdentityConfirmed() const override { return !m_bus.m_vendor.empty(); }

  private:
    SpyBus& m_bus;
    std::unique_ptr<platform::ScsiDevice> m_device;
};

class SpyBus::Service : public platform::BusService {
  public:
    Service(SpyBus& bus, platform::BusService& service) : m_bus(bus), m_service(service) {}

    std::string Name() const override { return m_service.Name(); }
    Result<std::unique_ptr<platform::ScsiDevice>> Open() override {
        LUMATO_TRY(auto device, m_service.Open());
        return std::make_unique<Device>(m_bus, std::move(device));
    }
    bool Wraps(const platform::BusService& service) const { return &m_service == &service; }

  private:
    SpyBus& m_bus;
    platform::BusService& m_service;
};

SpyBus::SpyBus(platform::Bus& bus) : m_bus(bus) {}
SpyBus::~SpyBus() = default;

Result<void> SpyBus::Start(platform::BusListener& listener) {
    m_listener = &listener;
    return m_bus.Start(*this);
}

Commands SpyBus::Take() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_commands, {});
}

void SpyBus::ServiceAppeared(platform::BusService& service) {
    m_services.push_back(std::make_unique<Service>(*this, service));
    m_listener->ServiceAppeared(*m_services.back());
}

void SpyBus::ServiceDisappeared(platform::BusService& service) {
    for (const auto& known : m_services) {
        if (known->Wraps(service))
            m_listener->ServiceDisappeared(*known);
    }
}

void SpyBus::Note(const platform::ScsiRequest& request, const platform::ScsiOutcome& outcome) {
    {
        const std::lock_guard lock(m_mutex);
        m_commands.push_back(Word(request) + (outcome.status == platform::kStatusGood ? "" : " failed"));
    }
    if (m_watcher)
        m_watcher(request, outcome);
}

Commands operator+(Commands first, const Commands& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Commands Erase(int address, int instruction) {
    return Prepare() + Commands{Text("erase %02X %06X", static_cast<unsigned>(instruction),
                                     static_cast<unsigned>(address))};
}

Commands Program(int address, int length) {
    return Prepare() +
           Commands{Text("program %06X %u", static_cast<unsigned>(address), static_cast<unsigned>(length))};
}

Commands Sum(int address, int length) {
    return {Text("sum %06X %u", static_cast<unsigned>(address), static_cast<unsigned>(length))};
}

Commands Read(int address, int length) {
    return Commands{Text("read %06X %u", static_cast<unsigned>(address), static_cast<unsigned>(length)),
                    "status"} +
           Sum(address, length);
}

Commands Write(int address, int length) {
    return Erase(address) + Program(address, length) + Sum(address, length);
}

}  // namespace lumato::store
