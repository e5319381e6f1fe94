// What can be put around a frame: faults, the trace, the pace, the bus; and the volumes that it shows.
#include <algorithm>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/vframe/frame_driver.h"
#include "vframe/plugged_frame.h"
#include "vframe/trace.h"
#include "vframe/virtual_bus.h"
#include "vframe/virtual_volumes.h"

namespace lumato::vframe {
namespace {

using testing::ElementsAre;

// A frame with the latch set, whose first command from here on goes wrong.
class Faulty {
  public:
    explicit Faulty(FaultKind kind)
        : frame(FlashImage::InMemory(PatternFlash())), faulty(frame, {{1, kind}}) {
        FrameDriver(frame).Prepare();
    }
    // The original flash, with `count` bytes from `begin` on replaced.
    static Bytes With(std::size_t begin, std::size_t count, std::uint8_t byte) {
        Bytes expected = PatternFlash();
        std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(begin), count, byte);
        return expected;
    }

    VirtualFrame frame;
    FaultyFrame faulty;
    FrameDriver driver{faulty};
};

TEST(Faults, RefuseAndLieExecuteNothingAndLostExecutesAll) {
    Faulty lying(FaultKind::Lie), lyingToAReader(FaultKind::Lie);
    EXPECT_EQ(lying.driver.Erase(0x20, 0), kGood);
    EXPECT_EQ(lying.frame.FlashBytes(), PatternFlash());
    EXPECT_EQ(lyingToAReader.driver.Read(128, 64), Bytes(64, 0));
    EXPECT_EQ(lyingToAReader.driver.last.transferred, 64U);

    Faulty refusing(FaultKind::Refuse);
    EXPECT_EQ(refusing.driver.Erase(0x20, 0), kCheck);
    EXPECT_TRUE(refusing.driver.last.executed);
    EXPECT_EQ(refusing.frame.FlashBytes(), PatternFlash());
    EXPECT_EQ(refusing.driver.Erase(0x20, 0), kGood) << "only one command goes wrong";

    Faulty losing(FaultKind::Lost);
    EXPECT_EQ(losing.driver.Erase(0x20, 0), kCheck);
    EXPECT_EQ(losing.frame.FlashBytes(), Faulty::With(0, 4096, 0xFF));
    EXPECT_EQ(losing.driver.Sense(), "5/24/00") << "a kernel that asks is told that it failed";
}

TEST(Faults, HalfDoesTheFirstHalf) {
    Faulty erasing(FaultKind::Half);
    EXPECT_EQ(erasing.driver.Erase(0x52, 40000), kCheck);
    EXPECT_EQ(erasing.frame.FlashBytes(), Faulty::With(32768, 16384, 0xFF));

    Faulty programming(FaultKind::Half);
    EXPECT_EQ(programming.driver.Program(100, Bytes(9, 0)), kCheck);
    EXPECT_EQ(programming.frame.FlashBytes(), Faulty::With(100, 4, 0));

    Faulty reading(FaultKind::Half);
    Bytes data(64, 0xEE);
    EXPECT_EQ(reading.driver.Read(128, data), kCheck);
    EXPECT_EQ(reading.driver.last.transferred, 32U);
    const Bytes expected = Faulty::With(128 + 32, 32, 0xEE);
    EXPECT_EQ(data, Bytes(expected.begin() + 128, expected.begin() + 192));
}

TEST(Faults, FlipChangesOneBitOnTheWay) {
    Faulty reading(FaultKind::Flip);
    Bytes expected = PatternFlash();
    expected.resize(64);
    expected[0] ^= 1;
    EXPECT_EQ(reading.driver.Read(0, 64), expected);
    EXPECT_EQ(reading.driver.last.status, kGood);

    Faulty programming(FaultKind::Flip);
    EXPECT_EQ(programming.driver.Program(3, {0xFE, 0xFE}), kGood);
    EXPECT_EQ(programming.frame.FlashBytes()[3], PatternFlash()[3]);  // 0xFF has come
    EXPECT_EQ(programming.frame.FlashBytes()[4], PatternFlash()[4] & 0xFE);
}

TEST(Trace, HasOneLineForEveryCommandAtOnce) {
    const test::TemporaryFolder folder;
    TracedDevice traced(std::make_unique<PluggedFrame>(FlashImage::InMemory(PatternFlash()),
                                                       FrameOptions{.faults = {{3, FaultKind::Unplug}}}),
                        TraceLog::Create(folder / "trace").value());
    FrameDriver driver(traced);
    driver.Inquiry();
    driver.Erase(0x21, 0);
    driver.WriteEnable();
    const Bytes trace = ReadFile(folder / "trace").value();
    EXPECT_EQ(std::string(trace.begin(), trace.end()),
              "120000004000 in 36 00\n"
              "CB000000000004000000210000000000 none 0 02\n"
              "CB000000000001000000060000000000 none 0 FF\n");
    EXPECT_EQ(TraceLog::Create(folder / "none" / "trace").error().kind, ErrorKind::NotFound);
}

// What a real frame takes for one command, in seconds.
double Takes(Bytes block, platform::Direction direction, std::size_t length, std::uint8_t status = kGood) {
    block.resize(16);
    Bytes data(length);
    return RealDuration({.block = block, .direction = direction, .data = data},
                        {.status = status, .executed = true, .transferred = length, .diagnostic = {}})
        .count();
}

TEST(Pace, IsThatOfARealFrame) {
    using platform::Direction;
    EXPECT_DOUBLE_EQ(Takes({0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0xD8}, Direction::None, 0), 0.5);
    EXPECT_DOUBLE_EQ(Takes({0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0x20}, Direction::None, 0), 0.03125);
    EXPECT_DOUBLE_EQ(Takes({0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0xD8}, Direction::None, 0, kCheck), 0);
    EXPECT_DOUBLE_EQ(Takes({0xCB, 0, 0, 0, 0, 0, 1, 0, 0, 0, 6}, Direction::None, 0), 0);
    EXPECT_DOUBLE_EQ(Takes({0xCD, 0, 0, 0, 0, 0, 4, 0, 0, 0, 3}, Direction::In, 8000), 0.01);
    EXPECT_DOUBLE_EQ(Takes({0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 2}, Direction::Out, 65536),
                     256 * 0.0007 + 0.08192);
    EXPECT_DOUBLE_EQ(Takes({0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 2, 0, 0, 0xFF}, Direction::Out, 2),
                     2 * 0.0007 + 2 / 800000.0)
        << "two bytes in two pages";
}

// What plugging and unplugging random lives (tests/lives/) do not meet.
TEST(OnBus, OneAtATimeOpensAFrameAndUnpluggingCutsALongCommandShort) {
    VirtualBus bus;
    platform::BusService& service =
        bus.Plug(FlashImage::InMemory(PatternFlash()), {.pace = 0.001});  // an erase of 500 s
    const auto device = service.Open().value();
    EXPECT_EQ(service.Open().error().kind, ErrorKind::Busy);
    FrameDriver driver(*device);
    driver.Prepare();
    std::thread worker([&] { driver.Erase(0xD8, 0); });
    while (bus.Frame(service).FlashBytes()[0] != 0xFF)
        std::this_thread::yield();
    bus.Unplug(service);
    worker.join();
    EXPECT_FALSE(driver.last.executed);
    EXPECT_EQ(service.Open().error().kind, ErrorKind::Gone);
}

TEST(Volumes, ShowTheFramesOwnUntilItIsEjected) {
    const test::TemporaryFolder folder;
    VirtualVolumes volumes = VirtualVolumes::Create(folder.Get()).value();
    const auto marked = [&volumes] {
        std::vector<std::string> names;
        for (const auto& volume : volumes.List())
            names.push_back(volume.name +
                            (std::filesystem::exists(volume.root / "LanguageUnicode.ini") ? "*" : ""));
        return names;
    };
    EXPECT_THAT(marked(), ElementsAre("Pictures", "LUMATO*"));
    const platform::Volume frame = volumes.List()[1];
    volumes.HoldBy("a file manager");
    EXPECT_EQ(volumes.Eject(frame).error().kind, ErrorKind::Busy);
    volumes.HoldBy("");
    EXPECT_TRUE(volumes.Eject(frame));
    EXPECT_EQ(volumes.Eject(frame).error().kind, ErrorKind::NotFound);
    EXPECT_THAT(marked(), ElementsAre("Pictures"));
    volumes.Mount();
    EXPECT_THAT(marked(), ElementsAre("Pictures", "LUMATO*"));
}

}  // namespace
}  // namespace lumato::vframe
