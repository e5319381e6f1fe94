// A frame with a small SPI NOR chip behind the vendor commands, for tests of the rooms above the device: it
// obeys the commands, and a test can make the n-th command of a kind go wrong.
#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "device/comm_usb.h"
#include "platform/services.h"
#include "tests/support/diagnostic_capture.h"
#include "tests/support/scripted_device.h"

namespace lumato::test {

enum class Kind { Enable, WriteStatus, Erase, Program, Status, Read, Checksum, Clock, Unknown };

inline Kind KindOf(ByteSpan block) {
    if (block[0] == 0xCA)
        return Kind::Clock;
    if (block[0] == 0xCD && block[5] == 5)
        return Kind::Checksum;
    switch (block[10]) {
        case 0x06:
            return Kind::Enable;
        case 0x01:
            return Kind::WriteStatus;
        case 0x02:
            return Kind::Program;
        case 0x05:
            return Kind::Status;
        case 0x03:
            return Kind::Read;
        case 0x20:
        case 0x52:
        case 0xD8:
            return Kind::Erase;
        default:
            return Kind::Unknown;
    }
}

enum class Fault {
    Refuse,   // not executed, CHECK CONDITION
    Flip,     // data changed by one bit on their way (a checksum, too), reported good
    Nothing,  // not executed, reported good
    Unplug,   // not executed, and the frame is gone
};

class FlashFrame {
  public:
    explicit FlashFrame(std::size_t size = 4 * 65536) : m_flash(size, 0xFF) {
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
    // One letter a command: e(n)able, write (s)tatus, (E)rase, (P)rogram, status poll (?), (R)ead, checksum
    // (=), (C)lock.
    std::string Order() const { return m_order; }

    // The erased memory is 0xFF; programming clears bits only.
    std::vector<std::uint8_t> m_flash;
    std::size_t m_eraseUnit = 65536;
    bool m_busy = false;
    DeviceScript m_script;
    DiagnosticCapture m_printed;
    ScriptedService m_service{"frame", m_script};
    ScriptedBus m_bus;
    device::CCommUSB m_link;

  private:
    platform::ScsiOutcome Answer(const platform::ScsiRequest& request) {
        const Kind kind = KindOf(request.block);
        m_order += "nsEP?R=C!"[static_cast<std::size_t>(kind)];
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
        const std::size_t address = GetBe24(request.block.subspan(11));
        switch (kind) {
            case Kind::Erase:
                std::fill_n(m_flash.begin() + static_cast<std::ptrdiff_t>(address - address % m_eraseUnit),
                            m_eraseUnit, std::uint8_t{0xFF});
                break;
            case Kind::Program:
                for (std::size_t i = 0; i < request.data.size(); ++i)
                    m_flash.at(address + i) &= request.data[i];
                break;
            case Kind::Read:
                return Give(request, ByteSpan(m_flash).subspan(address));
            case Kind::Status:
                return Give(request, std::vector<std::uint8_t>(64, m_busy ? 0x03 : 0x02));
            case Kind::Checksum: {
                const std::size_t length = GetBe16(request.block.subspan(7));
                std::vector<std::uint8_t> answer(64, 0);
                PutBe16(answer, Sum16(ByteSpan(m_flash).subspan(address, length == 0 ? 65536 : length)));
                return Give(request, answer);
            }
            default:
                break;
        }
        return Good(request.data.size());
    }

    std::string m_order;
    std::map<Kind, int> m_counts;
    std::map<std::pair<Kind, int>, Fault> m_faults;
};

}  // namespace lumato::test
