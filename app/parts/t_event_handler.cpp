#include "app/parts/t_event_handler.h"

#include <algorithm>

namespace lumato::app {

OSStatus EventTarget::Send(TCarbonEvent& event) {
    const std::vector<TEventHandler*> handlers = m_handlers;  // a handler may install another one
    for (auto handler = handlers.rbegin(); handler != handlers.rend(); ++handler) {
        if (std::ranges::find((*handler)->m_types, event.Type()) == (*handler)->m_types.end())
            continue;
        const OSStatus status = (*handler)->HandleEvent(event);
        if (status != eventNotHandledErr)
            return status;
    }
    return eventNotHandledErr;
}

TEventHandler::~TEventHandler() {
    if (m_installedOn != nullptr)
        std::erase(m_installedOn->m_handlers, this);
}

OSStatus TEventHandler::RegisterForEvents(unsigned long count, const EventTypeSpec* types) {
    if (m_installedOn == nullptr) {
        m_installedOn = &GetEventTarget();
        m_installedOn->m_handlers.push_back(this);
    }
    m_types.insert(m_types.end(), types, types + count);
    return noErr;
}

}  // namespace lumato::app
