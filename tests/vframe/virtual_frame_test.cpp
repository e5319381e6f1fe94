// The frame at the end of a command: what its chip's data sheet forbids, what is not in its tables, and the
// disk that a kernel sees. What it promises is compared from outside, command by command: tests/independent/.
#include "vframe/virtual_frame.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/diagnostic_capture.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/write_limit.h"
#include "tests/vframe/frame_driver.h"

namespace lumato::vframe {
namespace {

using platform::Direction;

class Frame : public testing::Test {
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

TEST_F(Frame, EveryChangeConsumesTheLatch) {
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

TEST_F(Frame, IsProtectedUntilTheStatusRegisterIsCleared) {
    EXPECT_EQ(driver.Status(), 0x1C);
    driver.WriteEnable();
    EXPECT_EQ(driver.Erase(0xD8, 65536), kGood);
    driver.WriteEnable();
    EXPECT_EQ(driver.Program(0, {0x00}), kGood);
    driver.WriteStatus(0);  // without the latch, which the program has consumed
    EXPECT_EQ(driver.Status(), 0x1C);
    EXPECT_EQ(frame.FlashBytes(), original);
}

TEST_F(Frame, ProtectsTheUpperPartThatTheStatusRegisterNames) {
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

TEST_F(Frame, ReadsAndSumsWrapAtItsEnd) {
    const Bytes wrapped = {original[131070], original[131071], original[0], original[1]};
    EXPECT_EQ(driver.Read(131070, 4), wrapped);
    EXPECT_EQ(driver.Read(131070 + 131072, 4), wrapped);
    EXPECT_EQ(driver.Sum(131070, 4), Sum16(wrapped));
    EXPECT_EQ(driver.Sum(65536, 65536), Sum16(ByteSpan(original).subspan(65536)));
    EXPECT_EQ(driver.Sum(100, 1), original[100]);
}

TEST_F(Frame, RefusesChangesBeyondItsEnd) {
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

TEST_F(Frame, RefusesWhatIsNotInTheTable) {
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

TEST_F(Frame, KeepsTheClockItWasSetTo) {
    EXPECT_FALSE(frame.Clock().has_value());
    EXPECT_EQ(driver.Send(FromHex("CA000000000914030305090000000D01")), kGood);
    EXPECT_EQ(frame.Clock(), (ClockSetting{9, 0x14, 3, 3, 5, 9, 0, 0, 0, 13, 1}));
}

std::uint8_t ReadBlocks(FrameDriver& driver, std::uint32_t first, std::uint16_t count, Bytes& data) {
    Bytes block = {0x28, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    PutBe32(MutableByteSpan(block).subspan(2), first);
    PutBe16(MutableByteSpan(block).subspan(7), count);
    return driver.Send(block, Direction::In, data);
}

// As a kernel sees it: a small write-protected disk with a FAT volume.
TEST_F(Frame, IntroducesItselfAsADisk) {
    Bytes data(36, 0xEE);
    EXPECT_EQ(driver.Send({0x12, 0, 0, 0, 0x40, 0}, Direction::In, data), kGood);
    EXPECT_EQ(driver.last.transferred, 36U);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 8), (Bytes{0, 0x80, 2, 2, 31, 0, 0, 0}));
    EXPECT_EQ(std::string(data.begin() + 8, data.end()), "QUORVANEPhoto Frame     1.00");

    data.assign(36, 0xEE);
    EXPECT_EQ(driver.Send({0x12, 0, 0, 0, 5, 0}, Direction::In, data), kGood);
    EXPECT_EQ(driver.last.transferred, 5U);
    EXPECT_EQ(data[5], 0xEE) << "bytes behind the allocation length are not touched";
    EXPECT_EQ(driver.Send({0x12, 1, 0x80, 0, 0x40, 0}, Direction::In, data), kCheck) << "vital product data";
}

TEST_F(Frame, AnswersWhatAKernelSends) {
    Bytes header(4);
    Bytes capacity(8);
    EXPECT_EQ(driver.Send({0x00, 0, 0, 0, 0, 0}), kGood);
    EXPECT_EQ(driver.Send({0x1A, 0, 0x3F, 0, 4, 0}, Direction::In, header), kGood);
    EXPECT_EQ(header, (Bytes{3, 0, 0x80, 0}));
    EXPECT_EQ(driver.Send({0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, Direction::In, capacity), kGood);
    EXPECT_EQ(capacity, (Bytes{0, 0, 0x0F, 0xFF, 0, 0, 2, 0}));
    EXPECT_EQ(driver.Send({0x1E, 0, 0, 0, 1, 0}), kGood);
    EXPECT_EQ(driver.Send({0x1B, 0, 0, 0, 1, 0}), kGood);
}

TEST_F(Frame, RefusesOtherCommandsOfADisk) {
    Bytes block(512, 0);
    EXPECT_EQ(driver.Send({0x2A, 0, 0, 0, 0, 63, 0, 0, 1, 0}, Direction::Out, block), kCheck);
    EXPECT_EQ(driver.Sense(), "7/27/00");
    EXPECT_EQ(driver.Send({0xA0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0}, Direction::In, block), kCheck);
    EXPECT_EQ(driver.Sense(), "5/20/00");
    EXPECT_EQ(ReadBlocks(driver, 4096, 1, block), kCheck);
    EXPECT_EQ(driver.Sense(), "5/21/00");
    EXPECT_EQ(ReadBlocks(driver, 0xFFFFFFFF, 1, block), kCheck);
    EXPECT_EQ(ReadBlocks(driver, 4095, 2, block), kCheck);
    EXPECT_EQ(ReadBlocks(driver, 0, 2, block), kCheck) << "another length than that of the data phase";
    EXPECT_EQ(driver.Sense(), "5/24/00");
    for (const Bytes& cut : {Bytes{0x28, 0, 0, 0}, Bytes{0x12, 0}, Bytes{0x03, 0}})
        EXPECT_EQ(driver.Send(cut, Direction::In, block), kCheck) << "a short block";
    EXPECT_EQ(driver.Send({0x00, 0, 0, 0, 0, 0}, Direction::In, block), kCheck)
        << "a data phase nobody fills";
    EXPECT_EQ(driver.Send({}), kCheck);
    EXPECT_EQ(driver.Send({0x00, 0}), kCheck) << "a short block, without data";
    EXPECT_EQ(ReadBlocks(driver, 4095, 1, block), kGood);
}

// An image file that cannot be written or read. What is taken for one, and by whom, is asked from outside.
class FlashImageFile : public testing::Test {
  protected:
    const test::TemporaryFolder folder;
    const Path path = folder.Put("flash.img", PatternFlash());
    VirtualFrame frame{FlashImage::Open(path).value()};
    FrameDriver driver{frame};
    const test::DiagnosticCapture notes;
};

TEST_F(FlashImageFile, AFailingWriteFailsTheCommand) {
    {
        const test::WriteLimit limit(65536 + 1024);
        driver.Prepare();
        EXPECT_EQ(driver.Erase(0x20, 65536), kCheck);
        EXPECT_NE(driver.last.diagnostic.find(path.string()), std::string::npos);
        EXPECT_EQ(driver.Sense(), "3/0C/00");
        driver.Prepare();
        EXPECT_EQ(driver.Erase(0x20, 4096), kGood) << "what can be written still is";
    }
    EXPECT_NE(notes.Text(), "");
    const Bytes flash = frame.FlashBytes();
    EXPECT_EQ(ReadFile(path), flash);
    EXPECT_EQ(flash[65536 + 1023], 0xFF);
    EXPECT_EQ(flash[65536 + 1024], PatternFlash()[65536 + 1024]);
}

TEST_F(FlashImageFile, AFailingReadFailsTheCommand) {
    std::filesystem::resize_file(path, 65536);
    const Bytes pattern = PatternFlash();
    EXPECT_TRUE(driver.Read(65280, 256) == Bytes(pattern.begin() + 65280, pattern.begin() + 65536));
    driver.Read(65280, 512);
    EXPECT_EQ(driver.last.status, kCheck);
    EXPECT_EQ(driver.Sense(), "3/11/00");
    driver.Sum(65536, 4096);
    EXPECT_EQ(driver.last.status, kCheck);
    driver.Prepare();
    EXPECT_EQ(driver.Program(65536, {1, 2, 3}), kCheck) << "what was there is not known";
    EXPECT_EQ(std::filesystem::file_size(path), 65536U);
    EXPECT_TRUE(frame.FlashBytes().empty());
}

}  // namespace
}  // namespace lumato::vframe
