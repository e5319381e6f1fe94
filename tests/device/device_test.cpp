// Frames that come and go, what they are sent, and their volumes.
#include <array>
#include <atomic>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device/comm_usb.h"
#include "platform/services.h"
#include "tests/support/diagnostic_capture.h"
#include "tests/support/scripted_device.h"
#include "tests/support/temporary_folder.h"

namespace lumato::device {
namespace {

using platform::Direction;
using platform::ScsiOutcome;
using platform::ScsiRequest;
using platform::Volume;

// Records what the link reports.
class RecordingPort : public FramePort {
  public:
    void BeginOnline() override {}
    void SetFlashOnline(std::shared_ptr<AttachedFrame>) override { ++m_online; }
    void SetFlashOffline() override {
        ++m_offline;
        EXPECT_EQ(Link().Attached(), nullptr);
    }
    void ShowLinkError(const Error& error) override {
        m_errors.push_back(error.kind);
        m_messages.push_back(error.message.English());
    }

    std::atomic<int> m_online{0};
    int m_offline = 0;
    std::vector<ErrorKind> m_errors;
    std::vector<std::string> m_messages;
};

class Discovery : public testing::Test {
  protected:
    Discovery() {
        platform::CurrentServices() = {.bus = &m_bus, .volumes = nullptr, .clock = nullptr};
        Link().frame = &m_port;
    }
    ~Discovery() override {
        ResetLink();
        platform::CurrentServices() = {};
    }
    void Start() {
        m_link.IniUSBDevice();
        Link().task.Join();
    }
    bool SendSomething() {
        std::array<char, 16> block{};
        return m_link.SendCmdToDPF(block.data(), nullptr, 0, 0);
    }

    test::DiagnosticCapture m_printed;
    RecordingPort m_port;
    test::DeviceScript m_script;
    test::DeviceScript m_secondScript;
    test::ScriptedService m_frame{"first", m_script};
    test::ScriptedBus m_bus;
    CCommUSB m_link;
};

TEST_F(Discovery, OnlyTheFamilyOfVendorsQualifies) {
    const std::vector<std::uint8_t> whole = test::InquiryData("quorvane");
    const struct {
        std::vector<std::uint8_t> inquiry;
        bool qualifies;
    } rows[] = {
        {test::InquiryData("QUORVANE"), true},
        {test::InquiryData("QuorVane"), true},
        {test::InquiryData(std::string("quorvan\0", 8)), false},
        {test::InquiryData(std::string("quor\0ane", 8)), false},
        {test::InquiryData("quorvan ", "e"), false},
        {test::InquiryData("OTHER", "quorvane"), false},
        {{whole.begin(), whole.begin() + 15}, false},  // a short answer lacks the last letter
        {{whole.begin(), whole.begin() + 16}, true},
    };
    Start();
    for (const auto& row : rows) {
        m_script.inquiry = row.inquiry;
        m_bus.Plug(m_frame);
        EXPECT_EQ(m_link.GetUSBDeviceStatus(), row.qualifies) << test::Hex(row.inquiry);
        EXPECT_EQ(m_script.opened - m_script.closed, row.qualifies ? 1 : 0);
        m_bus.Unplug(m_frame);
        EXPECT_EQ(m_script.opened, m_script.closed);
    }
    EXPECT_TRUE(m_port.m_errors.empty());
}

// The kernel may give the node's name away again before the detachment has been handled, and a command may
// have found the device gone before the bus reports it.
TEST_F(Discovery, ReplacedFrameIsNoticedWithoutItsDetachment) {
    m_bus.present = {&m_frame};
    Start();
    test::ScriptedService sameName("first", m_secondScript);
    m_bus.Plug(sameName);
    Link().task.Join();
    EXPECT_EQ(m_script.closed, 1);
    EXPECT_EQ(m_port.m_offline, 1);
    EXPECT_TRUE(SendSomething());
    EXPECT_EQ(m_secondScript.sent.size(), 2U);

    m_secondScript.gone = true;
    EXPECT_FALSE(SendSomething());
    EXPECT_FALSE(m_link.GetUSBDeviceStatus());
    test::DeviceScript thirdScript;
    test::ScriptedService third("third", thirdScript);
    m_bus.Plug(third);
    Link().task.Join();
    m_bus.Unplug(sameName);  // the late report is of a frame that is no longer in use
    EXPECT_TRUE(m_link.GetUSBDeviceStatus());
    EXPECT_TRUE(SendSomething());
    EXPECT_EQ(m_port.m_online, 3);
    EXPECT_EQ(m_port.m_offline, 2);
    ResetLink();
}

TEST_F(Discovery, WhatCannotBeReachedIsReportedAndLeftAlone) {
    m_bus.startError = ErrorKind::Refused;
    Start();
    m_bus.startError.reset();
    Start();
    m_frame.openError = ErrorKind::Busy;
    m_bus.Announce(m_frame);
    m_frame.openError = ErrorKind::Gone;
    m_bus.Announce(m_frame);
    platform::CurrentServices().bus = nullptr;
    Start();
    EXPECT_EQ(m_printed.Text(),
              "ERR: Couldn't create a master IOKit Port(00000006)\n\n"
              "ObtainExclusiveAccess returned 8\n\n"
              "IOCreatePlugInInterfaceForService returned 7\n\n"
              "ERR: Couldn't create a master IOKit Port(00000000)\n\n");
    EXPECT_THAT(m_port.m_errors, testing::ElementsAre(ErrorKind::Refused, ErrorKind::Busy, ErrorKind::Gone,
                                                      ErrorKind::NotFound));
    EXPECT_FALSE(m_link.GetUSBDeviceStatus());
    EXPECT_EQ(m_script.opened, 0);
}

class FakeVolumes : public platform::Volumes {
  public:
    std::vector<Volume> List() override { return m_volumes; }
    Result<void> Eject(const Volume& volume) override {
        m_ejected.push_back(volume.name);
        return Fail(ErrorKind::Busy, volume.name + " is held");
    }
    std::vector<Volume> m_volumes;
    std::vector<std::string> m_ejected;
};

constexpr const char* kExecutionError = "*********** ERROR Executing Task ***********\n";

// A frame that is in use already.
class CommandChannel : public Discovery {
  protected:
    CommandChannel() {
        m_bus.present = {&m_frame};
        Start();
        const auto& inquiry = m_script.sent.at(0);
        EXPECT_EQ(inquiry.block, "12 00 00 00 40 00");
        EXPECT_EQ(std::tuple(inquiry.direction, inquiry.length, inquiry.timeout),
                  std::tuple(Direction::In, 36U, std::chrono::milliseconds(200)));
        EXPECT_EQ(m_printed.Text(), "Device appeared.\n");
        m_script.sent.clear();
    }
    bool Send(int length, int direction) {
        return m_link.SendCmdToDPF(m_block.data(), m_data.data(), length, direction);
    }

    std::array<char, 16> m_block{'\xCD', 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, '\xFF'};
    std::array<char, 8> m_data{'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'};
};

TEST_F(CommandChannel, PassesBlockDataAndTimeoutForEachDirection) {
    EXPECT_TRUE(Send(0, 0));
    EXPECT_TRUE(Send(5, 1));
    EXPECT_TRUE(Send(8, 2));
    EXPECT_TRUE(Send(8, 3));
    ASSERT_EQ(m_script.sent.size(), 4U);
    const std::array directions{Direction::None, Direction::Out, Direction::In, Direction::None};
    const std::array<std::size_t, 4> lengths{0, 5, 8, 0};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(m_script.sent[i].block, "CD 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E FF");
        EXPECT_EQ(m_script.sent[i].direction, directions[i]);
        EXPECT_EQ(m_script.sent[i].length, lengths[i]);
        EXPECT_EQ(m_script.sent[i].timeout, std::chrono::milliseconds(5000));
    }
    EXPECT_EQ(m_script.sent[1].data, (std::vector<std::uint8_t>{'a', 'b', 'c', 'd', 'e'}));
}

TEST_F(CommandChannel, BytesBehindAShortAnswerReadAsZero) {
    m_script.answer = [](const ScsiRequest& request) {
        std::ranges::fill(request.data,
                          std::uint8_t{'x'});  // a transport that scribbles over the whole buffer
        return test::Good(3);
    };
    EXPECT_TRUE(Send(6, 2));
    EXPECT_EQ(std::string(m_data.data(), 8), std::string("xxx\0\0\0gh", 8));

    m_script.answer = [](const ScsiRequest&) { return test::Refused(); };
    EXPECT_FALSE(Send(6, 2));
    EXPECT_EQ(std::string(m_data.data(), 8), std::string("\0\0\0\0\0\0gh", 8));
}

TEST_F(CommandChannel, WhatIsNotExecutedOrNotSentFails) {
    const test::DiagnosticCapture printed;
    m_script.answer = [](const ScsiRequest&) { return test::Refused(); };
    EXPECT_FALSE(Send(0, 0));
    EXPECT_EQ(printed.Text(), "");
    m_script.answer = [](const ScsiRequest&) {
        return ScsiOutcome{
            .status = platform::kStatusGood, .executed = false, .transferred = 0, .diagnostic = ""};
    };
    EXPECT_FALSE(Send(0, 0));
    EXPECT_EQ(m_script.sent.size(), 2U);
    EXPECT_FALSE(Send(-1, 1));
    EXPECT_FALSE(m_link.SendCmdToDPF(m_block.data(), nullptr, 4, 2));
    EXPECT_EQ(printed.Text(), std::string(kExecutionError) +
                                  "*********** ERROR Setting SG Entries ***********\n\n"
                                  "*********** ERROR Setting SG Entries ***********\n\n");
    // A device that vanishes with a command is gone at once.
    m_script.answer = [this](const ScsiRequest&) {
        m_script.gone = true;
        return ScsiOutcome{};
    };
    EXPECT_FALSE(Send(8, 1));
    EXPECT_FALSE(m_link.GetUSBDeviceStatus());
    EXPECT_FALSE(Send(8, 2));
    EXPECT_EQ(m_script.sent.size(), 3U);
    EXPECT_EQ(m_data[0], 'a');
}

class FrameVolume : public testing::Test {
  protected:
    FrameVolume() { platform::CurrentServices().volumes = &m_volumes; }
    ~FrameVolume() override {
        platform::CurrentServices() = {};
        ResetLink();
    }
    Path Mount(const std::string& name) {
        std::filesystem::create_directory(m_folder / name);
        m_volumes.m_volumes.push_back({.name = name, .root = m_folder / name});
        return m_folder / name;
    }
    static void Put(const Path& file) { test::PutBytes(file, {'x'}); }

    const test::TemporaryFolder m_folder;
    FakeVolumes m_volumes;
    CCommUSB m_link;
};

TEST_F(FrameVolume, OnlyVolumesWithTheMarkerFileInTheirRootAreEjected) {
    Put(Mount("frame") / "LanguageUnicode.ini");
    Put(Mount("fat") / "LANGUAGEUNICODE.INI");
    Put(Mount("stick") / "Language.ini");
    const Path deeper = Mount("deeper") / "sub";
    std::filesystem::create_directory(deeper);
    Put(deeper / "LanguageUnicode.ini");
    std::filesystem::create_directory(Mount("folder") / "LanguageUnicode.ini");
    m_volumes.m_volumes.push_back({.name = "vanished", .root = m_folder / "vanished"});
    Put(Mount("last") / "languageunicode.ini");

    RecordingPort errors;
    Link().frame = &errors;
    m_link.EjectMyDPF();
    EXPECT_THAT(m_volumes.m_ejected, testing::ElementsAre("frame", "fat", "last"));
    EXPECT_THAT(errors.m_messages, testing::ElementsAre("frame is held", "fat is held", "last is held"));
}

}  // namespace
}  // namespace lumato::device
