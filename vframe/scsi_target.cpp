#include "vframe/scsi_target.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "vframe/volume.h"

namespace lumato::vframe {
namespace {

using platform::Direction;
using platform::ScsiRequest;

enum Operation : std::uint8_t {
    kTestUnitReady = 0x00,
    kInquiry = 0x12,
    kModeSense6 = 0x1A,
    kStartStopUnit = 0x1B,
    kPreventAllow = 0x1E,
    kReadCapacity10 = 0x25,
    kRead10 = 0x28,
    kWrite10 = 0x2A,
};

constexpr std::size_t kInquirySize = 36;

std::array<std::uint8_t, kInquirySize> InquiryData(const Identity& identity) {
    std::array<std::uint8_t, kInquirySize> data{};
    data[0] = identity.type;
    data[1] = 0x80;  // removable
    data[2] = 2;     // SPC-2's predecessor: keeps the kernel from asking for LUNs and VPD pages
    data[3] = 2;     // response data format
    data[4] = kInquirySize - 5;
    constexpr std::size_t vendorLength = 8;
    constexpr std::string_view names = "        Photo Frame     1.00";
    std::copy(names.begin(), names.end(), data.begin() + 8);
    std::copy_n(identity.vendor.begin(), std::min(identity.vendor.size(), vendorLength), data.begin() + 8);
    return data;
}

Reply Inquiry(const ScsiRequest& request, const Identity& identity) {
    const bool vitalProductData = (request.block[1] & 0x01) != 0;
    if (vitalProductData || request.block[2] != 0)
        return Refuse(kInvalidField);
    return SendAnswer(request, InquiryData(identity), request.block[4]);
}

Reply ModeSense(const ScsiRequest& request) {
    constexpr std::array<std::uint8_t, 4> writeProtectedHeader = {3, 0, 0x80, 0};
    return SendAnswer(request, writeProtectedHeader, request.block[4]);
}

Reply ReadCapacity(const ScsiRequest& request) {
    std::array<std::uint8_t, 8> answer{};
    PutBe32(answer, kVolumeBlocks - 1);
    PutBe32(MutableByteSpan(answer).subspan(4), kVolumeBlockSize);
    return SendAnswer(request, answer, answer.size());
}

Reply NoData(const ScsiRequest& request) {
    if (request.direction != Direction::None && !request.data.empty())
        return Refuse(kInvalidField);
    return 0;
}

// The group code, the upper three bits of the operation code, gives the length (SPC-2, 4.3.2).
std::size_t BlockLength(std::uint8_t operation) {
    return operation < 0x20 ? 6 : 10;
}

}  // namespace

Reply SendAnswer(const ScsiRequest& request, ByteSpan answer, std::size_t allocation) {
    if (request.direction == Direction::Out || (request.direction == Direction::None && allocation != 0))
        return Refuse(kInvalidField);
    const std::size_t length = std::min({answer.size(), allocation, request.data.size()});
    std::copy_n(answer.begin(), length, request.data.begin());
    return length;
}

ScsiTarget::ScsiTarget(Identity identity) : m_identity(std::move(identity)) {}

Reply ScsiTarget::Execute(const ScsiRequest& request) const {
    if (request.block.size() < BlockLength(request.block[0]))
        return Refuse(kInvalidField);
    switch (request.block[0]) {
        case kTestUnitReady:
        case kPreventAllow:
        case kStartStopUnit:
            return NoData(request);
        case kInquiry:
            return Inquiry(request, m_identity);
        case kModeSense6:
            return ModeSense(request);
        case kReadCapacity10:
            return ReadCapacity(request);
        case kRead10:
            return ReadBlocks(request);
        case kWrite10:
            return Refuse(kWriteProtected);
        default:
            return Refuse(kUnknownCommand);
    }
}

Reply ScsiTarget::ReadBlocks(const ScsiRequest& request) const {
    const std::uint64_t first = GetBe32(request.block.subspan(2));
    const std::uint64_t count = GetBe16(request.block.subspan(7));
    if (first + count > kVolumeBlocks)
        return Refuse(kOutOfRange);
    const ByteSpan data = VolumeBytes().subspan(first * kVolumeBlockSize, count * kVolumeBlockSize);
    if (data.size() != request.data.size())
        return Refuse(kInvalidField);
    return SendAnswer(request, data, data.size());
}

}  // namespace lumato::vframe
