// An event on its way to its handler. Qt delivers the window's own events to the widgets; what travels here
// are the commands of the menus and the refresh event.
//
// Main thread only.
#pragma once

#include <cstdint>

#include "app/parts/control_id.h"

namespace lumato::app {

using OSStatus = std::int32_t;

inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus eventNotHandledErr = -9874;
inline constexpr OSStatus eventParameterNotFoundErr = -9870;

struct EventTypeSpec {
    FourCharCode eventClass = 0;
    std::uint32_t eventKind = 0;
    bool operator==(const EventTypeSpec&) const = default;
};

inline constexpr FourCharCode kEventClassCommand = Code("cmds");
inline constexpr std::uint32_t kEventCommandProcess = 1;
inline constexpr std::uint32_t kEventCommandUpdateStatus = 2;

inline constexpr FourCharCode kEventParamDirectObject = Code("----");

struct HICommandExtended {
    FourCharCode commandID = 0;
};

inline constexpr HICommandExtended kQuitCommand{Code("quit")};

class TCarbonEvent {
  public:
    explicit TCarbonEvent(EventTypeSpec type, HICommandExtended command = {})
        : m_type(type), m_command(command) {}
    virtual ~TCarbonEvent() = default;

    [[nodiscard]] EventTypeSpec Type() const { return m_type; }

    // The command of a command event; other parameters there are none.
    OSStatus GetParameter(FourCharCode name, HICommandExtended* command) const {
        if (name != kEventParamDirectObject || m_type.eventClass != kEventClassCommand)
            return eventParameterNotFoundErr;
        *command = m_command;
        return noErr;
    }

  private:
    EventTypeSpec m_type;
    HICommandExtended m_command;
};

}  // namespace lumato::app
