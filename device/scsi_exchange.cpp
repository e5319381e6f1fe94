#include "device/scsi_exchange.h"

#include <algorithm>
#include <array>
#include <string>

#include "base/ascii.h"
#include "base/diagnostics.h"
#include "base/printable.h"
#include "device/comm_usb.h"
#include "device/command_trace.h"

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

// A field of the answer, without the blanks and zeros that fill it.
std::string Field(ByteSpan inquiryData, std::size_t offset, std::size_t length) {
    const ByteSpan field = inquiryData.subspan(offset, length);
    const std::string text(field.begin(), std::ranges::find(field, std::uint8_t{0}));
    return Printable(std::string_view(text).substr(0, text.find_last_not_of(' ') + 1));
}

FrameModel ModelOf(ByteSpan inquiryData) {
    constexpr std::size_t productOffset = 16, productLength = 16, revisionLength = 4;
    return {Field(inquiryData, kVendorOffset, kVendorLength) + " " +
                Field(inquiryData, productOffset, productLength),
            Field(inquiryData, productOffset + productLength, revisionLength)};
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
    Commands().Note(request, outcome);
    if (!outcome.executed)
        Diagnose(executionError);
    return outcome.executed && outcome.status == platform::kStatusGood;
}

bool AnswersAsFrame(platform::ScsiDevice& device, FrameModel* model) {
    if (device.IsGone())
        return false;
    std::array<std::uint8_t, kInquiryLength> answer{};
    platform::ScsiRequest request;
    request.block = kInquiry;
    request.direction = platform::Direction::In;
    request.data = answer;
    request.timeout = kInquiryTimeout;
    const bool answers = Exchange(device, request, "*********** ERROR Executing Task ***********\n") &&
                         VendorOf(answer).find(kFamily) != std::string::npos;
    if (answers && model != nullptr)
        *model = ModelOf(answer);
    return answers;
}

}  // namespace lumato::device
