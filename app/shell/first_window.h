// One window for each home folder, and its address on the session's bus: a second program that finds the
// folder in use hands its files to the window that is there, and so does the desktop
// (org.freedesktop.Application of the Desktop Entry Specification).
//
// Main thread only.
#pragma once

#include <QDBusContext>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <functional>
#include <vector>

#include "app/shell/message_bus.h"
#include "base/file.h"

namespace lumato::app {

class FirstWindow : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

  public:
    // `action`: of the program's entry in menus; empty for none. False: the window is leaving.
    using ComeForward = std::function<bool(std::vector<Path> files, const QString& action)>;

    // Answers to others. Requires: this program holds the home folder.
    FirstWindow(const Path& home, ComeForward comeForward);

    // The second program's part. Nobody: a window that has no name yet, or another kind of program holds the
    // folder.
    enum class Answer { Taken, Leaving, Nobody };
    [[nodiscard]] static Answer Call(const Path& home, const std::vector<Path>& files, const QString& action);

  public slots:
    void Activate(const QVariantMap& platform);
    void Open(const QStringList& addresses, const QVariantMap& platform);
    void ActivateAction(const QString& action, const QVariantList& parameters, const QVariantMap& platform);

  private:
    void Take(const std::vector<Path>& files, const QString& action);

    ComeForward m_comeForward;
    MessageBus m_bus;
};

// Lets the window come before those of other programs: the desktop handed `token` out for that.
void UseActivationToken(const QString& token);

}  // namespace lumato::app
