#include "vframe/faults.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>

namespace lumato::vframe {
namespace {

using platform::Direction;
using platform::ScsiOutcome;
using platform::ScsiRequest;

constexpr std::pair<std::string_view, FaultKind> kKinds[] = {
    {"refuse", FaultKind::Refuse}, {"lost", FaultKind::Lost}, {"half", FaultKind::Half},
    {"flip", FaultKind::Flip},     {"lie", FaultKind::Lie},   {"unplug", FaultKind::Unplug},
};

tl::unexpected<Error> NoFault(std::string_view text, const char* why) {
    return Fail(ErrorKind::Unsupported, "fault \"" + std::string(text) + "\": " + why);
}

ScsiOutcome ExecuteLost(VirtualFrame& frame, const ScsiRequest& request) {
    const ScsiOutcome outcome = frame.Execute(request);
    if (outcome.status != platform::kStatusGood)
        return outcome;
    ScsiOutcome reported = frame.ReportFailure();
    reported.transferred = outcome.transferred;
    return reported;
}

ScsiOutcome ExecuteFlipped(VirtualFrame& frame, const ScsiRequest& request) {
    if (request.direction == Direction::Out && !request.data.empty()) {
        std::vector<std::uint8_t> changed(request.data.begin(), request.data.end());
        changed[0] ^= 1;
        ScsiRequest spoiled = request;
        spoiled.data = changed;
        return frame.Execute(spoiled);
    }
    ScsiOutcome outcome = frame.Execute(request);
    if (request.direction == Direction::In && outcome.transferred > 0)
        request.data[0] ^= 1;
    return outcome;
}

ScsiOutcome Pretend(const VirtualFrame& frame, const ScsiRequest& request) {
    if (frame.IsGone())
        return {};
    if (request.direction == Direction::In)
        std::ranges::fill(request.data, std::uint8_t{0});
    return {.status = platform::kStatusGood,
            .executed = true,
            .transferred = request.data.size(),
            .diagnostic = {}};
}

}  // namespace

Result<Fault> ParseFault(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return NoFault(text, "not of the form N:KIND");
    Fault fault;
    const char* end = text.data() + colon;
    const auto [stopped, error] = std::from_chars(text.data(), end, fault.command);
    if (error != std::errc{} || stopped != end || fault.command == 0)
        return NoFault(text, "commands are counted from 1");
    const auto* kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                    [&](const auto& known) { return known.first == text.substr(colon + 1); });
    if (kind == std::end(kKinds))
        return NoFault(text, "the kind is one of refuse, lost, half, flip, lie and unplug");
    fault.kind = kind->second;
    return fault;
}

FaultyFrame::FaultyFrame(VirtualFrame& frame, std::vector<Fault> faults)
    : m_frame(frame), m_faults(std::move(faults)) {}

ScsiOutcome FaultyFrame::Execute(const ScsiRequest& request) {
    ++m_commands;
    const auto fault = std::find_if(m_faults.begin(), m_faults.end(),
                                    [this](const Fault& f) { return f.command == m_commands; });
    return fault == m_faults.end() ? m_frame.Execute(request) : ExecuteWrongly(request, fault->kind);
}

ScsiOutcome FaultyFrame::ExecuteWrongly(const ScsiRequest& request, FaultKind kind) {
    switch (kind) {
        case FaultKind::Refuse:
            return m_frame.ReportFailure();
        case FaultKind::Lost:
            return ExecuteLost(m_frame, request);
        case FaultKind::Half:
            return m_frame.ExecuteHalf(request);
        case FaultKind::Flip:
            return ExecuteFlipped(m_frame, request);
        case FaultKind::Lie:
            return Pretend(m_frame, request);
        case FaultKind::Unplug:
            break;
    }
    m_frame.Unplug();
    return {};
}

}  // namespace lumato::vframe
