#include "flash/process_flash.h"

#include <gtest/gtest.h>

#include "tests/support/flash_frame.h"

namespace lumato::flash {
namespace {

using test::Fault;
using test::Kind;

class ProcessFlash : public testing::Test {
  protected:
    ProcessFlash() { m_flash.SetWriteRange({.begin = 0x10000, .end = 0x40000}); }

    test::FlashFrame m_frame;
    CProcessFlash m_flash{&m_frame.m_link};
    std::vector<char> m_data = std::vector<char>(65536, 'x');
};

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

TEST_F(ProcessFlash, NothingOutsideTheWriteRangeIsErasedOrProgrammed) {
    CProcessFlash fresh(&m_frame.m_link);
    EXPECT_FALSE(fresh.Erase4KFlash(0x10000));
    EXPECT_FALSE(fresh.Flash_WR_Page(m_data.data(), 1, 0x10000));

    for (const unsigned char wholeChip : std::initializer_list<unsigned char>{0x60, 0xC7}) {
        m_flash.SetFlashCommand(wholeChip, 0);
        EXPECT_FALSE(m_flash.Erase4KFlash(0x10000));
    }

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
    EXPECT_TRUE(m_flash.WriteToFlash(m_data.data(), 0, 0x10000));
    EXPECT_FALSE(m_flash.ReadFromFlash(m_data.data(), 0, 0x10000));
    EXPECT_EQ(m_frame.SentCount(), 0U);
}

}  // namespace
}  // namespace lumato::flash
