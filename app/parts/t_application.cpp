#include "app/parts/t_application.h"

#include <QApplication>

#include "app/parts/t_nib.h"

namespace lumato::app {

TApplication::TApplication(const char* menuBarName, const char* nibName) {
    static_cast<void>(Init(menuBarName, nibName));
}

OSStatus TApplication::Init(const char* menuBarName, const char* nibName) {
    constexpr EventTypeSpec kCommand{kEventClassCommand, kEventCommandProcess};
    OSStatus status = RegisterForEvents(1, &kCommand);
    TNib nib;
    if (status == noErr)
        status = nib.Init(nibName);
    if (status == noErr)
        status = nib.SetMenuBar(menuBarName);
    return status;
}

OSStatus TApplication::HandleEvent(TCarbonEvent& event) {
    HICommandExtended command;
    if (event.Type().eventClass != kEventClassCommand ||
        event.GetParameter(kEventParamDirectObject, &command) != noErr)
        return eventNotHandledErr;
    bool handled = false;
    if (event.Type().eventKind == kEventCommandProcess)
        handled = HandleCommand(command);
    else if (event.Type().eventKind == kEventCommandUpdateStatus)
        handled = UpdateCommandStatus(command);
    return handled ? noErr : eventNotHandledErr;
}

int TApplication::Run() {
    return QApplication::exec();
}

EventTarget& TApplication::ApplicationTarget() {
    static EventTarget target;
    return target;
}

OSStatus TApplication::SendCommand(HICommandExtended command) {
    TCarbonEvent event({kEventClassCommand, kEventCommandProcess}, command);
    return ApplicationTarget().Send(event);
}

}  // namespace lumato::app
