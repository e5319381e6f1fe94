// One frame for the length of one call: connected at its start, let go of at its end.
//
// Main thread only; the store's worker tasks run inside.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <tl/expected.hpp>

#include "cli/arguments.h"
#include "cli/bus_filter.h"
#include "cli/link_notes.h"
#include "cli/output.h"
#include "cli/private_folder.h"
#include "cli/terminal_status.h"
#include "device/comm_usb.h"
#include "picture/rv512_encoder.h"
#include "platform/linux/folder_lock.h"
#include "platform/linux/mounted_volumes.h"
#include "platform/linux/system_clock.h"
#include "platform/linux/usb_bus.h"
#include "platform/trace.h"
#include "store/store.h"
#include "vframe/virtual_bus.h"

namespace lumato::cli {

// Pictures of the list that are not on the frame.
[[nodiscard]] int CountWaiting();
// "retries": the attempts that this call had to make once more, if any.
void AddRetries(nlohmann::ordered_json& json);

class Session {
  public:
    // Takes the home folder, finds the frame, and waits until its pictures are read back. To look at a frame,
    // neither its image nor the home need be writable. A dry run's list reaches no disk.
    enum class Purpose { Change, Look };
    [[nodiscard]] static tl::expected<std::unique_ptr<Session>, Failure> Connect(
        const Arguments& arguments, Purpose purpose = Purpose::Change);

    // Lets go of the frame and of the local files of its pictures.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Writes the list to the frame, showing progress.
    [[nodiscard]] tl::expected<void, Failure> Download();

    // Has it work with the store as a task does: it can be stopped, and hides the bar in the end. Not carried
    // out when the frame is gone.
    void Work(const std::function<void()>& work);

    // Says in a note that a download is due, if one is.
    void NoteDownloadDue();

    // After a download or check whose frame is still there: says when its link is getting weak.
    void WarnOfLink();

    [[nodiscard]] TerminalStatus& Status() { return m_status; }

  private:
    Session(const Arguments& arguments, Purpose purpose)
        : m_purpose(purpose),
          m_status(arguments.quiet, arguments.progress),
          m_traceError(arguments.traceError),
          m_linkNotes(m_status) {}

    tl::expected<void, Failure> PrepareHome(const Arguments& arguments);
    tl::expected<Path, Failure> TakeHome(const Path& home);
    tl::expected<void, Failure> FindBus(const Arguments& arguments);
    tl::expected<void, Failure> PlugVirtualFrame(const Arguments& arguments);
    tl::expected<void, Failure> SearchUsb(const Arguments& arguments);
    tl::expected<void, Failure> BringOnline();
    [[nodiscard]] platform::Bus& Bus();
    void DeliverEvents();

    const Purpose m_purpose;
    TerminalStatus m_status;
    const std::shared_ptr<std::optional<Error>> m_traceError;
    platform::SystemClock m_clock;
    picture::CRv512Encoder m_codec;
    std::optional<platform::FolderLock> m_homeLock;
    std::optional<PrivateFolder> m_localFiles;  // in place of a home that cannot be written
    std::unique_ptr<vframe::VirtualBus> m_frameBus;
    std::unique_ptr<platform::UsbBus> m_usbBus;
    std::unique_ptr<OneDeviceBus> m_oneDeviceBus;  // of the node that was asked for
    platform::MountedVolumes m_volumes;
    std::shared_ptr<platform::TraceLog> m_traceLog;
    std::unique_ptr<platform::TracedBus> m_tracedBus;
    LinkNotes m_linkNotes;
    std::unique_ptr<device::CCommUSB> m_link;
};

}  // namespace lumato::cli
