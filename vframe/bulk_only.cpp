#include "vframe/bulk_only.h"

#include <algorithm>

#include "vframe/pace.h"
#include "vframe/vendor_commands.h"

namespace lumato::vframe {
namespace {

using platform::Direction;

constexpr std::size_t kCommandWrapperSize = 31;
constexpr std::size_t kStatusWrapperSize = 13;
constexpr std::uint32_t kCommandSignature = 0x43425355;  // "USBC"
constexpr std::uint32_t kStatusSignature = 0x53425355;   // "USBS"
constexpr std::size_t kLongestBlock = 16;
constexpr std::size_t kLongestData = 1 << 20;  // no host asks for more in one command

enum WrapperStatus : std::uint8_t { kPassed = 0, kFailed = 1, kPhaseError = 2 };

}  // namespace

bool BulkOnly::Take(ByteSpan packet) {
    switch (m_phase) {
        case Phase::Command:
            return BeginCommand(packet);
        case Phase::DataOut:
            packet = packet.first(std::min(packet.size(), m_expected - m_data.size()));
            m_data.insert(m_data.end(), packet.begin(), packet.end());
            if (m_data.size() == m_expected || (IsPulledIn() && m_data.size() >= m_expected / 2))
                BeginWork();
            return true;
        case Phase::Silent:
            return true;
        default:
            m_phase = Phase::Broken;
            return false;
    }
}

// A wrapper that is not valid and meaningful (there, 6.2) halts the device until it is reset.
bool BulkOnly::BeginCommand(ByteSpan wrapper) {
    m_phase = Phase::Broken;
    if (wrapper.size() != kCommandWrapperSize || GetLe32(wrapper) != kCommandSignature)
        return false;
    const std::size_t blockLength = wrapper[14] & 0x1Fu;
    const std::size_t expected = GetLe32(wrapper.subspan(8));
    if (wrapper[13] != 0 || blockLength < 1 || blockLength > kLongestBlock || expected > kLongestData)
        return false;
    m_tag = GetLe32(wrapper.subspan(4));
    m_expected = expected;
    const ByteSpan block = wrapper.subspan(15, blockLength);
    m_block.assign(block.begin(), block.end());
    m_direction = m_expected == 0              ? Direction::None
                  : (wrapper[12] & 0x80u) != 0 ? Direction::In
                                               : Direction::Out;
    m_data.clear();
    m_given = 0;
    m_fault.reset();
    for (UsbFault& fault : m_faults)
        Count(fault);
    std::erase_if(m_faults, [](const UsbFault& fault) { return fault.command == 0; });
    if (m_fault == TransportFault::Silent)
        m_phase = Phase::Silent;
    else if (m_direction == Direction::Out)
        m_phase = Phase::DataOut;
    else
        BeginWork();
    return true;
}

void BulkOnly::Count(UsbFault& fault) {
    const bool counts = fault.block.empty()
                            ? VendorCommands::IsVendorOpcode(m_block[0])
                            : std::ranges::mismatch(fault.block, m_block).in1 == fault.block.end();
    if (!counts || --fault.command != 0)
        return;
    if (const FaultKind* kind = std::get_if<FaultKind>(&fault.kind))
        m_frame.FailNext(*kind);
    else
        m_fault = std::get<TransportFault>(fault.kind);
}

// Data that the host has not sent, or will get, read as what the command would leave alone: erased flash.
platform::ScsiRequest BulkOnly::Request() {
    m_data.resize(m_expected, m_direction == Direction::In ? 0x00 : 0xFF);
    platform::ScsiRequest request;
    request.block = m_block;
    request.direction = m_direction;
    request.data = m_data;
    return request;
}

void BulkOnly::BeginWork() {
    m_phase = Phase::Work;
    if (IsPulledIn() && m_direction != Direction::In) {
        Pull();
        return;
    }
    if (m_speed <= 0) {
        Execute();
        return;
    }
    const platform::ScsiOutcome good{
        .status = platform::kStatusGood, .executed = true, .transferred = 0, .diagnostic = {}};
    m_endOfWork = std::chrono::steady_clock::now() + PacedDuration(Request(), good, m_speed);
}

std::optional<BulkOnly::Time> BulkOnly::EndOfWork() const {
    return m_phase == Phase::Work ? std::optional(m_endOfWork) : std::nullopt;
}

void BulkOnly::Continue(Time now) {
    if (m_phase == Phase::Work && now >= m_endOfWork)
        Execute();
}

void BulkOnly::Execute() {
    const platform::ScsiOutcome outcome = m_device.Execute(Request());
    const std::size_t moved = std::min(outcome.transferred, m_expected);
    m_status = outcome.status == platform::kStatusGood ? kPassed : kFailed;
    m_residue = static_cast<std::uint32_t>(m_expected - moved);
    m_phase = m_direction == Direction::In ? Phase::DataIn : Phase::Status;
    m_data.resize(m_direction == Direction::In ? moved : 0);
    if (m_fault)
        SpoilAnswer(*m_fault);
    if (m_device.IsGone())
        m_phase = Phase::Silent;  // what is unplugged answers nothing
}

void BulkOnly::SpoilAnswer(TransportFault fault) {
    switch (fault) {
        case TransportFault::Short:
            m_data.resize(m_data.size() / 2);
            m_residue = static_cast<std::uint32_t>(m_expected - m_data.size());
            break;
        case TransportFault::Residue:
            m_residue = static_cast<std::uint32_t>(m_expected);
            break;
        case TransportFault::Phase:
            m_status = kPhaseError;
            break;
        case TransportFault::PullIn:
            m_data.resize(m_data.size() / 2);
            break;
        case TransportFault::PullAfter:
        case TransportFault::Silent:
            break;
    }
}

std::optional<BulkOnly::Answer> BulkOnly::Give(std::size_t length) {
    if (m_halted || m_phase == Phase::Broken)
        return Answer{.halted = true, .bytes = {}};
    if (m_phase == Phase::DataIn)
        return GiveData(length);
    if (m_phase == Phase::Status)
        return GiveStatus();
    return std::nullopt;
}

// Data that are fewer than the host asked for end with a packet that is not full, or else with a halt.
BulkOnly::Answer BulkOnly::GiveData(std::size_t length) {
    const std::size_t count = std::min(length, m_data.size() - m_given);
    if (count == 0) {
        m_phase = Phase::Status;
        m_halted = true;
        return {.halted = true, .bytes = {}};
    }
    const auto begin = m_data.begin() + static_cast<std::ptrdiff_t>(m_given);
    Answer answer{.halted = false, .bytes = {begin, begin + static_cast<std::ptrdiff_t>(count)}};
    m_given += count;
    if (m_given == m_data.size() && IsPulledIn())
        Pull();
    else if (m_given == m_expected || count < length)
        m_phase = Phase::Status;
    return answer;
}

BulkOnly::Answer BulkOnly::GiveStatus() {
    Answer answer{.halted = false, .bytes = std::vector<std::uint8_t>(kStatusWrapperSize)};
    const MutableByteSpan wrapper = answer.bytes;
    PutLe32(wrapper, kStatusSignature);
    PutLe32(wrapper.subspan(4), m_tag);
    PutLe32(wrapper.subspan(8), m_residue);
    wrapper[12] = m_status;
    m_phase = Phase::Command;
    if (m_fault == TransportFault::PullAfter)
        Pull();
    return answer;
}

void BulkOnly::Pull() {
    const bool works = m_phase == Phase::Work || (m_phase == Phase::DataOut && !m_data.empty());
    if (works) {
        m_frame.FailNext(FaultKind::Half);
        static_cast<void>(m_device.Execute(Request()));
    }
    m_phase = Phase::Silent;
    m_pulled = true;
}

void BulkOnly::Reset() {
    if (m_phase == Phase::Work)
        Execute();
    m_phase = m_pulled ? Phase::Silent : Phase::Command;
    m_halted = false;
    m_data.clear();
    m_fault.reset();
}

void BulkOnly::ClearHalt(bool towardsHost) {
    if (towardsHost)
        m_halted = false;
}

}  // namespace lumato::vframe
