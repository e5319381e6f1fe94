// Attempts that go wrong, what is refused, and the clock. The commands of attempts that do not are compared
// from outside: tests/independent/.
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "device/comm_usb.h"
#include "flash/checked_transfer.h"
#include "flash/process_flash.h"
#include "platform/services.h"
#include "tests/support/command_letter.h"
#include "tests/support/diagnostic_capture.h"
#include "tests/support/scripted_device.h"
#include "vframe/faults.h"

namespace lumato::flash {
namespace {

using vframe::FaultKind;

// A virtual frame with 256 KB of zeros; a test can make the n-th command of a kind go wrong. Commands have
// their letters (command_letter.h).
class FlashFrame {
  public:
    FlashFrame() {
        m_script.answer = [this](const platform::ScsiRequest& request) { return Answer(request); };
        m_bus.present = {&m_service};
        platform::CurrentServices().bus = &m_bus;
        m_link.IniUSBDevice();
        m_script.sent.clear();
    }
    ~FlashFrame() {
        device::ResetLink();
        platform::CurrentServices() = {};
    }

    // What happens to the `number`-th command of the kind from now on, counted from 1.
    void FailAt(char kind, int number, FaultKind fault) { m_faults[{kind, m_counts[kind] + number}] = fault; }

    std::size_t SentCount() const { return m_script.sent.size(); }
    // The commands that were sent, as command_letter.h has them.
    std::string Order() const { return m_order; }

    bool m_busy = false;
    test::DeviceScript m_script;
    test::DiagnosticCapture m_printed;
    test::ScriptedService m_service{"frame", m_script};
    test::ScriptedBus m_bus;
    device::CCommUSB m_link;

  private:
    platform::ScsiOutcome Answer(const platform::ScsiRequest& request) {
        const char kind = test::LetterOf(request.block);
        m_order += kind;
        if (const auto fault = m_faults.find({kind, ++m_counts[kind]}); fault != m_faults.end())
            m_faulty.FailNext(fault->second);
        platform::ScsiOutcome outcome = m_faulty.Execute(request);
        m_script.gone = m_frame.IsGone();
        if (kind == '?' && m_busy)
            std::ranges::fill(request.data, std::uint8_t{0x03});
        return outcome;
    }

    vframe::VirtualFrame m_frame{vframe::FlashImage::InMemory(std::vector<std::uint8_t>(4 * 65536))};
    vframe::FaultyFrame m_faulty{m_frame, {}};
    std::string m_order;
    std::map<char, int> m_counts;
    std::map<std::pair<char, int>, FaultKind> m_faults;
};

class CheckedTransfer : public testing::Test {
  protected:
    CheckedTransfer() {
        Flash().m_PtrPF = std::make_shared<CProcessFlash>(device::Link().Attached());
        Flash().m_PtrPF->SetWriteRange({.begin = 0x10000, .end = 0x40000});
        Flash().m_PtrPF->SetFlashCommand(0xD8, 0);
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

    FlashFrame m_frame;
    std::vector<unsigned char> m_data = std::vector<unsigned char>(kBlockSize);
};

// The flash holds zeros, and so does the buffer: a read that was refused would pass the check, and so would a
// checksum that was. What prepares a command may fail.
TEST_F(CheckedTransfer, AttemptsAreThreeAndAFailedCommandEndsItsOwn) {
    const struct {
        bool write;
        std::vector<std::tuple<char, int, FaultKind>> faults;
        const char* order;  // the commands, as FlashFrame has them
        std::size_t failedChecks;
        bool done;
    } rows[] = {
        {false, {{'R', 1, FaultKind::Flip}, {'=', 2, FaultKind::Refuse}}, "R?=R?=R?=", 2, true},
        {false,
         {{'R', 1, FaultKind::Refuse}, {'R', 2, FaultKind::Flip}, {'R', 3, FaultKind::Refuse}},
         "RR?=R",
         1,
         false},
        {true, {{'E', 1, FaultKind::Refuse}, {'P', 1, FaultKind::Refuse}}, "nsnEnsnEnsnPnsnEnsnP=", 0, true},
        {true,
         {{'n', 1, FaultKind::Refuse}, {'s', 1, FaultKind::Refuse}, {'n', 4, FaultKind::Refuse}},
         "nsnEnsnP=nsnEnsnP=",
         1,
         true},
        {true,
         {{'P', 1, FaultKind::Flip}, {'P', 2, FaultKind::Lie}, {'=', 3, FaultKind::Refuse}},
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

class ProcessFlash : public testing::Test {
  protected:
    ProcessFlash() { m_flash.SetWriteRange({.begin = 0x10000, .end = 0x40000}); }

    FlashFrame m_frame;
    CProcessFlash m_flash{device::Link().Attached()};
    std::vector<char> m_data = std::vector<char>(65536, 'x');
};

TEST_F(ProcessFlash, PollsAreBoundedByTimeAndByTheFrame) {
    m_flash.SetReadyLimit(std::chrono::milliseconds(500));
    m_frame.m_busy = true;
    EXPECT_FALSE(m_flash.ReadFromFlash(m_data.data(), 64, 0));
    EXPECT_GT(m_frame.Order().size(), 3U);  // it did poll for a while

    m_flash.SetReadyLimit(std::chrono::hours(1));
    m_frame.FailAt('?', 5, FaultKind::Unplug);
    m_frame.m_script.sent.clear();
    EXPECT_FALSE(m_flash.WaitFlashReady());
    EXPECT_EQ(m_frame.SentCount(), 5U);
}

TEST_F(ProcessFlash, NothingOutsideTheWriteRangeIsErasedOrProgrammed) {
    CProcessFlash fresh(device::Link().Attached());
    EXPECT_FALSE(fresh.Erase4KFlash(0x10000));
    EXPECT_FALSE(fresh.Flash_WR_Page(m_data.data(), 1, 0x10000));

    for (int instruction = 0; instruction <= 0xFF; ++instruction) {
        if (instruction == 0x20 || instruction == 0x52 || instruction == 0xD8)
            continue;
        m_flash.SetFlashCommand(static_cast<unsigned char>(instruction), 0);
        EXPECT_FALSE(m_flash.Erase4KFlash(0x10000)) << instruction;
        EXPECT_FALSE(m_flash.Flash_WR_Page(m_data.data(), 1, 0x10000)) << instruction;
    }
    ASSERT_EQ(m_frame.SentCount(), 0U);

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

// Every other time of day is told by the clock on the wall: tests/independent/.
TEST(FlashClock, ALeapSecondIsTheLastOfItsMinuteAndYearsHaveTheirCentury) {
    struct : platform::Clock {
        platform::LocalTime Now() const override { return time; }
        platform::LocalTime time;
    } clock;
    FlashFrame frame;
    platform::CurrentServices().clock = &clock;
    CProcessFlash flash(device::Link().Attached());
    for (const auto& [time, block] :
         {std::pair<platform::LocalTime, const char*>{{2016, 12, 31, 23, 59, 60, false, 0},
                                                      "CA 00 00 00 00 10 14 0C 1F 17 3B 3B 00 00 00 0C"},
          {{1999, 12, 1, 0, 0, 0, false, 0}, "CA 00 00 00 00 63 13 0C 01 00 00 00 00 00 00 0C"}}) {
        clock.time = time;
        EXPECT_TRUE(flash.SynchronizeDPFtime());
        EXPECT_EQ(frame.m_script.sent.back().block, block);
    }
}

}  // namespace
}  // namespace lumato::flash
