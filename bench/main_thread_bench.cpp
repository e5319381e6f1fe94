// How long the window's main thread is busy in one turn of its event loop, at most, on the way through what
// people do: a row for each, with the processor time of that thread, which other programs hardly disturb, and
// the time that went by, waiting included. bench/main_thread.sh makes what it needs and runs it.
// Usage: main_thread_bench WORK_FOLDER, with "full.frame" (as many pictures as it holds), "empty.frame", a
// large photograph "large/photo.jpg", and folders of photographs "few" and "many" and of no photographs
// "texts". With a folder's name after it: how long until the first screenful of its thumbnails is shown.
#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QScrollBar>
#include <QTest>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "app/edit/edit_view.h"
#include "app/edit/little_arrows.h"
#include "app/edit/rect_view.h"
#include "app/list/preview.h"
#include "app/parts/app_state.h"
#include "app/parts/texts.h"
#include "app/shell/appearance.h"
#include "app/shell/main_window.h"
#include "bench/turns.h"
#include "picture/picture_state.h"
#include "text/localized.h"

namespace lumato::app {
namespace {

constexpr int kPatience = 40'000;  // milliseconds
constexpr int kQuiet = 400;        // of what follows a step

class Story {
  public:
    explicit Story(Path work) : m_work(std::move(work)) {}
    void Run();
    void FirstScreenful(const Path& folder);

  private:
    void Step(const char* what, const std::function<void()>& act, const std::function<bool()>& done);
    void Open(const char* what, const Path& folder);
    void Scroll(const char* what, QAbstractItemView& view);
    void Dialog(const char* what, const std::function<void()>& act);
    void Trigger(const char* key);
    void Start();
    void Begin();
    void Fit();
    void Dialogs();
    void Work();
    void Batches();
    void Attach(const char* what, const char* frame);

    [[nodiscard]] int Listed() const { return m_window->List().Model().rowCount(); }
    [[nodiscard]] static bool Idle() { return IsReady() && App().state == WindowState::Idle; }
    template <class Control>
    Control& Find(ControlId id) {
        return *FindControlAs<Control>(m_window.get(), id);
    }
    FolderColumn& Column() { return *m_window->Browser().findChildren<FolderColumn*>().last(); }
    bool IsFitted() {
        const auto& view = *m_window->findChild<EditView*>();
        return picture::Pictures().gmyCGimage != nullptr && view.IsFine() && Idle();
    }

    Path m_work;
    std::unique_ptr<MainWindow> m_window;
};

void Story::Step(const char* what, const std::function<void()>& act, const std::function<bool()>& done) {
    bench::g_longest = {};
    if (bench::g_listsTurns)
        std::fprintf(stderr, "step %s\n", what);
    QTimer::singleShot(0, qApp, act);
    QElapsedTimer whole;
    whole.start();
    QTest::qWait(1);
    while (!done() && whole.elapsed() < kPatience)
        QTest::qWait(5);
    const bool there = done();
    QTest::qWait(kQuiet);
    std::printf("| %s | %.1f | %.1f |%s\n", what, bench::g_longest.work, bench::g_longest.away,
                there ? "" : " NOT REACHED");
    std::fflush(stdout);
}

void Story::Open(const char* what, const Path& folder) {
    DiskBrowser& browser = m_window->Browser();
    Step(
        what, [&] { browser.OpenPath(folder); },
        [&] { return browser.OpenFolder() == folder && !browser.IsReading(); });
}

// By pages, faster than people do.
void Story::Scroll(const char* what, QAbstractItemView& view) {
    constexpr int kPages = 60;
    QScrollBar& bar = *view.verticalScrollBar();
    int page = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { bar.setValue(bar.maximum() * ++page / kPages); });
    Step(
        what, [&] { timer.start(33); }, [&] { return page >= kPages; });
    timer.stop();
}

void Story::Dialog(const char* what, const std::function<void()>& act) {
    const auto shown = []() -> QWidget* {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (widget->isVisible() && qobject_cast<QMainWindow*>(widget) == nullptr)
                return widget;
        }
        return nullptr;
    };
    Step(what, act, [&] { return shown() != nullptr; });
    Step(
        "- and closing it",
        [&] {
            if (QWidget* widget = shown())
                widget->close();
        },
        [&] { return shown() == nullptr; });
}

void Story::Trigger(const char* key) {
    for (QAction* action : m_window->findChildren<QAction*>()) {
        if (action->text().remove(u'&') == QString::fromUtf8(key)) {
            action->trigger();
            return;
        }
    }
    std::printf("No action %s\n", key);
}

void Story::Attach(const char* what, const char* frame) {
    Step(
        what, [&] { m_window->Frames().Attach(m_work / frame); }, [] { return Idle(); });
}

void Story::Start() {
    Step(
        "start: the window is made",
        [&] {
            m_window = std::make_unique<MainWindow>(
                WindowOptions{.home = m_work / "home", .stateFolder = m_work / "state", .files = {}});
        },
        [&] { return m_window != nullptr; });
    Step(
        "start: it is shown",
        [&] {
            m_window->resize(1200, 760);
            m_window->show();
        },
        [&] { return m_window->isVisible(); });
    Step(
        "start: the end of it", [&] { m_window->Start(std::nullopt); }, [] { return true; });
}

void Story::FirstScreenful(const Path& folder) {
    Start();
    DiskBrowser& browser = m_window->Browser();
    const auto isShown = [&] {
        if (browser.OpenFolder() != folder || browser.IsReading())
            return false;
        FolderColumn& column = Column();
        const std::vector<ItemID> inView = column.InView();
        return !inView.empty() && std::all_of(inView.begin(), inView.end(), [&](ItemID id) {
            return !column.Model().IndexOf(id).data(kThumbnailRole).value<QPixmap>().isNull();
        });
    };
    QElapsedTimer whole;
    whole.start();
    browser.OpenPath(folder);
    while (!isShown() && whole.elapsed() < kPatience)
        QTest::qWait(2);
    std::printf("| first screenful: %zu of %d photographs | | %lld |%s\n", Column().InView().size(),
                Column().Model().rowCount(), static_cast<long long>(whole.elapsed()),
                isShown() ? "" : " NOT REACHED");
}

void Story::Begin() {
    Start();
    Open("a folder of 20,000 files", m_work / "texts");
    Scroll("scrolling them", Column());
    Open("a folder of 5,000 photographs", m_work / "many");
    Scroll("scrolling their thumbnails", Column());
    Scroll("scrolling them once more", Column());
    Attach("connecting a full frame", "full.frame");
    Scroll("scrolling its list", m_window->List());
    Step(
        "selecting in the list",
        [&] { m_window->List().setCurrentIndex(m_window->List().model()->index(7, 0)); },
        [&] { return Find<Preview>(myHIPreviewID).Shown().bytes > 0; });
}

void Story::Fit() {
    Open("a folder of few photographs", m_work / "large");
    Step(
        "choosing a photograph of 24 MP",
        [&] {
            const ItemID id = m_window->Browser().InOrder().front();
            const QRect where = Column().visualRect(Column().Model().IndexOf(id));
            QTest::mouseClick(Column().viewport(), Qt::LeftButton, {}, where.center());
        },
        [&] { return !m_window->IsLoading() && IsFitted(); });
    Step(
        "fitting whole", [&] { Trigger("Whole picture"); }, [&] { return IsFitted(); });
    Step(
        "a quarter turn", [&] { Trigger("Rotate Right"); }, [&] { return IsFitted(); });
    const auto repeat = [&](const char* what, ControlId id) {
        int steps = 0;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, [&] {
            ++steps;
            QTest::keyClick(&Find<LittleArrows>(id), Qt::Key_Up);
        });
        Step(
            what, [&] { timer.start(16); }, [&] { return steps >= 60; });
        timer.stop();
        Step(
            "- and its end", [] {}, [&] { return IsFitted(); });
    };
    repeat("scaling", kScaleArrowXID);
    repeat("turning", kRotateArrowID);
    repeat("moving", kTranlateArrowXID);
    RectView& view = Find<RectView>(myHIRectID);
    int steps = 0;
    QPoint at = view.rect().center();
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        at += QPoint(1, 1);
        QTest::mouseMove(&view, at);
        ++steps;
    });
    Step(
        "dragging the rectangle",
        [&] {
            QTest::mousePress(&view, Qt::LeftButton, {}, at);
            timer.start(16);
        },
        [&] { return steps >= 60; });
    timer.stop();
    Step(
        "- and letting go", [&] { QTest::mouseRelease(&view, Qt::LeftButton, {}, at); },
        [&] { return IsFitted(); });
}

void Story::Dialogs() {
    Dialog("about", [&] { Trigger("About Lumato"); });
    Dialog("shortcuts", [&] { Trigger("Keyboard Shortcuts"); });
    Dialog("facts of the frame", [&] { Trigger("About the Frame"); });
    Dialog("preview at frame size", [&] { Trigger("Preview at Frame Size"); });
    Dialog("the frame's screen", [&] { Trigger("Show the Frame’s Screen"); });
    Dialog("saving, the dialog", [&] { Trigger("Save All"); });
    Dialog("saving, again", [&] { Trigger("Save All"); });
    Dialog("backup, the dialog", [&] { Trigger("Back Up…"); });
    Dialog("recover", [&] { Trigger("Recover Pictures…"); });
    Dialog("quit, the question", [&] { m_window->QuitApplication(); });
    Dialog("report", [&] { Trigger("Copy Report"); });
    for (const char* language : {"Deutsch", "English"})
        Step(
            language, [&] { Trigger(language); }, [] { return true; });
}

void Story::Work() {
    const auto idle = [] { return Idle(); };
    std::filesystem::create_directories(m_work / "saved");
    Step(
        "saving all", [&] { m_window->SavePicturesTo(m_work / "saved"); }, idle);
    Step(
        "checking", [&] { Trigger("Check the Pictures…"); }, idle);
    const auto answer = [&](const char* file) {
        auto* dialog = m_window->findChild<QFileDialog*>();
        emit dialog->fileSelected(FromPath(m_work / file));
        dialog->close();
    };
    Step(
        "backup, the dialog", [&] { Trigger("Back Up…"); },
        [&] { return m_window->findChild<QFileDialog*>(); });
    Step(
        "backing up", [&] { answer("frame.tar"); }, idle);
    const auto question = [&] { return m_window->findChild<QMessageBox*>(); };
    Step(
        "restoring, the dialog", [&] { Trigger("Restore…"); },
        [&] { return m_window->findChild<QFileDialog*>(); });
    Step(
        "restoring, the question", [&] { answer("frame.tar"); },
        [&] { return question() != nullptr && question()->isVisible(); });
    Step(
        "restoring", [&] { question()->buttons().front()->click(); }, idle);
    Step(
        "undoing that", [&] { m_window->Undo(); }, idle);
    Step(
        "deleting all",
        [&] {
            Find<QCheckBox>(kDeleteAllCheckBoxID).click();
            Find<QPushButton>(kDelButtonID).click();
        },
        [&] { return Idle() && Listed() == 0; });
    Step(
        "undoing that", [&] { m_window->Undo(); }, [&] { return Idle() && Listed() > 0; });
    Step(
        "moving all but one",
        [&] {
            m_window->List().selectAll();
            m_window->MovePictures({Listed()}, 1);
        },
        idle);
    Step(
        "unplugging a full frame", [&] { m_window->Link().DetachVirtualFrame(); },
        [&] { return Listed() == 0; });
}

void Story::Batches() {
    Attach("connecting an empty frame", "empty.frame");
    Step(
        "adding 200", [&] { m_window->AddFiles({m_work / "few"}); },
        [&] { return Idle() && Listed() == 200; });
    Step(
        "downloading them", [&] { Find<QPushButton>(kDownLoadButtonID).click(); },
        [] { return Idle() && !MainWindow::HasUnsavedChanges(); });
    Step(
        "refusing 20,000 files", [&] { m_window->AddFiles({m_work / "texts"}); }, [] { return Idle(); });
    auto* report = m_window->findChild<QPushButton*>(QStringLiteral("batchReport"));
    Dialog("their names", [&] {
        if (report != nullptr)
            report->click();
    });
    Step(
        "deleting one", [&] { m_window->DeleteSelected(); }, [] { return Idle(); });
    Step(
        "closing", [&] { m_window->CloseResource(); }, [] { return true; });
    Step(
        "the end", [&] { m_window.reset(); }, [] { return true; });
}

void Story::Run() {
    Begin();
    Fit();
    Dialogs();
    Work();
    Batches();
}

}  // namespace
}  // namespace lumato::app

int main(int argc, char** argv) {
    lumato::app::DrawWithoutOpenGl();
    QApplication application(argc, argv);
    if (argc != 2 && argc != 3) {
        std::fputs("usage: main_thread_bench WORK_FOLDER [FOLDER]\n", stderr);
        return 2;
    }
    const lumato::Path work = argv[1];
    lumato::bench::g_listsTurns = std::getenv("LUMATO_LIST_TURNS") != nullptr;
    lumato::text::SetLanguageFile(work / "home/Language.ini");
    std::printf("| main thread, the longest turn | its work, ms | time, ms |\n|---|---|---|\n");
    lumato::app::Story story(work);
    if (argc == 3)
        story.FirstScreenful(work / argv[2]);
    else
        story.Run();
}
