#include "cli/session.h"

#include <chrono>

#include <poll.h>

#include "base/printable.h"
#include "flash/process_flash.h"
#include "platform/linux/folders.h"
#include "platform/services.h"
#include "store/safekeeping.h"
#include "store/transfer.h"
#include "text/localized.h"

namespace lumato::cli {
namespace {

constexpr const char* kNoneOnUsb =
    "no frame found: there is none on the USB bus; --frame FILE names a virtual one";
constexpr std::chrono::seconds kSettlingTime{6};
constexpr int kGlanceMilliseconds = 50;

tl::unexpected<Failure> Fail(ExitStatus status, std::string message) {
    return tl::unexpected<Failure>(Failure{status, std::move(message)});
}

}  // namespace

tl::expected<std::unique_ptr<Session>, Failure> Session::Connect(const Arguments& arguments) {
    std::unique_ptr<Session> session(new Session(arguments.quiet));
    // The frame comes first: a file that is none must not leave a new home folder behind.
    tl::expected<void, Failure> done = session->FindBus(arguments);
    if (done)
        done = session->PrepareHome(arguments);
    if (done)
        done = session->BringOnline();
    if (!done)
        return tl::unexpected<Failure>(done.error());
    return session;
}

tl::expected<void, Failure> Session::FindBus(const Arguments& arguments) {
    const tl::expected<void, Failure> found =
        arguments.frame ? PlugVirtualFrame(arguments) : SearchUsb(arguments);
    if (!found)
        return found;
    platform::Services& services = platform::CurrentServices();
    services.clock = &m_clock;
    services.bus = &Bus();
    if (!arguments.trace)
        return {};
    const Result<std::shared_ptr<vframe::TraceLog>> log = vframe::TraceLog::Create(*arguments.trace);
    if (!log)
        return Fail(kRefused, log.error().message);
    m_tracedBus = std::make_unique<vframe::TracedBus>(Bus(), *log);
    services.bus = m_tracedBus.get();
    return {};
}

platform::Bus& Session::Bus() {
    if (m_usbBus != nullptr)
        return *m_usbBus;
    return *m_frameBus;
}

tl::expected<void, Failure> Session::PlugVirtualFrame(const Arguments& arguments) {
    m_frameBus = std::make_unique<vframe::VirtualBus>();
    const vframe::FrameOptions options{.faults = arguments.faults, .pace = arguments.pace.value_or(0)};
    const Result<platform::BusService*> plugged = m_frameBus->Plug(*arguments.frame, options);
    if (!plugged) {
        const bool busy = plugged.error().kind == ErrorKind::Busy;
        return Fail(busy ? kRefused : kNoFrame, plugged.error().message);
    }
    return {};
}

tl::expected<void, Failure> Session::SearchUsb(const Arguments& arguments) {
    if (!arguments.faults.empty() || arguments.pace)
        return Fail(kWrongUsage, "--fault and --pace are for a virtual frame; --frame FILE names one");
    m_usbBus =
        std::make_unique<platform::UsbBus>(platform::UsbBusOptions{.family = std::string(device::kFamily)});
    if (!m_usbBus->HasCandidates() && !m_usbBus->IsSettling())
        return Fail(kNoFrame, kNoneOnUsb);
    platform::CurrentServices().volumes = &m_volumes;
    return {};
}

// A frame that was plugged in a moment ago takes the system a second or two.
void Session::WaitForUsb() {
    const auto end = std::chrono::steady_clock::now() + kSettlingTime;
    // Twice settled: between two steps of the kernel a device may show nowhere for an instant.
    for (int settled = 0; settled < 2 && !device::Link().task.Joinable();) {
        if (std::chrono::steady_clock::now() >= end)
            return;
        pollfd wait{.fd = m_usbBus->Descriptor(), .events = POLLIN, .revents = 0};
        ::poll(&wait, 1, kGlanceMilliseconds);
        m_usbBus->DeliverEvents();
        settled = m_usbBus->IsSettling() ? 0 : settled + 1;
    }
}

void Session::DeliverEvents() {
    if (m_usbBus != nullptr)
        m_usbBus->DeliverEvents();
    else
        m_frameBus->DeliverEvents();
}

tl::expected<void, Failure> Session::PrepareHome(const Arguments& arguments) {
    const Path home = platform::ResourcesFolder(arguments.home);
    std::error_code error;
    std::filesystem::create_directories(home, error);
    if (error)
        return Fail(kRefused, Printable(home.string()) + ": " + error.message());
    Result<platform::FolderLock> lock = platform::FolderLock::Take(home);
    if (!lock)
        return Fail(kRefused, lock.error().message);
    m_homeLock = std::move(*lock);

    text::SetLanguageFile(home / "Language.ini");
    store::StoreState& store = store::Store();
    store.gmyResousepath = home;
    store.statePath = platform::StateFolder(arguments.home);
    store.status = &m_status;
    store.MyJPG = &m_codec;
    return {};
}

tl::expected<void, Failure> Session::BringOnline() {
    device::Link().frame = &m_linkNotes;
    m_link = std::make_unique<device::CCommUSB>();
    flash::Flash().device = m_link.get();
    m_link->IniUSBDevice();
    if (m_usbBus != nullptr)
        WaitForUsb();
    if (!device::Link().task.Joinable() && m_linkNotes.FirstError())
        return Fail(kRefused, m_linkNotes.FirstError()->message);
    if (!device::Link().task.Joinable() && m_usbBus != nullptr)
        return Fail(kNoFrame, kNoneOnUsb);
    if (!device::Link().task.Joinable())
        return Fail(kNoFrame, "no frame found: what was attached does not answer as one");
    device::Link().task.Join();
    DeliverEvents();
    store::FinishTransfer();
    if (store::LastConnection() != store::Connection::Online || !m_link->GetUSBDeviceStatus())
        return Fail(kRefused, m_status.LastMessage());
    return {};
}

tl::expected<void, Failure> Session::Download() {
    m_link->EjectMyDPF();  // the desktop may have mounted the frame's volume since it was found
    if (!store::BeginDownload())
        return Fail(kRefused, m_status.LastMessage());
    bool done = false;
    platform::Task task([&done] { done = store::TranspotPic(); });
    task.Join();
    const std::string message = m_status.LastMessage();
    DeliverEvents();
    store::FinishTransfer();
    m_status.ClearBar();
    if (!done)
        return Fail(kRefused, message);
    return {};
}

int CountWaiting() {
    int waiting = 0;
    for (const store::FileData* record = store::Store().gmyPictureData->sentinel->next; record != nullptr;
         record = record->next)
        waiting += record->inFrame != 1 ? 1 : 0;
    return waiting;
}

void Session::NoteDownloadDue() {
    if (!store::DownloadIsDue())
        return;
    const int waiting = CountWaiting();  // none: it is a deletion that broke off
    m_status.SetNotes("a download is due: `lumatoctl download` " +
                      (waiting > 0 ? "writes " + Count(waiting, "picture") : "finishes it"));
}

// The order of a shutdown: first the flash object, then the pictures, then the link.
Session::~Session() {
    if (m_homeLock) {
        flash::Flash().m_PtrPF.reset();
        store::ReleaseAllFiles();
    }
    if (m_link)
        m_link->DevClose();
    device::ResetLink();
    flash::ResetFlash();
    store::ResetStore();
    platform::CurrentServices() = platform::Services();
}

}  // namespace lumato::cli
