#include <array>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "device/comm_usb.h"
#include "platform/services.h"
#include "tests/support/diagnostic_capture.h"
#include "tests/support/scripted_device.h"

namespace lumato::device {
namespace {

using platform::Direction;
using platform::ScsiOutcome;
using platform::ScsiRequest;

constexpr const char* kExecutionError = "*********** ERROR Executing Task ***********\n";

class CommandChannel : public testing::Test {
  protected:
    CommandChannel() {
        m_bus.present = {&m_service};
        platform::CurrentServices() = {.bus = &m_bus, .volumes = nullptr, .clock = nullptr};
        m_link.IniUSBDevice();
        m_script.sent.clear();
    }
    ~CommandChannel() override {
        ResetLink();
        platform::CurrentServices() = {};
    }

    bool Send(int length, int direction) {
        return m_link.SendCmdToDPF(m_block.data(), m_data.data(), length, direction);
    }

    // Catches the line of the attachment, which is another test's subject.
    test::DiagnosticCapture m_mute;
    test::DeviceScript m_script;
    test::ScriptedService m_service{"frame", m_script};
    test::ScriptedBus m_bus;
    CCommUSB m_link;
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
    m_link.DevClose();
    EXPECT_FALSE(Send(8, 2));
    EXPECT_EQ(m_script.sent.size(), 2U);
    EXPECT_EQ(m_data[0], 'a');
}

TEST_F(CommandChannel, DeviceThatVanishesEndsAllFlashWorkAtOnce) {
    m_script.answer = [this](const ScsiRequest&) {
        m_script.gone = true;
        return ScsiOutcome{};
    };
    const test::DiagnosticCapture printed;
    EXPECT_FALSE(Send(8, 1));
    EXPECT_FALSE(m_link.GetUSBDeviceStatus());
    EXPECT_FALSE(Send(8, 1));
    EXPECT_EQ(m_script.sent.size(), 1U);
    EXPECT_EQ(printed.Text(), kExecutionError);
}

// A worker that is inside a command while the main thread goes on.
class CommandInFlight : public CommandChannel {
  protected:
    CommandInFlight() {
        m_script.answer = [this](const ScsiRequest&) {
            m_inside = true;
            while (!m_proceed)
                std::this_thread::yield();
            EXPECT_EQ(m_script.closed, 0);
            return test::Good();
        };
        m_worker = std::thread([this] { EXPECT_TRUE(Send(0, 0)); });
        while (!m_inside)
            std::this_thread::yield();
    }
    void Finish() {
        m_proceed = true;
        m_worker.join();
    }

  private:
    std::atomic<bool> m_inside{false};
    std::atomic<bool> m_proceed{false};
    std::thread m_worker;
};

TEST_F(CommandInFlight, DetachmentLeavesTheDeviceToIt) {
    m_bus.Unplug(m_service);
    EXPECT_FALSE(m_link.GetUSBDeviceStatus());
    Finish();
    EXPECT_EQ(m_script.closed, 1);
}

TEST_F(CommandInFlight, ItsVanishedDeviceSaysNothingAboutTheNextFrame) {
    m_bus.Unplug(m_service);
    test::DeviceScript nextScript;
    test::ScriptedService next("next", nextScript);
    m_bus.Plug(next);
    m_script.gone = true;
    Finish();
    EXPECT_TRUE(m_link.GetUSBDeviceStatus());
    ResetLink();
}

}  // namespace
}  // namespace lumato::device
