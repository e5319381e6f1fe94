// The window, driven through its own controls with a virtual frame attached.
#include <QDir>
#include <QPushButton>
#include <QSignalSpy>
#include <QSplitter>
#include <fstream>

#include "app/app_state.h"
#include "app/detail_label.h"
#include "picture/picture_state.h"
#include "tests/app/window_support.h"
#include "text/localized.h"

namespace lumato::app {
namespace {

class WindowTest : public WindowFixture {
    Q_OBJECT

  private slots:
    void init() { SetUp(); }
    void cleanup() { TearDown(); }

    void everyControlIsThereAndNamed() {
        for (const ControlId id : {kSuitableSizeID, kUpLoadButtnonID, kAddButtonID, kDownLoadButtonID,
                                   kDelButtonID, kDeleteAllCheckBoxID, kRotateArrowID, kScaleArrowXID,
                                   kTranlateArrowXID, kTranlateArrowYID, kColumList, dbControlID1, myHIViewID,
                                   myHIRectID, myHIPreviewID, kDownLoadProcessID, kTotalPic, kCurPic})
            QVERIFY(!Find<QWidget>(id).accessibleName().isEmpty());
        QCOMPARE(m_window->windowTitle(), QStringLiteral("MacLumato"));
        QCOMPARE(Find<QPushButton>(kAddButtonID).text(), QStringLiteral("Add"));
    }

    void withoutAFrameTheNoteSaysWhatToDo() {
        QTRY_COMPARE(Text(kNotesID), QStringLiteral("Device Not Online!"));
        QVERIFY(m_window->findChild<DetailLabel*>()->text().contains(QStringLiteral("Frame")));
        QVERIFY(!Find<QPushButton>(kAddButtonID).isEnabled());
        QVERIFY(!m_window->Browser().isEnabled());
    }

    void sizePanesAndFolderComeBack() {
        const Path folder = Pictures() / "M\xe4rz";  // no text in UTF-8, and a folder all the same
        std::filesystem::create_directory(folder);
        m_window->Browser().OpenPath(folder);
        QTRY_VERIFY_WITH_TIMEOUT(m_window->Browser().OpenFolder() == folder, kPatience);
        auto* panes = m_window->findChild<QSplitter*>();
        m_window->resize(m_window->width(), m_window->minimumSizeHint().height() + 23);
        panes->setSizes({panes->sizes()[0] + 40, panes->sizes()[1] - 40, panes->sizes()[2]});
        const QSize size = m_window->size();
        const QList<int> sizes = panes->sizes();

        OpenAsLeft();
        QCOMPARE(m_window->size(), size);
        QCOMPARE(m_window->findChild<QSplitter*>()->sizes(), sizes);
        QTRY_VERIFY_WITH_TIMEOUT(m_window->Browser().OpenFolder() == folder, kPatience);
    }

    void attachingEnablesAndDetachingDisables() {
        for (int round = 0; round < 3; ++round) {
            Attach();
            QTRY_COMPARE(Text(kTotalPic), QStringLiteral("68K/1024K"));
            QVERIFY(Find<QPushButton>(kDownLoadButtonID).isEnabled());
            m_window->Link().DetachVirtualFrame();
            QTRY_VERIFY(!m_window->Panel().IsEnabled());
            QTRY_COMPARE(Text(kNotesID), QStringLiteral("Device Not Online!"));
            QVERIFY(MainThreadOwns());
        }
    }

    void selectingFits() {
        Attach();
        Edit("b.png");
        QCOMPARE(Arrows(kScaleArrowXID).value(), 11);  // 128 / 1200, rounded up
        QCOMPARE(Arrows(kTranlateArrowXID).maximum(), 170);
        QCOMPARE(Arrows(kTranlateArrowYID).maximum(), 128);
        auto& view = Find<EditView>(myHIViewID);
        QTRY_VERIFY(view.ShowsPicture());
        const QImage& drawn = view.Drawn();
        QCOMPARE(drawn.pixel(drawn.width() / 2 - 20, drawn.height() / 2), qRgb(255, 0, 0));
        QCOMPARE(drawn.pixel(drawn.width() / 2 + 20, drawn.height() / 2), qRgb(0, 0, 255));
        QCOMPARE(qAlpha(drawn.pixel(2, 2)), 0);
    }

    void aFileThatIsNoPictureClearsTheView() {
        Attach();
        Edit("a.png");
        SelectInBrowser("notes.txt");
        QTRY_VERIFY_WITH_TIMEOUT(picture::Pictures().gmyCGimage == nullptr, kPatience);
        QTRY_COMPARE(Text(kNotesID), QStringLiteral("Couldn't Process!"));
        Edit("a.png");
    }

    void scalesStayWithinTheirLimits() {
        Attach();
        Edit("a.png");
        Type(kScaleArrowXID, 10);
        QCOMPARE(Arrows(kScaleArrowXID).value(), 11);
        Type(kScaleArrowXID, 50);
        QCOMPARE(Arrows(kScaleArrowXID).value(), 50);
        Type(kScaleArrowXID, 51);  // 816 pixels wide
        QCOMPARE(Arrows(kScaleArrowXID).value(), 50);
        Type(kScaleArrowXID, 1000);
        QCOMPARE(Arrows(kScaleArrowXID).value(), 50);
        Type(kTranlateArrowXID, 800);
        QTest::keyClick(&Arrows(kTranlateArrowXID), Qt::Key_Up);  // runs on at the other end
        QCOMPARE(Arrows(kTranlateArrowXID).value(), -800);
        QTest::mouseClick(&Find<QCheckBox>(kSuitableSizeID), Qt::LeftButton, {},
                          QPoint(8, Find<QCheckBox>(kSuitableSizeID).height() / 2));
        QCOMPARE(Arrows(kScaleArrowXID).value(), 36);  // the canvas's width
        QCOMPARE(Arrows(kTranlateArrowXID).value(), 0);
    }

    void turningIsClockwise() {
        Attach();
        Edit("a.png");
        Type(kRotateArrowID, 90);
        QCOMPARE(picture::Pictures().gmyCGimage->rotation, 270.0F);
        auto& view = Find<EditView>(myHIViewID);
        const auto at = [&view](int dx, int dy) {
            return view.Drawn().pixel(view.Drawn().width() / 2 + dx, view.Drawn().height() / 2 + dy);
        };
        QTRY_COMPARE(at(0, -20), qRgb(255, 0, 0));  // the left half is on top now
        QCOMPARE(at(0, 20), qRgb(0, 0, 255));
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
        QTRY_COMPARE(Listed(), 1);
        QTRY_COMPARE(m_window->Browser().Items().Find(m_window->Browser().G_CurSelItem)->name,
                     QStringLiteral("b.png"));
        QCOMPARE(LastColumn().Selected(), std::vector<ItemID>{m_window->Browser().G_CurSelItem});
        QVERIFY(m_window->HasUnsavedChanges());
    }

    void addingWaitsForThePictureThatIsBeingLoaded() {
        Attach();
        Edit("a.png");
        SelectInBrowser("c.png");
        Click(kAddButtonID);
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 1, kPatience);
        QCOMPARE(m_window->Browser().Items().Find(m_window->Browser().G_CurSelItem)->name,
                 QStringLiteral("c.png"));
    }

    void severalAreAddedAndDownloaded() {
        Attach();
        SelectInBrowser("a.png");
        SelectInBrowser("notes.txt", Qt::ShiftModifier);
        Click(kAddButtonID);
        QTRY_VERIFY(!m_window->Panel().IsEnabled());
        WaitForPanel();
        QTRY_COMPARE(Listed(), 3);
        QTRY_COMPARE(Text(kNotesID), QStringLiteral("Couldn't Process!"));  // the text file
        QCOMPARE(ShownByTheFrame(), 0U);
        Click(kDownLoadButtonID);
        WaitForPanel();
        QTRY_COMPARE(Text(kNotesID), QStringLiteral("DownLoad Finished!"));
        QCOMPARE(ShownByTheFrame(), 3U);
        QTRY_VERIFY(!m_window->HasUnsavedChanges());
    }

    void selectedPicturesArePreviewedDeletedAndBroughtBack() {
        Attach();
        m_window->AddFiles({Pictures() / "a.png", Pictures() / "b.png", Pictures() / "c.png"});
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 3, kPatience);
        WaitForPanel();
        PictureList& list = m_window->List();
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {},
                          list.visualRect(list.model()->index(1, 0)).center());
        QTRY_COMPARE(Text(kCurPic), QStringLiteral("002"));
        QTRY_COMPARE(Find<Preview>(myHIPreviewID).Shown().size(), QSize(128, 128));
        QTest::keyClick(&list, Qt::Key_Delete);
        QTRY_COMPARE(Listed(), 2);
        QTRY_COMPARE(Text(kNotesID), QStringLiteral("The sequence number: 2"));
        m_window->UndoDeletion();
        QTRY_COMPARE(Listed(), 3);
        m_window->MyDeleteAllCheckBoxHandler(true);
        Click(kDelButtonID);
        QTRY_COMPARE(Listed(), 0);
        QTRY_COMPARE(Text(kCurPic), QStringLiteral("000"));
    }

    void savingCopiesTheBitmaps() {
        Attach();
        m_window->MyUpLoadButtonHandler();
        QTRY_COMPARE(Text(kNotesID), QStringLiteral("No Pictures"));
        m_window->AddFiles({Pictures() / "a.png", Pictures() / "b.png"});
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 2, kPatience);
        WaitForPanel();
        const Path folder = m_folder->Get() / "my pictures";
        std::filesystem::create_directory(folder);
        m_window->SavePicturesTo(folder);
        QTRY_COMPARE(Text(kNotesID), QStringLiteral("Pictures saved: 2"));
        WaitForPanel();
        for (const int number : {1, 2})
            QVERIFY(test::TakeBytes(folder / (std::to_string(number) + ".bmp")) ==
                    test::TakeBytes(store::BitmapPath("Picture" + std::to_string(number) + ".bmp")));
    }

    void theWindowLivesWhileItDownloadsAndRefusesToQuit() {
        Open(kHundredTimesAsFast);
        Attach();
        m_window->AddFiles({Pictures() / "a.png", Pictures() / "b.png"});
        QTRY_COMPARE_WITH_TIMEOUT(Listed(), 2, kPatience);
        WaitForPanel();
        QSignalSpy progress(&Find<QProgressBar>(kDownLoadProcessID), &QProgressBar::valueChanged);
        Click(kDownLoadButtonID);
        m_window->close();
        QVERIFY(m_window->isVisible());
        QVERIFY(Question() == nullptr);
        QTRY_COMPARE(Text(kNotesID), QStringLiteral("Can not quit application,during transfering data!"));
        const qint64 longest = LongestGapUntil([this] { return m_window->Panel().IsEnabled(); });
        qDebug("longest gap in a download: %lld ms", longest);
        QVERIFY(longest < kLongestGap);
        QVERIFY(progress.count() >= 3);
        QCOMPARE(ShownByTheFrame(), 2U);
    }

    void quittingAsksFirst() {
        Attach();
        Edit("a.png");
        Click(kAddButtonID);
        QTRY_COMPARE(Listed(), 1);
        m_window->close();
        QTRY_VERIFY(Question() != nullptr);
        QCOMPARE(Question()->text(), QStringLiteral("MacLumato"));
        QVERIFY(Question()->informativeText().contains(QStringLiteral("differs")));
        QVERIFY(Question()->informativeText().endsWith(QStringLiteral("Really want to quit?")));
        QTest::keyClick(Question(), Qt::Key_Escape);
        QTRY_VERIFY(Question() == nullptr);
        QVERIFY(m_window->isVisible());
        QCOMPARE(Listed(), 1);
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

}  // namespace
}  // namespace lumato::app

LUMATO_WINDOW_TEST(lumato::app::WindowTest)

#include "window_test.moc"
