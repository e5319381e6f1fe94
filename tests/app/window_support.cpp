#include "tests/app/window_support.h"

#include <QElapsedTimer>
#include <QPainter>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>

#include "app/parts/app_state.h"
#include "app/parts/detail_label.h"
#include "app/parts/loose_threads.h"
#include "picture/picture_state.h"
#include "text/localized.h"
#include "vframe/display.h"
#include "vframe/flash_image.h"
#include "vframe/new_frame.h"

namespace lumato::app {
namespace {

// Whatever a file is called, what it is counts.
constexpr const char* kFormat = "PNG";

// Processor time of this thread.
qint64 ThreadMilliseconds() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

std::map<std::string, RunWindowTest>& WindowTests() {
    static std::map<std::string, RunWindowTest> tests;
    return tests;
}

}  // namespace

bool AddWindowTest(const char* name, RunWindowTest run) {
    return WindowTests().emplace(name, run).second;
}

void WindowFixture::SetUp() {
    m_folder = std::make_unique<test::TemporaryFolder>();
    // The browser reaches the test's folder as the user's own.
    qputenv("HOME", m_folder->Get().c_str());
    qunsetenv("XDG_CACHE_HOME");
    std::filesystem::create_directories(Pictures());
    std::filesystem::create_directories(State());
    text::SetLanguageFile(m_folder->Get() / "Language.ini");
    MakePicture(Pictures() / "a.png");
    for (const char* name : {"b.png", "c.png"})
        std::filesystem::copy_file(Pictures() / "a.png", Pictures() / name);
    test::PutBytes(Pictures() / "notes.txt", {'h', 'i'});
    MakeFrame(128, 128, 1 << 20);
    Open();
}

void WindowFixture::TearDown() {
    m_window.reset();
    m_folder.reset();
}

void WindowFixture::MakePicture(const Path& file, int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(Qt::blue);
    QPainter(&image).fillRect(0, 0, width / 2, height, Qt::red);
    QVERIFY(image.save(QString::fromStdString(file.string()), kFormat));
}

void WindowFixture::Open(double pace, platform::Bus* hardware, platform::Volumes* volumes) {
    OpenAsLeft(pace, hardware, volumes);
    m_window->resize(1200, 760);
    OpenFolder(Pictures());
}

void WindowFixture::OpenAsLeft(double pace, platform::Bus* hardware, platform::Volumes* volumes) {
    m_window.reset();  // two at once would share their state
    m_window = std::make_unique<MainWindow>(WindowOptions{.home = m_folder->Get(),
                                                          .hardware = hardware,
                                                          .volumes = volumes,
                                                          .stateFolder = State(),
                                                          .pace = pace,
                                                          .files = {}});
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    m_window->Start(std::nullopt);
}

void WindowFixture::WaitForFolder(const Path& folder) {
    DiskBrowser& browser = m_window->Browser();
    AWAIT(browser.OpenFolder() == folder && !browser.IsReading());
}

void WindowFixture::OpenFolder(const Path& folder) {
    m_window->Browser().OpenPath(folder);
    WaitForFolder(folder);
}

void WindowFixture::Attach() {
    m_window->Frames().Attach(Frame());
    WaitForPanel();
}

void WindowFixture::Detach() {
    m_window->Link().DetachVirtualFrame();
    AWAIT_EQUAL(Listed(), 0);
}

void WindowFixture::MakeFrame(std::uint32_t width, std::uint32_t height, std::uint32_t flashSize) {
    std::filesystem::remove(Frame());
    QVERIFY(vframe::CreateFrame(Frame(), {.lcdWidth = width, .lcdHeight = height, .flashSize = flashSize}));
}

// Work of a moment leaves the panel enabled.
void WindowFixture::WaitForPanel() {
    QTRY_VERIFY2_WITH_TIMEOUT(m_window->Panel().IsEnabled() && MainThreadOwns(),
                              qPrintable(Text(kNotesID) + u' ' + Detail()), kPatience);
}

void WindowFixture::WaitForNote(const char* note) {
    AWAIT_EQUAL(Text(kNotesID), QString::fromUtf8(note));
}

void WindowFixture::AddAndWait(const std::vector<const char*>& names) {
    const int before = Listed();
    std::vector<Path> files;
    for (const char* name : names)
        files.push_back(Pictures() / name);
    m_window->AddFiles(files);
    AWAIT_EQUAL(Listed(), before + static_cast<int>(files.size()));
    WaitForPanel();
}

void WindowFixture::Type(ControlId id, int value) {
    Arrows(id).selectAll();
    QTest::keyClicks(&Arrows(id), QString::number(value));
    QTest::keyClick(&Arrows(id), Qt::Key_Return);
}

void WindowFixture::SelectInBrowser(const char* name, Qt::KeyboardModifiers modifiers) {
    FolderColumn& column = LastColumn();
    for (const ItemID id : column.Model().Ids()) {
        if (m_window->Browser().Items().Find(id)->name != QLatin1String(name))
            continue;
        const QRect where = column.visualRect(column.Model().IndexOf(id));
        QTest::mouseClick(column.viewport(), Qt::LeftButton, modifiers, where.center());
        return;
    }
    QFAIL(name);
}

void WindowFixture::Edit(const char* name) {
    SelectInBrowser(name);
    AWAIT(!m_window->IsLoading() && picture::Pictures().gmyCGimage != nullptr);
}

void WindowFixture::DownloadAndWait() {
    Click(kDownLoadButtonID);
    WaitForNote("DownLoad Finished!");
    WaitForPanel();
}

int WindowFixture::Waiting() {
    const QList<ListedPicture>& pictures = m_window->List().Model().Pictures();
    return static_cast<int>(
        std::ranges::count_if(pictures, [](const ListedPicture& picture) { return !picture.inFrame; }));
}

QString WindowFixture::Detail() {
    return m_window->findChild<DetailLabel*>()->text();
}

QAction* WindowFixture::Entry(const char* text) {
    for (QAction* action : m_window->findChildren<QAction*>())
        if (WithoutLetter(action->text()).startsWith(QString::fromUtf8(text)))
            return action;
    return nullptr;
}

QPoint WindowFixture::OnCanvas(double x, double y) {
    return Find<RectView>(myHIRectID).Shown().ToWidget({x, y, 0, 0}).topLeft().toPoint();
}

void WindowFixture::Drag(QPoint from, QPoint to) {
    RectView& view = Find<RectView>(myHIRectID);
    QTest::mousePress(&view, Qt::LeftButton, {}, from);
    QTest::mouseMove(&view, (from + to) / 2);
    QTest::mouseMove(&view, to);
    QTest::mouseRelease(&view, Qt::LeftButton, {}, to);
}

qint64 WindowFixture::LongestGapUntil(const std::function<bool()>& done, int patience) {
    QElapsedTimer whole, sinceLast;
    whole.start();
    qint64 longest = 0;
    m_longestWork = 0;
    while (!done() && whole.elapsed() < patience) {
        sinceLast.restart();
        const qint64 worked = ThreadMilliseconds();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        longest = std::max(longest, sinceLast.elapsed());
        m_longestWork = std::max(m_longestWork, ThreadMilliseconds() - worked);
    }
    return longest;
}

std::size_t WindowFixture::ShownByTheFrame() const {
    const auto flash = vframe::ReadFlashImage(Frame());
    return vframe::Display::PowerOn(*flash)->Count();
}

}  // namespace lumato::app

int main(int argc, char** argv) {
    // The platform's own screen is smaller than the window can be.
    if (qgetenv("QT_QPA_PLATFORM") == "offscreen")
        qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" LUMATO_TEST_SCREEN);
    QApplication application(argc, argv);
    const int status = lumato::app::WindowTests().at(argc > 1 ? argv[1] : "")(argc - 1, argv + 1);
    // What a thread still holds is no leak.
    if (QTest::qWaitFor([] { return !lumato::app::LooseThreads::AnyRun(); }, 20'000))
        return status;
    std::fputs("a thread of the window does not end\n", stderr);
    return 1;
}
