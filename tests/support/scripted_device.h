// A bus, its services and SCSI devices that do what a test scripts and remember what they were sent.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/bus.h"

namespace lumato::test {

// "CD 00 ..." in upper-case hex.
inline std::string Hex(ByteSpan bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, text.empty() ? "%02X" : " %02X", byte);
        text += digits;
    }
    return text;
}

struct SentCommand {
    std::string block;  // as by Hex
    platform::Direction direction;
    std::size_t length;              // of the data phase
    std::vector<std::uint8_t> data;  // the bytes sent
    std::chrono::milliseconds timeout;
};

inline platform::ScsiOutcome Good(std::size_t transferred = 0) {
    return {.status = platform::kStatusGood, .executed = true, .transferred = transferred, .diagnostic = ""};
}
inline platform::ScsiOutcome Refused() {
    return {.status = platform::kStatusCheckCondition, .executed = true, .transferred = 0, .diagnostic = ""};
}

// Standard INQUIRY data with the two names, padded as they are given.
inline std::vector<std::uint8_t> InquiryData(const std::string& vendor, const std::string& product = "") {
    std::vector<std::uint8_t> data(36, 0);
    std::copy(vendor.begin(), vendor.end(), data.begin() + 8);
    std::copy(product.begin(), product.end(), data.begin() + 16);
    return data;
}

inline platform::ScsiOutcome Give(const platform::ScsiRequest& request, ByteSpan answer) {
    const std::size_t length = std::min(answer.size(), request.data.size());
    std::copy_n(answer.begin(), length, request.data.begin());
    return Good(length);
}

// What a device does and what was done to it; outlives the device.
struct DeviceScript {
    std::vector<std::uint8_t> inquiry = InquiryData("QUORVANE");
    // Answers every command but INQUIRY.
    std::function<platform::ScsiOutcome(const platform::ScsiRequest&)> answer =
        [](const platform::ScsiRequest& request) { return Good(request.data.size()); };
    std::vector<SentCommand> sent;
    std::atomic<bool> gone{false};
    bool hardware = false;  // wants its identity confirmed
    int opened = 0;
    std::atomic<int> closed{0};
};

class ScriptedDevice : public platform::ScsiDevice {
  public:
    explicit ScriptedDevice(DeviceScript& script) : m_script(script) { ++m_script.opened; }
    ~ScriptedDevice() override { ++m_script.closed; }

    platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override {
        const bool out = request.direction == platform::Direction::Out;
        m_script.sent.push_back(
            {.block = Hex(request.block),
             .direction = request.direction,
             .length = request.data.size(),
             .data = out ? std::vector<std::uint8_t>(request.data.begin(), request.data.end())
                         : std::vector<std::uint8_t>(),
             .timeout = request.timeout});
        const bool isInquiry = request.block.size() == 6 && request.block[0] == 0x12;
        return isInquiry ? Give(request, m_script.inquiry) : m_script.answer(request);
    }
    bool IsGone() const override { return m_script.gone; }
    bool WantsIdentityConfirmed() const override { return m_script.hardware; }

  private:
    DeviceScript& m_script;
};

class ScriptedService : public platform::BusService {
  public:
    ScriptedService(std::string name, DeviceScript& script) : m_name(std::move(name)), m_script(script) {}

    std::string Name() const override { return m_name; }
    Result<std::unique_ptr<platform::ScsiDevice>> Open() override {
        if (openError)
            return Fail(*openError, m_name);
        return std::unique_ptr<platform::ScsiDevice>(std::make_unique<ScriptedDevice>(m_script));
    }

    std::optional<ErrorKind> openError;

  private:
    std::string m_name;
    DeviceScript& m_script;
};

class ScriptedBus : public platform::Bus {
  public:
    Result<void> Start(platform::BusListener& listener) override {
        if (startError)
            return Fail(*startError, "bus");
        m_listener = &listener;
        for (ScriptedService* service : present)
            Announce(*service);
        return {};
    }
    void Plug(ScriptedService& service) {
        service.openError.reset();
        m_listener->ServiceAppeared(service);
    }
    void Unplug(ScriptedService& service) {
        service.openError = ErrorKind::Gone;
        m_listener->ServiceDisappeared(service);
    }
    // Announces a service as it is, unable to be opened or not.
    void Announce(ScriptedService& service) { m_listener->ServiceAppeared(service); }

    std::vector<ScriptedService*> present;
    std::optional<ErrorKind> startError;

  private:
    platform::BusListener* m_listener = nullptr;
};

}  // namespace lumato::test
