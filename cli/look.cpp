#include "cli/look.h"

#include <algorithm>
#include <chrono>

#include <poll.h>

#include "base/printable.h"
#include "cli/bus_filter.h"
#include "cli/wait_for_usb.h"
#include "flash/checked_transfer.h"
#include "flash/process_flash.h"
#include "platform/services.h"
#include "store/flash_layout.h"
#include "store/store.h"

namespace lumato::cli {
namespace {

tl::unexpected<Failure> NotThere(ExitStatus status, Phrase message) {
    return tl::unexpected<Failure>(Failure{status, std::move(message)});
}

// A bus on which a device of another one is alone.
class SingleBus : public platform::Bus {
  public:
    explicit SingleBus(platform::BusService& service) : m_service(service) {}
    [[nodiscard]] Result<void> Start(platform::BusListener& listener) override {
        listener.ServiceAppeared(m_service);
        return {};
    }

  private:
    platform::BusService& m_service;
};

// Reads what a frame says of itself; no read-back, and its clock stays.
class Reader : public device::FramePort {
  public:
    void SetFlashOnline(std::shared_ptr<device::AttachedFrame> frame) override {
        flash::Flash().m_PtrPF = std::make_shared<flash::CProcessFlash>(std::move(frame));
        if (const auto read = ReadTables(); !read)
            m_error = read.error();
    }
    void SetFlashOffline() override {}
    void ShowLinkError(const Error& error) override { m_error = m_error ? m_error : error; }

    [[nodiscard]] const std::optional<Error>& FirstError() const { return m_error; }

  private:
    static Result<void> ReadTables() {
        LUMATO_TRY_VOID(store::LearnGeometry());
        return store::ReadTable();
    }

    std::optional<Error> m_error;
};

}  // namespace

Look::Look(const Arguments& arguments) : m_status(arguments.quiet, arguments.progress) {}

Look::~Look() {
    Close();
}

tl::expected<std::unique_ptr<Look>, Failure> Look::Search(const Arguments& arguments, At at) {
    const tl::expected<bool, Failure> isVirtual = IsVirtual(arguments);
    if (!isVirtual)
        return tl::unexpected<Failure>(isVirtual.error());
    std::unique_ptr<Look> look(new Look(arguments));
    if (arguments.trace) {
        auto log = platform::TraceLog::Create(*arguments.trace);
        if (!log)
            return NotThere(kRefused, log.error().message);
        look->m_trace = std::move(*log);
    }
    tl::expected<void, Failure> done;
    if (*isVirtual)
        done = look->PlugVirtualFrame(arguments);
    if (done && (!*isVirtual || at == At::AllFrames)) {
        Arguments all = arguments;
        if (at == At::AllFrames)
            all.frame.reset();
        done = look->SearchUsb(all);
    }
    if (!done)
        return tl::unexpected<Failure>(done.error());
    arguments.beginLog();
    return look;
}

tl::expected<std::unique_ptr<Look>, Failure> Look::OpenOne(const Arguments& arguments) {
    auto look = Search(arguments, At::OneFrame);
    if (!look)
        return look;
    if (const auto& inUse = (*look)->VirtualFrameInUse())
        return NotThere(kRefused, inUse->message);
    std::optional<Error> error;
    for (platform::BusService* service : (*look)->Found()) {
        const Result<bool> opened = (*look)->Open(*service);
        if (opened && *opened)
            return look;
        if (!opened && !error)
            error = opened.error();
    }
    if (error)
        return NotThere(kRefused, error->message);
    return NotThere(kNoFrame, arguments.frame
                                  ? Phrase("", "no frame found at {}", Printable(arguments.frame->native()))
                                  : Phrase("no frame found on the USB bus"));
}

tl::expected<void, Failure> Look::Start(platform::Bus& bus) {
    platform::Bus* started = &bus;
    if (m_trace != nullptr) {
        m_wrappers.push_back(std::make_unique<platform::TracedBus>(bus, m_trace));
        started = m_wrappers.back().get();
    }
    if (const Result<void> done = started->Start(*this); !done)
        return NotThere(kRefused, done.error().message);
    return {};
}

tl::expected<void, Failure> Look::SearchUsb(const Arguments& arguments) {
    m_usbBus =
        std::make_unique<platform::UsbBus>(platform::UsbBusOptions{.family = std::string(device::kFamily)});
    if (!m_usbBus->HasCandidates() && !m_usbBus->IsSettling())
        return {};
    platform::Bus* bus = m_usbBus.get();
    if (arguments.frame) {
        m_wrappers.push_back(std::make_unique<OneDeviceBus>(*bus, *arguments.frame));
        bus = m_wrappers.back().get();
    }
    const auto started = Start(*bus);
    if (started)
        WaitForUsb(*m_usbBus, [] { return false; });
    return started;
}

tl::expected<void, Failure> Look::PlugVirtualFrame(const Arguments& arguments) {
    m_virtualBus = std::make_unique<vframe::VirtualBus>();
    auto flash = vframe::FlashImage::Open(*arguments.frame, vframe::ImageUse::Read);
    if (!flash && flash.error().kind == ErrorKind::Busy) {
        m_virtualInUse = flash.error();
        return {};
    }
    if (!flash)
        return NotThere(kNoFrame, flash.error().message);
    m_virtualBus->Plug(std::move(*flash), {.faults = arguments.faults, .pace = arguments.pace.value_or(0)});
    return Start(*m_virtualBus);
}

void Look::ServiceAppeared(platform::BusService& service) {
    m_found.push_back(&service);
}

void Look::ServiceDisappeared(platform::BusService& service) {
    std::erase(m_found, &service);
}

Result<bool> Look::Open(platform::BusService& service) {
    Close();
    SingleBus bus(service);
    Reader reader;
    platform::CurrentServices().bus = &bus;
    device::Link().frame = &reader;
    m_link = std::make_unique<device::CCommUSB>();
    m_link->IniUSBDevice();
    const bool isFrame = device::Link().task.Joinable();
    device::Link().task.Join();
    device::Link().frame = nullptr;
    platform::CurrentServices().bus = nullptr;
    if (const std::optional<Error> error = reader.FirstError()) {
        Close();
        return tl::unexpected(*error);
    }
    if (!isFrame)
        Close();
    return isFrame;
}

void Look::Close() {
    if (m_link == nullptr)
        return;
    flash::Flash().m_PtrPF.reset();
    m_link->DevClose();
    device::ResetLink();
    flash::ResetFlash();
    store::ResetStore();
    m_link.reset();
}

Result<std::vector<std::uint8_t>> Look::ReadFlash() {
    const auto size = static_cast<std::size_t>(store::Store().geometry.flashSize);
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t at = 0; at < size; at += flash::kBlockSize) {
        const std::size_t length = std::min<std::size_t>(flash::kBlockSize, size - at);
        if (!flash::ReadFlashData(bytes.data() + at, static_cast<int>(length), static_cast<int>(at)))
            return Fail(m_link->GetUSBDeviceStatus() ? ErrorKind::Unreadable : ErrorKind::Gone,
                        m_link->GetUSBDeviceStatus()
                            ? "the frame's flash could not be read at byte " + std::to_string(at)
                            : "the frame is no longer connected");
        m_status.SetDownLoadPrcess(static_cast<int>(100 * (at + length) / size));
    }
    m_status.ClearBar();
    return bytes;
}

}  // namespace lumato::cli
