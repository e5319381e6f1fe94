#include "app/shell/main_window.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QSplitter>
#include <array>
#include <utility>

#include "app/parts/app_state.h"
#include "app/parts/mnemonics.h"
#include "app/parts/qt_texts.h"
#include "app/parts/t_application.h"
#include "app/parts/t_nib.h"
#include "app/parts/texts.h"
#include "app/shell/accessible_views.h"
#include "app/shell/appearance.h"
#include "app/shell/first_window.h"
#include "app/shell/transfer_bar.h"
#include "picture/picture_state.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::app {
MainWindow::MainWindow(WindowOptions options)
    : m_options(std::move(options)),
      m_settings(m_options.stateFolder),
      m_panel(new ControlPanel(*this)),
      m_link(*m_panel, {m_options.hardware, m_options.volumes, m_options.stateFolder, m_options.keepTrace}),
      m_loader([this](LoadedPicture loaded) { TakeLoaded(std::move(loaded)); }) {
    InstallAccessibleViews();
    store::Store().gmyResousepath = m_options.home;
    TNib nib;
    if (nib.Init("main") != noErr || nib.CreateWindowFromNib("MainWindow", *this) != noErr)
        return;
    DressWindow(*this);
    m_browser = FindControlAs<DiskBrowser>(this, kColumList);
    m_list = FindControlAs<PictureList>(this, dbControlID1);
    m_preview = FindControlAs<Preview>(this, myHIPreviewID);
    m_editPanel = std::make_unique<EditPanel>(this, [this] { SelectNextPicture(); });
    picture::Pictures().port = m_editPanel.get();
    MakeMenus();
    m_noFrame = new NoFrameNotice(FindControl(this, myHIRectID), m_menus->Action("FRAME_NEW"),
                                  m_menus->Action("FRAME_ATTACH"), m_permitAction);
    InitViewLanguage();
    ConnectControls();
    ConnectLink();
    m_panel->UpdateInfo();
    m_panel->Enable(false);
    m_handedOver = std::move(m_options.files);
    ShowState();
    Restore();
}

MainWindow::~MainWindow() {
    CloseResource();
}

void MainWindow::ConnectControls() {
    const auto onClick = [this](ControlId id, void (MainWindow::*handler)()) {
        connect(FindControlAs<QPushButton>(this, id), &QAbstractButton::clicked, this, handler);
    };
    onClick(kDelButtonID, &MainWindow::MyDelButtonHandler);
    onClick(kDownLoadButtonID, &MainWindow::MyDownLoadButtonHandler);
    onClick(kAddButtonID, &MainWindow::MyAddButtonHandler);
    onClick(kOpenButtonID, &MainWindow::MyOpenButtonHandler);
    onClick(kUpLoadButtnonID, &MainWindow::MyUpLoadButtonHandler);
    connect(FindControlAs<QCheckBox>(this, kDeleteAllCheckBoxID), &QCheckBox::toggled, this,
            &MainWindow::MyDeleteAllCheckBoxHandler);
    connect(m_browser, &DiskBrowser::SelectionSetChanged, this, &MainWindow::TakeSelection);
    connect(m_browser, &DiskBrowser::FolderOpened, this,
            [this](const Path& folder) { m_settings.SetFolder(kBrowserFolderSetting, folder); });
    connect(findChild<QPushButton*>(QLatin1String(kStopButton)), &QAbstractButton::clicked, this,
            &MainWindow::StopWork);
    ConnectList();
    connect(m_list, &PictureList::FilesDropped, this,
            [this](const std::vector<Path>& files) { AddDropped(files); });
    connect(FindControlAs<EditView>(this, myHIViewID), &EditView::FilesDropped, this, &MainWindow::TakeDrop);
}

void MainWindow::ConnectLink() {
    auto* report = findChild<QPushButton*>(QLatin1String(kBatchReportButton));
    connect(report, &QAbstractButton::clicked, this, &MainWindow::ShowBatchReport);
    // It goes with its note.
    connect(m_panel, &ControlPanel::NoteShown, report,
            [this, report] { report->setVisible(m_leftOut && m_panel->Note() == m_leftOutNote); });
    connect(m_panel, &ControlPanel::RefreshPosted, this, &MainWindow::InvalidWindow);
    connect(FindControlAs<TransferBar>(this, kDownLoadProcessID), &TransferBar::valueChanged, &m_desktop,
            &Desktop::ShowProgress);
    connect(&m_desktop, &Desktop::WindowWanted, this, [this](const QString& token) {
        UseActivationToken(token);
        ComeForward({});
    });
    connect(m_panel, &ControlPanel::RedrawPosted, this, [this] {
        m_editPanel->RedrawEditView();
        if (MainThreadOwns() && store::Store().gmyCurrentSelectItem == 0)
            m_preview->ForgetListed();
    });
    connect(&m_link, &FrameLink::FrameChanged, this, &MainWindow::TakeFrameChange);
    connect(&m_link, &FrameLink::OnlineEnded, this, &MainWindow::TakeOnlineEnd);
    connect(qApp, &QGuiApplication::commitDataRequest, this, &MainWindow::TakeSessionEnd);
    connect(&m_loader, &PictureLoader::LoadingChanged, this,
            [this] { m_link.ShowLoading(m_loader.IsLoading()); });
    connect(&m_link, &FrameLink::StateChanged, this, &MainWindow::ShowState);
}

void MainWindow::MakeMenus() {
    m_menus = std::make_unique<MenuBuilder>(*menuBar());
    MakePictureMenu(m_menus->AddMenu("MENU_PICTURES", "Pictures"));
    MakeBrowserMenu(m_menus->AddMenu("MENU_VIEW", "View"));
    QMenu* frame = m_menus->AddMenu("MENU_FRAME", "Frame");
    m_menus->AddAction(frame, "DownLoad", "DownLoad", QKeySequence("Ctrl+D"), true,
                       [this] { MyDownLoadButtonHandler(); });
    m_stopAction = m_menus->AddAction(frame, "CANCLE_BUTTON", "Cancel", QKeySequence("Esc"), false,
                                      [this] { StopWork(); });
    MakeCheckMenu(frame);
    MakeBackupMenu(frame);
    MakeContactMenu(frame);
    frame->addSeparator();
    m_frameMenu = new FrameMenu(frame, *m_menus, m_link, m_settings, m_options.pace, this);
    QMenu* language = m_menus->AddMenu("MENU_LANGUAGE", "Language");
    new LanguageMenu(
        language, LanguageFile(m_options.home / "Language.ini"), [this] { InitViewLanguage(); },
        [this](const Error& error) { ShowMessage(windowTitle(), Localized(error.message)); });
    QMenu* help = m_menus->AddMenu("MENU_HELP", "Help");
    m_menus->AddAction(help, "HELP_SHORTCUTS", "Keyboard Shortcuts", QKeySequence("Ctrl+?"), false,
                       [this] { ShowShortcuts(); });
    m_menus->AddAction(help, "HELP_REPORT", "Copy Report", {}, false, [this] { CopyReport(); })
        ->setObjectName(QStringLiteral("report"));
    m_menus->AddAction(help, "HELP_ABOUT", "About Lumato", {}, false, [this] { ShowAbout(); });
    const auto* openMenu = new QShortcut(QKeySequence(Qt::Key_F10), this);
    connect(openMenu, &QShortcut::activated, this,
            [this] { menuBar()->setActiveAction(menuBar()->actions().front()); });
}

void MainWindow::MakePictureMenu(QMenu* menu) {
    const auto add = [&](const char* key, const char* text, const QKeySequence& shortcut, bool panel,
                         std::function<void()> run) {
        return m_menus->AddAction(menu, key, text, shortcut, panel, std::move(run));
    };
    add("Add", "Add", QKeySequence("Ctrl+Return"), true, [this] { MyAddButtonHandler(); });
    QAction* remove = add("Delete", "Delete", QKeySequence::Delete, true, [this] { DeleteSelected(); });
    // In a number's box the key deletes a digit.
    remove->setShortcutContext(Qt::WidgetShortcut);
    remove->setAutoRepeat(false);  // a key held down would delete more than was seen to go
    m_list->addAction(remove);
    m_list->addAction(add("EDIT_AGAIN", "Edit Again", QKeySequence("F2"), true, [this] { EditAgain(); }));
    m_list->setContextMenuPolicy(Qt::ActionsContextMenu);
    add("Save_All", "Save ALL", QKeySequence::Save, true, [this] { MyUpLoadButtonHandler(); });
    MakeUndoEntries(menu);
    add("MOVE_UP", "Move Up", QKeySequence("Alt+Up"), true, [this] { MoveSelected(-1); });
    add("MOVE_DOWN", "Move Down", QKeySequence("Alt+Down"), true, [this] { MoveSelected(1); });
    add("PREVIEW_OPEN", "Preview at Frame Size", QKeySequence("F8"), false, [this] { ShowPreviewWindow(); });
    menu->addSeparator();
    add("TURN_LEFT", "Rotate Left", QKeySequence("Ctrl+L"), true, [this] { m_editPanel->TurnBy(-90); });
    add("TURN_RIGHT", "Rotate Right", QKeySequence("Ctrl+R"), true, [this] { m_editPanel->TurnBy(90); });
    add("SCALE_UP", "Enlarge", QKeySequence::ZoomIn, true, [this] { m_editPanel->ScaleBy(1); });
    add("SCALE_DOWN", "Reduce", QKeySequence::ZoomOut, true, [this] { m_editPanel->ScaleBy(-1); });
    add("Fit_Size_For_LCD", "Fit size for LCD", QKeySequence("Ctrl+0"), true,
        [this] { m_editPanel->SetFitted(true); });
    add("FIT_WHOLE", "Whole picture", QKeySequence("Ctrl+9"), true,
        [this] { m_editPanel->SetFit(picture::Fit::Whole); });
    menu->addSeparator();
    add("QUIT", "Quit", QKeySequence("Ctrl+Q"), false, [] { TApplication::SendCommand(kQuitCommand); });
}

void MainWindow::InitViewLanguage() {
    FollowLanguage(LanguageFile::Chosen());
    const bool leftOutNoted = m_leftOut && m_panel->Note() == m_leftOutNote;
    m_panel->InitViewLanguage();
    if (leftOutNoted) {
        m_leftOutNote = m_panel->Note();
        findChild<QPushButton*>(QLatin1String(kBatchReportButton))->setVisible(true);
    }
    m_editPanel->ShowTexts();
    ShowReplacing();
    const QString lettersOfMenus = m_menus->ShowTexts();
    ShowUndo();
    m_frameMenu->ShowTexts();
    m_browser->ShowTexts();
    m_noFrame->SetTexts(Localized(kNoFrameHeading), Localized(kConnectHint));
    emit m_preview->Changed();  // what is said of it
    if (m_previewWindow != nullptr)
        m_previewWindow->ShowTexts();
    ShowPrice();
    if (IsReady())  // what is said of each picture
        m_panel->ShowPictureList();
    GiveLetters(*this, lettersOfMenus);
}

void MainWindow::Restore() {
    auto* panes = findChild<QSplitter*>();
    const int letter = fontMetrics().averageCharWidth();
    const std::array shares = {56, 86, 50};
    panes->setSizes({letter * shares[0], letter * shares[1], letter * shares[2]});
    for (int pane = 0; pane < panes->count(); ++pane)
        panes->setStretchFactor(pane, shares[static_cast<std::size_t>(pane)]);
    // With room for what the desktop puts around a window.
    const QSize most = screen()->availableGeometry().size() - QSize(letter * 2, fontMetrics().height() * 3);
    resize(QSize(letter * 192, sizeHint().height() * 11 / 10).boundedTo(most));
    restoreGeometry(m_settings.Bytes(kGeometrySetting));
    if (!isMaximized() && !isFullScreen())
        resize(size().boundedTo(screen()->availableGeometry().size()));  // it may be a smaller one now
    panes->restoreState(m_settings.Bytes(kPanesSetting));
}

void MainWindow::Remember() {
    m_settings.SetBytes(kGeometrySetting, saveGeometry());
    m_settings.SetBytes(kPanesSetting, findChild<QSplitter*>()->saveState());
    // Not only once it has been read: the window may be left sooner.
    if (const Path folder = m_browser->WantedFolder(); !folder.empty())
        m_settings.SetFolder(kBrowserFolderSetting, folder);
}

void MainWindow::Start(const std::optional<Path>& frame) {
    m_browser->MyInitializeDataBrowserControl();
    m_browser->OpenPath(m_settings.Folder(kBrowserFolderSetting));
    ShowWhatToDo();
    m_link.IniUSBDevice();
    if (frame)
        m_frameMenu->Attach(*frame);
}

void MainWindow::InvalidWindow() {
    if (m_link.EndWork())
        TakeEnd();
}

// No task runs any more: what came meanwhile is taken up.
void MainWindow::TakeEnd() {
    if (m_leaving) {
        LeaveUnasked();
        return;
    }
    // It may have been clicked while a task owned the store.
    MyDeleteAllCheckBoxHandler(FindControlAs<QCheckBox>(this, kDeleteAllCheckBoxID)->isChecked());
    m_panel->SetDownLoadPrcess(0);
    m_link.ShowLoading(m_loader.IsLoading());
    if (IsReady()) {
        ShowListed(m_list->CurrentItem(), false);
        m_panel->ShowPictureList();
    }
    ShowPrice();
    AskAnew();
    m_editPanel->ShowAll();
    if (std::optional<LoadedPicture> waiting = std::exchange(m_waiting, std::nullopt); waiting && IsReady())
        TakeLoaded(std::move(*waiting));
    m_addNext = m_addNext && m_loader.IsLoading();
    TakeUpFiles();
    TakeSteps();
    m_batchBefore.reset();
}

}  // namespace lumato::app
