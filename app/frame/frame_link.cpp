#include "app/frame/frame_link.h"

#include <utility>
#include <vector>

#include "app/parts/app_state.h"
#include "base/diagnostics.h"
#include "flash/process_flash.h"
#include "picture/picture_state.h"
#include "platform/services.h"
#include "store/messages.h"
#include "store/transfer.h"

namespace lumato::app {

namespace {

// The desktop mounts the frame's volume when it finds the frame, and may do so again.
std::vector<Error> Eject(platform::Volumes* volumes) {
    return volumes != nullptr ? device::EjectFrameVolumes(*volumes) : std::vector<Error>();
}

// For the log.
const char* NameOf(WindowState state) {
    switch (state) {
        case WindowState::NoFrame:
            return "no frame";
        case WindowState::Refused:
            return "frame refused";
        case WindowState::Idle:
            return "idle";
        case WindowState::Loading:
            return "loading a photograph";
        case WindowState::Reading:
            return "a frame goes online";
        case WindowState::Adding:
            return "adding";
        case WindowState::Changing:
            return "changing the list";
        case WindowState::AddingFiles:
            return "adding files";
        case WindowState::Downloading:
            return "downloading";
        case WindowState::Saving:
            return "saving";
        case WindowState::Checking:
            return "checking";
        case WindowState::BackingUp:
            return "backing up";
        case WindowState::Restoring:
            return "restoring";
    }
    return "";
}

}  // namespace

FrameLink::FrameLink(store::StatusPort& status, const Surroundings& surroundings)
    : m_status(status),
      m_volumes(surroundings.volumes),
      m_keepTrace(surroundings.keepTrace),
      // Its thread may outlive the link, which only the outcome, on the main thread, speaks to.
      m_buses(m_virtualBus, surroundings.hardware,
              [this, volumes = surroundings.volumes]() -> LooseThreads::Outcome {
                  return [this, errors = Eject(volumes)] {
                      for (const Error& error : errors)
                          Tell(error);
                  };
              }) {
    platform::Services& services = platform::CurrentServices();
    services.clock = &m_clock;
    services.bus = &m_buses;
    store::StoreState& store = store::Store();
    store.status = &status;
    store.MyJPG = &m_codec;
    store.statePath = surroundings.stateFolder;
    App().volumes = surroundings.volumes;
}

FrameLink::~FrameLink() {
    CloseResource();
}

void FrameLink::IniUSBDevice() {
    device::Link().frame = this;
    m_device = std::make_unique<device::CCommUSB>();
    m_device->IniUSBDevice();
}

Result<void> FrameLink::AttachVirtualFrame(const Path& file, double pace) {
    if (device::Link().Attached() != nullptr)
        return Fail(ErrorKind::Busy, Phrase("FRAME_CONNECTED_ALREADY", "a frame is connected already"));
    LUMATO_TRY(m_virtualFrame, m_virtualBus.Plug(file, {.faults = {}, .pace = pace}));
    m_flashFile = file;
    emit FrameChanged();
    return {};
}

void FrameLink::DetachVirtualFrame() {
    if (m_virtualFrame == nullptr)
        return;
    m_virtualBus.Unplug(*std::exchange(m_virtualFrame, nullptr));
    emit FrameChanged();
}

bool FrameLink::IsFlashFile(const Path& file) const {
    std::error_code ignored;
    return m_virtualFrame != nullptr && std::filesystem::equivalent(file, m_flashFile, ignored);
}

std::vector<std::uint8_t> FrameLink::VirtualFlash() const {
    if (m_virtualFrame == nullptr)
        return {};
    return const_cast<vframe::VirtualBus&>(m_virtualBus).Frame(*m_virtualFrame).FlashBytes();
}

bool FrameLink::UsesHardware() const {
    const auto frame = device::Link().Attached();
    return frame != nullptr && (m_virtualFrame == nullptr || frame->Name() != m_virtualFrame->Name());
}

void FrameLink::Enter(WindowState state) {
    if (App().state == state)
        return;
    App().state = state;
    Log(std::string("the window: ") + NameOf(state));
    emit StateChanged();
}

bool FrameLink::BeginWork(WindowState work, std::function<void()> body) {
    if (!IsReady() || !store::StartTransfer())
        return false;
    Enter(work);
    m_task = platform::Task(std::move(body));
    return true;
}

bool FrameLink::BeginDownload(std::function<void(bool written)> done, std::function<bool()> prepare) {
    if (!IsReady() || !store::BeginDownload())
        return false;
    Enter(WindowState::Downloading);
    m_task = platform::Task(
        [this, hardware = UsesHardware(), done = std::move(done), prepare = std::move(prepare)] {
            if (hardware) {
                for (const Error& error : Eject(m_volumes))
                    Tell(error);
            }
            bool written = false;
            if (!prepare || prepare()) {
                written = store::TranspotPic();
            } else {
                store::TransferOwner owner;
                owner.PostRefresh();
            }
            Log(written ? "the download is done" : "the download broke off");
            KeepTrace();
            m_calls.Post([done, written] { done(written); });
        });
    return true;
}

bool FrameLink::EndWork() {
    if (m_closed || store::TransferRunning() || m_readings > 0)
        return false;  // the end of what runs now will ask again
    m_virtualBus.DeliverEvents();
    if (m_readings > 0)
        return false;
    const bool whole = store::FinishTransfer();
    if (!whole)
        Enter(device::Link().Attached() == nullptr ? WindowState::NoFrame : WindowState::Refused);
    else if (!IsReady())
        Enter(WindowState::Idle);
    return true;
}

void FrameLink::ShowLoading(bool loading) {
    if (IsReady())
        Enter(loading ? WindowState::Loading : WindowState::Idle);
}

bool FrameLink::CanReadAgain() {
    const auto frame = device::Link().Attached();
    return App().state == WindowState::Refused && frame != nullptr && frame->IsThere();
}

void FrameLink::ReadAgain() {
    if (CanReadAgain())
        m_device->SetUSBDeviceStatus(true);
}

void FrameLink::BeginOnline() {
    ++m_readings;
    emit PermissionMissing(false);
    StoreFramePort::BeginOnline();
    Enter(WindowState::Reading);
}

void FrameLink::SetFlashOnline(std::shared_ptr<device::AttachedFrame> frame) {
    StoreFramePort::SetFlashOnline(std::move(frame));
    m_calls.Post([this] {
        --m_readings;
        if (EndWork())
            emit OnlineEnded();
    });
}

void FrameLink::KeepTrace() const {
    if (m_keepTrace)
        m_keepTrace();
}

void FrameLink::SetFlashOffline() {
    KeepTrace();
    StoreFramePort::SetFlashOffline();
    // A task ends by itself, and the state with it.
    if (MainThreadOwns())
        Enter(WindowState::NoFrame);
    m_calls.Post([this] { emit FrameChanged(); });
}

// A frame beside the one that is in use changes nothing.
void FrameLink::Tell(const Error& error) {
    if (device::Link().Attached() == nullptr)
        store::ShowNote(store::kDeviceNotOnline);
    m_status.SetNoteDetail(error.message);
}

void FrameLink::ShowLinkError(const Error& error) {
    Tell(error);
    if (device::Link().Attached() == nullptr)
        m_calls.Post([this, missing = error.kind == ErrorKind::Refused] { emit PermissionMissing(missing); });
}

void FrameLink::ForgetLinkErrors() {
    if (device::Link().Attached() != nullptr)
        return;
    store::ShowNote(store::kDeviceNotOnline);
    m_calls.Post([this] { emit PermissionMissing(false); });  // behind what is still to be told of them
}

// First the flash object, then the pictures, then the link. Requires: no transfer runs, or the frame is to be
// torn away from it.
void FrameLink::CloseResource() {
    if (std::exchange(m_closed, true))
        return;
    m_buses.Stop();
    if (!MainThreadOwns() && m_device != nullptr)
        m_device->DevClose();  // ends the tasks that still use what is released below
    m_task.Join();
    device::Link().task.Join();
    flash::Flash().m_PtrPF.reset();
    store::ReleaseAllFiles();
    if (m_device != nullptr)
        m_device->DevClose();
    device::ResetLink();
    flash::ResetFlash();
    store::ResetStore();
    picture::ResetPictures();
    platform::CurrentServices() = platform::Services();
    App() = AppState();
}

}  // namespace lumato::app
