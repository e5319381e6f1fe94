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

    void aFileThatIsNoPictureClearsTheView() {
        Attach();
        Edit("a.png");
        SelectInBrowser("notes.txt");
        QTRY_VERIFY_WITH_TIMEOUT(picture::Pictures().gmyCGimage == nullptr, kPatience);
        QTRY_COMPARE_WITH_TIMEOUT(Text(kNotesID), QStringLiteral("Couldn't Process!"), kPatience);
        Edit("a.png");
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
        test::PutBytes(Pictures() / "c.png",
                       test::MakeJpeg({128, 128, 3, std::vector<std::uint8_t>(128 * 128 * 3)},
                                      {.profile = std::vector<std::uint8_t>(300)}));
        Attach();
        Edit("c.png");
        QVERIFY(Detail().startsWith(QStringLiteral("c.png: its colour profile")));
        m_window->MyUpLoadButtonHandler();
        QTRY_COMPARE_WITH_TIMEOUT(Text(kNotesID), QStringLiteral("No Pictures"), kPatience);
        SelectInBrowser("a.png");
        SelectInBrowser("notes.txt", Qt::ShiftModifier);
        Click(kAddButtonID);
        QTRY_VERIFY_WITH_TIMEOUT(!m_window->Panel().IsEnabled(), kPatience);
        WaitForPanel();
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 3, kPatience);
        WaitForNote("3 added, 1 refused");  // the text file
        QTest::mouseClick(m_window->findChild<QPushButton*>(kBatchReportButton), Qt::LeftButton);
        auto* report = m_window->findChild<BatchReportDialog*>();
        QVERIFY(report != nullptr);
        QTest::keyClick(report, Qt::Key_C, Qt::ControlModifier);
        const QString copied = QGuiApplication::clipboard()->text();
        QVERIFY(copied.startsWith(QStringLiteral("notes.txt\t")));
        QVERIFY(copied.contains(QStringLiteral("\nc.png\tits colour profile")));
        report->reject();
        QCOMPARE(ShownByTheFrame(), 0U);
        Click(kDownLoadButtonID);
        WaitForPanel();
        QTRY_COMPARE_WITH_TIMEOUT(Text(kNotesID), QStringLiteral("DownLoad Finished!"), kPatience);
        QCOMPARE(ShownByTheFrame(), 3U);
        QTRY_VERIFY_WITH_TIMEOUT(!m_window->HasUnsavedChanges(), kPatience);
    }

    void notesGoWithTheirCause() {
        Attach();
        const QString bad = QStringLiteral("Couldn't Process!");
        const QString before = Text(kNotesID);
        for (int time = 0; time < 2; ++time) {  // the second time it is known
            SelectInBrowser("notes.txt");
            QTRY_COMPARE_WITH_TIMEOUT(Text(kNotesID), bad, kPatience);
            QVERIFY(Detail().startsWith(QStringLiteral("notes.txt: ")));
            Edit("a.png");
            QTRY_COMPARE_WITH_TIMEOUT(Text(kNotesID), before, kPatience);
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
        QTRY_VERIFY_WITH_TIMEOUT(Find<EditView>(myHIViewID).accessibleDescription().startsWith("a.png"),
                                 kPatience);
        Click(kAddButtonID);
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 1, kPatience);
        WaitForPanel();
        std::vector<Path> files(10, Pictures() / "b.png");
        files.push_back(Pictures() / "notes.txt");
        m_window->AddFiles(files);
        QVERIFY(!MainThreadOwns());
        m_window->ComeForward({Pictures() / "a.png"});
        m_window->ComeForward({Pictures() / "c.png"});
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 13, kPatience);
        WaitForNote("12 added, 1 refused");  // of both lots
        WaitForPanel();
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
        QTRY_VERIFY_WITH_TIMEOUT(MainThreadOwns() && m_window->HasUnsavedChanges(), kPatience);
        QVERIFY(Detail().startsWith(QStringLiteral("2 blocks")));
        // Several at once are one step.
        QTest::keyClick(&list, Qt::Key_Down, Qt::ShiftModifier);
        QTest::keyClick(m_window.get(), Qt::Key_Down, Qt::AltModifier);
        QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("231"), kPatience);
        QTRY_COMPARE_WITH_TIMEOUT(list.Selected(), (std::vector<int>{2, 3}), kPatience);
        QTRY_VERIFY_WITH_TIMEOUT(MainThreadOwns(), kPatience);
        m_window->Undo();
        QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("312"), kPatience);
        QTRY_VERIFY_WITH_TIMEOUT(MainThreadOwns(), kPatience);
        // What is asked for while the list changes is done behind that.
        emit list.ItemsMoved({1}, 4);
        QVERIFY(!MainThreadOwns());
        m_window->MyDelButtonHandler();
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 1, kPatience);
        QTRY_VERIFY_WITH_TIMEOUT(MainThreadOwns(), kPatience);
        m_window->Undo();
        m_window->Undo();
        QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("312"), kPatience);
        QTRY_VERIFY_WITH_TIMEOUT(MainThreadOwns(), kPatience);
        // So is dragging, of what was dragged, whatever its place is then.
        emit list.ItemsMoved({1}, 4);
        emit list.ItemsMoved({1}, 3);
        QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("132"), kPatience);
        QTRY_VERIFY_WITH_TIMEOUT(MainThreadOwns(), kPatience);
        emit list.ItemsMoved({3}, 2);
        QTRY_COMPARE_WITH_TIMEOUT(names(), QStringLiteral("123"), kPatience);
        QTRY_VERIFY_WITH_TIMEOUT(MainThreadOwns() && !m_window->HasUnsavedChanges(), kPatience);
        emit list.ItemsMoved({2}, 1);
        QTRY_VERIFY_WITH_TIMEOUT(MainThreadOwns() && m_window->HasUnsavedChanges(), kPatience);
        Click(kDownLoadButtonID);
        WaitForNote("DownLoad Finished!");
        WaitForPanel();
        m_window->Link().DetachVirtualFrame();
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 0, kPatience);
        Attach();
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 3, kPatience);
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
        QTRY_VERIFY_WITH_TIMEOUT(settled(2), kPatience);
        QTRY_COMPARE_WITH_TIMEOUT(list.Selected(), std::vector<int>{2}, kPatience);
        QTRY_COMPARE_WITH_TIMEOUT(Find<Preview>(myHIPreviewID).Name(), QStringLiteral("Picture4.bmp"),
                                  kPatience);
        QVERIFY(!all.isChecked() && !store::Store().gmyDeleteAll);
        m_window->Undo();
        QTRY_VERIFY_WITH_TIMEOUT(settled(4), kPatience);
        // A key that waits for a change takes what is selected then; where nothing was, it takes nothing.
        AddAndWait({"b.png"});
        list.clearSelection();
        QTRY_COMPARE_WITH_TIMEOUT(list.CurrentItem(), 0, kPatience);
        m_window->Undo();
        QVERIFY(!MainThreadOwns());
        m_window->DeleteSelected();
        QTRY_VERIFY_WITH_TIMEOUT(settled(4), kPatience);
        list.setCurrentIndex(list.model()->index(0, 0));
        m_window->MovePictures({2}, 1);
        m_window->DeleteSelected();
        QTRY_VERIFY_WITH_TIMEOUT(settled(3), kPatience);
        m_window->Undo();
        QTRY_VERIFY_WITH_TIMEOUT(settled(4), kPatience);
        m_window->Undo();
        QTRY_VERIFY_WITH_TIMEOUT(settled(4) && IsReady(), kPatience);
        QCOMPARE(list.Model().Pictures()[2].name, QStringLiteral("Picture3.bmp"));
        all.click();
        Click(kDelButtonID);
        QTRY_VERIFY_WITH_TIMEOUT(settled(0) && !all.isChecked(), kPatience);
    }

    // What the frame could not show is not shown here; the large view compares with what was encoded.
    void thePreviewIsTheStream() {
        Attach();
        AddAndWait({"a.png", "b.png"});
        PictureList& list = m_window->List();
        const auto& preview = Find<Preview>(myHIPreviewID);
        // The last of the batch is still on its way.
        QTRY_VERIFY_WITH_TIMEOUT(IsReady() && preview.Name() == QLatin1String("b.png"), kPatience);
        list.setCurrentIndex(list.model()->index(0, 0));
        QTRY_COMPARE_WITH_TIMEOUT(preview.Name(), QStringLiteral("Picture1.bmp"), kPatience);
        const StreamImage shown = preview.Shown();
        QVERIFY(shown.unencoded.size() == shown.image.size() && shown.unencoded != shown.image);
        QTest::keyClick(&Find<Preview>(myHIPreviewID), Qt::Key_Space);
        auto* window = m_window->findChild<PreviewWindow*>();
        QVERIFY(window != nullptr && window->isVisible());
        QTest::keyClick(window, Qt::Key_3);
        QCOMPARE(window->View().Magnification(), 300);
        const auto* area = window->findChild<QScrollArea*>();  // with room for all of it
        QTRY_VERIFY_WITH_TIMEOUT(area->viewport()->rect().contains(QRect({}, QSize(384, 384))), kPatience);
        QTest::keyPress(window, Qt::Key_C);
        QVERIFY(window->View().Shown() == shown.unencoded);
        QTest::keyRelease(window, Qt::Key_C);
        QVERIFY(window->View().Shown() == shown.image);
        std::ofstream(store::StreamPath("Picture2.bmp")) << "no stream";
        list.setCurrentIndex(list.model()->index(1, 0));
        QTRY_COMPARE_WITH_TIMEOUT(preview.Name(), QStringLiteral("Picture2.bmp"), kPatience);
        QVERIFY(preview.Shown().image.isNull());
        QCOMPARE(preview.Shown().whyNot, QStringLiteral("not a sound frame picture: it ends in its header"));
        // The picture being fitted is shown once it is touched, and not before.
        Edit("c.png");
        QTRY_VERIFY_WITH_TIMEOUT(preview.Name() == QLatin1String("c.png") && preview.Shown().room > 0,
                                 kPatience);
        window->close();
    }

    // A bit that the frame has lost is named, and comes back from the photograph.
    void damageIsFoundAndMended() {
        const auto choose = [this](const char* text) {
            for (QAction* action : m_window->findChildren<QAction*>()) {
                if (WithoutLetter(action->text()) == QString::fromUtf8(text))
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
        QVERIFY(shown > 0);
        QTRY_COMPARE_WITH_TIMEOUT(shown + Waiting(), 40, kPatience);  // the list follows the panel
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
