#include "cli/session.h"

#include <algorithm>
#include <array>

#include <unistd.h>

#include "base/printable.h"
#include "cli/bus_filter.h"
#include "cli/dry_run.h"
#include "cli/file_roles.h"
#include "cli/stop_on_signal.h"
#include "cli/wait_for_usb.h"
#include "flash/process_flash.h"
#include "platform/linux/folders.h"
#include "platform/services.h"
#include "store/picture_table.h"
#include "store/retry_history.h"
#include "store/safekeeping.h"
#include "store/transfer.h"
#include "text/localized.h"

namespace lumato::cli {
namespace {

constexpr const char* kNoneOnUsb =
    "no frame found: there is none on the USB bus; --frame FILE names a virtual one";
constexpr std::string_view kTableSignature = "ABFS";

constexpr const char* kBrokenOffElsewhere =
    "the frame's table is not valid: a download seems to have broken off. Another home (--home, or another "
    "user's) may hold its journal, and with it the pictures; what is added now may be written over them";

// Every download begins with spoiling the end of the table. No journal of this home was the frame's.
bool DownloadSeemsBrokenOff() {
    const store::StoreState& store = store::Store();
    return !store.resuming && !store::IsTable(store.tableOnFrame) &&
           std::equal(kTableSignature.begin(), kTableSignature.end(), store.tableOnFrame.begin());
}

// Of a download that has just ended, with what the frame shows now.
Failure WhyNotDone(Phrase message) {
    const store::StoreState& store = store::Store();
    if (store.downloadStopped)
        return {CountWaiting() > 0 ? kWaiting : kRefused, std::move(message), true};
    // Its table is made invalid first, and written last.
    if (!store.picturesShown)
        return {kWaiting, Joined(message, kSemicolon,
                                 "the frame shows no picture until `lumatoctl download` has finished")};
    return {kRefused, Joined(message, kSemicolon, "the frame shows what it showed before")};
}

// The two folders of pictures can be filled, or made.
bool CanKeepPictures(const Path& home) {
    return std::ranges::all_of(std::array{"data", "Edata"}, [&](const char* name) {
        const Path folder = home / name;
        const bool there = ::access(folder.c_str(), F_OK) == 0;
        return ::access((there ? folder : home).c_str(), W_OK | X_OK) == 0;
    });
}

tl::unexpected<Failure> Fail(ExitStatus status, Phrase message) {
    return tl::unexpected<Failure>(Failure{status, std::move(message)});
}

}  // namespace

tl::expected<std::unique_ptr<Session>, Failure> Session::Connect(const Arguments& arguments,
                                                                 Purpose purpose) {
    std::unique_ptr<Session> session(new Session(arguments, purpose));
    tl::expected<void, Failure> done = CheckInputsOfConnecting(arguments);
    // The frame comes first: a file that is none must not leave a new home folder behind.
    if (done)
        done = session->FindBus(arguments);
    if (done)
        arguments.beginLog();
    if (done)
        done = session->PrepareHome(arguments);
    if (done)
        done = session->BringOnline();
    if (!done)
        return tl::unexpected<Failure>(done.error());
    if (arguments.dryRun)
        BeginDryRun();
    if (DownloadSeemsBrokenOff())
        Output::Complain(kBrokenOffElsewhere);
    return session;
}

tl::expected<void, Failure> Session::FindBus(const Arguments& arguments) {
    const tl::expected<bool, Failure> isVirtual = IsVirtual(arguments);
    if (!isVirtual)
        return tl::unexpected<Failure>(isVirtual.error());
    const tl::expected<void, Failure> found = *isVirtual ? PlugVirtualFrame(arguments) : SearchUsb(arguments);
    if (!found)
        return found;
    platform::Services& services = platform::CurrentServices();
    services.clock = &m_clock;
    services.bus = &Bus();
    if (!arguments.trace)
        return {};
    Result<std::shared_ptr<platform::TraceLog>> log = platform::TraceLog::Create(*arguments.trace);
    if (!log)
        return Fail(kRefused, log.error().message);
    m_traceLog = std::move(*log);
    m_tracedBus = std::make_unique<platform::TracedBus>(Bus(), m_traceLog);
    services.bus = m_tracedBus.get();
    return {};
}

platform::Bus& Session::Bus() {
    if (m_oneDeviceBus != nullptr)
        return *m_oneDeviceBus;
    if (m_usbBus != nullptr)
        return *m_usbBus;
    return *m_frameBus;
}

tl::expected<void, Failure> Session::PlugVirtualFrame(const Arguments& arguments) {
    m_frameBus = std::make_unique<vframe::VirtualBus>();
    const vframe::FrameOptions options{.faults = arguments.faults, .pace = arguments.pace.value_or(0)};
    Result<vframe::FlashImage> flash = vframe::FlashImage::Open(*arguments.frame);
    if (!flash && flash.error().kind == ErrorKind::Unwritable && m_purpose == Purpose::Look)
        flash = vframe::FlashImage::Open(*arguments.frame, vframe::ImageUse::Read);
    if (!flash) {
        const bool busy = flash.error().kind == ErrorKind::Busy;
        return Fail(busy ? kRefused : kNoFrame, flash.error().message);
    }
    m_frameBus->Plug(std::move(*flash), options);
    return {};
}

tl::expected<void, Failure> Session::SearchUsb(const Arguments& arguments) {
    m_usbBus =
        std::make_unique<platform::UsbBus>(platform::UsbBusOptions{.family = std::string(device::kFamily)});
    if (!m_usbBus->HasCandidates() && !m_usbBus->IsSettling())
        return Fail(kNoFrame, kNoneOnUsb);
    if (arguments.frame)
        m_oneDeviceBus = std::make_unique<OneDeviceBus>(*m_usbBus, *arguments.frame);
    platform::CurrentServices().volumes = &m_volumes;
    return {};
}

void Session::DeliverEvents() {
    if (m_usbBus != nullptr)
        m_usbBus->DeliverEvents();
    else
        m_frameBus->DeliverEvents();
}

// The home, held, or a folder of this call's own where nothing can be kept there.
tl::expected<Path, Failure> Session::TakeHome(const Path& home) {
    std::error_code ignored;
    const bool there = std::filesystem::exists(home, ignored);
    const Result<void> made = there ? Result<void>() : MakePrivateFolder((home / "").parent_path());
    const bool elsewhere = m_purpose == Purpose::Look && (!made || !CanKeepPictures(home));
    if (!made && !elsewhere)
        return Fail(kRefused, made.error().message);
    Result<platform::FolderLock> lock = platform::FolderLock::Take(home);
    if (lock)
        m_homeLock = std::move(*lock);
    else if (!elsewhere || lock.error().kind == ErrorKind::Busy)
        return Fail(kRefused, lock.error().message);
    if (!elsewhere)
        return home;
    Result<PrivateFolder> folder = PrivateFolder::Make();
    if (!folder)
        return Fail(kRefused, folder.error().message);
    m_localFiles = std::move(*folder);
    return m_localFiles->Get();
}

tl::expected<void, Failure> Session::PrepareHome(const Arguments& arguments) {
    const Path home = platform::ResourcesFolder(arguments.home);
    const auto localFiles = TakeHome(home);
    if (!localFiles)
        return tl::unexpected<Failure>(localFiles.error());
    text::SetLanguageFile(home / "Language.ini");
    store::StoreState& store = store::Store();
    store.gmyResousepath = *localFiles;
    store.statePath = platform::StateFolder(arguments.home);
    store.status = &m_status;
    store.MyJPG = &m_codec;
    store.checkWritten = arguments.check || arguments.mend;
    return {};
}

tl::expected<void, Failure> Session::BringOnline() {
    device::Link().frame = &m_linkNotes;
    m_link = std::make_unique<device::CCommUSB>();
    m_link->IniUSBDevice();
    if (m_usbBus != nullptr)
        WaitForUsb(*m_usbBus, [] { return device::Link().task.Joinable(); });
    if (!device::Link().task.Joinable() && m_linkNotes.FirstError())
        return Fail(kRefused, m_linkNotes.FirstError()->message);
    if (!device::Link().task.Joinable() && m_usbBus != nullptr)
        return Fail(kNoFrame, kNoneOnUsb);
    if (!device::Link().task.Joinable())
        return Fail(kNoFrame, "no frame found: what was attached does not answer as one");
    device::Link().task.Join();
    m_status.ClearBar();
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
    {
        const StopOnSignal stopping;
        if (StopOnSignal::HasCome())
            store::RequestStop();
        platform::Task task([&done] { done = store::TranspotPic(); });
        task.Join();
    }
    const Failure failure = WhyNotDone(m_status.LastMessage());
    WarnOfLink();
    DeliverEvents();
    store::FinishTransfer();
    m_status.ClearBar();
    if (!done)
        return tl::unexpected<Failure>(failure);
    m_status.SetNotes("you may unplug the frame now");
    return {};
}

void Session::Work(const std::function<void()>& work) {
    if (!store::StartTransfer())
        return;
    const StopOnSignal stopping;
    if (StopOnSignal::HasCome())
        store::RequestStop();
    {
        const store::TransferOwner owner;
        work();
    }
    store::FinishTransfer();
    m_status.ClearBar();
}

void Session::WarnOfLink() {
    const Phrase warning = store::LinkWarning();
    if (warning.empty())
        return;
    m_status.ClearBar();
    Output::Complain(warning);
}

void AddRetries(nlohmann::ordered_json& json) {
    if (const int retries = flash::Transferred().retries; retries > 0)
        json["retries"] = retries;
}

int CountWaiting() {
    int waiting = 0;
    for (const store::FileData& record : store::EachOf(store::Store().gmyPictureData))
        waiting += record.inFrame != 1 ? 1 : 0;
    return waiting;
}

void Session::NoteDownloadDue() {
    if (!store::DownloadIsDue())
        return;
    const int waiting = CountWaiting();  // none: it is a deletion that broke off
    m_status.SetNotes(
        Phrase("", "a download is due: `lumatoctl download` {}",
               waiting > 0 ? Phrase("", "writes {}", PicturesOf(waiting)) : Phrase("finishes it")));
}

// The order of a shutdown: first the flash object, then the pictures, then the link.
Session::~Session() {
    m_status.EndWatch();
    if (m_homeLock || m_localFiles) {
        flash::Flash().m_PtrPF.reset();
        store::ReleaseAllFiles();
    }
    if (m_link)
        m_link->DevClose();
    device::ResetLink();
    flash::ResetFlash();
    store::ResetStore();
    platform::CurrentServices() = platform::Services();
    if (m_traceLog)
        if (const Result<void> whole = m_traceLog->Whole(); !whole)
            *m_traceError = whole.error();
}

}  // namespace lumato::cli
