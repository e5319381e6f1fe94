// What the window asks of the desktop: not to sleep during a download, to show on its task bar how far that
// is, and to tell the user when a long one has ended out of sight. A desktop without these services is asked
// in vain, and nothing else happens.
//
// Main thread only; no call waits for an answer.
#pragma once

#include <QObject>
#include <QString>
#include <memory>

namespace lumato::app {

class Desktop : public QObject {
    Q_OBJECT

  public:
    explicit Desktop(QObject* parent = nullptr);
    ~Desktop() override;

    // Holds sleep, shutdown and what an idle computer does off until AllowSleep(); `why` is for people.
    void InhibitSleep(const QString& why);
    void AllowSleep();

    // On the program's entry of the task bar; 0: nothing is under way.
    void ShowProgress(int percent);

    void Notify(const QString& title, const QString& text);

  private:
    class Inhibition;
    std::unique_ptr<Inhibition> m_inhibition;
};

}  // namespace lumato::app
