// This program as an application: its quit command, and the release of everything at its end.
//
// Main thread only.
#pragma once

#include <functional>
#include <utility>

#include "app/parts/t_application.h"

namespace lumato::app {

class CarbonApp : public TApplication {
  public:
    // `closeResource` is called by the destructor.
    CarbonApp(std::function<void()> quitApplication, std::function<void()> closeResource)
        : TApplication("MenuBar", "main"),
          m_quitApplication(std::move(quitApplication)),
          m_closeResource(std::move(closeResource)) {}
    ~CarbonApp() override { m_closeResource(); }

    bool HandleCommand(const HICommandExtended& command) override {
        if (command.commandID == kQuitCommand.commandID) {
            m_quitApplication();
            return true;
        }
        return command.commandID == Code("new ");
    }

  private:
    std::function<void()> m_quitApplication;
    std::function<void()> m_closeResource;
};

}  // namespace lumato::app
