// One attached frame: its open device, what tells it from others, and the one answer to "is it there?".
//
//   Attached -> Vanished   a command finds the device gone; nothing is sent any more, and nothing else
//                          happens until the link hears of the detachment
//   Attached -> Released   the link lets go of it: detached, replaced, or the program ends. Nothing is sent
//   Vanished -> Released   any more, the device is closed as soon as no command uses it, and whoever owns the
//                          store releases what belonged to the frame
//
// There is no way back: a frame that is plugged in again is another object. Whoever works with a frame holds
// on to its object and sends through that alone, so that what was meant for one never reaches the next.
//
// Any thread, one command at a time; Release() is the link's, on the main thread.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "platform/scsi.h"

namespace lumato::device {

// What a frame says it is; printable.
struct FrameModel {
    std::string name;      // vendor and product
    std::string firmware;  // its revision
};

class AttachedFrame {
  public:
    // One that nothing can be sent to, though it is there.
    AttachedFrame() = default;
    // `individual`: what tells the frame from others of its model; may be empty.
    AttachedFrame(std::shared_ptr<platform::ScsiDevice> device, std::string name, std::string individual,
                  FrameModel model = {});

    [[nodiscard]] const std::string& Name() const { return m_name; }
    [[nodiscard]] const std::string& Individual() const { return m_individual; }
    [[nodiscard]] const FrameModel& Model() const { return m_model; }

    [[nodiscard]] bool IsThere() const { return DeviceStatus == Presence::Attached; }
    [[nodiscard]] bool IsReleased() const { return DeviceStatus == Presence::Released; }

    // Sends one 16-byte vendor command. `direction` 0: no data phase, 1: `data` is sent, 2: `data` is filled,
    // and bytes the frame does not send read as 0; any other code counts as 0. True only when the frame
    // completed the command with status GOOD.
    bool SendCmdToDPF(char* commandBlock, char* data, int length, int direction);

    // Asks once more who it is, if it is hardware: false when it is no frame of the family any more, and
    // nothing may be erased. A virtual frame is asked nothing.
    bool ConfirmIdentity();

    // Does not wait for a command that is under way.
    void Release();

    // How long commands have been under way, or failing, since one ended well; zero when the last one did.
    [[nodiscard]] std::chrono::seconds Silence() const;

  private:
    enum class Presence { Attached, Vanished, Released };

    // The device for a command, which keeps it from being closed meanwhile; null when nothing may be sent.
    [[nodiscard]] std::shared_ptr<platform::ScsiDevice> Borrow();
    void NoteIfGone(const platform::ScsiDevice& device);
    void NoteBegin();

    using Clock = std::chrono::steady_clock;

    const std::string m_name;
    const std::string m_individual;
    const FrameModel m_model{};
    std::atomic<Presence> DeviceStatus{Presence::Attached};
    std::atomic<Clock::rep> m_unansweredSince{0};  // 0: the last command was answered
    Clock::time_point m_ended;                     // of the last command
    std::mutex m_mutex;                            // guards DevInterface
    std::shared_ptr<platform::ScsiDevice> DevInterface;
};

}  // namespace lumato::device
