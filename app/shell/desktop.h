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

// The program's name on the desktop: of its entry, its icon and its address on the session's bus.
inline constexpr const char* kApplicationId = "org.lumato.Lumato";

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

    // `show`: the words of the button that brings the window back.
    void Notify(const QString& title, const QString& text, const QString& show);

  signals:
    // What was told is clicked. `token`: the desktop's leave to come forward.
    void WindowWanted(const QString& token);

  private slots:
    void TakeToken(uint notification, const QString& token);
    void TakeClick(uint notification, const QString& action);

  private:
    class Inhibition;
    std::unique_ptr<Inhibition> m_inhibition;
    uint m_told = 0;  // the number of the last notification
    QString m_token;
};

}  // namespace lumato::app
