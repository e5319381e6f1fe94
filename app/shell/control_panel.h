// The window's panel of controls: its texts, its being enabled as a whole, and what the rooms below have it
// show.
//
// The status port may be called from any thread: each call is carried out on the main thread, in the order of
// the calls. Everything else on the main thread.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <optional>

#include "app/parts/control_id.h"
#include "app/parts/main_thread_calls.h"
#include "store/status_port.h"

class QMainWindow;
class QProgressBar;

namespace lumato::app {

class ControlPanel : public QObject, public store::StatusPort {
    Q_OBJECT

  public:
    explicit ControlPanel(QMainWindow& window);

    // The texts of the chosen language.
    void InitViewLanguage();

    // Shows no pictures and no space, as there is no frame.
    void ClearInfo();

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

    [[nodiscard]] QString Note() const;
    [[nodiscard]] bool IsEnabled() const { return m_enabled; }

  signals:
    // The panel was enabled or disabled.
    void Enabled(bool enabled);
    // The refresh event.
    void RefreshPosted();
    // The pictures are to be drawn anew.
    void RedrawPosted();
    // The note or its detail has changed.
    void NoteShown();

  private:
    void Post(std::function<void()> call);
    void Enable(bool enable);
    void ShowNote();
    void ShowSilence();
    [[nodiscard]] QString ProgressText(const QProgressBar& bar) const;
    void SetPicNumInfo(const QString& text, bool isCurrent);
    void SetControlText(ControlId id, const QString& text);
    void ShowRoom();
    void SetHeadings();
    void SetAccessibleNames();

    QMainWindow& m_window;
    MainThreadCalls m_calls;
    QTimer m_silenceWatch;
    Phrase m_note;
    Phrase m_noteDetail;
    bool m_silent = false;  // the bar says that the frame is
    int m_percent = 0;      // as it was told
    std::optional<store::Progress> m_progress;
    QElapsedTimer m_progressTime;  // since that was told
    int m_quality = 0;  // of the next picture, about, where the frame shares its space out; 0: as it is set
    std::optional<int> m_room;  // for about so many more pictures; nothing: not known
    bool m_enabled = false;
    QPointer<QWidget> m_focus;  // had the focus when the panel was disabled
};

}  // namespace lumato::app
