// One window for each home folder: a second program that finds the folder in use hands its files to the
// window that is there, and has it come forward.
//
// Main thread only.
#pragma once

#include <QLocalServer>
#include <functional>
#include <vector>

#include "base/file.h"

namespace lumato::app {

class FirstWindow : public QObject {
    Q_OBJECT

  public:
    using ComeForward = std::function<void(std::vector<Path> files)>;

    // Listens for others. Requires: this program holds the home folder.
    FirstWindow(const Path& home, ComeForward comeForward);

    // The second program's part: false when no window answers, for another kind of program holds the folder.
    [[nodiscard]] static bool Call(const Path& home, const std::vector<Path>& files);

  private:
    void Take();

    ComeForward m_comeForward;
    QLocalServer m_server;
};

}  // namespace lumato::app
