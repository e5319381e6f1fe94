// What can be put around a frame: faults, the trace, the pace.
#include <algorithm>
#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "tests/vframe/frame_driver.h"
#include "tests/vframe/scratch_folder.h"
#include "vframe/plugged_frame.h"
#include "vframe/trace.h"

namespace lumato::vframe {
namespace {

TEST(Fault, IsParsedFromItsNumberAndKind) {
    EXPECT_EQ(ParseFault("1:refuse"), (Fault{1, FaultKind::Refuse}));
    EXPECT_EQ(ParseFault("2:lost"), (Fault{2, FaultKind::Lost}));
    EXPECT_EQ(ParseFault("3:half"), (Fault{3, FaultKind::Half}));
    EXPECT_EQ(ParseFault("4:flip"), (Fault{4, FaultKind::Flip}));
    EXPECT_EQ(ParseFault("4000000000:unplug"), (Fault{4000000000, FaultKind::Unplug}));
    for (const char* text : {"", ":", "1", "0:flip", "-1:flip", "+1:flip", "1:Flip", "1:", ":flip", "1x:flip",
                             " 1:flip", "1:flip ", "99999999999999999999:flip"}) {
        const auto fault = ParseFault(text);
        ASSERT_FALSE(fault) << text;
        EXPECT_EQ(fault.error().message.find("fault \"" + std::string(text) + "\""), 0U);
    }
}

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

TEST(Faults, RefuseExecutesNothing) {
    Faulty refusing(FaultKind::Refuse);
    EXPECT_EQ(refusing.driver.Erase(0x20, 0), kCheck);
    EXPECT_TRUE(refusing.driver.last.executed);
    EXPECT_EQ(refusing.frame.FlashBytes(), PatternFlash());
    EXPECT_EQ(refusing.driver.Status(), 0x02) << "only one command goes wrong";
    EXPECT_EQ(refusing.driver.Erase(0x20, 0), kGood);
}

TEST(Faults, LostExecutesAll) {
    Faulty losing(FaultKind::Lost);
    EXPECT_EQ(losing.driver.Erase(0x20, 0), kCheck);
    EXPECT_EQ(losing.frame.FlashBytes(), Faulty::With(0, 4096, 0xFF));
    EXPECT_EQ(losing.driver.Sense(), "5/24/00") << "a kernel that asks is told that it failed";

    Faulty losingData(FaultKind::Lost);
    EXPECT_EQ(losingData.driver.Read(0, 1), Bytes{PatternFlash()[0]});
    EXPECT_EQ(losingData.driver.last.status, kCheck);
    EXPECT_EQ(losingData.driver.last.transferred, 1U);
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
    Bytes expected = Faulty::With(128 + 32, 32, 0xEE);
    EXPECT_EQ(data, Bytes(expected.begin() + 128, expected.begin() + 192));

    Faulty enabling(FaultKind::Half);
    EXPECT_EQ(enabling.driver.WriteStatus(0x1C), kCheck);
    EXPECT_EQ(enabling.driver.Status(), 0x02) << "there is no half of it";
}

TEST(Faults, FlipChangesOneBitOnTheWay) {
    Faulty reading(FaultKind::Flip);
    Bytes expected = PatternFlash();
    expected.resize(64);
    expected[0] ^= 1;
    EXPECT_EQ(reading.driver.Read(0, 64), expected);
    EXPECT_EQ(reading.driver.last.status, kGood);
    EXPECT_EQ(reading.frame.FlashBytes(), PatternFlash());

    Faulty programming(FaultKind::Flip);
    programming.driver.Erase(0x20, 0);  // without data: as ordered
    EXPECT_EQ(programming.frame.FlashBytes(), Faulty::With(0, 4096, 0xFF));
    FaultyFrame again(programming.frame, {{4, FaultKind::Flip}});
    FrameDriver driver(again);
    driver.Prepare();
    EXPECT_EQ(driver.Program(0, {0x55, 0x55}), kGood);
    EXPECT_EQ(driver.Read(0, 3), (Bytes{0x54, 0x55, 0xFF}));
}

TEST(Faults, UnplugIsForEver) {
    Faulty unplugging(FaultKind::Unplug);
    EXPECT_EQ(unplugging.driver.Erase(0x20, 0), platform::kStatusNone);
    EXPECT_FALSE(unplugging.driver.last.executed);
    EXPECT_TRUE(unplugging.faulty.IsGone());
    EXPECT_EQ(unplugging.driver.WriteEnable(), platform::kStatusNone);
    EXPECT_EQ(unplugging.frame.FlashBytes(), PatternFlash());
}

TEST(Faults, MayBeSeveral) {
    PluggedFrame plugged(FlashImage::InMemory(PatternFlash()),
                         {.faults = {{3, FaultKind::Refuse}, {1, FaultKind::Lost}, {1, FaultKind::Unplug}}});
    FrameDriver driver(plugged);
    EXPECT_EQ(driver.WriteEnable(), kCheck);
    EXPECT_EQ(driver.WriteEnable(), kGood);
    EXPECT_EQ(driver.WriteEnable(), kCheck);
    EXPECT_EQ(driver.WriteEnable(), kGood);
}

TEST(Trace, HasOneLineForEveryCommand) {
    const ScratchFolder folder;
    const Path path = folder / "trace";
    {
        TracedDevice traced(std::make_unique<PluggedFrame>(FlashImage::InMemory(PatternFlash()),
                                                           FrameOptions{.faults = {{8, FaultKind::Unplug}}}),
                            TraceLog::Create(path).value());
        FrameDriver driver(traced);
        driver.Inquiry();
        const Bytes afterOne = ReadFile(path).value();
        EXPECT_EQ(std::string(afterOne.begin(), afterOne.end()), "120000004000 in 36 00\n") << "at once";
        driver.Prepare();
        driver.Program(0x012345, Bytes(64));
        driver.Read(0x012345, 64);
        driver.Erase(0x21, 0);
        driver.WriteEnable();
    }
    const Bytes trace = ReadFile(path).value();
    EXPECT_EQ(std::string(trace.begin(), trace.end()),
              "120000004000 in 36 00\n"
              "CB000000000001000000060000000000 none 0 00\n"
              "CB000000000002000000010000000000 none 0 00\n"
              "CB000000000001000000060000000000 none 0 00\n"
              "CB000000000004000040020123450000 out 64 00\n"
              "CD000000000004000040030123450000 in 64 00\n"
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

TEST(Pace, IsWaitedFor) {
    PluggedFrame plugged(FlashImage::InMemory(PatternFlash()), {.pace = 10});
    FrameDriver driver(plugged);
    driver.Prepare();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(driver.Erase(0xD8, 0), kGood);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
}

}  // namespace
}  // namespace lumato::vframe
