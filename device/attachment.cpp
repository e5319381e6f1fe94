#include <array>
#include <cstdio>
#include <string>
#include <string_view>

#include "base/diagnostics.h"
#include "device/ascii.h"
#include "device/comm_usb.h"
#include "device/open_device.h"
#include "device/scsi_exchange.h"
#include "platform/services.h"

namespace lumato::device {
namespace {

using platform::BusService;
using platform::ScsiDevice;

// INQUIRY (SPC-3, 6.4): allocation length 64, though only the standard 36 bytes are taken.
constexpr std::array<std::uint8_t, 6> kInquiry = {0x12, 0x00, 0x00, 0x00, 0x40, 0x00};
constexpr std::size_t kInquiryLength = 36;
constexpr std::size_t kVendorOffset = 8;
constexpr std::size_t kVendorLength = 8;
constexpr std::chrono::milliseconds kInquiryTimeout{200};

// The vendor identification up to its first zero byte, in small letters.
std::string VendorOf(ByteSpan inquiryData) {
    std::string vendor;
    for (const std::uint8_t byte : inquiryData.subspan(kVendorOffset, kVendorLength)) {
        if (byte == 0)
            break;
        vendor += LowerAscii(static_cast<char>(byte));
    }
    return vendor;
}

bool GetDeviceInfo(ScsiDevice& device) {
    if (device.IsGone())
        return false;
    std::array<std::uint8_t, kInquiryLength> answer{};
    platform::ScsiRequest request;
    request.block = kInquiry;
    request.direction = platform::Direction::In;
    request.data = answer;
    request.timeout = kInquiryTimeout;
    return Exchange(device, request, "*********** ERROR Executing Task ***********\n") &&
           VendorOf(answer).find(kFamily) != std::string::npos;
}

// Opening is two steps in one: reaching the device, then being alone with it. The texts are those of the
// steps' origin, the system service that they stand for; the number is our error kind.
void DiagnoseOpenError(const Error& error) {
    const bool unreachable = error.kind == ErrorKind::Gone || error.kind == ErrorKind::NotFound;
    const char* step = unreachable ? "IOCreatePlugInInterfaceForService" : "ObtainExclusiveAccess";
    Diagnose(std::string(step) + " returned " + std::to_string(static_cast<int>(error.kind)) + "\n");
}

// The opened device when it is a frame of the family, null when it is none. Errors: those of opening it.
Result<std::shared_ptr<ScsiDevice>> TestDevice(BusService& service) {
    Result<std::unique_ptr<ScsiDevice>> opened = service.Open();
    if (!opened) {
        DiagnoseOpenError(opened.error());
        return tl::unexpected(opened.error());
    }
    std::shared_ptr<ScsiDevice> device = std::move(*opened);
    if (device == nullptr || !GetDeviceInfo(*device))
        return std::shared_ptr<ScsiDevice>();
    return device;
}

void KeepDevice(std::shared_ptr<ScsiDevice> device, const BusService& service) {
    LinkState& link = Link();
    const std::lock_guard lock(link.deviceMutex);
    link.frameName = service.Name();
    link.frameIndividual = service.Individual();
    link.DevInterface = std::move(device);
    link.deviceGone = false;
}

void ReleaseDevice() {
    LinkState& link = Link();
    std::shared_ptr<ScsiDevice> last;  // closed outside the lock, if no command of a worker still holds it
    const std::lock_guard lock(link.deviceMutex);
    link.frameName.clear();
    link.frameIndividual.clear();
    last.swap(link.DevInterface);
    link.deviceGone = true;
}

void Detach(CCommUSB& link) {
    ReleaseDevice();
    link.SetUSBDeviceStatus(false);
}

void ShowLinkError(const Error& error) {
    if (Link().frame != nullptr)
        Link().frame->ShowLinkError(error);
}

}  // namespace

CCommUSB::CCommUSB() {
    Link().DeviceStatus = false;
}

void CCommUSB::IniUSBDevice() {
    platform::Bus* bus = platform::CurrentServices().bus;
    const Result<void> started = bus != nullptr ? bus->Start(*this) : Fail(ErrorKind::NotFound, "no bus");
    if (started)
        return;
    char line[80];
    std::snprintf(line, sizeof line, "ERR: Couldn't create a master IOKit Port(%08x)\n",
                  static_cast<unsigned>(started.error().kind));
    Diagnose(line);
    ShowLinkError(started.error());
}

void CCommUSB::ServiceAppeared(BusService& service) {
    EjectMyDPF();
    const Result<std::shared_ptr<ScsiDevice>> tested = TestDevice(service);
    if (!tested)
        ShowLinkError(tested.error());
    if (!tested || *tested == nullptr)
        return;
    Diagnose("Device appeared.");

    // A frame plugged in again quickly is announced before anybody has noticed that it was away; it may well
    // have its old name back, which no two devices have at the same time.
    if (Link().DeviceStatus && (Link().deviceGone || service.Name() == Link().frameName))
        Detach(*this);
    if (Link().DeviceStatus) {
        ShowLinkError({ErrorKind::Refused, service.Name() + ": a second frame; it is left alone while " +
                                               Link().frameName + " is in use"});
        return;
    }
    KeepDevice(*tested, service);
    SetUSBDeviceStatus(true);
}

void CCommUSB::ServiceDisappeared(BusService& service) {
    const bool ours = Link().DeviceStatus && service.Name() == Link().frameName;
    const Result<std::shared_ptr<ScsiDevice>> tested = TestDevice(service);
    const bool stillThere = tested && *tested != nullptr;
    if (ours && !stillThere)
        Detach(*this);
}

void CCommUSB::SetUSBDeviceStatus(bool online) {
    LinkState& link = Link();
    if (!online) {
        link.DeviceStatus = false;
        // The online task fails its next command and ends. Only then may the store be emptied under it.
        link.task.Join();
        if (link.frame != nullptr)
            link.frame->SetFlashOffline();
        return;
    }
    link.task.Join();
    link.deviceGone = false;
    link.DeviceStatus = true;
    if (FramePort* frame = link.frame; frame != nullptr)
        link.task = platform::Task([frame] { frame->SetFlashOnline(); });
}

bool CCommUSB::GetUSBDeviceStatus() {
    return Link().DeviceStatus && !Link().deviceGone;
}

bool CCommUSB::ConfirmIdentity() {
    const std::shared_ptr<ScsiDevice> device = OpenDevice();
    if (device == nullptr || !device->WantsIdentityConfirmed())
        return device != nullptr;
    const bool confirmed = GetDeviceInfo(*device);
    NoteIfGone(device);
    return confirmed;
}

void CCommUSB::DevClose() {
    if (!Link().DeviceStatus)
        return;
    ReleaseDevice();
    Link().task.Join();
}

}  // namespace lumato::device
