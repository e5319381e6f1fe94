// The real window in a test's hands: a home folder of its own with pictures and a virtual frame, and the
// things that people do, as verbs.
#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <memory>

#include "app/edit/edit_view.h"
#include "app/edit/little_arrows.h"
#include "app/edit/rect_view.h"
#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"
#include "app/shell/main_window.h"
#include "tests/support/temporary_folder.h"

namespace lumato::app {

inline constexpr int kPatience = 30000;  // milliseconds; far more than anything takes
// Milliseconds in which the window does not answer: of work, under a sanitizer, and of whatever else the
// machine does.
inline constexpr qint64 kLongestWork = 500;
inline constexpr qint64 kLongestGap = 3000;
inline constexpr double kHundredTimesAsFast = 100;

// Waits for what is to come about, as long as it takes.
#define AWAIT(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, kPatience)
#define AWAIT_EQUAL(actual, expected) QTRY_COMPARE_WITH_TIMEOUT(actual, expected, kPatience)

class WindowFixture : public QObject {
    Q_OBJECT

  protected:
    // The window stands open, without a frame, over a folder with the pictures a.png, b.png and c.png (800 x
    // 600, the left half red) and notes.txt; Frame() is an empty virtual frame, 128 x 128, 1 MB.
    void SetUp();
    void TearDown();

    [[nodiscard]] Path Pictures() const { return m_folder->Get() / "pictures"; }
    [[nodiscard]] Path Frame() const { return m_folder->Get() / "test.frame"; }
    [[nodiscard]] Path State() const { return m_folder->Get() / "state"; }
    static void MakePicture(const Path& file, int width = 800, int height = 600);

    // A new window in the place of the last; real frames appear on `hardware`. OpenAsLeft() leaves to the
    // window how large it is and which folder it shows.
    void Open(double pace = 0, platform::Bus* hardware = nullptr, platform::Volumes* volumes = nullptr);
    void OpenAsLeft(double pace = 0, platform::Bus* hardware = nullptr, platform::Volumes* volumes = nullptr);
    // The folder is open and its items are listed.
    void WaitForFolder(const Path& folder);
    void OpenFolder(const Path& folder);
    void Attach();
    void Detach();
    // An empty frame in the place of Frame().
    void MakeFrame(std::uint32_t width, std::uint32_t height, std::uint32_t flashSize = 4 << 20);
    void WaitForPanel();
    void WaitForNote(const char* note);
    // Puts the files on the list and waits.
    void AddAndWait(const std::vector<const char*>& names);
    void DownloadAndWait();

    template <class Control>
    Control& Find(ControlId id) {
        return *FindControlAs<Control>(m_window.get(), id);
    }
    void Click(ControlId id) { QTest::mouseClick(&Find<QPushButton>(id), Qt::LeftButton); }
    LittleArrows& Arrows(ControlId id) { return Find<LittleArrows>(id); }
    void Type(ControlId id, int value);
    FolderColumn& LastColumn() { return *m_window->Browser().findChildren<FolderColumn*>().last(); }
    void SelectInBrowser(const char* name, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void Edit(const char* name);
    int Listed() { return m_window->List().Model().rowCount(); }
    void SelectListed(int row) { m_window->List().setCurrentIndex(m_window->List().model()->index(row, 0)); }
    int Waiting();  // of those, not yet on the frame
    QString Text(ControlId id) { return Find<QLabel>(id).text(); }
    QString Detail();
    QMessageBox* Question() { return m_window->findChild<QMessageBox*>(); }
    // The menu entry whose text begins with this.
    QAction* Entry(const char* text);

    QPoint OnCanvas(double x, double y);
    void Drag(QPoint from, QPoint to);

    // Runs the event loop until `done`; the longest time in milliseconds that it was away. The longest that
    // it worked meanwhile, which other programs do not lengthen, is in m_longestWork.
    qint64 LongestGapUntil(const std::function<bool()>& done, int patience = kPatience);
    [[nodiscard]] std::size_t ShownByTheFrame() const;

    std::unique_ptr<test::TemporaryFolder> m_folder;
    std::unique_ptr<MainWindow> m_window;
    qint64 m_longestWork = 0;

  private slots:  // before and after each test, unless a test has its own
    void init() { SetUp(); }
    void cleanup() { TearDown(); }
};

// A subject's tests: the program runs those that its first argument names.
using RunWindowTest = int (*)(int argc, char** argv);
bool AddWindowTest(const char* name, RunWindowTest run);

}  // namespace lumato::app

#define LUMATO_WINDOW_TEST(Class)                                                    \
    const bool kIs##Class##Added = AddWindowTest(#Class, [](int argc, char** argv) { \
        Class test;                                                                  \
        return QTest::qExec(&test, argc, argv);                                      \
    });
