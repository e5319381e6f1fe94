// A virtual frame with 256 KB of zeros for tests of the room that drives the flash: a test can make the n-th
// command of a kind go wrong.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "device/comm_usb.h"
#include "platform/services.h"
#include "tests/support/command_letter.h"
#include "tests/support/diagnostic_capture.h"
#include "tests/support/scripted_device.h"
#include "vframe/virtual_frame.h"

namespace lumato::test {

// A command by its letter.
enum class Kind : char {
    Enable = 'n',
    WriteStatus = 's',
    Erase = 'E',
    Program = 'P',
    Status = '?',
    Read = 'R',
    Checksum = '=',
    Clock = 'C'
};

enum class Fault {
    Refuse,   // not executed, CHECK CONDITION
    Flip,     // data changed by one bit on their way (a checksum, too), reported good
    Nothing,  // not executed, reported good
    Unplug,   // not executed, and the frame is gone
};

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
    void FailAt(Kind kind, int number, Fault fault) { m_faults[{kind, m_counts[kind] + number}] = fault; }

    // The block of the `index`-th command, in hex.
    std::string Sent(std::size_t index) const { return m_script.sent.at(index).block; }
    std::size_t SentCount() const { return m_script.sent.size(); }
    void ForgetSent() { m_script.sent.clear(); }
    // The commands that were sent, as command_letter.h has them.
    std::string Order() const { return m_order; }

    bool m_busy = false;
    DeviceScript m_script;
    DiagnosticCapture m_printed;
    ScriptedService m_service{"frame", m_script};
    ScriptedBus m_bus;
    device::CCommUSB m_link;

  private:
    platform::ScsiOutcome Answer(const platform::ScsiRequest& request) {
        m_order += LetterOf(request.block);
        const auto kind = static_cast<Kind>(m_order.back());
        const auto fault = m_faults.find({kind, ++m_counts[kind]});
        if (fault == m_faults.end())
            return Obey(kind, request);
        switch (fault->second) {
            case Fault::Refuse:
                return Refused();
            case Fault::Nothing:
                return Good(request.data.size());
            case Fault::Unplug:
                m_script.gone = true;
                return {};
            case Fault::Flip:
                break;
        }
        const bool out = request.direction == platform::Direction::Out;
        std::vector<std::uint8_t> changed(request.data.begin(), request.data.end());
        platform::ScsiRequest other = request;
        other.data = out ? MutableByteSpan(changed) : request.data;
        if (out)
            changed[0] ^= 0x10;
        const platform::ScsiOutcome outcome = Obey(kind, other);
        if (!out)
            other.data[0] ^= 0x10;
        return outcome;
    }

    platform::ScsiOutcome Obey(Kind kind, const platform::ScsiRequest& request) {
        if (kind == Kind::Status && m_busy)
            return Give(request, std::vector<std::uint8_t>(64, 0x03));
        return m_frame.Execute(request);
    }

    vframe::VirtualFrame m_frame{vframe::FlashImage::InMemory(std::vector<std::uint8_t>(4 * 65536))};
    std::string m_order;
    std::map<Kind, int> m_counts;
    std::map<std::pair<Kind, int>, Fault> m_faults;
};

}  // namespace lumato::test
