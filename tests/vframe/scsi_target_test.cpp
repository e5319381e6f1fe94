// The frame as a kernel sees it: a small write-protected disk with a FAT volume.
#include <string>

#include <gtest/gtest.h>

#include "tests/vframe/frame_driver.h"
#include "vframe/virtual_frame.h"
#include "vframe/volume.h"

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

// Follows the volume as a FAT driver does: partition, parameters, long name, cluster chain.
TEST_F(Disk, CarriesTheMarkFileInItsVolume) {
    const Bytes bootRecord = Blocks(0, 1);
    EXPECT_EQ(GetBe16(ByteSpan(bootRecord).subspan(510)), 0x55AA);
    const ByteSpan partition = ByteSpan(bootRecord).subspan(446, 16);
    EXPECT_EQ(partition[4], 0x01);
    const std::uint32_t start = GetLe32(partition.subspan(8));
    EXPECT_EQ(start, 63U);
    EXPECT_EQ(start + GetLe32(partition.subspan(12)), 4096U);

    const Bytes bootSector = Blocks(start, 1);
    const ByteSpan parameters(bootSector);
    ASSERT_EQ(GetLe16(parameters.subspan(11)), 512);
    EXPECT_EQ(GetLe16(parameters.subspan(19)), 4096 - 63);
    const std::uint32_t fatBlocks = GetLe16(parameters.subspan(22));
    const std::uint32_t fatStart = start + GetLe16(parameters.subspan(14));
    const std::uint32_t rootStart = fatStart + parameters[16] * fatBlocks;
    const std::uint32_t rootBlocks = GetLe16(parameters.subspan(17)) * 32U / 512;
    const std::uint32_t clusters = (4096 - rootStart - rootBlocks) / parameters[13];
    EXPECT_LT(clusters, 4085U) << "FAT12 by definition";
    EXPECT_GE(fatBlocks * 512, (clusters + 2) * 3 / 2);
    EXPECT_EQ(Blocks(fatStart, fatBlocks), Blocks(fatStart + fatBlocks, fatBlocks));

    const Bytes root = Blocks(rootStart, rootBlocks);
    EXPECT_EQ(std::string(root.begin(), root.begin() + 11), "LUMATO     ");
    std::string name;
    std::size_t entry = 32;
    for (; root[entry + 11] == 0x0F; entry += 32) {
        std::string part;
        for (const std::size_t at : {1U, 3U, 5U, 7U, 9U, 14U, 16U, 18U, 20U, 22U, 24U, 28U, 30U}) {
            if (const auto c = GetLe16(ByteSpan(root).subspan(entry + at)); c != 0 && c != 0xFFFF)
                part += static_cast<char>(c);
        }
        name = part + name;
    }
    EXPECT_EQ(name, "LanguageUnicode.ini");
    std::uint8_t sum = 0;
    for (std::size_t i = 0; i < 11; ++i)
        sum = static_cast<std::uint8_t>((sum << 7 | sum >> 1) + root[entry + i]);
    EXPECT_EQ(root[entry - 32 + 13], sum) << "ties the long name to the short one";

    const std::uint32_t cluster = GetLe16(ByteSpan(root).subspan(entry + 26));
    const std::uint32_t size = GetLe32(ByteSpan(root).subspan(entry + 28));
    ASSERT_EQ(cluster, 2U);
    ASSERT_LE(size, parameters[13] * 512U);
    EXPECT_EQ(GetLe24(Blocks(fatStart, 1)), 0xFFFFF8U);
    EXPECT_EQ(GetLe16(ByteSpan(Blocks(fatStart, 1)).subspan(3)) & 0xFFF, 0xFFF) << "the chain ends";
    Bytes content = Blocks(rootStart + rootBlocks, parameters[13]);
    content.resize(size);
    EXPECT_EQ(content, VolumeMarkContent());
    EXPECT_EQ(Bytes(content.begin(), content.begin() + 4), (Bytes{0xFF, 0xFE, '[', 0}));
}

}  // namespace
}  // namespace lumato::vframe
