// Real work: large photographs, as many pictures as a frame holds, and what reaches the flash.
#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QTimer>

#include "app/parts/app_state.h"
#include "picture/picture_state.h"
#include "store/store.h"
#include "tests/app/window_support.h"
#include "vframe/flash_image.h"

namespace lumato::app {
namespace {

constexpr int kMany = 509;      // as many as a table holds
constexpr int kLong = 240'000;  // milliseconds; under a sanitizer

// Detail all over, as photographs of leaves have it.
void MakePhotograph(const Path& file, int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    std::uint32_t noise = 1;
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            noise = noise * 1664525 + 1013904223;
            const int grain = static_cast<int>(noise >> 26);
            line[x] = qRgb(x * 190 / width + grain, y * 190 / height + grain, (x + y) % 191 + grain);
        }
    }
    QVERIFY(image.save(QString::fromStdString(file.string()), "JPG", 90));
}

class PicturesTest : public WindowFixture {
    Q_OBJECT

    // Runs the loop until the task that was begun has ended; says how long it took.
    void Measure(const char* what, const std::function<bool()>& done) {
        QElapsedTimer whole;
        whole.start();
        const qint64 longest = LongestGapUntil(done, kLong);
        qDebug("%s: %lld ms, longest gap %lld ms, of work %lld ms", what, whole.elapsed(), longest,
               m_longestWork);
        QVERIFY2(done(), what);
        QVERIFY2(longest < kLongestGap, what);
        QVERIFY2(m_longestWork < kLongestWork, what);
    }
    bool Idle() { return MainThreadOwns() && m_window->Panel().IsEnabled(); }

    void Control(const QStringList& arguments) {
        QProcess process;
        process.start(QStringLiteral(LUMATOCTL), arguments);
        QVERIFY(process.waitForFinished(kPatience));
        QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
    }

  private slots:
    void aPhotographOf24Megapixels() {
        MakeFrame(800, 480);
        MakePhotograph(Pictures() / "photo1.jpg", 6000, 4000);
        std::filesystem::copy_file(Pictures() / "photo1.jpg", Pictures() / "photo2.jpg");
        Open();
        Attach();
        SelectInBrowser("photo1.jpg");
        Measure("selecting a photograph of 24 megapixels",
                [] { return picture::Pictures().gmyCGimage != nullptr; });
        const auto& preview = Find<Preview>(myHIPreviewID);
        AWAIT(preview.Shown().quality == 90);
        for (int turn = 0; turn < 3; ++turn) {
            QSignalSpy shown(&preview, &Preview::Changed);
            QTest::keyClick(&Arrows(kRotateArrowID), Qt::Key_Up);
            Measure("turning it by a degree, to the preview", [&] { return shown.count() > 0; });
        }
        const auto now = picture::TakeTrial(0)->Run();  // the last change may still be on its way
        AWAIT(preview.Shown().bytes == now->bytes);
        const StreamImage tried = preview.Shown();
        QElapsedTimer whole;
        whole.start();
        Click(kAddButtonID);
        QVERIFY(whole.elapsed() < kLongestGap);
        Measure("adding it", [this] { return Listed() == 1 && Idle(); });
        AWAIT(!m_window->IsLoading());
        // What was shown is what the list now has, and the photograph is not.
        SelectListed(0);
        AWAIT(preview.Shown().room == -1 && !preview.Shown().image.isNull());
        QVERIFY(preview.Shown().image == tried.image && preview.Shown().bytes == tried.bytes);
        QVERIFY(preview.Shown().unencoded == tried.unencoded && tried.unencoded != tried.image);
        Click(kAddButtonID);
        Measure("adding the next", [this] { return Listed() == 2 && Idle(); });
    }

    void fiveHundredAndNine() {
        MakeFrame(64, 48, 16'711'680);
        std::vector<Path> files;
        for (int i = 0; i < kMany + 1; ++i) {
            files.push_back(Pictures() / ("many" + std::to_string(i) + ".png"));
            MakePicture(files.back(), 64 + i, 48);
        }
        Open();
        Attach();
        QSignalSpy progress(&Find<QProgressBar>(kDownLoadProcessID), &QProgressBar::valueChanged);
        m_window->AddFiles(files);
        Measure("adding 510", [this] { return Listed() == kMany && Idle(); });
        QVERIFY(Detail().contains(QStringLiteral("at most 509")));
        QCOMPARE(Text(kNotesID), QStringLiteral("509 added, 1 refused"));
        QVERIFY(progress.count() > 50);
        Click(kDownLoadButtonID);
        Measure("downloading 509", [this] { return Idle() && !m_window->HasUnsavedChanges(); });
        QCOMPARE(ShownByTheFrame(), std::size_t{kMany});
        Detach();
        m_window->Frames().Attach(Frame());
        Measure("reading 509 back", [this] { return Listed() == kMany && Idle(); });

        PictureList& list = m_window->List();
        for (const int row : {508, 0, 250}) {
            list.scrollTo(list.model()->index(row, 0));
            QTest::mouseClick(list.viewport(), Qt::LeftButton, {},
                              list.visualRect(list.model()->index(row, 0)).center());
            AWAIT_EQUAL(Text(kCurPic), QStringLiteral("%1").arg(row + 1, 3, 10, QLatin1Char('0')));
        }
        const auto top = [&] { return list.indexAt(QPoint(1, 1)).row(); };
        const int before = top();
        QTest::keyClick(&list, Qt::Key_Delete);
        Measure("deleting the middle one", [this] { return Listed() == kMany - 1 && Idle(); });
        QVERIFY(before > 0 && before == top());
        QCOMPARE(list.Selected(), std::vector<int>{251});
        m_window->MyDeleteAllCheckBoxHandler(true);
        Click(kDelButtonID);
        Measure("deleting all", [this] { return Listed() == 0 && Idle(); });
        m_window->Undo();
        Measure("bringing all back", [this] { return Listed() == kMany - 1 && Idle(); });
        m_window->Undo();
        Measure("and the one before", [this] { return Listed() == kMany && Idle(); });
        QVERIFY(!m_window->HasUnsavedChanges());
        m_window->MovePictures({kMany}, 1);
        Measure("moving the last to the front", [this] { return Idle() && m_window->HasUnsavedChanges(); });
        m_window->Undo();
        AWAIT(Idle() && !m_window->HasUnsavedChanges());
        const Path saved = m_folder->Get() / "saved";
        std::filesystem::create_directory(saved);
        m_window->SavePicturesTo(saved);
        Measure("saving 509",
                [this] { return Text(kNotesID) == QStringLiteral("Pictures saved: 509") && Idle(); });
        QVERIFY(std::filesystem::exists(saved / "509.bmp"));
    }

    // The window's poses come from its controls and its mouse, those of lumatoctl from options.
    void theFlashEqualsWhatLumatoctlWrites() {
        MakeFrame(480, 234);
        MakePhotograph(Pictures() / "photo.jpg", 3000, 2000);
        const Path other = m_folder->Get() / "other.frame";
        std::filesystem::copy_file(Frame(), other);
        QStringList call{QStringLiteral("--home"), FromPath(m_folder->Get() / "other-home"),
                         QStringLiteral("--frame"), FromPath(other), QStringLiteral("add")};
        Open();
        Attach();

        Edit("photo.jpg");
        Type(kRotateArrowID, 30);
        Type(kScaleArrowXID, 40);
        Type(kTranlateArrowXID, 25);
        Type(kTranlateArrowYID, -13);
        Click(kAddButtonID);
        AWAIT_EQUAL(Listed(), 1);
        AWAIT(Idle());
        Control(call + QStringList{FromPath(Pictures() / "photo.jpg"), "--rotate", "30", "--scale", "40",
                                   "--x", "25", "--y", "-13"});

        Edit("a.png");
        Drag(OnCanvas(560, 380), OnCanvas(500, 300));
        const store::Rect rect = store::Store().gmyDrawrect;
        QVERIFY(rect.width < 0);
        Click(kAddButtonID);
        AWAIT_EQUAL(Listed(), 2);
        AWAIT(Idle());
        Control(call + QStringList{FromPath(Pictures() / "a.png"), QStringLiteral("--rect=%1,%2,%3,%4")
                                                                       .arg(double{rect.x}, 0, 'g', 9)
                                                                       .arg(double{rect.y}, 0, 'g', 9)
                                                                       .arg(double{rect.width}, 0, 'g', 9)
                                                                       .arg(double{rect.height}, 0, 'g', 9)});

        AddAndWait({"b.png", "photo.jpg"});
        Control(call + QStringList{FromPath(Pictures() / "b.png"), FromPath(Pictures() / "photo.jpg")});
        DownloadAndWait();
        QCOMPARE(ShownByTheFrame(), 4U);
        QVERIFY(*vframe::ReadFlashImage(Frame()) == *vframe::ReadFlashImage(other));

        // Edited again from its photograph, in the pose that it had, and replaced where it stands.
        PictureList& list = m_window->List();
        SelectListed(0);
        AWAIT(Idle());
        m_window->EditAgain();
        auto& add = Find<QPushButton>(kAddButtonID);
        AWAIT_EQUAL(add.text().remove(u'&'), QStringLiteral("Replace"));
        QCOMPARE(Arrows(kRotateArrowID).value(), 30);
        QCOMPARE(Arrows(kTranlateArrowYID).value(), -13);
        Type(kRotateArrowID, 50);
        Click(kAddButtonID);
        AWAIT_EQUAL(add.text().remove(u'&'), QStringLiteral("Add"));
        AWAIT(Idle() && Waiting() == 1);
        QVERIFY(Listed() == 4 && !list.Model().Pictures()[0].inFrame);
        Control(call + QStringList{FromPath(Pictures() / "photo.jpg"), "--rotate", "50", "--scale", "40",
                                   "--x", "25", "--y", "-13", "--replace", "1"});
        Click(kDownLoadButtonID);
        AWAIT(Idle() && Waiting() == 0);
        QVERIFY(*vframe::ReadFlashImage(Frame()) == *vframe::ReadFlashImage(other));
    }

    void whatDoesNotFitIsGivenRoom() {
        MakeFrame(480, 234, 256 << 10);
        std::vector<Path> files;
        for (int i = 0; i < 5; ++i) {
            files.push_back(Pictures() / ("photo" + std::to_string(i) + ".jpg"));
            MakePhotograph(files.back(), 960 + 10 * i, 500);
        }
        Open();
        Attach();
        m_window->AddFiles(files);
        AWAIT(Question() != nullptr && Question()->isVisible());
        QCOMPARE(Listed(), 4);
        qDebug("%s", qPrintable(Question()->informativeText()));
        QTest::mouseClick(Question()->buttons().front(), Qt::LeftButton);
        AWAIT_EQUAL(Listed(), 5);
        AWAIT(Idle());
        Click(kDownLoadButtonID);
        AWAIT(Idle() && Waiting() == 0);
        QCOMPARE(ShownByTheFrame(), 5U);
    }
};

LUMATO_WINDOW_TEST(PicturesTest)

}  // namespace
}  // namespace lumato::app

#include "pictures_test.moc"
