#include "flash/checked_transfer.h"

#include <numeric>

#include <gtest/gtest.h>

#include "flash/process_flash.h"
#include "tests/support/flash_frame.h"

namespace lumato::flash {
namespace {

using test::Fault;
using test::Kind;

constexpr const char* kFalse = "Verify false\n";

class CheckedTransfer : public testing::Test {
  protected:
    CheckedTransfer() {
        Flash().m_PtrPF = std::make_shared<CProcessFlash>(&m_frame.m_link);
        Flash().m_PtrPF->SetWriteRange({.begin = 0x10000, .end = 0x40000});
        Flash().device = &m_frame.m_link;
        UseErase(0xD8, 65536);
        for (std::size_t i = 0; i < m_data.size(); ++i)
            m_data[i] = static_cast<unsigned char>(i * 7 + i / 256 + 1);
        std::ranges::fill(m_frame.m_flash, std::uint8_t{0x5A});
    }
    ~CheckedTransfer() override { ResetFlash(); }

    void UseErase(unsigned char instruction, std::size_t unitOfTheFrame) {
        Flash().m_PtrPF->SetFlashCommand(instruction, 0);
        m_frame.m_eraseUnit = unitOfTheFrame;
    }
    bool Write(int length, int address) { return WriteDataToFlash(m_data.data(), length, address); }
    bool FlashHolds(int length, int address) const {
        return std::equal(m_data.begin(), m_data.begin() + length, m_frame.m_flash.begin() + address);
    }
    std::ptrdiff_t BytesOtherThan(std::uint8_t value) const {
        return std::ranges::count_if(m_frame.m_flash, [=](std::uint8_t byte) { return byte != value; });
    }
    // What was printed since the attachment.
    std::string Printed() const {
        const std::string attachment = "Device appeared.\n";
        return m_frame.m_printed.Text().substr(attachment.size());
    }

    test::FlashFrame m_frame;
    std::vector<unsigned char> m_data = std::vector<unsigned char>(kBlockSize);
};

TEST_F(CheckedTransfer, ChecksumComparesAllBytesWithTheFrames) {
    std::fill_n(m_frame.m_flash.begin() + 0x10000, kBlockSize, std::uint8_t{0xFF});
    std::vector<unsigned char> same(kBlockSize, 0xFF);
    EXPECT_TRUE(JugeIfWriteIsSuccess(same.data(), 4096, 0x10000));
    EXPECT_TRUE(JugeIfWriteIsSuccess(same.data(), kBlockSize, 0x10000));
    EXPECT_EQ(Printed(), "");
    same[kBlockSize - 1] = 0;
    EXPECT_FALSE(JugeIfWriteIsSuccess(same.data(), kBlockSize, 0x10000));
    EXPECT_EQ(Printed(), kFalse);
}

TEST_F(CheckedTransfer, ChecksumThatDidNotArriveIsNoChecksum) {
    std::vector<unsigned char> zeros(16, 0);
    m_frame.FailAt(Kind::Checksum, 1, Fault::Refuse);
    EXPECT_FALSE(JugeIfWriteIsSuccess(zeros.data(), 16, 0x10000));
    EXPECT_EQ(Printed(), kFalse);
}

TEST_F(CheckedTransfer, ReadIsRepeatedUntilItPasses) {
    m_frame.FailAt(Kind::Read, 1, Fault::Flip);
    m_frame.FailAt(Kind::Checksum, 2, Fault::Flip);
    EXPECT_TRUE(ReadFlashData(m_data.data(), 4096, 0x12345));
    EXPECT_EQ(m_data, [this] {
        std::vector<unsigned char> expected = m_data;
        std::fill_n(expected.begin(), 4096, static_cast<unsigned char>(0x5A));
        return expected;
    }());
    EXPECT_EQ(m_frame.Order(), "R?=R?=R?=");
    EXPECT_EQ(Printed(), std::string(kFalse) + kFalse);
}

TEST_F(CheckedTransfer, ReadEndsAfterThreeAttemptsAndAFailedOneIsNotChecked) {
    std::ranges::fill(m_frame.m_flash, std::uint8_t{0});  // an empty buffer would pass the check
    m_frame.FailAt(Kind::Read, 1, Fault::Refuse);
    m_frame.FailAt(Kind::Read, 2, Fault::Flip);
    m_frame.FailAt(Kind::Read, 3, Fault::Refuse);
    EXPECT_FALSE(ReadFlashData(m_data.data(), 4096, 0));
    EXPECT_EQ(m_frame.Order(), "RR?=R");
    EXPECT_EQ(Printed(), kFalse);
}

TEST_F(CheckedTransfer, WriteOnABoundaryIsErasedProgrammedAndChecked) {
    EXPECT_TRUE(Write(8192, 0x20000));
    EXPECT_EQ(m_frame.Order(), "nsnEnsnP=");
    EXPECT_TRUE(FlashHolds(8192, 0x20000));
    EXPECT_EQ(m_frame.m_flash[0x20000 + 8192], 0xFF);
    EXPECT_EQ(m_frame.m_script.sent.at(7).length, 8192U);
    EXPECT_EQ(BytesOtherThan(0x5A), kBlockSize - std::count(m_data.begin(), m_data.begin() + 8192, 0x5A));
}

TEST_F(CheckedTransfer, WriteInsideABlockKeepsTheRestOfIt) {
    EXPECT_TRUE(Write(4096, 0x28000));
    EXPECT_EQ(m_frame.Order(), "R?=nsnEnsnP=");
    EXPECT_EQ(m_frame.Sent(3 + 7), "CB 00 00 00 00 00 04 01 00 00 02 02 00 00 00 00");
    EXPECT_TRUE(FlashHolds(4096, 0x28000));
    EXPECT_EQ(BytesOtherThan(0x5A), 4096 - std::count(m_data.begin(), m_data.begin() + 4096, 0x5A));
}

TEST_F(CheckedTransfer, BlockThatCannotBeReadIsNotTouched) {
    for (int attempt = 1; attempt <= kAttempts; ++attempt)
        m_frame.FailAt(Kind::Read, attempt, Fault::Flip);
    EXPECT_FALSE(Write(4096, 0x28000));
    EXPECT_EQ(m_frame.Order(), "R?=R?=R?=");
    EXPECT_EQ(BytesOtherThan(0x5A), 0);
}

TEST_F(CheckedTransfer, FailedCommandEndsItsAttempt) {
    m_frame.FailAt(Kind::Erase, 1, Fault::Refuse);
    m_frame.FailAt(Kind::Program, 1, Fault::Refuse);
    EXPECT_TRUE(Write(kBlockSize, 0x20000));
    EXPECT_EQ(m_frame.Order(),
              "nsnE"
              "nsnEnsnP"
              "nsnEnsnP=");
    EXPECT_EQ(Printed(), "");
    EXPECT_TRUE(FlashHolds(kBlockSize, 0x20000));
}

TEST_F(CheckedTransfer, WriteEndsAfterThreeAttempts) {
    m_frame.FailAt(Kind::Program, 1, Fault::Flip);
    m_frame.FailAt(Kind::Program, 2, Fault::Nothing);
    m_frame.FailAt(Kind::Checksum, 3, Fault::Refuse);
    EXPECT_FALSE(Write(kBlockSize, 0x20000));
    EXPECT_EQ(m_frame.Order(), "nsnEnsnP=nsnEnsnP=nsnEnsnP=");
    EXPECT_EQ(Printed(), std::string(kFalse) + kFalse + kFalse);
}

TEST_F(CheckedTransfer, FrameThatErasesTheWholeBlockByASmallInstructionGetsOneErase) {
    UseErase(0x20, 65536);
    EXPECT_TRUE(Write(kBlockSize, 0x20000));
    EXPECT_EQ(m_frame.Order(), "nsnEnsnP=");
}

TEST_F(CheckedTransfer, LaterAttemptsEraseEveryUnitOfTheData) {
    UseErase(0x52, 32768);
    EXPECT_TRUE(Write(kBlockSize, 0x20000));
    EXPECT_EQ(m_frame.Order(),
              "nsnEnsnP="
              "nsnEnsnEnsnP=");
    EXPECT_EQ(m_frame.Sent(9 + 3), "CB 00 00 00 00 00 04 00 00 00 52 02 00 00 00 00");
    EXPECT_EQ(m_frame.Sent(9 + 7), "CB 00 00 00 00 00 04 00 00 00 52 02 80 00 00 00");
    EXPECT_TRUE(FlashHolds(kBlockSize, 0x20000));
    EXPECT_EQ(Printed(), kFalse);

    UseErase(0x20, 4096);
    const std::size_t before = m_frame.Order().size();
    EXPECT_TRUE(Write(9000, 0x30000));  // reaches into the third unit
    EXPECT_EQ(m_frame.Order().substr(before),
              "nsnEnsnP="
              "nsnEnsnEnsnEnsnP=");
    EXPECT_TRUE(FlashHolds(9000, 0x30000));
    EXPECT_EQ(m_frame.m_flash[0x33000], 0x5A);
}

TEST_F(CheckedTransfer, WriteThatLeavesItsBlockOrTheRangeIsRefused) {
    const struct {
        int length;
        int address;
    } rows[] = {
        {4097, 0x2F000},       {kBlockSize + 1, 0x20000},
        {kBlockSize, 0x20001}, {0, 0x20000},
        {-1, 0x20000},         {16, 0},
        {16, 0x0F000},         {16, 0x40000},
        {16, 0x48000},         {16, -65536},
        {0x7FFFFFFF, 0x20000}, {0x7FFFFFFF, 0x20001},
    };
    for (const auto& row : rows)
        EXPECT_FALSE(Write(row.length, row.address)) << row.length << " at " << row.address;
    EXPECT_FALSE(ReadFlashData(m_data.data(), 0, 0));
    EXPECT_FALSE(ReadFlashData(m_data.data(), kBlockSize + 1, 0));
    EXPECT_FALSE(ReadFlashData(m_data.data(), 16, -1));
    EXPECT_EQ(m_frame.SentCount(), 0U);
    EXPECT_TRUE(Write(4096, 0x3F000));
}

TEST_F(CheckedTransfer, WithoutAFrameNothingIsSentOrPrinted) {
    const auto refusesAll = [this] {
        return !JugeIfWriteIsSuccess(m_data.data(), 16, 0x20000) &&
               !ReadFlashData(m_data.data(), 16, 0x20000) && !Write(16, 0x20000);
    };
    const std::shared_ptr<CProcessFlash> flash = std::exchange(Flash().m_PtrPF, nullptr);
    EXPECT_TRUE(refusesAll());
    Flash().m_PtrPF = flash;
    m_frame.m_link.SetUSBDeviceStatus(false);
    EXPECT_TRUE(refusesAll());
    EXPECT_EQ(m_frame.SentCount(), 0U);
    EXPECT_EQ(Printed(), "");
}

TEST_F(CheckedTransfer, FrameThatVanishesEndsTheOperation) {
    m_frame.FailAt(Kind::Program, 1, Fault::Unplug);
    EXPECT_FALSE(Write(kBlockSize, 0x20000));
    EXPECT_EQ(m_frame.Order(), "nsnEnsnP");
    EXPECT_FALSE(m_frame.m_link.GetUSBDeviceStatus());
}

}  // namespace
}  // namespace lumato::flash
