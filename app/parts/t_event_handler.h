// Whoever handles events: says which, and to whom they are sent.
//
// Main thread only.
#pragma once

#include <vector>

#include "app/parts/t_carbon_event.h"

namespace lumato::app {

class TEventHandler;

// What events can be sent to. The handler installed last is asked first; the others follow until one has
// handled the event.
class EventTarget {
  public:
    OSStatus Send(TCarbonEvent& event);

  private:
    friend class TEventHandler;
    std::vector<TEventHandler*> m_handlers;
};

class TEventHandler {
  public:
    virtual ~TEventHandler();
    virtual OSStatus HandleEvent(TCarbonEvent& event) = 0;
    virtual EventTarget& GetEventTarget() = 0;

    // Adds the event types; the first call installs this handler on its target.
    OSStatus RegisterForEvents(unsigned long count, const EventTypeSpec* types);

    TEventHandler(const TEventHandler&) = delete;
    TEventHandler& operator=(const TEventHandler&) = delete;

  protected:
    TEventHandler() = default;

  private:
    friend class EventTarget;
    EventTarget* m_installedOn = nullptr;
    std::vector<EventTypeSpec> m_types;
};

}  // namespace lumato::app
