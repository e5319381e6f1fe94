// Choosing by eye: thumbnails and the store that the desktop's programs share, folders that change or do not
// answer, paths that are typed.

#include <QLineEdit>
#include <atomic>
#include <future>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

#include "app/browser/thumbnail_maker.h"
#include "app/parts/file_urls.h"
#include "app/parts/loose_threads.h"
#include "picture/picture_state.h"
#include "tests/app/window_support.h"

namespace lumato::app {
namespace {

namespace fs = std::filesystem;

constexpr int kThumbnailSide = 128;
constexpr std::int64_t kLongAgo = 1'600'000'000;

// A stick that is there or not.
class Stick : public platform::Volumes {
  public:
    [[nodiscard]] std::vector<platform::Volume> List() override {
        return plugged ? std::vector<platform::Volume>{{.name = "STICK", .root = "/media/STICK"}}
                       : std::vector<platform::Volume>();
    }
    [[nodiscard]] Result<void> Eject(const platform::Volume&) override { return {}; }
    std::atomic<bool> plugged{false};
};

class BrowserTest : public WindowFixture {
    Q_OBJECT

    [[nodiscard]] Path Cache() const { return m_folder->Get() / "cache" / "thumbnails"; }
    // With a date of long ago, some seconds later than the last.
    PhotoFile Photo(const char* name, int seconds = 0) const {
        const Path file = Pictures() / name;
        const timespec times[] = {{kLongAgo + seconds, 0}, {kLongAgo + seconds, 0}};
        ::utimensat(AT_FDCWD, file.c_str(), times, 0);
        return {file, static_cast<std::int64_t>(fs::file_size(file)), kLongAgo + seconds};
    }
    static std::vector<Path> FilesBelow(const Path& folder) {
        std::vector<Path> files;
        std::error_code ignored;
        for (const auto& entry : fs::recursive_directory_iterator(folder, ignored))
            if (entry.is_regular_file())
                files.push_back(entry.path());
        return files;
    }
    QStringList Names() {
        QStringList names;
        for (const ItemID id : m_window->Browser().InOrder())
            names.append(m_window->Browser().Items().Find(id)->name);
        return names;
    }
    ItemID IdOf(const char* name) {
        return m_window->Browser().InOrder()[static_cast<std::size_t>(Names().indexOf(QLatin1String(name)))];
    }

  private slots:
    void sticksComeAndGo() {
        static Stick stick;  // outlives the threads that ask
        Open(0, nullptr, &stick);
        const FolderModel& root = m_window->Browser().findChildren<FolderColumn*>().first()->Model();
        for (const bool plugged : {true, false}) {
            stick.plugged = plugged;
            m_window->Browser().Refresh();
            AWAIT_EQUAL(root.Ids().size(), plugged ? 3U : 2U);
            WaitForFolder(Pictures());
        }
    }

    void whatIsInTheStoreIsTakenOnlyWhole() {
        const ThumbnailStore store(Cache());
        const PhotoFile photo = Photo("a.png");
        const QImage made = MakeThumbnail(store, photo, kThumbnailSide);
        QCOMPARE(made.size(), QSize(128, 96));
        QVERIFY(qRed(made.pixel(8, 8)) > 200 && qBlue(made.pixel(120, 8)) > 200);
        const std::vector<Path> kept = FilesBelow(Cache());
        QCOMPARE(kept.size(), 1U);
        const auto whole = ReadFile(kept.front()).value();
        QVERIFY(!store.Read(photo, kThumbnailSide).isNull());
        // Of another date or size; then whatever else may lie there under its name.
        QVERIFY(store.Read({photo.path, photo.size, photo.modified + 1}, kThumbnailSide).isNull());
        QVERIFY(store.Read({photo.path, photo.size + 1, photo.modified}, kThumbnailSide).isNull());
        auto cut = whole;
        cut.resize(whole.size() / 2);
        auto huge = whole;
        huge[16] = 0x7F;                             // its width, some two thousand million
        auto larger = ReadFile(photo.path).value();  // a picture, but no thumbnail
        for (const auto& bytes : {cut, huge, larger, std::vector<std::uint8_t>{}}) {
            test::PutBytes(kept.front(), bytes);
            QVERIFY(store.Read(photo, kThumbnailSide).isNull());
            QVERIFY(MakeThumbnail(store, photo, kThumbnailSide) == made);
            QVERIFY(ReadFile(kept.front()).value() == whole);
        }
        fs::remove(kept.front());
        QCOMPARE(::mkfifo(kept.front().c_str(), 0600), 0);
        QVERIFY(store.Read(photo, kThumbnailSide).isNull());
    }

    void nothingIsKeptWhereItDoesNotBelong() {
        const ThumbnailStore store(Cache());
        const auto keeps = [&](const PhotoFile& photo) {
            fs::remove_all(Cache() / "normal");
            return !MakeThumbnail(store, photo, kThumbnailSide).isNull() &&
                   FilesBelow(Cache() / "normal").size() == 1;
        };
        QVERIFY(keeps(Photo("a.png")));
        // One that may still be written; one of the store's own; those on the frame's volume.
        fs::last_write_time(Pictures() / "b.png", fs::file_time_type::clock::now());
        QVERIFY(!keeps({Pictures() / "b.png", 0, 0}));
        fs::create_directories(Cache() / "large");
        fs::rename(Photo("a.png").path, Cache() / "large" / "a.png");
        QVERIFY(!keeps({Cache() / "large" / "a.png", 0, 0}));
        test::PutBytes(m_folder->Get() / "LanguageUnicode.ini", {});
        QVERIFY(!keeps(Photo("c.png")));
        fs::remove(m_folder->Get() / "LanguageUnicode.ini");
        // What is no picture is not looked into again, until it changes.
        fs::rename(Photo("notes.txt").path, Pictures() / "notes.jpg");
        QVERIFY(MakeThumbnail(store, Photo("notes.jpg"), kThumbnailSide).isNull());
        QVERIFY(store.HasFailed(Photo("notes.jpg")));
        QVERIFY(!store.HasFailed(Photo("notes.jpg", 1)));
    }

    void aFolderThatChangesKeepsWhatStays() {
        Attach();
        Photo("a.png", 1), Photo("b.png", 3), Photo("c.png", 2), Photo("notes.txt");
        const auto dateOf = [&](const char* name) {
            return m_window->Browser().Items().Find(IdOf(name))->modified;
        };
        AWAIT(dateOf("notes.txt") == kLongAgo && dateOf("b.png") == kLongAgo + 3);
        Edit("b.png");
        SelectInBrowser("notes.txt", Qt::ControlModifier);
        AWAIT(!m_window->IsLoading());
        const ItemID b = IdOf("b.png"), notes = IdOf("notes.txt");
        QCOMPARE(m_window->Browser().Items().Find(notes)->pictureCandidate, 0);
        fs::rename(Pictures() / "a.png", Pictures() / "aa.png");
        fs::create_directory(Pictures() / "new");
        AWAIT_EQUAL(Names().join(u' '), QStringLiteral("new aa.png b.png c.png notes.txt"));
        QCOMPARE(IdOf("b.png"), b);
        QCOMPARE(LastColumn().Selected(), (std::vector<ItemID>{b, notes}));
        QCOMPARE(m_window->Browser().Items().Find(notes)->pictureCandidate, 0);
        m_window->Browser().SetOrder(SortOrder::NewestFirst);
        AWAIT_EQUAL(Names().join(u' '), QStringLiteral("new b.png c.png aa.png notes.txt"));
        // The next one is the next that is seen.
        SelectInBrowser("b.png");
        AWAIT(!m_window->IsLoading() && m_window->Browser().G_CurSelItem == b);
        Click(kAddButtonID);
        AWAIT_EQUAL(m_window->Browser().G_CurSelItem, IdOf("c.png"));
        QCOMPARE(LastColumn().Selected(), std::vector<ItemID>{IdOf("c.png")});
        AWAIT(m_window->HasUnsavedChanges());
        // Back out of a folder that goes.
        OpenFolder(Pictures() / "new");
        fs::remove(Pictures() / "new");
        WaitForFolder(Pictures());
    }

    void aPathIsTyped() {
        Attach();
        const Path hidden = m_folder->Get() / ".hidden" / "deep";
        fs::create_directories(hidden);
        auto* line = m_window->Browser().findChild<QLineEdit*>();
        LastColumn().setFocus();
        QTest::keyClick(&LastColumn(), '/');
        QVERIFY(line->isVisible() && line->text() == QStringLiteral("/"));
        QTest::keyClicks(line, QStringLiteral("no-such-folder"));
        QTest::keyClick(line, Qt::Key_Return);
        AWAIT_EQUAL(line->accessibleDescription(),
                    QStringLiteral("There is no such folder: /no-such-folder"));
        line->setText(FromPath(hidden) + u'/');
        QTest::keyClick(line, Qt::Key_Return);
        WaitForFolder(hidden);
        QVERIFY(!line->isVisible() && LastColumn().hasFocus());
        QTest::keyClick(&LastColumn(), Qt::Key_Backspace);
        WaitForFolder(hidden.parent_path());
    }

    void whatNeverAnswersKeepsNobodyWaiting() {
        std::promise<void> answer;
        const std::shared_future<void> answered = answer.get_future().share();
        int told = 0;
        static std::atomic<bool> allGone = false;
        auto threads = std::make_unique<LooseThreads>(1, std::chrono::milliseconds(50));
        threads->Start([&told, answered]() -> LooseThreads::Outcome {
            struct Last {
                ~Last() {
                    std::this_thread::sleep_for(std::chrono::milliseconds(200));
                    allGone = true;
                }
            };
            thread_local const Last last;
            static_cast<void>(&last);  // it is made
            answered.wait();
            return [&told] { told += 100; };
        });
        threads->Start([&told]() -> LooseThreads::Outcome { return [&told] { ++told; }; });
        AWAIT_EQUAL(told, 1);
        QVERIFY(LooseThreads::AnyRun());
        threads.reset();
        answer.set_value();
        AWAIT(!LooseThreads::AnyRun());
        QVERIFY(allGone);  // what the thread leaves goes before the program's statics do
        QCoreApplication::processEvents();
        QCOMPARE(told, 1);
    }
};

LUMATO_WINDOW_TEST(BrowserTest)

}  // namespace
}  // namespace lumato::app

#include "browser_test.moc"
