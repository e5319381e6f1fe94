// The interface description: the Designer file main.ui, which the build turns into code, so that opening it
// cannot fail for any name but its own.
//
// Main thread only.
#pragma once

#include <memory>
#include <string_view>

#include "app/parts/t_carbon_event.h"

class QMainWindow;

namespace Ui {
class MainWindow;
}

namespace lumato::app {

class TNib {
  public:
    TNib();
    ~TNib();
    TNib(const TNib&) = delete;
    TNib& operator=(const TNib&) = delete;

    OSStatus Init(std::string_view name);
    // In Qt the menu bar belongs to its window and comes with it; this only says whether there is one of that
    // name.
    [[nodiscard]] OSStatus SetMenuBar(std::string_view name) const;
    // Builds the controls of the window of that name into the empty window `into`.
    [[nodiscard]] OSStatus CreateWindowFromNib(std::string_view name, QMainWindow& into);

  private:
    std::unique_ptr<Ui::MainWindow> m_description;
};

}  // namespace lumato::app
