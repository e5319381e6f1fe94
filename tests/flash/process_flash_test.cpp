#include "flash/process_flash.h"

#include <array>

#include <gtest/gtest.h>

#include "tests/support/flash_frame.h"

namespace lumato::flash {
namespace {

using test::Fault;
using test::Kind;

constexpr const char* kEnable = "CB 00 00 00 00 00 01 00 00 00 06 00 00 00 00 00";
constexpr const char* kClearProtection = "CB 00 00 00 00 00 02 00 00 00 01 00 00 00 00 00";
constexpr const char* kPoll = "CD 00 00 00 00 00 01 00 00 40 05 00 00 00 00 00";

class ProcessFlash : public testing::Test {
  protected:
    ProcessFlash() { m_flash.SetWriteRange({.begin = 0x10000, .end = 0x40000}); }

    void ExpectPreparation() {
        ASSERT_GE(m_frame.SentCount(), 4U);
        EXPECT_EQ(m_frame.Sent(0), kEnable);
        EXPECT_EQ(m_frame.Sent(1), kClearProtection);
        EXPECT_EQ(m_frame.Sent(2), kEnable);
    }

    test::FlashFrame m_frame;
    CProcessFlash m_flash{&m_frame.m_link};
    std::vector<char> m_data = std::vector<char>(65536, 'x');
};

TEST_F(ProcessFlash, SingleCommands) {
    EXPECT_TRUE(m_flash.FlashWREN());
    EXPECT_TRUE(m_flash.FlashWRSR(0x9C));
    EXPECT_TRUE(m_flash.GetFlashStatus());
    EXPECT_EQ(m_frame.Sent(0), kEnable);
    EXPECT_EQ(m_frame.Sent(1), "CB 00 00 00 00 00 02 00 00 00 01 9C 00 00 00 00");
    EXPECT_EQ(m_frame.Sent(2), kPoll);
    EXPECT_EQ(m_frame.m_script.sent[0].length, 0U);
    EXPECT_EQ(m_frame.m_script.sent[0].direction, platform::Direction::None);
    EXPECT_EQ(m_frame.m_script.sent[2].length, 64U);

    m_frame.m_busy = true;
    EXPECT_FALSE(m_flash.GetFlashStatus());
    m_frame.m_busy = false;
    m_frame.FailAt(Kind::Status, 1, Fault::Refuse);
    EXPECT_FALSE(m_flash.GetFlashStatus());
    m_frame.FailAt(Kind::Enable, 1, Fault::Refuse);
    EXPECT_FALSE(m_flash.FlashWREN());
}

TEST_F(ProcessFlash, EraseIsPreparedAndUsesTheFramesInstruction) {
    m_flash.SetFlashCommand(0xD8, 0);
    EXPECT_TRUE(m_flash.Erase4KFlash(131072));
    ExpectPreparation();
    EXPECT_EQ(m_frame.Sent(3), "CB 00 00 00 00 00 04 00 00 00 D8 02 00 00 00 00");
    EXPECT_EQ(m_frame.SentCount(), 4U);
    EXPECT_TRUE(CProcessFlash(&m_frame.m_link).EraseUnit() == 4096);
}

TEST_F(ProcessFlash, ProgramIsPreparedAndCarriesTheOptionBit) {
    m_flash.SetFlashCommand(0x20, 7);
    EXPECT_TRUE(m_flash.WriteToFlash(m_data.data(), 65536, 196608));
    ExpectPreparation();
    EXPECT_EQ(m_frame.Sent(3), "CB 00 00 00 00 00 04 01 00 00 02 03 00 00 00 02");
    EXPECT_EQ(m_frame.m_script.sent[3].data, std::vector<std::uint8_t>(65536, 'x'));

    m_flash.SetFlashCommand(0x20, 0);
    m_frame.ForgetSent();
    EXPECT_TRUE(m_flash.Flash_WR_Page(m_data.data(), 300, 0x12345));
    EXPECT_EQ(m_frame.Sent(3), "CB 00 00 00 00 00 04 00 01 2C 02 01 23 45 00 00");
}

TEST_F(ProcessFlash, PreparationMayFailTheCommandItselfMayNot) {
    m_frame.FailAt(Kind::Enable, 1, Fault::Refuse);
    m_frame.FailAt(Kind::WriteStatus, 1, Fault::Refuse);
    m_frame.FailAt(Kind::Enable, 2, Fault::Refuse);
    EXPECT_TRUE(m_flash.Erase4KFlash(0x10000));
    m_frame.FailAt(Kind::Erase, 1, Fault::Refuse);
    EXPECT_FALSE(m_flash.Erase4KFlash(0x10000));
    m_frame.FailAt(Kind::Program, 1, Fault::Refuse);
    EXPECT_FALSE(m_flash.WriteToFlash(m_data.data(), 16, 0x10000));
    EXPECT_EQ(m_frame.Order(), "nsnEnsnEnsnP");
}

TEST_F(ProcessFlash, ReadsAndWaitsForTheFlash) {
    m_frame.m_flash[74565] = 'R';
    EXPECT_TRUE(m_flash.ReadFromFlash(m_data.data(), 64, 74565));
    EXPECT_EQ(m_frame.Sent(0), "CD 00 00 00 00 00 04 00 00 40 03 01 23 45 00 00");
    EXPECT_EQ(m_frame.Sent(1), kPoll);
    EXPECT_EQ(m_data[0], 'R');
    EXPECT_EQ(m_data[64], 'x');
    m_frame.FailAt(Kind::Read, 1, Fault::Refuse);
    EXPECT_FALSE(m_flash.ReadFromFlash(m_data.data(), 64, 0));
    EXPECT_EQ(m_frame.Order(), "R?R");
}

TEST_F(ProcessFlash, LengthZeroSendsNothing) {
    EXPECT_TRUE(m_flash.WriteToFlash(m_data.data(), 0, 0x10000));
    EXPECT_TRUE(m_flash.WriteToFlash(m_data.data(), -5, 0x10000));
    EXPECT_FALSE(m_flash.ReadFromFlash(m_data.data(), 0, 0x10000));
    EXPECT_EQ(m_frame.SentCount(), 0U);
}

TEST_F(ProcessFlash, ChecksumSendsTheLowLengthBits) {
    std::fill_n(m_frame.m_flash.begin() + 0x10000, 2, std::uint8_t{0x80});
    unsigned char high = 9;
    unsigned char low = 9;
    EXPECT_TRUE(m_flash.GetVerifyValue(high, low, 65536, 4096));
    EXPECT_EQ(m_frame.Sent(0), "CD 00 00 00 00 05 05 10 00 00 00 01 00 00 00 00");
    EXPECT_EQ(high * 256 + low, 4096 * 255 - 2 * 127 - 0xF0000);
    EXPECT_TRUE(m_flash.GetVerifyValue(high, low, 65536, 65536));
    EXPECT_EQ(m_frame.Sent(1), "CD 00 00 00 00 05 05 00 00 00 00 01 00 00 00 00");
    m_frame.FailAt(Kind::Checksum, 1, Fault::Refuse);
    EXPECT_FALSE(m_flash.GetVerifyValue(high, low, 65536, 4096));
    EXPECT_EQ(high + low, 0);
}

TEST_F(ProcessFlash, PollsAreBoundedByTimeAndByTheFrame) {
    m_flash.SetReadyLimit(std::chrono::milliseconds(500));
    m_frame.m_busy = true;
    EXPECT_FALSE(m_flash.ReadFromFlash(m_data.data(), 64, 0));
    EXPECT_GT(m_frame.Order().size(), 3U);  // it did poll for a while

    m_flash.SetReadyLimit(std::chrono::hours(1));
    m_frame.FailAt(Kind::Status, 5, Fault::Unplug);
    m_frame.ForgetSent();
    EXPECT_FALSE(m_flash.WaitFlashReady());
    EXPECT_EQ(m_frame.SentCount(), 5U);
}

TEST_F(ProcessFlash, OfflineFrameIsSentNothing) {
    m_frame.m_link.SetUSBDeviceStatus(false);
    EXPECT_FALSE(m_flash.Erase4KFlash(0x10000));
    EXPECT_FALSE(m_flash.WriteToFlash(m_data.data(), 0, 0x10000));
    EXPECT_FALSE(m_flash.ReadFromFlash(m_data.data(), 64, 0x10000));
    EXPECT_FALSE(m_flash.WaitFlashReady());
    EXPECT_EQ(m_frame.SentCount(), 0U);
}

TEST_F(ProcessFlash, NothingOutsideTheWriteRangeIsErasedOrProgrammed) {
    CProcessFlash fresh(&m_frame.m_link);
    EXPECT_FALSE(fresh.Erase4KFlash(0x10000));
    EXPECT_FALSE(fresh.Flash_WR_Page(m_data.data(), 1, 0x10000));

    const struct {
        unsigned char instruction;
        unsigned long address;
        bool allowed;
    } erases[] = {
        {0x20, 0x21000, true}, {0x20, 0x21FFF, true},  {0x20, 0x20FFF, false},
        {0x20, 0x2FFFF, true}, {0x20, 0x30000, false}, {0x52, 0x21000, false},
        {0x52, 0x28000, true}, {0xD8, 0x2F000, false}, {0xD8, ~0UL, false},
    };
    m_flash.SetWriteRange({.begin = 0x21000, .end = 0x30000});
    for (const auto& row : erases) {
        m_flash.SetFlashCommand(row.instruction, 0);
        EXPECT_EQ(m_flash.Erase4KFlash(row.address), row.allowed) << std::hex << row.address;
    }
    EXPECT_EQ(m_frame.Order(), "nsnEnsnEnsnEnsnE");

    EXPECT_TRUE(m_flash.Flash_WR_Page(m_data.data(), 0xF000, 0x21000));
    EXPECT_FALSE(m_flash.Flash_WR_Page(m_data.data(), 0xF001, 0x21000));
    EXPECT_FALSE(m_flash.Flash_WR_Page(m_data.data(), 2, 0x20FFF));
    EXPECT_FALSE(m_flash.Flash_WR_Page(m_data.data(), 1, 0x30000));
    EXPECT_FALSE(m_flash.Flash_WR_Page(m_data.data(), -1, 0x21000));
    EXPECT_FALSE(m_flash.Flash_WR_Page(m_data.data(), 1, -1));
    EXPECT_EQ(m_frame.Order(), "nsnEnsnEnsnEnsnEnsnP");
}

TEST_F(ProcessFlash, WholeChipIsNeverErased) {
    for (const unsigned char instruction : std::array<unsigned char, 2>{0x60, 0xC7}) {
        m_flash.SetFlashCommand(instruction, 0);
        EXPECT_FALSE(m_flash.Erase4KFlash(0x10000));
    }
    EXPECT_EQ(m_frame.SentCount(), 0U);
}

// Three address bytes reach 16 MB; what lies higher would be answered, or written, from the bottom.
TEST_F(ProcessFlash, AddressesBeyondThreeBytesAreRefused) {
    m_flash.SetWriteRange({.begin = 0x10000, .end = 0x2000000});
    m_flash.SetFlashCommand(0xD8, 0);
    unsigned char high = 9;
    unsigned char low = 9;
    EXPECT_FALSE(m_flash.Erase4KFlash(0x1000000));
    EXPECT_FALSE(m_flash.WriteToFlash(m_data.data(), 2, 0xFFFFFF));
    EXPECT_FALSE(m_flash.ReadFromFlash(m_data.data(), 2, 0xFFFFFF));
    EXPECT_FALSE(m_flash.GetVerifyValue(high, low, 0x1000000, 1));
    EXPECT_EQ(high + low, 0);
    EXPECT_EQ(m_frame.SentCount(), 0U);
}

}  // namespace
}  // namespace lumato::flash
