// The menu "Frame": attaching, detaching and making virtual frames, and looking at their screen.
//
// Main thread only.
#pragma once

#include <QObject>
#include <memory>

#include "app/frame/frame_link.h"
#include "app/frame/frame_window.h"
#include "app/parts/menu_builder.h"
#include "app/parts/settings.h"
#include "vframe/new_frame.h"

namespace lumato::app {

class FrameMenu : public QObject {
    Q_OBJECT

  public:
    // Adds its entries to `menu`. `pace`: of the frames that it attaches.
    FrameMenu(QMenu* menu, MenuBuilder& builder, FrameLink& link, Settings& settings, double pace,
              QWidget* window);

    void ShowTexts() { m_screen.ShowTexts(); }
    // The window does something else: a virtual frame has come or gone, or its flash has changed.
    void ShowState();

    // Attaches the frame; what stands in its way is shown in a message.
    void Attach(const Path& file);
    // What the program's entry on the desktop offers, and choosing it; one that is unknown or disabled now
    // does nothing.
    [[nodiscard]] static QStringList Actions() { return {kShowScreen, kNewFrame, kRecover}; }
    void Trigger(const QString& action);
    [[nodiscard]] FrameWindow& Screen() { return m_screen; }

  private:
    static constexpr const char* kShowScreen = "show-screen";
    static constexpr const char* kNewFrame = "new-frame";
    static constexpr const char* kRecover = "recover";

    void ChooseFrame();
    void AskForNewFrame();
    void ChooseNewFile(const vframe::NewFrame& options);
    void Create(const Path& file, const vframe::NewFrame& options);
    void Recover();
    void ShowProblem(const QString& text);

    FrameLink& m_link;
    Settings& m_settings;
    double m_pace;
    QWidget* m_window;
    FrameWindow m_screen;
    QAction* m_attach;
    QAction* m_new;
    QAction* m_detach;
    QAction* m_show;
    QAction* m_readAgain;
};

}  // namespace lumato::app
