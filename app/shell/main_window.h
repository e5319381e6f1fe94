// The main window: its controls come from the interface description "main", its handlers stand here.
//
// Main thread only. main_window.cpp puts it together, window_states.cpp says what each state shows,
// edit_selection.cpp brings pictures into the edit view, button_handlers.cpp has the buttons,
// list_handlers.cpp the list and the preview, edit_again.cpp what is edited once more, undo_handlers.cpp the
// steps back and forth, check_handlers.cpp the check of what is on the frame, backup_handlers.cpp the frame
// in one file, first_contact.cpp what a frame says of itself and the report, quit_application.cpp the way
// out.
#pragma once

#include <QElapsedTimer>
#include <QMainWindow>
#include <QMessageBox>
#include <QPointer>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "app/browser/disk_browser.h"
#include "app/edit/edit_panel.h"
#include "app/edit/picture_loader.h"
#include "app/frame/frame_link.h"
#include "app/frame/frame_menu.h"
#include "app/list/picture_list.h"
#include "app/list/preview_window.h"
#include "app/parts/app_state.h"
#include "app/parts/loose_threads.h"
#include "app/parts/main_thread_calls.h"
#include "app/parts/menu_builder.h"
#include "app/parts/settings.h"
#include "app/shell/control_panel.h"
#include "app/shell/desktop.h"
#include "app/shell/language_menu.h"
#include "app/shell/no_frame_notice.h"
#include "backup/backup_file.h"
#include "picture/add_pictures.h"
#include "picture/album.h"
#include "store/check_pictures.h"
#include "store/download_cost.h"
#include "store/edit_history.h"
#include "store/list_order.h"
#include "store/store.h"

class QSessionManager;

namespace lumato::app {

struct WindowOptions {
    Path home;
    platform::Bus* hardware = nullptr;     // borrowed; where real frames appear; null: none do
    platform::Volumes* volumes = nullptr;  // borrowed; null: there are none
    Path stateFolder;
    double pace = 0;                       // of virtual frames, as FrameOptions has it
    std::function<void()> keepTrace = {};  // what the frame was sent, for a later report; any thread
    std::vector<Path> files;               // taken up once a frame is online: one to edit, several to add
};

// While there is no frame.
inline constexpr Words kNoFrameHeading{"NO_FRAME_HEADING", "No frame is connected"};
inline constexpr Words kConnectHint{"CONNECT_HINT",
                                    "Connect your photo frame, or attach a virtual one from the Frame menu"};

class MainWindow : public QMainWindow {
    Q_OBJECT

  public:
    explicit MainWindow(WindowOptions options);
    ~MainWindow() override;

    // Fills the disk list and starts looking for frames; the last steps of the start.
    void Start(const std::optional<Path>& frame);

    // ---- the handlers of the controls
    void MyDelButtonHandler();
    void MyDownLoadButtonHandler();
    void MyAddButtonHandler();
    void MyUpLoadButtonHandler();
    void Undo();
    void Redo();
    // Gives these listed pictures, in their order, the places in front of the one at `before`.
    void MovePictures(const std::vector<int>& positions, int before);
    // Takes the selected pictures off the list, or the last one: never all of them for the check box.
    void DeleteSelected();
    // The selected picture of the list comes into the edit view once more, from its photograph.
    void EditAgain();
    // Asks the download or the batch that runs to end early.
    void StopWork();
    void MyOpenButtonHandler() {}  // the button has no action
    void MyDeleteAllCheckBoxHandler(bool on);
    // The refresh event: a worker task has ended.
    void InvalidWindow();

    // Another start of the program: this window is shown, and takes up its files. False: it is leaving.
    bool ComeForward(std::vector<Path> files, const QString& action = {});

    // Asks whether to quit, and does; refused while pictures are transferred.
    void QuitApplication();
    // The same without a question, as the system asks for it: what the window remembers is kept, and a
    // download is stopped where that costs nothing.
    void LeaveUnasked();
    void CloseResource();

    // Adds these files, as a batch; folders stand for what is in them.
    void AddFiles(std::vector<Path> files, const picture::Pose& pose = {},
                  picture::Room room = picture::Room::AsItIs);
    void SavePicturesTo(const Path& folder);
    void SelectFile(const Path& file);

    // The list differs from what the frame holds.
    [[nodiscard]] static bool HasUnsavedChanges() { return IsReady() && store::ListDiffers(); }
    [[nodiscard]] bool IsLoading() const { return m_loader.IsLoading(); }
    [[nodiscard]] FrameLink& Link() { return m_link; }
    [[nodiscard]] ControlPanel& Panel() { return *m_panel; }
    [[nodiscard]] FrameMenu& Frames() { return *m_frameMenu; }
    [[nodiscard]] DiskBrowser& Browser() { return *m_browser; }
    [[nodiscard]] PictureList& List() { return *m_list; }

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void ConnectControls();
    void ConnectLink();
    void MakeMenus();
    void MakePictureMenu(QMenu* menu);
    void MakeBrowserMenu(QMenu* menu);  // browser_menu.cpp
    void ShowState();
    void AskWhatWaits();
    void InitViewLanguage();
    void Restore();
    void Remember();

    // ---- edit_selection.cpp
    void TakeSelection();
    void TakeLoaded(LoadedPicture loaded);
    void TakeDrop(const std::vector<Path>& files);
    void AddDropped(const std::vector<Path>& files);
    void SelectNextPicture();
    void TakeFrameChange();
    void ForgetFrame();
    void TakeOnlineEnd();
    void TakeEnd();
    void TakeUpFiles();

    // ---- list_handlers.cpp
    void ConnectList();
    void ShowPreviewWindow();
    void MoveSelected(int by);
    enum class Step { Move, Drag, Undo, Redo, Delete };
    struct PutOffStep {
        Step step;
        int by = 0;                      // the places of a move; how many a deletion was of
        QList<QByteArray> dragged = {};  // keys, for the positions will be others
        QByteArray before = {};          // likewise; empty: to the end
    };
    [[nodiscard]] bool PutOff(Step step, int by = 0);
    [[nodiscard]] bool PutOffDrag(const std::vector<int>& positions, int before);
    void TakeSteps();
    void TakeDrag(const PutOffStep& drag);
    void SelPicInList(int item);
    void ShowListed(int item, bool touched);
    void Delete(std::function<void()> work);
    void ShowWhatToDo();
    void ShowNoFrameNotice(bool show);

    // ---- backup_handlers.cpp
    using BackupRead = std::shared_ptr<Result<backup::Backup>>;
    void MakeBackupMenu(QMenu* menu);
    void MakeContactMenu(QMenu* frame);
    void ChooseBackup(bool restore);
    void BackUpTo(const Path& file);
    void ReadBackup(const Path& file);
    void AskRestore(const BackupRead& read);
    void Restore(const BackupRead& read);

    // ---- edit_again.cpp
    void EditFrom(const std::string& name, const picture::AlbumEntry& made, picture::Original original);
    void TakeEditAgain(const Path& file, bool selected);
    [[nodiscard]] bool IsEditingAgain() const { return m_again && m_again->shown; }
    [[nodiscard]] int PositionEditedAgain() const;
    void EndEditAgain();
    void ShowReplacing();
    QMessageBox* OfferRoom(const std::vector<picture::Lowered>& plan, std::vector<Path> files,
                           const picture::Pose& pose);

    // ---- check_handlers.cpp
    void MakeCheckMenu(QMenu* menu);
    void CheckPictures();
    void TakeCheck(const store::CheckReport& report, bool mayMend);
    void ShowDamaged(const store::CheckReport& report, bool mayMend);
    void MendPictures(const store::CheckReport& report);

    // ---- undo_handlers.cpp
    using Edits = store::EditHistory;
    void MakeUndoEntries(QMenu* menu);
    void StepTo(Result<void> (Edits::*step)());
    void ForgetEdits();
    void ShowUndo();

    // ---- button_handlers.cpp
    // Has a task work with the store, then carry out `then` on the main thread and post the refresh event.
    bool RunTask(WindowState state, std::function<void()> work, std::function<void()> then = {});
    // Opens a question that a task has led to, as soon as the task has let go of the store: the answer may
    // begin another one. Nobody is asked about a frame that has gone.
    void Ask(QMessageBox* box);
    [[nodiscard]] std::vector<ItemID> CollectBatch();
    // Asks first where nothing of the picture would be seen.
    void AddEditPicture();
    void AskToAddEmpty();
    void AddAsPosed();
    void ShowBatchRoom(std::size_t pictures);
    using Batch = std::shared_ptr<const picture::BatchReport>;  // shared: it may tell of 20,000 files
    void TakeBatch(const std::shared_ptr<picture::BatchReport>& taken, const Batch& before);
    void ShowBatchReport();
    static Phrase PriceOfList();
    void ShowPrice();
    void ShowListChange();
    void Download(std::function<void(bool written)> then = {});
    void TakeDownload();
    void SelectFileLocation();
    void TakeSaving(const store::SaveReport& report);
    void ShowNote(const char* key, const char* defaultText, const Phrase& detail = {});
    void ShowShortcuts();
    void ShowAbout();
    void ShowFrameFacts();
    void PermitFrames();
    void CopyReport();
    void ShowMessage(const QString& title, const QString& text);

    void AskAnew();
    void Leave();
    void TakeSessionEnd(QSessionManager& session);

    WindowOptions m_options;
    Settings m_settings;
    MainThreadCalls m_calls;
    ControlPanel* m_panel;
    FrameLink m_link;
    PictureLoader m_loader;
    LooseThreads m_looks{1};  // at files that were dropped, or are to be edited again
    Desktop m_desktop;
    QElapsedTimer m_downloadTime;
    std::unique_ptr<EditPanel> m_editPanel;
    std::unique_ptr<MenuBuilder> m_menus;
    FrameMenu* m_frameMenu = nullptr;
    DiskBrowser* m_browser = nullptr;
    PictureList* m_list = nullptr;
    Preview* m_preview = nullptr;
    PreviewWindow* m_previewWindow = nullptr;  // once it was asked for
    NoFrameNotice* m_noFrame = nullptr;
    bool m_browserIsNext = false;  // to have the focus, which the notice had
    QPointer<QMessageBox> m_quitQuestion;
    QString m_atStake;  // as it says

    std::vector<ItemID> SelPicArrayRef;      // chosen for a batch, the last one first
    std::optional<LoadedPicture> m_waiting;  // arrived while a task owned the edit picture
    std::vector<Path> m_handedOver;          // files from elsewhere, until the window is ready for them
    static constexpr const char* kAboutFrame = "aboutFrame";  // a question's property: it goes with the frame
    QPointer<QMessageBox> m_question;                         // waits for the task that led to it
    // A listed picture that the edit picture replaces, once its photograph has been loaded.
    struct Again {
        std::string name;
        Path source;
        picture::Pose pose;
        bool changed = false;  // the photograph, since the picture was made from it
        bool shown = false;
    };
    std::optional<Again> m_again;
    int m_againAsked = 0;  // counts what was asked for in the edit view: the last one is wanted
    Batch m_leftOut;       // by the last batch; null: nothing
    Batch m_batchBefore;   // with whose end the next one begins
    QPointer<QMessageBox> m_roomQuestion;  // of a batch
    std::vector<Path> m_roomWanted;        // for these
    QString m_leftOutNote;                 // with which it can be looked at
    // What was asked of the list while a change of it went on.
    std::deque<PutOffStep> m_steps;
    bool m_addNext = false;  // Add was pressed for a picture that is still on its way
    WindowState m_shownState = WindowState::NoFrame;
    bool m_leaving = false;  // with the end of the download
    bool m_closed = false;
    store::EditHistory m_edits;
    QAction* m_undoAction = nullptr;
    QAction* m_redoAction = nullptr;
    QAction* m_stopAction = nullptr;
    QAction* m_factsAction = nullptr;
    QAction* m_permitAction = nullptr;  // shown while a frame must not be used
    LooseThreads m_reports{1};
    QAction* m_checkAction = nullptr;  // checked: each download is read back
};

}  // namespace lumato::app
