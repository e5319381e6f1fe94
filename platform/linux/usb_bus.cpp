#include "platform/linux/usb_bus.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/ascii.h"
#include "base/printable.h"
#include "platform/linux/sg_device.h"
#include "platform/linux/udev_library.h"

namespace lumato::platform {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr const char* kSubsystem = "scsi_generic";
// Where udevd listens while it runs. Without it nobody prepares devices, and the kernel's own events are all
// there is.
constexpr std::string_view kUdevControl = "/run/udev/control";

struct DeviceReleaser {
    void operator()(udev_device* device) const { UdevLibrary::Get().releaseDevice(device); }
};
using UdevDevice = std::unique_ptr<udev_device, DeviceReleaser>;

// A socket that nobody listens on was left by one that has ended. Whom it keeps out, it tells that it is
// there.
bool UdevRuns() {
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    kUdevControl.copy(address.sun_path, sizeof address.sun_path - 1);
    const bool connected = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const bool runs = connected || (errno != ENOENT && errno != ECONNREFUSED);
    ::close(fd);
    return runs;
}

bool Contains(std::string text, std::string_view family) {
    std::ranges::transform(text, text.begin(), LowerAscii);
    return text.find(family) != std::string::npos;
}

// .../1:0:0:0/scsi_generic/sg1 -> .../1:0:0:0
Path DeviceFolderOf(const Path& genericFolder) {
    return genericFolder.parent_path().parent_path();
}

}  // namespace

Path PermitProgram() {
    std::error_code error;
    const Path beside = std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / "lumatoctl";
    return std::filesystem::exists(beside, error) ? beside : Path("/usr/bin/lumatoctl");
}

std::string PermitCommand() {
    const Path program = PermitProgram();
    const bool installed = program.parent_path() == "/usr/bin";
    return "sudo " + (installed ? "lumatoctl" : Printable(program.string())) + " permit";
}

class UsbBus::Service : public BusService {
  public:
    Service(ScsiCandidate candidate, Path node, bool mayBeFrame)
        : m_candidate(std::move(candidate)), m_node(std::move(node)), m_mayBeFrame(mayBeFrame) {}

    [[nodiscard]] std::string Name() const override { return m_node.string(); }
    [[nodiscard]] std::string Individual() const override { return m_candidate.serial; }

    [[nodiscard]] Result<std::unique_ptr<ScsiDevice>> Open() override {
        if (m_gone)
            return Fail(ErrorKind::Gone, About(Name(), kUnplugged));
        if (m_asked != nullptr)
            return std::move(m_asked);
        if (!m_mayBeFrame)
            return SgDevice::Open(m_node, SgAccess::Ask);
        if (m_candidate.generic.empty())
            return Fail(
                ErrorKind::NotFound,
                Phrase("NO_SG_MODULE",
                       "the frame has no /dev/sg node: the kernel module sg is not loaded; `{0}` loads "
                       "it",
                       "sudo modprobe sg"));
        auto opened = SgDevice::Open(m_node, SgAccess::Exclusive);
        m_refused = !opened && opened.error().kind == ErrorKind::Refused;
        if (m_refused)
            return Fail(ErrorKind::Refused,
                        Joined(opened.error().message, kSemicolon,
                               Phrase("COMMAND_PERMITS", "`{0}` gives it to this computer's users",
                                      PermitCommand())));
        return opened;
    }

    // Whether it is of interest: a frame always is, so that one that cannot be opened is explained; another
    // disk only if it can be asked.
    [[nodiscard]] bool CanBeAsked() {
        if (m_mayBeFrame)
            return true;
        if (auto opened = SgDevice::Open(m_node, SgAccess::Ask))
            m_asked = std::move(*opened);
        return m_asked != nullptr;
    }

    // No permission the last time, and nobody has asked since: worth another try when the system has changed
    // something about it.
    [[nodiscard]] bool TakeRefusal() { return std::exchange(m_refused, false); }
    [[nodiscard]] bool LacksNode() const { return m_candidate.generic.empty(); }
    [[nodiscard]] bool IsAt(const Path& sysPath) const { return !m_gone && m_candidate.sysPath == sysPath; }
    void Retire() {
        m_gone = true;
        m_asked.reset();
    }
    // An open handle that nobody took would keep others out.
    void LetGo() { m_asked.reset(); }

  private:
    const ScsiCandidate m_candidate;
    const Path m_node;
    const bool m_mayBeFrame;
    bool m_gone = false;
    bool m_refused = false;
    std::unique_ptr<ScsiDevice> m_asked;  // opened to see whether that is possible
};

void UsbBus::Releaser::operator()(udev* context) const {
    UdevLibrary::Get().release(context);
}

void UsbBus::Releaser::operator()(udev_monitor* monitor) const {
    UdevLibrary::Get().releaseMonitor(monitor);
}

UsbBus::UsbBus(UsbBusOptions options) : m_options(std::move(options)) {}

UsbBus::~UsbBus() = default;

// Watching begins before the search, so that nothing is missed between them; what is met twice counts once.
Result<void> UsbBus::Start(BusListener& listener) {
    m_listener = &listener;
    if (m_options.watch)
        LUMATO_TRY_VOID(Watch());
    for (ScsiCandidate& candidate : FindCandidates(m_options.sysRoot)) {
        if (!IsPrepared(candidate))
            continue;
        if (IsUnready(candidate))
            m_late.push_back({std::move(candidate), SteadyClock::now() + m_options.patience});
        else
            Announce(std::move(candidate));
    }
    return {};
}

Result<void> UsbBus::Watch() {
    const UdevLibrary& udev = UdevLibrary::Get();
    LUMATO_TRY_VOID(udev.library.Check());
    m_udev.reset(udev.create());
    m_udevRuns = UdevRuns();
    if (m_udev != nullptr)
        m_monitor.reset(udev.newMonitor(m_udev.get(), m_udevRuns ? "udev" : "kernel"));
    if (m_monitor == nullptr || udev.filterSubsystem(m_monitor.get(), kSubsystem, nullptr) < 0 ||
        udev.enableReceiving(m_monitor.get()) < 0)
        return Fail(ErrorKind::Unreadable,
                    Phrase("NO_USB_REPORTS", "the system does not report which USB devices come and go"));
    return {};
}

// A device that the kernel or udev is still busy with is announced by an event when it is ready.
bool UsbBus::IsPrepared(const ScsiCandidate& candidate) const {
    if (candidate.generic.empty())
        return !GenericDriverIsLoaded(m_options.sysRoot);  // there will be no node to wait for
    if (m_udev == nullptr || !m_udevRuns)
        return true;
    const UdevLibrary& udev = UdevLibrary::Get();
    const UdevDevice device(udev.newDevice(m_udev.get(), kSubsystem, candidate.generic.c_str()));
    return device == nullptr || udev.isInitialized(device.get()) != 0;
}

int UsbBus::Descriptor() const {
    return m_monitor == nullptr ? -1 : UdevLibrary::Get().monitorDescriptor(m_monitor.get());
}

void UsbBus::DeliverEvents() {
    while (m_monitor != nullptr) {
        const UdevLibrary& udev = UdevLibrary::Get();
        const UdevDevice device(udev.receiveDevice(m_monitor.get()));
        if (device == nullptr)
            break;
        const char* action = udev.actionOf(device.get());
        const Path folder = DeviceFolderOf(udev.sysPathOf(device.get()));
        if (action != nullptr && std::string_view(action) == "remove")
            DeviceRemoved(folder);
        else
            DeviceAdded(folder);
    }
    AnnounceLate();
}

bool UsbBus::HasCandidates() const {
    return !FindCandidates(m_options.sysRoot).empty();
}

bool UsbBus::IsSettling() const {
    const std::vector<ScsiCandidate> present = FindCandidates(m_options.sysRoot);
    const auto isLate = [this](const ScsiCandidate& candidate) {
        return Contains(candidate.vendor, m_options.family) && Find(candidate.sysPath) == nullptr;
    };
    return StorageIsSettling(m_options.sysRoot) || std::ranges::any_of(present, isLate);
}

UsbBus::Service* UsbBus::Find(const Path& sysPath) const {
    const auto found =
        std::ranges::find_if(m_services, [&](const auto& service) { return service->IsAt(sysPath); });
    return found == m_services.end() ? nullptr : found->get();
}

void UsbBus::DeviceAdded(const Path& deviceFolder) {
    Service* known = Find(deviceFolder);
    if (known != nullptr && known->TakeRefusal()) {
        m_listener->ServiceAppeared(*known);
        return;
    }
    std::optional<ScsiCandidate> candidate = ReadCandidate(deviceFolder);
    if (known != nullptr && known->LacksNode() && candidate && !candidate->generic.empty())
        DeviceRemoved(deviceFolder);  // with its node it is another one, which can be opened
    std::erase_if(m_late, [&](const Late& late) { return late.candidate.sysPath == deviceFolder; });
    if (candidate && Find(candidate->sysPath) == nullptr && IsUnready(*candidate))
        m_late.push_back({std::move(*candidate), SteadyClock::now() + m_options.patience});
    else if (candidate)
        Announce(std::move(*candidate));
}

void UsbBus::DeviceRemoved(const Path& deviceFolder) {
    std::erase_if(m_late, [&](const Late& late) { return late.candidate.sysPath == deviceFolder; });
    Service* service = Find(deviceFolder);
    if (service == nullptr)
        return;
    service->Retire();
    m_listener->ServiceDisappeared(*service);
}

Path UsbBus::NodeOf(const ScsiCandidate& candidate) const {
    return candidate.generic.empty() ? candidate.sysPath : m_options.deviceRoot / candidate.generic;
}

// What has had its node for longer than that will get no other permissions by itself.
bool UsbBus::IsUnready(const ScsiCandidate& candidate) const {
    if (candidate.generic.empty() || !Contains(candidate.vendor, m_options.family) ||
        m_options.patience == std::chrono::milliseconds(0))
        return false;
    const Path node = NodeOf(candidate);
    struct stat status {};
    if (::stat(node.c_str(), &status) != 0)
        return true;
    const auto age =
        std::chrono::system_clock::now() - std::chrono::system_clock::from_time_t(status.st_ctime);
    return ::access(node.c_str(), R_OK | W_OK) != 0 && age < m_options.patience;
}

void UsbBus::AnnounceLate() {
    std::vector<Late> before;
    before.swap(m_late);
    for (Late& late : before) {
        const bool ready = ::access(NodeOf(late.candidate).c_str(), R_OK | W_OK) == 0;
        if (ready || SteadyClock::now() >= late.until)
            Announce(std::move(late.candidate));
        else
            m_late.push_back(std::move(late));
    }
}

void UsbBus::Announce(ScsiCandidate candidate) {
    const bool mayBeFrame = Contains(candidate.vendor, m_options.family);
    if (Find(candidate.sysPath) != nullptr || (candidate.generic.empty() && !mayBeFrame))
        return;
    Path node = NodeOf(candidate);
    auto service = std::make_unique<Service>(std::move(candidate), std::move(node), mayBeFrame);
    if (!service->CanBeAsked())
        return;
    m_services.push_back(std::move(service));
    Service& announced = *m_services.back();
    m_listener->ServiceAppeared(announced);
    announced.LetGo();
}

}  // namespace lumato::platform
