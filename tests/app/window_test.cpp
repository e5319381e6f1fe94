// The window, driven through its own controls with a virtual frame attached.
#include <QClipboard>
#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QSplitter>
#include <fstream>

#include "app/list/batch_report_dialog.h"
#include "app/parts/app_state.h"
#include "app/parts/detail_label.h"
#include "picture/picture_state.h"
#include "tests/app/window_support.h"
#include "tests/support/jpeg_writer.h"

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
        // The screen may be a smaller one than the last.
        m_window->resize(3000, 2000);
        OpenAsLeft();
        QVERIFY(m_window->screen()->availableGeometry().contains(QRect(QPoint(), m_window->size())));
    }

    void whoTurnsOffOnTheWayToAFolderStaysThere() {
        m_window->Browser().SetView(BrowserView::Columns);
        m_window->Browser().OpenPath(Pictures());
        auto* volumes = m_window->Browser().findChild<FolderColumn*>();
        for (const ItemID volume : volumes->Model().Ids())
            volumes->SelectOnly(volume);  // the last is the way's own, but chosen
        WaitForFolder(m_folder->Get());
    }

    void severalAreAddedAndDownloaded() {
        test::PutBytes(Pictures() / "c.png",
                       test::MakeJpeg({128, 128, 3, std::vector<std::uint8_t>(128 * 128 * 3)},
                                      {.profile = std::vector<std::uint8_t>(300)}));
        Attach();
        Edit("c.png");
        QVERIFY(Detail().startsWith(QStringLiteral("c.png: its colour profile")));
        m_window->MyUpLoadButtonHandler();
        AWAIT_EQUAL(Text(kNotesID), QStringLiteral("No Pictures"));
        SelectInBrowser("a.png");
        SelectInBrowser("notes.txt", Qt::ShiftModifier);
        Click(kAddButtonID);
        AWAIT(!m_window->Panel().IsEnabled());
        WaitForNote("3 added, 1 refused");  // the text file
        WaitForPanel();
        QTest::mouseClick(m_window->findChild<QPushButton*>(kBatchReportButton), Qt::LeftButton);
        auto* report = m_window->findChild<BatchReportDialog*>();
        QVERIFY(report != nullptr);
        QTest::keyClick(report, Qt::Key_C, Qt::ControlModifier);
        const QString copied = QGuiApplication::clipboard()->text();
        QVERIFY(copied.startsWith(QStringLiteral("notes.txt\t")));
        QVERIFY(copied.contains(QStringLiteral("\nc.png\tits colour profile")));
        report->reject();
        QCOMPARE(ShownByTheFrame(), 0U);
        DownloadAndWait();
        QCOMPARE(ShownByTheFrame(), 3U);
        AWAIT(!m_window->HasUnsavedChanges());
    }

    void notesGoWithTheirCause() {
        Attach();
        const QString bad = QStringLiteral("Couldn't Process!");
        const QString before = Text(kNotesID);
        for (int time = 0; time < 2; ++time) {  // the second time it is known
            SelectInBrowser("notes.txt");
            AWAIT(picture::Pictures().gmyCGimage == nullptr);
            AWAIT_EQUAL(Text(kNotesID), bad);
            QVERIFY(Detail().startsWith(QStringLiteral("notes.txt: ")));
            Edit("a.png");
            AWAIT_EQUAL(Text(kNotesID), before);
            QVERIFY(Detail().isEmpty());
        }
    }

    // Files from elsewhere wait for the end of what runs, all of them; a single one is the one to add then,
    // whatever is selected in the browser.
    void filesAreHandedOver() {
        Attach();
        SelectInBrowser("b.png");
        SelectInBrowser("c.png", Qt::ShiftModifier);
        m_window->ComeForward({Pictures() / "a.png"});
        AWAIT(Find<EditView>(myHIViewID).accessibleDescription().startsWith("a.png"));
        Click(kAddButtonID);
        AWAIT_EQUAL(Listed(), 1);
        WaitForPanel();
        std::vector<Path> files(10, Pictures() / "b.png");
        files.push_back(Pictures() / "notes.txt");
        m_window->AddFiles(files);
        QVERIFY(!MainThreadOwns());
        m_window->ComeForward({Pictures() / "a.png"});
        m_window->ComeForward({Pictures() / "c.png"});
        AWAIT_EQUAL(Listed(), 13);
        WaitForNote("12 added, 1 refused");  // of both lots
        WaitForPanel();
    }

    // By keys and by dragging; what was moved stays selected, and the frame gets the order.
    void picturesAreMoved() {
        Attach();
        AddAndWait({"a.png", "b.png", "c.png"});
        DownloadAndWait();
        const auto standAs = [this](const char* order, bool due = true) {
            QString listed;
            for (const ListedPicture& picture : m_window->List().Model().Pictures())
                listed += picture.name.mid(7, 1);
            return MainThreadOwns() && listed == QLatin1String(order) && m_window->HasUnsavedChanges() == due;
        };
        AWAIT(standAs("123", false));
        PictureList& list = m_window->List();
        SelectListed(2);
        for (int times = 0; times < 3; ++times)  // at last it is the first
            QTest::keyClick(m_window.get(), Qt::Key_Up, Qt::AltModifier);
        AWAIT(standAs("312"));
        AWAIT_EQUAL(list.currentIndex().row(), 0);
        QVERIFY(Detail().startsWith(QStringLiteral("2 blocks")));
        // Several at once are one step.
        QTest::keyClick(&list, Qt::Key_Down, Qt::ShiftModifier);
        QTest::keyClick(m_window.get(), Qt::Key_Down, Qt::AltModifier);
        AWAIT(standAs("231"));
        AWAIT_EQUAL(list.Selected(), (std::vector<int>{2, 3}));
        m_window->Undo();
        AWAIT(standAs("312"));
        // What is asked for while the list changes is done behind that.
        emit list.ItemsMoved({1}, 4);
        QVERIFY(!MainThreadOwns());
        m_window->MyDelButtonHandler();
        AWAIT(Listed() == 1 && MainThreadOwns());
        m_window->Undo();
        m_window->Undo();
        AWAIT(standAs("312"));
        // So is dragging, of what was dragged, whatever its place is then.
        emit list.ItemsMoved({1}, 4);
        emit list.ItemsMoved({1}, 3);
        AWAIT(standAs("132"));
        emit list.ItemsMoved({3}, 2);
        AWAIT(standAs("123", false));
        emit list.ItemsMoved({2}, 1);
        AWAIT(standAs("213"));
        DownloadAndWait();
        Detach();
        Attach();
        AWAIT_EQUAL(Listed(), 3);
    }

    // Several at once, never all unawares; the neighbour is selected then, and undo is one step.
    void theSelectedAreDeleted() {
        Attach();
        AddAndWait({"a.png", "b.png", "c.png", "a.png"});
        PictureList& list = m_window->List();
        const auto select = [&](int row, QItemSelectionModel::SelectionFlags how) {
            list.selectionModel()->setCurrentIndex(list.model()->index(row, 0), how);
        };
        const auto settled = [&](int listed) {
            return Listed() == listed && MainThreadOwns() && store::Store().gmyTotalePictureNum == listed;
        };
        auto& all = Find<QCheckBox>(kDeleteAllCheckBoxID);
        all.click();
        list.setFocus();
        select(1, QItemSelectionModel::ClearAndSelect);
        select(2, QItemSelectionModel::Select);
        QTest::keyClick(&list, Qt::Key_Delete);
        AWAIT(settled(2));
        AWAIT_EQUAL(list.Selected(), std::vector<int>{2});
        AWAIT_EQUAL(Find<Preview>(myHIPreviewID).Name(), QStringLiteral("Picture4.bmp"));
        QVERIFY(!all.isChecked() && !store::Store().gmyDeleteAll);
        m_window->Undo();
        AWAIT(settled(4));
        // A key that waits for a change takes what is selected then; where nothing was, it takes nothing.
        AddAndWait({"b.png"});
        list.clearSelection();
        AWAIT_EQUAL(list.CurrentItem(), 0);
        m_window->Undo();
        QVERIFY(!MainThreadOwns());
        m_window->DeleteSelected();
        AWAIT(settled(4));
        SelectListed(0);
        m_window->MovePictures({2}, 1);
        m_window->DeleteSelected();
        AWAIT(settled(3));
        m_window->Undo();
        AWAIT(settled(4));
        m_window->Undo();
        AWAIT(settled(4) && IsReady());
        QCOMPARE(list.Model().Pictures()[2].name, QStringLiteral("Picture3.bmp"));
        all.click();
        Click(kDelButtonID);
        AWAIT(settled(0) && !all.isChecked());
    }

    // What the frame could not show is not shown here; the large view compares with what was encoded.
    void thePreviewIsTheStream() {
        Attach();
        AddAndWait({"a.png", "b.png"});
        const auto& preview = Find<Preview>(myHIPreviewID);
        // The last of the batch is still on its way.
        AWAIT(IsReady() && preview.Name() == QLatin1String("b.png"));
        SelectListed(0);
        AWAIT_EQUAL(preview.Name(), QStringLiteral("Picture1.bmp"));
        const StreamImage shown = preview.Shown();
        QVERIFY(shown.unencoded.size() == shown.image.size() && shown.unencoded != shown.image);
        QTest::keyClick(&Find<Preview>(myHIPreviewID), Qt::Key_Space);
        auto* window = m_window->findChild<PreviewWindow*>();
        QVERIFY(window != nullptr && window->isVisible());
        QTest::keyClick(window, Qt::Key_3);
        QCOMPARE(window->View().Magnification(), 300);
        const auto* area = window->findChild<QScrollArea*>();  // with room for all of it
        AWAIT(area->viewport()->rect().contains(QRect({}, QSize(384, 384))));
        QTest::keyPress(window, Qt::Key_C);
        QVERIFY(window->View().Shown() == shown.unencoded);
        QTest::keyRelease(window, Qt::Key_C);
        QVERIFY(window->View().Shown() == shown.image);
        std::ofstream(store::StreamPath("Picture2.bmp")) << "no stream";
        SelectListed(1);
        AWAIT_EQUAL(preview.Name(), QStringLiteral("Picture2.bmp"));
        QVERIFY(preview.Shown().image.isNull());
        QCOMPARE(preview.Shown().whyNot, QStringLiteral("not a sound frame picture: it ends in its header"));
        // The picture being fitted is shown once it is touched, and not before.
        Edit("c.png");
        AWAIT(preview.Name() == QLatin1String("c.png") && preview.Shown().room > 0);
        window->close();
    }

    // A bit that the frame has lost is named, and comes back from the photograph.
    void damageIsFoundAndMended() {
        Attach();
        Entry("Check after Each Download")->trigger();
        AddAndWait({"a.png", "b.png"});
        DownloadAndWait();
        const auto whole = ReadFile(Frame()).value();
        for (const bool damaged : {false, true}) {
            Detach();
            auto image = whole;
            *(std::find_if(image.rbegin(), image.rend(), [](auto byte) { return byte != 0xFF; }) + 9) ^=
                damaged ? 1 : 0;
            // In place: another file would be another frame.
            std::ofstream(Frame(), std::ios::in | std::ios::binary)
                .write(reinterpret_cast<const char*>(image.data()),
                       static_cast<std::streamsize>(image.size()));
            Attach();
            AWAIT_EQUAL(Listed(), 2);
            Entry("Check the Pictures…")->trigger();
            WaitForNote(damaged ? "Pictures are damaged" : "No damaged pictures");
            WaitForPanel();
        }
        AWAIT(Question() != nullptr);
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
        AWAIT_EQUAL(Listed(), 40);
        WaitForPanel();
        auto* stop = m_window->findChild<QPushButton*>(QLatin1String(kStopButton));
        QVERIFY(!stop->isVisible());
        Click(kDownLoadButtonID);
        AWAIT(Find<QProgressBar>(kDownLoadProcessID).value() >= 30);
        QVERIFY(stop->isVisible());
        QTest::keyClick(m_window.get(), Qt::Key_Escape);
        WaitForNote("Download stopped");
        WaitForPanel();
        QVERIFY(!stop->isVisible() && m_window->HasUnsavedChanges());
        const auto shown = static_cast<int>(ShownByTheFrame());
        QVERIFY(shown > 0);
        AWAIT_EQUAL(shown + Waiting(), 40);  // the list follows the panel
        DownloadAndWait();
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
