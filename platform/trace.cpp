#include "platform/trace.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "base/printable.h"

namespace lumato::platform {
namespace {

const char* Name(Direction direction) {
    switch (direction) {
        case Direction::Out:
            return "out";
        case Direction::In:
            return "in";
        default:
            return "none";
    }
}

void AppendHex(std::string& line, std::uint8_t byte) {
    constexpr char digits[] = "0123456789ABCDEF";
    line += digits[byte >> 4];
    line += digits[byte & 0xF];
}

std::string Line(const ScsiRequest& request, const ScsiOutcome& outcome) {
    const std::size_t length = request.direction == Direction::None ? 0 : request.data.size();
    std::string line;
    for (const std::uint8_t byte : request.block)
        AppendHex(line, byte);
    line += std::string(" ") + Name(request.direction) + " " + std::to_string(length) + " ";
    AppendHex(line, outcome.status);
    line += '\n';
    return line;
}

}  // namespace

Result<std::shared_ptr<TraceLog>> TraceLog::Create(const Path& path) {
    std::FILE* file = std::fopen(path.c_str(), "we");
    if (file == nullptr)
        return Fail(KindOfErrno(errno, true), About(Printable(path.native()), SystemMessage(errno)));
    return std::shared_ptr<TraceLog>(new TraceLog(file, path.string()));
}

TraceLog::TraceLog(std::FILE* file, std::string name) : m_file(file), m_name(std::move(name)) {}

TraceLog::~TraceLog() {
    std::fclose(m_file);
}

Result<void> TraceLog::Whole() {
    const std::lock_guard lock(m_mutex);
    return m_whole;
}

void TraceLog::Write(const ScsiRequest& request, const ScsiOutcome& outcome) {
    const std::string line = Line(request, outcome);
    const std::lock_guard lock(m_mutex);
    const bool written =
        std::fwrite(line.data(), 1, line.size(), m_file) == line.size() && std::fflush(m_file) == 0;
    if (!written && m_whole)
        m_whole = Fail(KindOfErrno(errno, true), About(Printable(m_name), SystemMessage(errno)));
}

TracedDevice::TracedDevice(std::unique_ptr<ScsiDevice> device, std::shared_ptr<TraceLog> log)
    : m_device(std::move(device)), m_log(std::move(log)) {}

ScsiOutcome TracedDevice::Execute(const ScsiRequest& request) {
    ScsiOutcome outcome = m_device->Execute(request);
    m_log->Write(request, outcome);
    return outcome;
}

class TracedBus::Service : public BusService {
  public:
    Service(BusService& service, std::shared_ptr<TraceLog> log)
        : m_service(&service),
          m_name(service.Name()),
          m_individual(service.Individual()),
          m_log(std::move(log)) {}

    [[nodiscard]] std::string Name() const override { return m_name; }
    [[nodiscard]] std::string Individual() const override { return m_individual; }
    [[nodiscard]] Result<std::unique_ptr<ScsiDevice>> Open() override {
        if (m_service == nullptr)
            return Fail(ErrorKind::Gone, About(Printable(m_name), "detached"));
        LUMATO_TRY(auto device, m_service->Open());
        return std::make_unique<TracedDevice>(std::move(device), m_log);
    }

    [[nodiscard]] bool Stands(const BusService& service) const { return m_service == &service; }
    void Retire() { m_service = nullptr; }

  private:
    BusService* m_service;  // null once it is gone
    std::string m_name;
    std::string m_individual;
    std::shared_ptr<TraceLog> m_log;
};

TracedBus::TracedBus(Bus& bus, std::shared_ptr<TraceLog> log) : m_bus(bus), m_log(std::move(log)) {}

TracedBus::~TracedBus() = default;

Result<void> TracedBus::Start(BusListener& listener) {
    m_listener = &listener;
    return m_bus.Start(*this);
}

void TracedBus::ServiceAppeared(BusService& service) {
    m_services.push_back(std::make_unique<Service>(service, m_log));
    m_listener->ServiceAppeared(*m_services.back());
}

void TracedBus::ServiceDisappeared(BusService& service) {
    const auto found = std::find_if(m_services.begin(), m_services.end(),
                                    [&](const auto& traced) { return traced->Stands(service); });
    if (found == m_services.end())
        return;
    Service& traced = **found;
    traced.Retire();
    m_listener->ServiceDisappeared(traced);
}

}  // namespace lumato::platform
