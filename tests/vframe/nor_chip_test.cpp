// The chip behind the vendor commands: what a data sheet forbids. What it promises is compared from outside,
// command by command: tests/independent/.
#include <algorithm>

#include <gtest/gtest.h>

#include "tests/vframe/frame_driver.h"
#include "vframe/virtual_frame.h"

namespace lumato::vframe {
namespace {

using platform::Direction;

class Chip : public testing::Test {
  protected:
    // The flash as it was, with one range erased.
    Bytes OriginalErased(std::size_t begin, std::size_t length) const {
        Bytes expected = original;
        std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(begin), length, std::uint8_t{0xFF});
        return expected;
    }

    Bytes original = PatternFlash();
    VirtualFrame frame{FlashImage::InMemory(original)};
    FrameDriver driver{frame};
};

TEST_F(Chip, EveryChangeConsumesTheLatch) {
    driver.Prepare();
    EXPECT_EQ(driver.Status(), 0x02);
    driver.Erase(0x20, 0);
    EXPECT_EQ(driver.Status(), 0x00);
    EXPECT_EQ(driver.Program(0, {0x00}), kGood) << "the bridge does not notice what the chip ignores";
    EXPECT_EQ(driver.Erase(0x20, 4096), kGood);
    EXPECT_EQ(driver.WriteStatus(0x1C), kGood);
    EXPECT_EQ(driver.Status(), 0x00);
    EXPECT_EQ(frame.FlashBytes(), OriginalErased(0, 4096));
    driver.WriteEnable();
    driver.Program(0, {0x00});
    EXPECT_EQ(driver.Status(), 0x00);
    driver.WriteEnable();
    driver.WriteStatus(0);
    EXPECT_EQ(driver.Status(), 0x00);
}

TEST_F(Chip, IsProtectedUntilTheStatusRegisterIsCleared) {
    EXPECT_EQ(driver.Status(), 0x1C);
    driver.WriteEnable();
    EXPECT_EQ(driver.Erase(0xD8, 65536), kGood);
    driver.WriteEnable();
    EXPECT_EQ(driver.Program(0, {0x00}), kGood);
    driver.WriteStatus(0);  // without the latch, which the program has consumed
    EXPECT_EQ(driver.Status(), 0x1C);
    EXPECT_EQ(frame.FlashBytes(), original);
}

TEST_F(Chip, ProtectsTheUpperPartThatTheStatusRegisterNames) {
    driver.WriteEnable();
    driver.WriteStatus(0x18 | 0x03);  // upper half; busy and latch cannot be written
    EXPECT_EQ(driver.Status(), 0x18);
    driver.WriteEnable();
    driver.Erase(0x20, 65536);
    driver.WriteEnable();
    driver.Program(65535, {0, 0});  // reaches into it
    driver.WriteEnable();
    driver.Erase(0x20, 61440);
    EXPECT_EQ(frame.FlashBytes(), OriginalErased(61440, 4096));
}

TEST_F(Chip, ReadsAndSumsWrapAtItsEnd) {
    const Bytes wrapped = {original[131070], original[131071], original[0], original[1]};
    EXPECT_EQ(driver.Read(131070, 4), wrapped);
    EXPECT_EQ(driver.Read(131070 + 131072, 4), wrapped);
    EXPECT_EQ(driver.Sum(131070, 4), Sum16(wrapped));
    EXPECT_EQ(driver.Sum(65536, 65536), Sum16(ByteSpan(original).subspan(65536)));
    EXPECT_EQ(driver.Sum(100, 1), original[100]);
}

TEST_F(Chip, RefusesChangesBeyondItsEnd) {
    driver.Prepare();
    EXPECT_EQ(driver.Program(131071, {0, 0}), kCheck);
    EXPECT_EQ(driver.Sense(), "5/21/00");
    EXPECT_EQ(driver.Erase(0x20, 131072), kCheck);
    EXPECT_EQ(driver.Erase(0xD8, 0xFFFFFF), kCheck);
    EXPECT_EQ(frame.FlashBytes(), original);
    EXPECT_EQ(driver.Status(), 0x02) << "the chip never saw them";
    EXPECT_EQ(driver.Program(131071, {0}), kGood);
    EXPECT_EQ(driver.Read(131071, 1), Bytes{0});
}

TEST(OddChip, RefusesAUnitThatOnlyBeginsOnIt) {
    VirtualFrame frame(FlashImage::InMemory(PatternFlash(65536 * 2 + 4096)));
    FrameDriver driver(frame);
    driver.Prepare();
    EXPECT_EQ(driver.Erase(0xD8, 131072), kCheck);
    EXPECT_EQ(driver.Erase(0x20, 131072), kGood);
}

using Vendor = Chip;

TEST_F(Vendor, RefusesWhatIsNotInTheTable) {
    Bytes in(64);
    Bytes out(64);
    const struct {
        const char* what;
        const char* block;
        Direction direction;
        std::size_t length;
        const char* sense;
    } rows[] = {
        {"unknown opcode", "CC0000000000010000000600", Direction::None, 0, "5/20/00"},
        {"chip erase", "CB000000000001000000C700", Direction::None, 0, "5/20/00"},
        {"read as a write", "CB0000000000040000400300", Direction::Out, 64, "5/20/00"},
        {"instruction bytes", "CB0000000000010000002000", Direction::None, 0, "5/24/00"},
        {"length of write enable", "CB0000000000010000400600", Direction::Out, 64, "5/24/00"},
        {"erase with data", "CB0000000000040000002000", Direction::Out, 64, "5/24/00"},
        {"program the wrong way", "CB0000000000040000400200", Direction::In, 64, "5/24/00"},
        {"program of another length", "CB00000000000400003F0200", Direction::Out, 64, "5/24/00"},
        {"program of nothing", "CB0000000000040000000200", Direction::None, 0, "5/24/00"},
        {"unknown option", "CB000000000004000040020000000004", Direction::Out, 64, "5/24/00"},
        {"read of another length", "CD0000000000040000410300", Direction::In, 64, "5/24/00"},
        {"short status", "CD0000000000010000020500", Direction::In, 2, "5/24/00"},
        {"checksum without its count", "CD0000000005041000000000", Direction::In, 64, "5/24/00"},
        {"checksum without byte 5", "CD0000000000051000000000", Direction::In, 64, "5/20/00"},
        {"checksum with a short answer", "CD0000000005051000000000", Direction::In, 2, "5/24/00"},
        {"reserved byte", "CB0001000000010000000600", Direction::None, 0, "5/24/00"},
        {"clock with data", "CA0000000009", Direction::Out, 64, "5/24/00"},
    };
    for (const auto& row : rows) {
        Bytes& data = row.direction == Direction::In ? in : out;
        const auto span = MutableByteSpan(data).first(row.length);
        EXPECT_EQ(driver.Send16(FromHex(row.block), row.direction, span), kCheck) << row.what;
        EXPECT_EQ(driver.last.transferred, 0U) << row.what;
        EXPECT_EQ(driver.Sense(), row.sense) << row.what;
        EXPECT_EQ(driver.Sense(), "0/00/00") << row.what << ": sense is reported once";
    }
    EXPECT_EQ(driver.Send(FromHex("CB00000000000100000006")), kCheck) << "a short block";
    EXPECT_EQ(driver.Status(), 0x1C) << "nothing of this reached the latch";
}

TEST_F(Vendor, KeepsTheClockItWasSetTo) {
    EXPECT_FALSE(frame.Clock().has_value());
    EXPECT_EQ(driver.Send(FromHex("CA000000000914030305090000000D01")), kGood);
    EXPECT_EQ(frame.Clock(), (ClockSetting{9, 0x14, 3, 3, 5, 9, 0, 0, 0, 13, 1}));
}

}  // namespace
}  // namespace lumato::vframe
