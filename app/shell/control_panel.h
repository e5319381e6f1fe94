// The window's panel of controls: its texts, its being enabled as a whole, and what the rooms below have it
// show.
//
// The status port may be called from any thread: each call is carried out on the main thread, in the order of
// the calls. Everything else on the main thread.
#pragma once

#include <QObject>
#include <QPointer>
#include <QThread>
#include <QTimer>
#include <QWidget>
#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "app/parts/control_id.h"
#include "app/parts/main_thread_calls.h"
#include "store/status_port.h"

class QMainWindow;

namespace lumato::app {

class SpokenNote;

// What a note is about. It goes when that is over, and what was said before is said again.
enum class NoteOf {
    Work,     // what the window does or has done
    Picture,  // the one selected
    Moment,   // an answer to what the user just tried
};

class ControlPanel : public QObject, public store::StatusPort {
    Q_OBJECT

  public:
    explicit ControlPanel(QMainWindow& window);

    // The texts of the chosen language.
    void InitViewLanguage();

    // Shows no pictures and no space, as there is no frame.
    void ClearInfo();

    // While it lives, notes of the main thread are about this; those of tasks are always about the work.
    class NotesAbout {
      public:
        NotesAbout(ControlPanel& panel, NoteOf subject)
            : m_panel(panel), m_before(std::exchange(panel.m_subject, subject)) {}
        ~NotesAbout() { m_panel.m_subject = m_before; }
        NotesAbout(const NotesAbout&) = delete;
        NotesAbout& operator=(const NotesAbout&) = delete;

      private:
        ControlPanel& m_panel;
        NoteOf m_before;
    };
    // The selected picture is another one; `NoteOf::Work`: so is the work.
    void ForgetNotes(NoteOf subject);

    // ---- status port
    void SetNotes(const Phrase& note) override;
    void SetNoteDetail(const Phrase& detail) override;
    void SetDownLoadPrcess(int percent) override;
    void SetProgress(const store::Progress& progress) override;
    void UpdateInfo() override;
    void SetControlPanlEnable(bool enable) override;
    void InvalidateMyWindow() override;
    void ShowPictureList(int count, int selected) override;
    void RedrawPictures() override;

    // The list of the store, at once: a click that comes before a list that was left for later would be
    // undone by it. Requires: no task runs.
    void ShowPictureList();
    [[nodiscard]] QString Note() const;
    // As SetControlPanlEnable(), at once.
    void Enable(bool enable);
    [[nodiscard]] bool IsEnabled() const { return m_enabled; }

  signals:
    // The refresh event.
    void RefreshPosted();
    // The pictures are to be drawn anew.
    void RedrawPosted();
    // The note or its detail has changed.
    void NoteShown();

  private:
    void Post(std::function<void()> call);
    struct Said {
        Phrase note, detail;
    };
    // Of a task, on its way to be shown: a note, perhaps, and a detail of it or of the one before.
    struct Coming {
        bool isTold = false;
        std::optional<Phrase> note;
        Phrase detail;
    };
    void Say(const Phrase* note, const Phrase& detail);
    void TakeComing();
    [[nodiscard]] bool IsOfTask() const { return QThread::currentThread() != thread(); }
    [[nodiscard]] Said& SaidOf(NoteOf subject);
    void ShowNotes();
    void SetPicNumInfo(const QString& text, bool isCurrent);
    void SetControlText(ControlId id, const QString& text);
    void ShowRoom();
    void SetHeadings();
    void SetAccessibleNames();

    QMainWindow& m_window;
    SpokenNote* m_spoken;
    std::mutex m_mutex;
    std::optional<store::Progress> m_progress;  // guarded by it, as are the next ones: on its way to the bar
    Coming m_coming;                            // what a task has to say
    std::atomic<int> m_percent = 0;             // told last
    std::string m_logged, m_loggedDetail;       // of what tasks said, since this work began
    MainThreadCalls m_calls;
    int m_quality = 0;  // of the next picture, about, where the frame shares its space out; 0: as it is set
    std::optional<int> m_room;  // for about so many more pictures; nothing: not known
    bool m_enabled = false;
    Said m_said;  // of the work
    std::optional<Said> m_ofPicture, m_ofMoment;
    NoteOf m_subject = NoteOf::Work;  // of the main thread's notes
    QTimer m_moment;
    QPointer<QWidget> m_focus;  // had the focus when the panel was disabled
};

}  // namespace lumato::app
