// Fitting a picture: what the edit view shows of it, the rectangle and its handles, the fits and the remarks.
#include <QAbstractButton>

#include "app/parts/detail_label.h"
#include "app/parts/mnemonics.h"
#include "picture/add_pictures.h"
#include "picture/coverage.h"
#include "picture/draw_my_image.h"
#include "picture/picture_state.h"
#include "store/store.h"
#include "tests/app/window_support.h"

namespace lumato::app {
namespace {

class EditTest : public WindowFixture {
    Q_OBJECT

    void AttachLcd(std::uint32_t width, std::uint32_t height) {
        MakeFrame(width, height);
        Attach();
    }
    RectView& View() { return Find<RectView>(myHIRectID); }
    static store::Rect& Rect() { return store::Store().gmyDrawrect; }
    static double Covered() {
        return picture::CoverageOf(*picture::Pictures().gmyCGimage, store::Store().gmyDrawrect);
    }
    QRect InView() { return View().Shown().ToWidget(OnCanvas(Rect())).toAlignedRect(); }
    using WindowFixture::OnCanvas;
    static QRectF OnCanvas(const store::Rect& rect) { return lumato::app::OnCanvas(rect); }
    void Press(const char* button) { m_window->findChild<QAbstractButton*>(QLatin1String(button))->click(); }
    QString Remark() { return m_window->findChild<DetailLabel*>(QStringLiteral("editRemark"))->text(); }

    // What lies away from an edge has the colour that the frame will show there.
    void CheckColours() {
        auto& view = Find<EditView>(myHIViewID);
        AWAIT(view.IsFine() && view.ShowsPicture());
        const QRectF rect = OnCanvas(Rect());
        const int width = static_cast<int>(rect.width()), height = static_cast<int>(rect.height());
        const auto sent = picture::RenderLcdBitmap(picture::WithTopLeftCorner(Rect()));
        QCOMPARE(sent.has_value(), width < 5000);  // of more pixels no picture is made
        if (!sent)
            return;
        const auto pixel = [&](int x, int y) {  // the last row is the first
            const std::uint8_t* colours =
                &(*sent)[static_cast<std::size_t>((height - 1 - y) * width + x) * 3];
            return QColor(colours[2], colours[1], colours[0]);
        };
        int compared = 0;
        for (const double across : {0.06, 0.4, 0.6, 0.94})
            for (const double down : {0.06, 0.42, 0.58, 0.94}) {
                const int x = static_cast<int>(across * width), y = static_cast<int>(down * height);
                const QColor color = pixel(x, y);
                if (pixel(x - 4, y - 4) != color || pixel(x + 4, y + 4) != color)
                    continue;
                QCOMPARE(view.Drawn().pixelColor(OnCanvas(rect.x() + x + 0.5, rect.y() + y + 0.5)).rgb(),
                         color.rgb());
                ++compared;
            }
        QVERIFY(compared >= 8);
    }

  private slots:
    void theViewShowsTheRectangleWholeAtAnyLcdSize_data() {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        for (const QSize lcd : {QSize(128, 128), QSize(320, 240), QSize(480, 234), QSize(800, 480),
                                QSize(240, 1200), QSize(1920, 1080), QSize(5120, 4096)})
            QTest::addRow("%d x %d", lcd.width(), lcd.height()) << lcd.width() << lcd.height();
    }
    void theViewShowsTheRectangleWholeAtAnyLcdSize() {
        QFETCH(int, width);
        QFETCH(int, height);
        AttachLcd(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height));
        Edit("a.png");
        QVERIFY(View().rect().contains(InView()));
        const QRectF canvas(0, 0, picture::kCanvasWidth, picture::kCanvasHeight);
        const QRectF resting = OnCanvas(Rect());
        if (canvas.contains(resting))  // magnified: it takes most of one side
            QVERIFY(InView().width() * 5 > View().width() * 3 || InView().height() * 5 > View().height() * 3);
        else
            QVERIFY(View().Shown().shown.contains(canvas));
        CheckColours();
        const double scale = View().Shown().scale;
        const QRectF shown = View().Shown().shown;
        const QPoint middle = InView().center();
        for (int step = 0; step < 3; ++step) {
            const QPoint from = InView().center();
            Drag(from, from + QPoint(View().width() / 2, -View().height() / 3));
            QVERIFY(View().rect().contains(InView()));
            QCOMPARE(View().Shown().scale, scale);
        }
        QVERIFY(OnCanvas(Rect()).left() > shown.left() + shown.width() / 2 && View().Shown().shown != shown);
        CheckColours();
        Press("resetPose");
        QVERIFY((InView().center() - middle).manhattanLength() < 3);
        Press("fitWhole");
        Press("turnRight");
        CheckColours();
        Type(kRotateArrowID, 40);
        CheckColours();
    }

    void theMouseMovesAndPlacesTheRectangle() {
        Attach();
        Edit("a.png");
        Drag(OnCanvas(290, 200), OnCanvas(240, 180));
        QVERIFY(std::abs(Rect().x - 176) < 2 && std::abs(Rect().y - 116) < 2);
        Drag(OnCanvas(500, 380), OnCanvas(450, 300));  // outside: a new one, up and to the left
        QVERIFY(std::abs(Rect().x - 500) < 2 && std::abs(Rect().y - 380) < 2);
        QCOMPARE(Rect().width, -128.0F);
        QCOMPARE(Rect().height, -128.0F);
        const float x = Rect().x;
        QTest::keyClick(&View(), Qt::Key_Left, Qt::ShiftModifier);
        QCOMPARE(Rect().x, x - 10);
    }

    // A corner dragged outwards and inwards, from outside of the border; from inside it moves the rectangle.
    void handlesScaleThePictureUnderTheRectangle() {
        MakePicture(Pictures() / "a.png", 1600, 1200);
        AttachLcd(800, 480);
        Edit("a.png");
        Type(kScaleArrowXID, 80);
        const store::Rect resting = Rect();
        const QPoint corner = InView().bottomRight() + QPoint(5, 5);
        const QPoint diagonal(InView().width(), InView().height());
        QTest::mouseMove(&View(), corner);
        QCOMPARE(View().cursor().shape(), Qt::SizeFDiagCursor);
        Drag(corner, corner + diagonal / 4);
        QVERIFY(std::abs(Arrows(kScaleArrowXID).value() - 64) < 2);
        QVERIFY(Rect() == resting);
        QVERIFY(Covered() > 0.99999);
        Drag(corner, corner - diagonal / 2);
        QVERIFY(std::abs(Arrows(kScaleArrowXID).value() - 100) < 2);  // 1600 pixels, the most there can be
        QVERIFY2(Remark().contains(QStringLiteral("1600")), qPrintable(Remark()));
        Drag(corner, corner + 8 * diagonal);
        QCOMPARE(Arrows(kScaleArrowXID).value(), 51);
        QVERIFY(Remark().contains(QStringLiteral("51 %")));
        Drag(corner - QPoint(9, 9), corner);
        QVERIFY(Rect() != resting);
        QCOMPARE(Remark(), QString());
        QCOMPARE(Arrows(kScaleArrowXID).value(), 51);
        QTest::keyClick(&View(), Qt::Key_Plus);
        QCOMPARE(Arrows(kScaleArrowXID).value(), 52);
    }

    // With its bars, onto the list, and from there back as it was.
    void aWholePictureIsEditedAgain() {
        AttachLcd(320, 240);
        MakePicture(Pictures() / "wide.png", 4321, 1234);
        m_window->SelectFile(Pictures() / "wide.png");
        AWAIT(picture::Pictures().gmyCGimage != nullptr);
        Press("fitWhole");
        Press("turnLeft");
        const picture::MyImage made = *picture::Pictures().gmyCGimage;
        QVERIFY(std::abs(4321 * made.scaleY - 240) < 0.1F);
        AWAIT(Remark().contains(QStringLiteral("black")));
        Click(kAddButtonID);
        AWAIT_EQUAL(Waiting(), 1);
        Edit("a.png");
        AWAIT(m_window->findChild<QAbstractButton*>(QStringLiteral("fitFill"))->isChecked());
        SelectListed(0);
        AWAIT(store::Store().gmyCurrentSelectItem == 1);
        m_window->EditAgain();
        AWAIT_EQUAL(WithoutLetter(Find<QPushButton>(kAddButtonID).text()), QStringLiteral("Replace"));
        const picture::MyImage& again = *picture::Pictures().gmyCGimage;
        QCOMPARE(again.scaleY, made.scaleY);
        QCOMPARE(again.rotation, made.rotation);
        QVERIFY(m_window->findChild<QAbstractButton*>(QStringLiteral("fitWhole"))->isChecked());
    }

    void whatWouldShowNothingIsAskedOnce() {
        Attach();
        MakePicture(Pictures() / "a.png", 40, 30);
        Edit("a.png");
        AWAIT(Remark().contains(QStringLiteral("40 × 30")));
        Drag(OnCanvas(520, 380), OnCanvas(560, 399));
        QVERIFY(Remark().contains(QStringLiteral("nothing")));
        for (const bool add : {false, true}) {
            Click(kAddButtonID);
            AWAIT(Question() != nullptr);
            QCOMPARE(Listed(), 0);
            const QPointer<QMessageBox> question = Question();
            question->buttons().at(add ? 0 : 1)->click();
            AWAIT(question == nullptr);
        }
        AWAIT_EQUAL(Listed(), 1);
    }
};

LUMATO_WINDOW_TEST(EditTest)

}  // namespace
}  // namespace lumato::app

#include "edit_test.moc"
