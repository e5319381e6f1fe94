// The window, driven through its own controls with a virtual frame attached.
#include <QPushButton>
#include <QSplitter>
#include <fstream>

#include "app/parts/app_state.h"
#include "app/parts/detail_label.h"
#include "picture/picture_state.h"
#include "tests/app/window_support.h"

namespace lumato::app {
namespace {

class WindowTest : public WindowFixture {
    Q_OBJECT

  private slots:
    void sizePanesAndFolderComeBack() {
        const Path folder = Pictures() / "M\xe4rz";  // no text in UTF-8, and a folder all the same
        std::filesystem::create_directory(folder);
        auto* panes = m_window->findChild<QSplitter*>();
        m_window->resize(m_window->width(), m_window->minimumSizeHint().height() + 23);
        panes->setSizes({panes->sizes()[0] + 40, panes->sizes()[1] - 40, panes->sizes()[2]});
        const QSize size = m_window->size();
        const QList<int> sizes = panes->sizes();

        // Left before the folder has been read: on the way to it, and in it.
        for (const Path& left : {folder, m_folder->Get()}) {
            m_window->Browser().OpenPath(left);
            OpenAsLeft();
            QCOMPARE(m_window->size(), size);
            QCOMPARE(m_window->findChild<QSplitter*>()->sizes(), sizes);
            WaitForFolder(left);
        }
    }

    void whoTurnsOffOnTheWayToAFolderStaysThere() {
        m_window->Browser().SetView(BrowserView::Columns);
        m_window->Browser().OpenPath(Pictures());
        auto* volumes = m_window->Browser().findChild<FolderColumn*>();
        for (const ItemID volume : volumes->Model().Ids())
            volumes->SelectOnly(volume);  // the last is the way's own, but chosen
        WaitForFolder(m_folder->Get());
    }

    void aFileThatIsNoPictureClearsTheView() {
        Attach();
        Edit("a.png");
        SelectInBrowser("notes.txt");
        QTRY_VERIFY_WITH_TIMEOUT(picture::Pictures().gmyCGimage == nullptr, kPatience);
        QTRY_COMPARE_WITH_TIMEOUT(Text(kNotesID), QStringLiteral("Couldn't Process!"), kPatience);
        Edit("a.png");
    }

    void theMouseMovesAndPlacesTheRectangle() {
        Attach();
        Edit("a.png");
        Drag(OnCanvas(290, 200), OnCanvas(240, 180));
        store::Rect& rect = store::Store().gmyDrawrect;
        QVERIFY(std::abs(rect.x - 176) < 2 && std::abs(rect.y - 116) < 2);
        Drag(OnCanvas(500, 380), OnCanvas(450, 300));  // outside: a new one, up and to the left
        QVERIFY(std::abs(rect.x - 500) < 2 && std::abs(rect.y - 380) < 2);
        QCOMPARE(rect.width, -128.0F);
        QCOMPARE(rect.height, -128.0F);
        auto& view = Find<RectView>(myHIRectID);
        const float x = rect.x;
        QTest::keyClick(&view, Qt::Key_Left, Qt::ShiftModifier);
        QCOMPARE(rect.x, x - 10);
    }

    void oneIsAddedAndTheNextSelected() {
        Attach();
        Edit("a.png");
        Click(kAddButtonID);
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 1, kPatience);
        QTRY_COMPARE_WITH_TIMEOUT(m_window->Browser().Items().Find(m_window->Browser().G_CurSelItem)->name,
                                  QStringLiteral("b.png"), kPatience);
        QCOMPARE(LastColumn().Selected(), std::vector<ItemID>{m_window->Browser().G_CurSelItem});
        QVERIFY(m_window->HasUnsavedChanges());
    }

    void severalAreAddedAndDownloaded() {
        Attach();
        m_window->MyUpLoadButtonHandler();
        QTRY_COMPARE_WITH_TIMEOUT(Text(kNotesID), QStringLiteral("No Pictures"), kPatience);
        SelectInBrowser("a.png");
        SelectInBrowser("notes.txt", Qt::ShiftModifier);
        Click(kAddButtonID);
        QTRY_VERIFY_WITH_TIMEOUT(!m_window->Panel().IsEnabled(), kPatience);
        WaitForPanel();
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 3, kPatience);
        QTRY_COMPARE_WITH_TIMEOUT(Text(kNotesID), QStringLiteral("Couldn't Process!"),
                                  kPatience);  // the text file
        QCOMPARE(ShownByTheFrame(), 0U);
        Click(kDownLoadButtonID);
        WaitForPanel();
        QTRY_COMPARE_WITH_TIMEOUT(Text(kNotesID), QStringLiteral("DownLoad Finished!"), kPatience);
        QCOMPARE(ShownByTheFrame(), 3U);
        QTRY_VERIFY_WITH_TIMEOUT(!m_window->HasUnsavedChanges(), kPatience);
    }

    // By keys and by dragging; what was moved stays selected, and the frame gets the order.
    void picturesAreMoved() {
        Attach();
        AddAndWait({"a.png", "b.png", "c.png"});
        Click(kDownLoadButtonID);
        WaitForNote("DownLoad Finished!");
        WaitForPanel();
        const auto names = [this] {
            QStringList listed;
            for (const ListedPicture& picture : m_window->List().Model().Pictures())
                listed += picture.name.mid(7, 1);
            return listed.join(QString());
        };
        QTRY_VERIFY_WITH_TIMEOUT(!m_window->HasUnsavedChanges(), kPatience);
        PictureList& list = m_window->List();
        list.setCurrentIndex(list.model()->index(2, 0));
        QTest::keyClick(m_window.get(), Qt::Key_Up, Qt::AltModifier);
        QTest::keyClick(m_window.get(), Qt::Key_Up, Qt::AltModifier);
        QTest::keyClick(m_window.get(), Qt::Key_Up, Qt::AltModifier);  // it is the first
        QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("312"), kPatience);
        QTRY_COMPARE_WITH_TIMEOUT(list.currentIndex().row(), 0, kPatience);
        QVERIFY(m_window->HasUnsavedChanges());
        QVERIFY(Detail().startsWith(QStringLiteral("2 blocks")));
        emit list.ItemMoved(1, 3);
        QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("123"), kPatience);
        QVERIFY(!m_window->HasUnsavedChanges());
        emit list.ItemMoved(2, 1);
        Click(kDownLoadButtonID);
        WaitForNote("DownLoad Finished!");
        WaitForPanel();
        m_window->Link().DetachVirtualFrame();
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 0, kPatience);
        Attach();
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 3, kPatience);
    }

    // A bit that the frame has lost is named, and comes back from the photograph.
    void damageIsFoundAndMended() {
        const auto choose = [this](const char* text) {
            for (QAction* action : m_window->findChildren<QAction*>()) {
                if (action->text() == QString::fromUtf8(text))
                    action->trigger();
            }
        };
        Attach();
        choose("Check after Each Download");
        AddAndWait({"a.png", "b.png"});
        Click(kDownLoadButtonID);
        WaitForNote("DownLoad Finished!");
        WaitForPanel();
        const auto whole = ReadFile(Frame()).value();
        for (const bool damaged : {false, true}) {
            m_window->Link().DetachVirtualFrame();
            QTRY_COMPARE_WITH_TIMEOUT(Listed(), 0, kPatience);
            auto image = whole;
            *(std::find_if(image.rbegin(), image.rend(), [](auto byte) { return byte != 0xFF; }) + 9) ^=
                damaged ? 1 : 0;
            // In place: another file would be another frame.
            std::ofstream(Frame(), std::ios::in | std::ios::binary)
                .write(reinterpret_cast<const char*>(image.data()),
                       static_cast<std::streamsize>(image.size()));
            Attach();
            QTRY_COMPARE_WITH_TIMEOUT(Listed(), 2, kPatience);
            choose("Check the Pictures…");
            WaitForNote(damaged ? "Pictures are damaged" : "No damaged pictures");
            WaitForPanel();
        }
        QTRY_VERIFY_WITH_TIMEOUT(Question() != nullptr, kPatience);
        QVERIFY(Question()->informativeText().startsWith(QStringLiteral("2: ")));
        Question()->buttons().first()->click();
        WaitForNote("The damaged pictures are whole again");
        WaitForPanel();
        QVERIFY(ReadFile(Frame()).value() == whole);
    }

    // Escape ends a download between two blocks; the next one brings the rest.
    void aDownloadIsStopped() {
        Open(10);
        Attach();
        QImage noise(128, 128, QImage::Format_RGB32);
        for (int i = 0; i < 128 * 128; ++i)
            noise.setPixel(i % 128, i / 128, static_cast<QRgb>(i) * 2654435761U);
        const Path file = m_folder->Get() / "noise.png";
        QVERIFY(noise.save(FromPath(file)));
        m_window->AddFiles(std::vector<Path>(40, file));
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 40, kPatience);
        WaitForPanel();
        auto* stop = m_window->findChild<QPushButton*>(QLatin1String(kStopButton));
        QVERIFY(!stop->isVisible());
        Click(kDownLoadButtonID);
        QTRY_VERIFY_WITH_TIMEOUT(Find<QProgressBar>(kDownLoadProcessID).value() >= 30, kPatience);
        QVERIFY(stop->isVisible());
        QTest::keyClick(m_window.get(), Qt::Key_Escape);
        WaitForNote("Download stopped");
        WaitForPanel();
        QVERIFY(!stop->isVisible() && m_window->HasUnsavedChanges());
        const auto shown = static_cast<int>(ShownByTheFrame());
        QVERIFY(shown > 0 && shown + Waiting() == 40);
        Click(kDownLoadButtonID);
        WaitForNote("DownLoad Finished!");
        QCOMPARE(ShownByTheFrame(), 40U);
    }

    void aFolderOf20000FilesKeepsNobodyWaiting() {
        constexpr std::size_t kFiles = 20000;
        Attach();
        const Path folder = m_folder->Get() / "many";
        std::filesystem::create_directory(folder);
        for (std::size_t i = 0; i < kFiles; ++i)
            std::ofstream(folder / ("IMG_" + std::to_string(i) + ".jpg"));
        m_window->Browser().OpenPath(folder);
        const qint64 longest = LongestGapUntil([&] { return LastColumn().Model().Ids().size() == kFiles; });
        qDebug("longest gap in reading a folder: %lld ms", longest);
        QVERIFY(longest < kLongestGap);
        QCOMPARE(LastColumn().Model().Ids().size(), kFiles);
    }

    void recordsAreFoundWhateverWasRemoved() {
        FileItems items;
        std::vector<FolderEntry> entries(10);
        const std::vector<ItemID> ids = ExpendFolder(items, entries);
        QCOMPARE(ids.front(), kFirstItem);
        items.Remove(4);
        items.Remove(2);
        QVERIFY(items.Find(4) == nullptr);
        QCOMPARE(items.Find(7)->itemID, 7U);
        QCOMPARE(ExpendFolder(items, std::move(entries)).front(), 12U);
    }

    void foldersListWhatPeopleLookFor() {
        const Path folder = m_folder->Get() / "listing";
        for (const char* name : {"tmp", ".hidden", "Tool.app", "sub", "var"})
            std::filesystem::create_directories(folder / name);
        test::PutBytes(folder / "10.png", {});
        test::PutBytes(folder / "9.png", {});
        const auto names = [&](bool firstVolume) {
            QStringList list;
            for (const FolderEntry& entry : FSGetDirectoryItems(folder, firstVolume))
                list.append(entry.isFolder ? entry.name + QLatin1Char('/') : entry.name);
            return list.join(QLatin1Char(' '));
        };
        QCOMPARE(names(true), QStringLiteral("sub/ 9.png 10.png Tool.app"));
        QCOMPARE(names(false), QStringLiteral("sub/ tmp/ var/ 9.png 10.png Tool.app"));
    }
};

LUMATO_WINDOW_TEST(WindowTest)

}  // namespace
}  // namespace lumato::app

#include "window_test.moc"
