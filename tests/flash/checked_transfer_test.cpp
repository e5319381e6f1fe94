// Attempts that go wrong. The commands of those that do not are compared from outside: tests/independent/.
#include "flash/checked_transfer.h"

#include <gtest/gtest.h>

#include "flash/process_flash.h"
#include "tests/support/flash_frame.h"

namespace lumato::flash {
namespace {

using test::Fault;
using test::Kind;

class CheckedTransfer : public testing::Test {
  protected:
    CheckedTransfer() {
        Flash().m_PtrPF = std::make_shared<CProcessFlash>(&m_frame.m_link);
        Flash().m_PtrPF->SetWriteRange({.begin = 0x10000, .end = 0x40000});
        Flash().m_PtrPF->SetFlashCommand(0xD8, 0);
        Flash().device = &m_frame.m_link;
        for (std::size_t i = 0; i < m_data.size(); ++i)
            m_data[i] = static_cast<unsigned char>(i * 7 + i / 256 + 1);
    }
    ~CheckedTransfer() override { ResetFlash(); }

    bool Write(int length, int address) { return WriteDataToFlash(m_data.data(), length, address); }
    // How often the check's failure was printed since the attachment; nothing else may be.
    std::size_t FailedChecks() const {
        const std::string kAttachment = "Device appeared.\n", kFalse = "Verify false\n";
        std::string printed = m_frame.m_printed.Text().substr(kAttachment.size());
        std::size_t count = 0;
        for (; printed.starts_with(kFalse); ++count)
            printed.erase(0, kFalse.size());
        EXPECT_EQ(printed, "");
        return count;
    }

    test::FlashFrame m_frame;
    std::vector<unsigned char> m_data = std::vector<unsigned char>(kBlockSize);
};

TEST_F(CheckedTransfer, ChecksumThatDidNotArriveIsNoChecksum) {
    std::vector<unsigned char> zeros(16, 0);
    m_frame.FailAt(Kind::Checksum, 1, Fault::Refuse);
    EXPECT_FALSE(JugeIfWriteIsSuccess(zeros.data(), 16, 0x10000));
    EXPECT_EQ(FailedChecks(), 1U);
}

// The flash holds zeros, and so does the buffer: a read that was refused would pass the check.
TEST_F(CheckedTransfer, AttemptsAreThreeAndAFailedCommandEndsItsOwn) {
    const struct {
        bool write;
        std::vector<std::tuple<Kind, int, Fault>> faults;
        const char* order;  // the commands, as FlashFrame has them
        std::size_t failedChecks;
        bool done;
    } rows[] = {
        {false, {{Kind::Read, 1, Fault::Flip}, {Kind::Checksum, 2, Fault::Flip}}, "R?=R?=R?=", 2, true},
        {false,
         {{Kind::Read, 1, Fault::Refuse}, {Kind::Read, 2, Fault::Flip}, {Kind::Read, 3, Fault::Refuse}},
         "RR?=R",
         1,
         false},
        {true,
         {{Kind::Erase, 1, Fault::Refuse}, {Kind::Program, 1, Fault::Refuse}},
         "nsnEnsnEnsnPnsnEnsnP=",
         0,
         true},
        {true,
         {{Kind::Program, 1, Fault::Flip},
          {Kind::Program, 2, Fault::Nothing},
          {Kind::Checksum, 3, Fault::Refuse}},
         "nsnEnsnP=nsnEnsnP=nsnEnsnP=",
         3,
         false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.order);
        const std::size_t before = m_frame.Order().size(), checks = FailedChecks();
        std::vector<unsigned char> zeros(4096);
        for (const auto& [kind, number, fault] : row.faults)
            m_frame.FailAt(kind, number, fault);
        EXPECT_EQ(row.write ? Write(4096, 0x20000) : ReadFlashData(zeros.data(), 4096, 0x12345), row.done);
        EXPECT_EQ(m_frame.Order().substr(before), row.order);
        EXPECT_EQ(FailedChecks() - checks, row.failedChecks);
    }
}

TEST_F(CheckedTransfer, WriteInsideABlockKeepsTheRestOfIt) {
    ASSERT_TRUE(Write(kBlockSize, 0x20000));
    std::vector<unsigned char> part(4096, 0x5A), block(kBlockSize);
    EXPECT_TRUE(WriteDataToFlash(part.data(), 4096, 0x28000));
    std::ranges::copy(part, m_data.begin() + 0x8000);
    EXPECT_TRUE(ReadFlashData(block.data(), kBlockSize, 0x20000));
    EXPECT_EQ(block, m_data);
}

TEST_F(CheckedTransfer, BlockThatCannotBeReadIsNotTouched) {
    for (int attempt = 1; attempt <= kAttempts; ++attempt)
        m_frame.FailAt(Kind::Read, attempt, Fault::Flip);
    EXPECT_FALSE(Write(4096, 0x28000));
    EXPECT_EQ(m_frame.Order(), "R?=R?=R?=");
}

TEST_F(CheckedTransfer, WriteThatLeavesItsBlockOrTheRangeIsRefused) {
    const std::pair<int, int> rows[] = {{4097, 0x2F000},       {kBlockSize + 1, 0x20000},
                                        {kBlockSize, 0x20001}, {0, 0x20000},
                                        {-1, 0x20000},         {16, 0},
                                        {16, 0x0F000},         {16, 0x40000},
                                        {16, -65536},          {0x7FFFFFFF, 0x20001}};
    for (const auto& [length, address] : rows)
        EXPECT_FALSE(Write(length, address)) << length << " at " << address;
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
    EXPECT_EQ(FailedChecks(), 0U);
}

}  // namespace
}  // namespace lumato::flash
