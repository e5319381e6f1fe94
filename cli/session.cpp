#include "cli/session.h"

#include "base/printable.h"
#include "flash/process_flash.h"
#include "platform/linux/folders.h"
#include "platform/services.h"
#include "store/transfer.h"
#include "text/localized.h"

namespace lumato::cli {
namespace {

tl::unexpected<Failure> Fail(ExitStatus status, std::string message) {
    return tl::unexpected<Failure>(Failure{status, std::move(message)});
}

}  // namespace

tl::expected<std::unique_ptr<Session>, Failure> Session::Connect(const Arguments& arguments) {
    std::unique_ptr<Session> session(new Session(arguments.quiet));
    // The frame comes first: a file that is none must not leave a new home folder behind.
    tl::expected<void, Failure> done = session->PlugFrame(arguments);
    if (done)
        done = session->PrepareHome(arguments);
    if (done)
        done = session->BringOnline();
    if (!done)
        return tl::unexpected<Failure>(done.error());
    return session;
}

tl::expected<void, Failure> Session::PlugFrame(const Arguments& arguments) {
    if (!arguments.frame)
        return Fail(kNoFrame,
                    "no frame found: there is none on the USB bus; --frame FILE names a virtual one");
    m_frameBus = std::make_unique<vframe::VirtualBus>();
    const vframe::FrameOptions options{.faults = arguments.faults, .pace = arguments.pace.value_or(0)};
    const Result<platform::BusService*> plugged = m_frameBus->Plug(*arguments.frame, options);
    if (!plugged) {
        const bool busy = plugged.error().kind == ErrorKind::Busy;
        return Fail(busy ? kRefused : kNoFrame, plugged.error().message);
    }

    platform::Services& services = platform::CurrentServices();
    services.clock = &m_clock;
    services.bus = m_frameBus.get();
    if (!arguments.trace)
        return {};
    const Result<std::shared_ptr<vframe::TraceLog>> log = vframe::TraceLog::Create(*arguments.trace);
    if (!log)
        return Fail(kRefused, log.error().message);
    m_tracedBus = std::make_unique<vframe::TracedBus>(*m_frameBus, *log);
    services.bus = m_tracedBus.get();
    return {};
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
    device::Link().frame = &m_framePort;
    m_link = std::make_unique<device::CCommUSB>();
    flash::Flash().device = m_link.get();
    m_link->IniUSBDevice();
    if (!device::Link().task.Joinable())
        return Fail(kNoFrame, "no frame found: what was attached does not answer as one");
    device::Link().task.Join();
    m_frameBus->DeliverEvents();
    store::FinishTransfer();
    if (store::LastConnection() != store::Connection::Online || !m_link->GetUSBDeviceStatus())
        return Fail(kRefused, m_status.LastMessage());
    return {};
}

tl::expected<void, Failure> Session::Download() {
    if (!store::BeginDownload())
        return Fail(kRefused, m_status.LastMessage());
    bool done = false;
    platform::Task task([&done] { done = store::TranspotPic(); });
    task.Join();
    const std::string message = m_status.LastMessage();
    m_frameBus->DeliverEvents();
    store::FinishTransfer();
    m_status.ClearBar();
    if (!done)
        return Fail(kRefused, message);
    return {};
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
