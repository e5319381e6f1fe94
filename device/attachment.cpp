#include <cstdio>
#include <string>

#include "base/diagnostics.h"
#include "base/private_text.h"
#include "device/comm_usb.h"
#include "device/command_trace.h"
#include "device/scsi_exchange.h"
#include "platform/services.h"

namespace lumato::device {
namespace {

using platform::BusService;
using platform::ScsiDevice;

// Opening is two steps in one: reaching the device, then being alone with it. The texts are those of the
// steps' origin, the system service that they stand for; the number is our error kind.
void DiagnoseOpenError(const Error& error) {
    const bool unreachable = error.kind == ErrorKind::Gone || error.kind == ErrorKind::NotFound;
    const char* step = unreachable ? "IOCreatePlugInInterfaceForService" : "ObtainExclusiveAccess";
    Diagnose(std::string(step) + " returned " + std::to_string(static_cast<int>(error.kind)) + "\n");
}

// The opened device when it is a frame of the family, null when it is none. Errors: those of opening it.
Result<std::shared_ptr<ScsiDevice>> TestDevice(BusService& service, FrameModel* model = nullptr) {
    Result<std::unique_ptr<ScsiDevice>> opened = service.Open();
    if (!opened) {
        DiagnoseOpenError(opened.error());
        return tl::unexpected(opened.error());
    }
    std::shared_ptr<ScsiDevice> device = std::move(*opened);
    if (device == nullptr || !AnswersAsFrame(*device, model))
        return std::shared_ptr<ScsiDevice>();
    return device;
}

void ShowLinkError(const Error& error) {
    if (Link().frame != nullptr)
        Link().frame->ShowLinkError(error);
}

}  // namespace

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
    FrameModel model;
    const Result<std::shared_ptr<ScsiDevice>> tested = TestDevice(service, &model);
    if (!tested) {
        Log("a device that may be a frame: " + WithoutNames(tested.error().message));
        ShowLinkError(tested.error());
        m_unusable.insert(service.Name());
    }
    if (!tested || *tested == nullptr)
        return;
    m_unusable.erase(service.Name());
    Diagnose("Device appeared.");
    Log("attached: " + model.name + ", firmware " + model.firmware);

    // A frame plugged in again quickly is announced before anybody has noticed that it was away; it may well
    // have its old name back, which no two devices have at the same time.
    const std::shared_ptr<AttachedFrame> before = Link().Attached();
    const bool replaced = before != nullptr && (!before->IsThere() || service.Name() == before->Name());
    if (replaced)
        SetUSBDeviceStatus(false);
    if (before != nullptr && !replaced) {
        ShowLinkError({ErrorKind::Refused,
                       About(service.Name(),
                             Phrase("SECOND_FRAME", "a second frame; it is left alone while {0} is in use",
                                    before->Name()))});
        return;
    }
    Commands().NoteAttached();
    Link().Take(std::make_shared<AttachedFrame>(*tested, service.Name(), service.Individual(), model));
    SetUSBDeviceStatus(true);
}

void CCommUSB::ServiceDisappeared(BusService& service) {
    const std::shared_ptr<AttachedFrame> frame = Link().Attached();
    const bool ours = frame != nullptr && service.Name() == frame->Name();
    const Result<std::shared_ptr<ScsiDevice>> tested = TestDevice(service);
    const bool stillThere = tested && *tested != nullptr;
    if (ours)
        Log(stillThere ? "the frame is there all the same" : "detached");
    if (ours && !stillThere)
        SetUSBDeviceStatus(false);
    if (m_unusable.erase(service.Name()) > 0 && m_unusable.empty() && Link().frame != nullptr)
        Link().frame->ForgetLinkErrors();
}

// What the last frame's task still does, it does on its own: the next one's task waits for it, nobody else.
void CCommUSB::SetUSBDeviceStatus(bool online) {
    LinkState& link = Link();
    FramePort* port = link.frame;
    if (!online) {
        link.Take(nullptr);
        if (port != nullptr)
            port->SetFlashOffline();
        return;
    }
    if (link.Attached() == nullptr)
        link.Take(std::make_shared<AttachedFrame>());
    if (port == nullptr)
        return;
    port->BeginOnline();
    auto last = std::make_shared<platform::Task>(std::move(link.task));
    link.task = platform::Task([port, last, frame = link.Attached()] {
        last->Join();
        port->SetFlashOnline(frame);
    });
}

bool CCommUSB::GetUSBDeviceStatus() {
    const std::shared_ptr<AttachedFrame> frame = Link().Attached();
    return frame != nullptr && frame->IsThere();
}

bool CCommUSB::SendCmdToDPF(char* commandBlock, char* data, int length, int direction) {
    const std::shared_ptr<AttachedFrame> frame = Link().Attached();
    return frame != nullptr && frame->SendCmdToDPF(commandBlock, data, length, direction);
}

void CCommUSB::DevClose() {
    Link().Take(nullptr);
    Link().task.Join();
}

}  // namespace lumato::device
