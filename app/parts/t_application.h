// The application object: runs the event loop and takes the menus' commands.
//
// Qt's own application object does the rest (activation, the enabling of menu entries), so those operations
// are empty here. Main thread only.
#pragma once

#include "app/parts/t_event_handler.h"

namespace lumato::app {

class TApplication : public TEventHandler {
  public:
    // Registers for commands. The menu bar `menuBarName` stands in the interface description `nibName`; it
    // becomes visible with the window that it belongs to.
    TApplication(const char* menuBarName, const char* nibName);

    OSStatus HandleEvent(TCarbonEvent& event) override;
    EventTarget& GetEventTarget() override { return ApplicationTarget(); }

    // Runs the event loop until it is told to quit; returns the exit status.
    virtual int Run();
    virtual void Activated() {}
    virtual void Deactivated() {}
    virtual bool UpdateCommandStatus(const HICommandExtended&) { return false; }
    virtual bool HandleCommand(const HICommandExtended&) { return false; }

    // Where the menus send their commands.
    static EventTarget& ApplicationTarget();
    static OSStatus SendCommand(HICommandExtended command);

  private:
    OSStatus Init(const char* menuBarName, const char* nibName);
};

}  // namespace lumato::app
