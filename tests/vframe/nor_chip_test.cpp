// The chip behind the vendor commands: what a data sheet promises, and what it forbids.
#include <algorithm>

#include <gtest/gtest.h>

#include "tests/vframe/frame_driver.h"
#include "vframe/virtual_frame.h"

namespace lumato::vframe {
namespace {

using platform::Direction;

class Chip : public testing::Test {
  protected:
    explicit Chip(std::size_t size = kSmallestFlash)
        : original(PatternFlash(size)), frame(FlashImage::InMemory(original)), driver(frame) {}

    // The flash as it was, with one range erased.
    Bytes OriginalErased(std::size_t begin, std::size_t length) const {
        Bytes expected = original;
        std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(begin), length, std::uint8_t{0xFF});
        return expected;
    }

    Bytes original;
    VirtualFrame frame;
    FrameDriver driver;
};

TEST_F(Chip, ErasesTheAlignedUnitOfTheInstruction) {
    const struct {
        std::uint8_t instruction;
        std::size_t unit;
    } rows[] = {{0x20, 4096}, {0x52, 32768}, {0xD8, 65536}};
    for (const auto& row : rows) {
        VirtualFrame fresh(FlashImage::InMemory(original));
        FrameDriver fromAnyAddress(fresh);
        fromAnyAddress.Prepare();
        EXPECT_EQ(fromAnyAddress.Erase(row.instruction, static_cast<std::uint32_t>(65536 + row.unit - 1)),
                  kGood);
        EXPECT_EQ(fresh.FlashBytes(), OriginalErased(65536, row.unit)) << int{row.instruction};
    }
}

TEST_F(Chip, ProgrammingOnlyClearsBits) {
    driver.Prepare();
    driver.Erase(0x20, 0);
    driver.Prepare();
    EXPECT_EQ(driver.Program(10, {0xF0, 0x3C}), kGood);
    driver.Prepare();
    EXPECT_EQ(driver.Program(10, {0x3F, 0xFF}), kGood);
    EXPECT_EQ(driver.Read(9, 4), (Bytes{0xFF, 0x30, 0x3C, 0xFF}));
}

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

class OddChip : public Chip {
  protected:
    OddChip() : Chip(65536 * 2 + 4096) {}
};

TEST_F(OddChip, RefusesAUnitThatOnlyBeginsOnIt) {
    driver.Prepare();
    EXPECT_EQ(driver.Erase(0xD8, 131072), kCheck);
    EXPECT_EQ(driver.Erase(0x20, 131072), kGood);
    EXPECT_EQ(frame.FlashBytes(), OriginalErased(131072, 4096));
}

using Vendor = Chip;

TEST_F(Vendor, ProgramsAWholeBlockInOneCommand) {
    driver.Prepare();
    driver.Erase(0xD8, 65536);
    driver.Prepare();
    Bytes block = {0xCB, 0, 0, 0, 0, 0, 4, 1, 0, 0, 2, 1, 0, 0, 0, 2};  // with the page option
    Bytes data = PatternFlash(65536);
    EXPECT_EQ(driver.Send(block, Direction::Out, data), kGood);
    EXPECT_EQ(driver.last.transferred, 65536U);
    EXPECT_EQ(driver.Read(65536, 65536), data);
}

TEST_F(Vendor, RefusesWhatIsNotInTheTable) {
    Bytes in(64);
    Bytes out(64);
    const struct {
        const char* what;
        Bytes block;
        Direction direction;
        std::size_t length;
        const char* sense;
    } rows[] = {
        {"unknown opcode", {0xCC, 0, 0, 0, 0, 0, 1, 0, 0, 0, 6}, Direction::None, 0, "5/20/00"},
        {"chip erase", {0xCB, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0xC7}, Direction::None, 0, "5/20/00"},
        {"write enable as a read", {0xCD, 0, 0, 0, 0, 0, 1, 0, 0, 0, 6}, Direction::None, 0, "5/20/00"},
        {"read as a write", {0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 64, 3}, Direction::Out, 64, "5/20/00"},
        {"instruction bytes of write enable",
         {0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 6},
         Direction::None,
         0,
         "5/24/00"},
        {"instruction bytes of erase",
         {0xCB, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x20},
         Direction::None,
         0,
         "5/24/00"},
        {"length of write enable", {0xCB, 0, 0, 0, 0, 0, 1, 0, 0, 64, 6}, Direction::Out, 64, "5/24/00"},
        {"erase with data", {0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0x20}, Direction::Out, 64, "5/24/00"},
        {"program the wrong way", {0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 64, 2}, Direction::In, 64, "5/24/00"},
        {"program without data", {0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 64, 2}, Direction::None, 0, "5/24/00"},
        {"program of another length", {0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 63, 2}, Direction::Out, 64, "5/24/00"},
        {"program of nothing", {0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 2}, Direction::None, 0, "5/24/00"},
        {"unknown option",
         {0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 64, 2, 0, 0, 0, 0, 4},
         Direction::Out,
         64,
         "5/24/00"},
        {"read of another length", {0xCD, 0, 0, 0, 0, 0, 4, 0, 0, 65, 3}, Direction::In, 64, "5/24/00"},
        {"read the wrong way", {0xCD, 0, 0, 0, 0, 0, 4, 0, 0, 64, 3}, Direction::Out, 64, "5/24/00"},
        {"short status", {0xCD, 0, 0, 0, 0, 0, 1, 0, 0, 2, 5}, Direction::In, 2, "5/24/00"},
        {"checksum without its count", {0xCD, 0, 0, 0, 0, 5, 4, 16, 0, 0, 0}, Direction::In, 64, "5/24/00"},
        {"checksum without byte 5", {0xCD, 0, 0, 0, 0, 0, 5, 16, 0, 0, 0}, Direction::In, 64, "5/20/00"},
        {"checksum with a short answer", {0xCD, 0, 0, 0, 0, 5, 5, 16, 0, 0, 0}, Direction::In, 2, "5/24/00"},
        {"reserved byte", {0xCB, 0, 1, 0, 0, 0, 1, 0, 0, 0, 6}, Direction::None, 0, "5/24/00"},
        {"clock with data", {0xCA, 0, 0, 0, 0, 9}, Direction::Out, 64, "5/24/00"},
    };
    for (const auto& row : rows) {
        Bytes& data = row.direction == Direction::In ? in : out;
        const auto span = MutableByteSpan(data).first(row.length);
        EXPECT_EQ(driver.Send16(row.block, row.direction, span), kCheck) << row.what;
        EXPECT_EQ(driver.last.transferred, 0U) << row.what;
        EXPECT_EQ(driver.Sense(), row.sense) << row.what;
        EXPECT_EQ(driver.Sense(), "0/00/00") << row.what << ": sense is reported once";
    }
    EXPECT_EQ(driver.Send({0xCB, 0, 0, 0, 0, 0, 1, 0, 0, 0, 6}), kCheck) << "a short block";
    EXPECT_EQ(driver.Status(), 0x1C) << "nothing of this reached the latch";
}

TEST_F(Vendor, AnswersSixtyFourBytes) {
    Bytes answer(64, 0xEE);
    EXPECT_EQ(driver.Send16({0xCD, 0, 0, 0, 0, 5, 5, 0x10, 0, 0, 0, 1}, Direction::In, answer), kGood);
    EXPECT_EQ(driver.last.transferred, 64U);
    EXPECT_EQ(GetBe16(answer), Sum16(ByteSpan(original).subspan(65536, 4096)));
    EXPECT_TRUE(std::all_of(answer.begin() + 2, answer.end(), [](std::uint8_t byte) { return byte == 0; }));
}

TEST_F(Vendor, KeepsTheClockItWasSetTo) {
    EXPECT_FALSE(frame.Clock().has_value());
    EXPECT_EQ(driver.Send({0xCA, 0, 0, 0, 0, 9, 0x14, 3, 3, 14, 5, 9, 0, 0, 0, 13}), kGood);
    EXPECT_EQ(frame.Clock(), (ClockSetting{9, 0x14, 3, 3, 14, 5, 9, 0, 0, 0, 13}));
}

}  // namespace
}  // namespace lumato::vframe
