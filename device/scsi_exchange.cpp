#include "device/scsi_exchange.h"

#include <algorithm>
#include <array>
#include <string>

#include "base/diagnostics.h"
#include "device/ascii.h"
#include "device/comm_usb.h"

namespace lumato::device {

using platform::Direction;

namespace {

// INQUIRY (SPC-3, 6.4): allocation length 64, though only the standard 36 bytes are taken.
constexpr std::array<std::uint8_t, 6> kInquiry = {0x12, 0x00, 0x00, 0x00, 0x40, 0x00};
constexpr std::size_t kInquiryLength = 36;
constexpr std::size_t kVendorOffset = 8;
constexpr std::size_t kVendorLength = 8;
constexpr std::chrono::milliseconds kInquiryTimeout{200};

// The vendor identification up to its first zero byte, in small letters.
std::string VendorOf(ByteSpan inquiryData) {
    std::string vendor;
    for (const std::uint8_t byte : inquiryData.subspan(kVendorOffset, kVendorLength)) {
        if (byte == 0)
            break;
        vendor += LowerAscii(static_cast<char>(byte));
    }
    return vendor;
}

}  // namespace

bool Exchange(platform::ScsiDevice& device, const platform::ScsiRequest& request,
              std::string_view executionError) {
    if (request.direction == Direction::In)
        std::ranges::fill(request.data, std::uint8_t{0});

    const platform::ScsiOutcome outcome = device.Execute(request);

    // A transport may move a whole buffer for a short answer; what lies behind the answer is not data.
    if (request.direction == Direction::In && outcome.transferred < request.data.size())
        std::ranges::fill(request.data.subspan(outcome.transferred), std::uint8_t{0});
    if (!outcome.executed)
        Diagnose(executionError);
    return outcome.executed && outcome.status == platform::kStatusGood;
}

bool AnswersAsFrame(platform::ScsiDevice& device) {
    if (device.IsGone())
        return false;
    std::array<std::uint8_t, kInquiryLength> answer{};
    platform::ScsiRequest request;
    request.block = kInquiry;
    request.direction = platform::Direction::In;
    request.data = answer;
    request.timeout = kInquiryTimeout;
    return Exchange(device, request, "*********** ERROR Executing Task ***********\n") &&
           VendorOf(answer).find(kFamily) != std::string::npos;
}

}  // namespace lumato::device
