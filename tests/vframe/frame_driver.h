// Drives a frame in verbs, byte by byte after the command table, for the tests of this room.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "platform/scsi.h"
#include "vframe/flash_image.h"

namespace lumato::vframe {

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::uint8_t kGood = platform::kStatusGood;
inline constexpr std::uint8_t kCheck = platform::kStatusCheckCondition;

// A flash with every byte different from its neighbours, and nothing erased.
inline Bytes PatternFlash(std::size_t size = kSmallestFlash) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>((i * 7 + i / 256) % 251);
    return bytes;
}

// "CB00..." as bytes.
inline Bytes FromHex(std::string_view digits) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
    return bytes;
}

// A command in the wrapper of bulk-only transport, whose tag is 0x12345678.
inline Bytes CommandWrapper(const Bytes& block, std::size_t length, bool toHost) {
    Bytes wrapper(31);
    PutLe32(wrapper, 0x43425355);
    PutLe32(MutableByteSpan(wrapper).subspan(4), 0x12345678);
    PutLe32(MutableByteSpan(wrapper).subspan(8), static_cast<std::uint32_t>(length));
    wrapper[12] = toHost ? 0x80 : 0;
    wrapper[14] = static_cast<std::uint8_t>(block.size());
    std::ranges::copy(block, wrapper.begin() + 15);
    return wrapper;
}

// Each verb answers the status; the last outcome stays readable.
class FrameDriver {
  public:
    explicit FrameDriver(platform::ScsiDevice& device) : m_device(device) {}

    std::uint8_t Send(Bytes block, platform::Direction direction = platform::Direction::None,
                      MutableByteSpan data = {}) {
        last = m_device.Execute({.block = block, .direction = direction, .data = data});
        return last.status;
    }
    std::uint8_t Send16(Bytes block, platform::Direction direction = platform::Direction::None,
                        MutableByteSpan data = {}) {
        block.resize(16);
        return Send(std::move(block), direction, data);
    }

    std::uint8_t WriteEnable() { return Send16({0xCB, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x06}); }
    std::uint8_t WriteStatus(std::uint8_t value) {
        return Send16({0xCB, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0x01, value});
    }
    // What precedes every erase and program of a host.
    void Prepare() {
        WriteEnable();
        WriteStatus(0);
        WriteEnable();
    }
    std::uint8_t Erase(std::uint8_t instruction, std::uint32_t address) {
        return Send16(WithAddress({0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, instruction}, address));
    }
    std::uint8_t Program(std::uint32_t address, Bytes data) {
        return Send16(WithAddress(WithLength({0xCB, 0, 0, 0, 0, 0, 4}, data.size(), 0x02), address),
                      platform::Direction::Out, data);
    }
    std::uint8_t Read(std::uint32_t address, Bytes& data) {
        return Send16(WithAddress(WithLength({0xCD, 0, 0, 0, 0, 0, 4}, data.size(), 0x03), address),
                      platform::Direction::In, data);
    }
    Bytes Read(std::uint32_t address, std::size_t length) {
        Bytes data(length);
        Read(address, data);
        return data;
    }
    // The register's first byte.
    std::uint8_t Status() {
        Bytes data(64);
        Send16(WithLength({0xCD, 0, 0, 0, 0, 0, 1}, 64, 0x05), platform::Direction::In, data);
        return data[0];
    }
    std::uint16_t Sum(std::uint32_t address, std::size_t length) {
        Bytes data(64);
        Bytes block = {0xCD, 0, 0, 0, 0, 5, 5, 0, 0, 0, 0};
        PutBe16(MutableByteSpan(block).subspan(7), static_cast<std::uint32_t>(length & 0xFFFF));
        Send16(WithAddress(block, address), platform::Direction::In, data);
        return GetBe16(data);
    }
    std::string Inquiry() {
        Bytes data(36);
        Send({0x12, 0, 0, 0, 0x40, 0}, platform::Direction::In, data);
        return {data.begin(), data.end()};
    }
    // "key/code/qualifier" in hex, as REQUEST SENSE reports it.
    std::string Sense() {
        Bytes data(18);
        Send({0x03, 0, 0, 0, 18, 0}, platform::Direction::In, data);
        char text[16];
        std::snprintf(text, sizeof text, "%X/%02X/%02X", unsigned{data[2]}, unsigned{data[12]},
                      unsigned{data[13]});
        return text;
    }

    platform::ScsiOutcome last;

  private:
    static Bytes WithLength(Bytes block, std::size_t length, std::uint8_t instruction) {
        block.resize(11);
        PutBe24(MutableByteSpan(block).subspan(7), static_cast<std::uint32_t>(length));
        block[10] = instruction;
        return block;
    }
    static Bytes WithAddress(Bytes block, std::uint32_t address) {
        block.resize(16);
        PutBe24(MutableByteSpan(block).subspan(11), address);
        return block;
    }

    platform::ScsiDevice& m_device;
};

}  // namespace lumato::vframe
