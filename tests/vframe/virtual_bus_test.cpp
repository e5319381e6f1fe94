// What of a frame on the program's own bus cannot be seen from outside: tests/independent/ has the rest.
#include "vframe/virtual_bus.h"

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

namespace lumato::vframe {
namespace {

using platform::Direction;

// A command of the chip without data; the block is padded.
platform::ScsiOutcome Send(platform::ScsiDevice& device, std::vector<std::uint8_t> block) {
    block.resize(16);
    return device.Execute({.block = block, .direction = Direction::None, .data = {}});
}

TEST(OnBus, OneAtATimeOpensAFrameAndUnpluggingCutsALongCommandShort) {
    VirtualBus bus;
    platform::BusService& service =
        bus.Plug(FlashImage::InMemory(std::vector<std::uint8_t>(kSmallestFlash)), {.pace = 0.001});
    const auto device = service.Open().value();
    EXPECT_EQ(service.Open().error().kind, ErrorKind::Busy);
    const std::vector<std::uint8_t> enable = {0xCB, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x06};
    for (const auto& block : {enable, {0xCB, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0x01}, enable})
        EXPECT_TRUE(Send(*device, block).executed);
    platform::ScsiOutcome erased;
    std::thread worker([&] { erased = Send(*device, {0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0xD8}); });  // 500 s
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (bus.Frame(service).FlashBytes()[0] != 0xFF && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    bus.Unplug(service);
    worker.join();
    EXPECT_FALSE(erased.executed);
    EXPECT_EQ(service.Open().error().kind, ErrorKind::Gone);
}

TEST(Pace, IsThatOfARealFrame) {
    const struct {
        std::vector<std::uint8_t> block;
        Direction direction;
        std::size_t length;
        std::uint8_t status;
        double seconds;
    } rows[] = {
        {{0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0xD8}, Direction::None, 0, 0, 0.5},
        {{0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0x20}, Direction::None, 0, 0, 0.03125},
        {{0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0xD8}, Direction::None, 0, platform::kStatusCheckCondition, 0},
        {{0xCB, 0, 0, 0, 0, 0, 1, 0, 0, 0, 6}, Direction::None, 0, 0, 0},
        {{0xCD, 0, 0, 0, 0, 0, 4, 0, 0, 0, 3}, Direction::In, 8000, 0, 0.01},
        {{0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 2}, Direction::Out, 65536, 0, 256 * 0.0007 + 0.08192},
        // Two bytes in two pages.
        {{0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 2, 0, 0, 0xFF}, Direction::Out, 2, 0, 0.0014 + 2 / 800000.0},
    };
    for (auto [block, direction, length, status, seconds] : rows) {
        block.resize(16);
        std::vector<std::uint8_t> data(length);
        const platform::ScsiOutcome outcome{
            .status = status, .executed = true, .transferred = length, .diagnostic = {}};
        EXPECT_DOUBLE_EQ(
            RealDuration({.block = block, .direction = direction, .data = data}, outcome).count(), seconds);
    }
}

}  // namespace
}  // namespace lumato::vframe
