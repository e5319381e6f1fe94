// The frame as a kernel sees it: a small write-protected disk with a FAT volume.
#include <string>

#include <gtest/gtest.h>

#include "base/sha256.h"
#include "tests/vframe/frame_driver.h"
#include "vframe/virtual_frame.h"

namespace lumato::vframe {
namespace {

using platform::Direction;

class Disk : public testing::Test {
  protected:
    std::uint8_t ReadBlocks(std::uint32_t first, std::uint16_t count, Bytes& data) {
        Bytes block = {0x28, 0, 0, 0, 0, 0, 0, 0, 0, 0};
        PutBe32(MutableByteSpan(block).subspan(2), first);
        PutBe16(MutableByteSpan(block).subspan(7), count);
        return driver.Send(block, Direction::In, data);
    }
    Bytes Blocks(std::uint32_t first, std::size_t count) {
        Bytes data(count * 512);
        EXPECT_EQ(ReadBlocks(first, static_cast<std::uint16_t>(count), data), kGood);
        return data;
    }

    VirtualFrame frame{FlashImage::InMemory(PatternFlash())};
    FrameDriver driver{frame};
};

TEST_F(Disk, IntroducesItself) {
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

TEST_F(Disk, AnswersWhatAKernelSends) {
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

TEST_F(Disk, RefusesTheRest) {
    Bytes block(512, 0);
    EXPECT_EQ(driver.Send({0x2A, 0, 0, 0, 0, 63, 0, 0, 1, 0}, Direction::Out, block), kCheck);
    EXPECT_EQ(driver.Sense(), "7/27/00");
    EXPECT_EQ(driver.Send({0xA0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0}, Direction::In, block), kCheck);
    EXPECT_EQ(driver.Sense(), "5/20/00");
    EXPECT_EQ(ReadBlocks(4096, 1, block), kCheck);
    EXPECT_EQ(driver.Sense(), "5/21/00");
    EXPECT_EQ(ReadBlocks(0xFFFFFFFF, 1, block), kCheck);
    EXPECT_EQ(ReadBlocks(4095, 2, block), kCheck);
    EXPECT_EQ(ReadBlocks(0, 2, block), kCheck) << "another length than that of the data phase";
    EXPECT_EQ(driver.Sense(), "5/24/00");
    EXPECT_EQ(driver.Send({0x28, 0, 0, 0}, Direction::In, block), kCheck) << "a short block";
    EXPECT_EQ(driver.Send({0x00, 0, 0, 0, 0, 0}, Direction::In, block), kCheck)
        << "a data phase nobody fills";
    EXPECT_EQ(driver.Send({}), kCheck);
    EXPECT_EQ(ReadBlocks(4095, 1, block), kGood);
}

// A real kernel mounts this volume and reads its file: tests/rig/.
TEST_F(Disk, CarriesTheMarkFileInItsVolume) {
    EXPECT_EQ(HexText(Sha256(Blocks(0, 4096))),
              "29db312945b7cc8fd16d28374b2e5a4f11bbc17f72d20d9bfe6261cd3682c226")
        << "another volume: see that it can be mounted before this sum is written anew";
}

}  // namespace
}  // namespace lumato::vframe
