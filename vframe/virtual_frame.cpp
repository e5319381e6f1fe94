#include "vframe/virtual_frame.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace lumato::vframe {
namespace {

using platform::Direction;
using platform::ScsiOutcome;
using platform::ScsiRequest;

constexpr std::uint8_t kRequestSense = 0x03;
constexpr std::size_t kSenseSize = 18;

std::string Describe(const Sense& sense) {
    char text[32];
    std::snprintf(text, sizeof text, "sense %X/%02X/%02X", unsigned{sense.key}, unsigned{sense.code},
                  unsigned{sense.qualifier});
    return sense.detail.empty() ? text : std::string(text) + ": " + sense.detail;
}

}  // namespace

VirtualFrame::VirtualFrame(FlashImage flash, Identity identity)
    : m_chip(std::move(flash)), m_vendor(m_chip), m_target(std::move(identity)) {}

ScsiOutcome VirtualFrame::Execute(const ScsiRequest& request) {
    const std::lock_guard lock(m_mutex);
    if (m_gone)
        return {};
    const Reply reply = Dispatch(request);
    return Report(reply, reply.value_or(0));
}

ScsiOutcome VirtualFrame::ExecuteHalf(const ScsiRequest& request) {
    const std::lock_guard lock(m_mutex);
    if (m_gone)
        return {};
    std::size_t transferred = 0;
    const Reply reply = DispatchHalf(request, transferred);
    return Report(reply ? Refuse(kInvalidField) : reply, transferred);
}

ScsiOutcome VirtualFrame::ReportFailure() {
    const std::lock_guard lock(m_mutex);
    if (m_gone)
        return {};
    return Report(Refuse(kInvalidField), 0);
}

void VirtualFrame::Unplug() {
    m_gone = true;
    const std::lock_guard lock(m_mutex);
    m_chip.Close();
}

std::vector<std::uint8_t> VirtualFrame::FlashBytes() const {
    const std::lock_guard lock(m_mutex);
    std::vector<std::uint8_t> bytes(m_chip.Image().Size());
    if (!m_chip.Image().Read(0, bytes))
        return {};
    return bytes;
}

Reply VirtualFrame::Dispatch(const ScsiRequest& request) {
    if (request.block.empty())
        return Refuse(kInvalidField);
    const std::uint8_t operation = request.block[0];
    if (operation == kRequestSense)
        return RequestSense(request);
    m_sense = kNoSense;
    return VendorCommands::IsVendorOpcode(operation) ? m_vendor.Execute(request, Extent::Whole)
                                                     : m_target.Execute(request);
}

Reply VirtualFrame::DispatchHalf(const ScsiRequest& request, std::size_t& transferred) {
    if (request.direction == Direction::In) {
        std::vector<std::uint8_t> answer(request.data.size());
        ScsiRequest whole = request;
        whole.data = answer;
        const Reply reply = Dispatch(whole);
        transferred = reply.value_or(0) / 2;
        std::copy_n(answer.begin(), transferred, request.data.begin());
        return reply;
    }
    if (ErasedBytes(request.block) == 0 && !IsProgram(request.block))
        return Refuse(kInvalidField);
    const Reply reply = m_vendor.Execute(request, Extent::FirstHalf);
    transferred = reply.value_or(0);
    return reply;
}

// Fixed format (SPC-2, 7.20.2). Reported once.
Reply VirtualFrame::RequestSense(const ScsiRequest& request) {
    if (request.block.size() < 6)
        return Refuse(kInvalidField);
    std::array<std::uint8_t, kSenseSize> data{};
    data[0] = 0x70;
    data[2] = m_sense.key;
    data[7] = kSenseSize - 8;
    data[12] = m_sense.code;
    data[13] = m_sense.qualifier;
    m_sense = kNoSense;
    return SendAnswer(request, data, request.block[4]);
}

ScsiOutcome VirtualFrame::Report(const Reply& reply, std::size_t transferred) {
    if (reply)
        return {
            .status = platform::kStatusGood, .executed = true, .transferred = transferred, .diagnostic = {}};
    m_sense = reply.error();
    return {.status = platform::kStatusCheckCondition,
            .executed = true,
            .transferred = transferred,
            .diagnostic = Describe(m_sense)};
}

}  // namespace lumato::vframe
