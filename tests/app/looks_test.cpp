// How the window looks and reads: no text is cut in any language, everything is reached by the Tab key, files
// are taken where they are dropped.
#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QFile>
#include <QMenuBar>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QSet>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QStringConverter>
#include <QToolButton>
#include <QUrl>

#include "app/browser/thumbnail_delegate.h"
#include "app/frame/new_frame_dialog.h"
#include "app/parts/detail_label.h"
#include "app/parts/file_urls.h"
#include "app/parts/symbols.h"
#include "app/shell/fusion_style.h"
#include "picture/picture_state.h"
#include "tests/app/window_support.h"

namespace lumato::app {
namespace {

constexpr int kSmallScreen = 1366;

// The shipped file, and two languages that nobody speaks: English words drawn out by 40 %, and such as are
// written from the right.
QString LanguagesAndMore() {
    QFile file(QStringLiteral(LUMATO_LANGUAGE_FILE));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no language file");
    QStringDecoder decoder(QStringDecoder::Utf16LE);
    QString text = decoder(file.readAll());
    const qsizetype from = text.indexOf(QStringLiteral("[English]\r\n")) + 11;
    const QString english = text.mid(from, text.indexOf(QStringLiteral("\r\n["), from) - from);
    QString drawnOut = QStringLiteral("\r\n[Long]\r\n"), mirrored = QStringLiteral("\r\n[Hebrew]\r\n");
    for (const QString& line : english.split(QStringLiteral("\r\n"), Qt::SkipEmptyParts)) {
        const QString key = line.section(u'=', 0, 0), words = line.section(u'=', 1);
        drawnOut += key + u'=' + words + QString(words.size() * 2 / 5 + 1, u'm') + QStringLiteral("\r\n");
        mirrored += key + u'=';
        for (qsizetype i = 0; i < words.size(); ++i)  // of all its letters
            mirrored += QChar(static_cast<char16_t>(0x05D0 + (words[i].unicode() + i) % 27));
        mirrored += QStringLiteral("\r\n");
    }
    return text + drawnOut + mirrored;
}

class LooksTest : public WindowFixture {
    Q_OBJECT

    void Speak(const QString& language) {
        const QList<QAction*> actions = m_window->findChildren<QAction*>();
        const auto found = std::ranges::find_if(
            actions, [&](const QAction* action) { return action->data().toString() == language; });
        QVERIFY2(found != actions.end(), qPrintable(language));
        (*found)->trigger();
        QCoreApplication::processEvents();  // posted notes
        QTest::qWait(1);                    // and the layout behind them
    }

    // What is to be read and has not the room that it asks for.
    static QString WithoutRoom(const QWidget& window) {
        for (const QWidget* widget : window.findChildren<QWidget*>()) {
            const auto* label = qobject_cast<const QLabel*>(widget);
            const bool hasText = label != nullptr ||
                                 qobject_cast<const QAbstractButton*>(widget) != nullptr ||
                                 qobject_cast<const QSpinBox*>(widget) != nullptr ||
                                 qobject_cast<const QComboBox*>(widget) != nullptr;
            if (!hasText || !widget->isVisible() || qobject_cast<const DetailLabel*>(widget) != nullptr)
                continue;
            const bool folds = label != nullptr && label->wordWrap();
            const QSize wanted =
                folds ? QSize(0, widget->heightForWidth(widget->width())) : widget->sizeHint();
            if (widget->width() < wanted.width() || widget->height() < wanted.height())
                return widget->objectName() + u' ' + widget->accessibleName();
        }
        return {};
    }
    // A busy machine lays out later: a text that stays cut is the fault.
    static void CheckRoom(const QWidget& window) { AWAIT_EQUAL(WithoutRoom(window), QString()); }

    // No two texts have the same letter, and `all` have one.
    static void CheckLetters(const QStringList& texts, bool all) {
        QString letters;
        for (const QString& text : texts) {
            const QChar letter = LetterOf(text);
            QVERIFY2(letter.isNull() ? !all : !letters.contains(letter), qPrintable(text));
            letters += letter;
        }
    }
    void CheckLettersOf(const QWidget& menu, QStringList texts = {}) {
        const bool all = texts.isEmpty();
        for (const QAction* action : menu.actions()) {
            if (!action->isSeparator())
                texts += action->text();
            if (action->menu() != nullptr)
                CheckLettersOf(*action->menu());
        }
        CheckLetters(texts, all);
    }
    void CheckAllLetters() {
        QStringList texts;
        for (const QWidget* widget : m_window->findChildren<QWidget*>()) {
            if (const auto* button = qobject_cast<const QAbstractButton*>(widget);
                button != nullptr && qobject_cast<const QToolButton*>(button) == nullptr &&
                !button->text().isEmpty() && button->window() == m_window.get())
                texts += button->text();
            if (const auto* label = qobject_cast<const QLabel*>(widget);
                label != nullptr && qobject_cast<const QSpinBox*>(label->buddy()) != nullptr)
                texts += label->text();
        }
        QVERIFY(texts.size() > 10);
        CheckLettersOf(*m_window->menuBar(), texts);
    }

    // Those with another colour than the one near the left edge.
    static QList<int> InkedColumns(const QImage& image) {
        QList<int> columns;
        for (int x = 10; x < image.width() - 10; ++x) {
            for (int y = 4; y < image.height() - 4; ++y) {
                if (std::abs(image.pixelColor(x, y).lightness() - image.pixelColor(4, y).lightness()) > 40) {
                    columns.append(x);
                    break;
                }
            }
        }
        return columns;
    }

    // A drag from a file manager, to the widget that takes it.
    template <class Target>
    bool Drop(Target& target, const QList<Path>& files) {
        QMimeData data;
        QList<QUrl> urls;
        for (const Path& file : files)
            urls.append(UrlOf(file));
        data.setUrls(urls);
        const QPointF at = QRectF(target.rect()).center();
        QDragEnterEvent enter(at.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, {});
        enter.ignore();
        QCoreApplication::sendEvent(&target, &enter);
        if (!enter.isAccepted())
            return false;
        QDropEvent drop(at, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
        drop.setDropAction(Qt::MoveAction);  // then the other program would delete its files
        QCoreApplication::sendEvent(&target, &drop);
        return drop.isAccepted() && drop.dropAction() == Qt::CopyAction;
    }

  private slots:
    void init() {
        SetUp();
        QFile file(FromPath(m_folder->Get() / "Language.ini"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QStringEncoder encoder(QStringEncoder::Utf16LE, QStringEncoder::Flag::WriteBom);
        file.write(encoder(LanguagesAndMore()));
        file.close();
        OpenAsLeft();
    }
    void cleanup() {
        TearDown();
        QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    }

    void noTextIsCut_data() {
        QTest::addColumn<QString>("language");
        for (const char* language : {"English", "German", "French", "Spanish", "Italian", "Portuguese",
                                     "Japanese", "Chinese", "Long", "Hebrew"})
            QTest::newRow(language) << QString::fromLatin1(language);
    }
    void noTextIsCut() {
        QFETCH(QString, language);
        Speak(language);
        CheckRoom(*m_window);
        CheckAllLetters();
        NewFrameDialog dialog(m_window.get());
        dialog.show();
        QCoreApplication::processEvents();
        CheckRoom(dialog);
        Attach();
        CheckRoom(*m_window);
        m_window->resize(m_window->minimumSizeHint());
        QCoreApplication::processEvents();
        CheckRoom(*m_window);
        QVERIFY(m_window->width() <= kSmallScreen);
        m_window->Frames().Screen().show();
        QCoreApplication::processEvents();
        CheckRoom(m_window->Frames().Screen());
    }

    void whatIsWrittenFromTheRightIsLaidOutFromTheRight() {
        const auto left = [this](ControlId id) {
            QWidget& control = Find<QWidget>(id);
            return control.mapTo(m_window.get(), QPoint(0, 0)).x();
        };
        QVERIFY(left(kColumList) < left(dbControlID1));
        Speak(QStringLiteral("Hebrew"));
        QVERIFY(left(kColumList) > left(dbControlID1));
        Speak(QStringLiteral("English"));
        QVERIFY(left(kColumList) < left(dbControlID1));
    }

    // What stands beside a note is put into other words with it, whoever said it; so are the places.
    void whatIsSaidFollowsTheLanguage() {
        Attach();
        OpenFolder(Pictures());
        SelectInBrowser("notes.txt");
        WaitForNote("Couldn’t read this picture");
        QCOMPARE(Detail(), QStringLiteral("notes.txt: not a picture in any known format"));
        Speak(QStringLiteral("French"));
        QCOMPARE(Detail(), QStringLiteral("notes.txt\u00a0: pas une image dans un format connu"));
        const FolderColumn& places = *m_window->Browser().findChildren<FolderColumn*>().first();
        QCOMPARE(places.model()->index(1, 0).data().toString(), QStringLiteral("Dossier personnel"));
        Speak(QStringLiteral("Chinese"));
        QCOMPARE(Detail(), QStringLiteral("notes.txt：不是已知格式的图片"));
        // An entry whose text changes keeps its letter.
        const QString add = FindControlAs<QPushButton>(m_window.get(), kAddButtonID)->text();
        QVERIFY(add.contains(QStringLiteral("(&")));
        QCOMPARE(WithLetterOf(QStringLiteral("替换"), add), QStringLiteral("替换") + add.right(4));
        QTest::keyClick(m_window.get(), Qt::Key_F10);
        QVERIFY(QApplication::activePopupWidget() != nullptr);
        QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Escape);
    }

    // On dark windows what can be ticked is seen; written from the right, a button's symbol stays with its
    // words; a long name stands in two lines.
    void whatTheStyleDrawsCanBeRead() {
        FusionStyle style;
        QPalette black(Qt::white, Qt::black, Qt::black, Qt::black, Qt::black, Qt::white, Qt::black);
        QCheckBox box;
        box.setStyle(&style);
        box.setPalette(black);
        const auto brightest = [](const QImage& image) {
            int most = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x)
                    most = std::max(most, image.pixelColor(x, y).lightness());
            }
            return most;
        };
        QVERIFY(brightest(box.grab().toImage()) > 80);
        black.setColor(QPalette::Disabled, QPalette::WindowText, Qt::black);
        style.polish(black);
        QVERIFY(black.color(QPalette::Disabled, QPalette::WindowText).lightness() > 80);

        QPushButton button(Symbol("add"), QStringLiteral("Add"));
        button.setStyle(&style);
        QGuiApplication::setLayoutDirection(Qt::RightToLeft);
        button.setFixedWidth(300);
        const QList<int> inked = InkedColumns(button.grab().toImage());
        QVERIFY(!inked.isEmpty() && inked.last() - inked.first() < 100);

        QStandardItemModel model;
        model.appendRow(new QStandardItem(QStringLiteral("Urlaub am Meer 2024")));
        ThumbnailDelegate delegate;
        QStyleOptionViewItem option;
        option.rect = QRect(0, 0, 90, 130);
        const int line = option.fontMetrics.height();
        delegate.SetTile(option.rect.size(), 2 * line);
        QImage tile(option.rect.size(), QImage::Format_RGB32);
        tile.fill(Qt::white);
        QPainter painter(&tile);
        delegate.paint(&painter, option, model.index(0, 0));
        painter.end();
        QVERIFY(InkedColumns(tile.copy(0, 130 - line, 90, line - 4)).size() > 20);
    }

    void theTabKeyReachesEverything() {
        Attach();
        QVERIFY(m_window->Browser().isAncestorOf(m_window->focusWidget()));
        QSet<QWidget*> reached;
        for (int step = 0; step < 100; ++step) {
            QTest::keyClick(m_window->focusWidget(), Qt::Key_Tab);
            reached.insert(m_window->focusWidget());
        }
        for (QWidget* widget : m_window->findChildren<QWidget*>()) {
            const bool takesTab =
                (widget->focusPolicy() & Qt::TabFocus) != 0 && widget->focusProxy() == nullptr;
            if (takesTab && widget->isVisible() && widget->isEnabled())
                QVERIFY2(reached.contains(widget), qPrintable(widget->objectName()));
        }
        QVERIFY(reached.contains(&Find<QWidget>(myHIRectID)));
        // From the browser on to the picture, as they stand.
        m_window->Browser().TakeFocus();
        QTest::keyClick(m_window->focusWidget(), Qt::Key_Tab);
        QCOMPARE(m_window->focusWidget(), &Find<QWidget>(myHIRectID));
        OpenFolder(Pictures());
        m_window->Browser().TakeFocus();
        for (const char* name : {"View", "pictures"}) {
            QTest::keyClick(m_window->focusWidget(), Qt::Key_Backtab);
            QCOMPARE(m_window->focusWidget()->accessibleName(), QString::fromLatin1(name));
        }
    }

    void columnsAreNeverCut() {
        Attach();
        const Path deep = m_folder->Get() / "one" / "two" / "three" / "four";
        std::filesystem::create_directories(deep);
        DiskBrowser& browser = m_window->Browser();
        browser.SetView(BrowserView::Columns);
        const auto* area = browser.findChild<QScrollArea*>();
        OpenFolder(deep);
        const auto cut = [&] {
            QStringList found;
            for (const FolderColumn* column : browser.findChildren<FolderColumn*>()) {
                const int x = column->mapTo(area->viewport(), QPoint(0, 0)).x();
                const int seen = std::min(x + column->width(), area->viewport()->width()) - std::max(x, 0);
                if (!column->isHidden() && seen > 0 && seen < column->width())
                    found.append(column->accessibleName());
            }
            return found;
        };
        for (const int width : {1100, 1301, 1700}) {
            m_window->resize(width, 700);
            AWAIT_EQUAL(cut(), QStringList());
        }
    }

    void severalStaySelectedWhenTheLastIsLoaded() {
        Attach();
        std::filesystem::remove(Pictures() / "notes.txt");
        DiskBrowser& browser = m_window->Browser();
        OpenFolder(Pictures());
        browser.TakeFocus();
        QTest::keyClick(m_window->focusWidget(), Qt::Key_A, Qt::ControlModifier);
        AWAIT(Find<EditView>(myHIViewID).ShowsPicture());
        QCOMPARE(browser.findChildren<FolderColumn*>().last()->Selected().size(), 3U);
    }

    void filesAreTakenWhereTheyAreDropped() {
        const Path a = Pictures() / "a.png", b = Pictures() / "b.png";
        auto& view = Find<EditView>(myHIViewID);
        QVERIFY(!Drop(view, {a}));  // without a frame
        QVERIFY(!Drop(*m_window->List().viewport(), {a, b}));
        Attach();
        QVERIFY(Drop(view, {a}));
        AWAIT(view.ShowsPicture());
        QVERIFY(view.accessibleDescription().startsWith(QStringLiteral("a.png, ")));
        QVERIFY(Drop(*m_window->List().viewport(), {a, b}));
        AWAIT_EQUAL(Listed(), 2);
        WaitForPanel();
        // A folder stands for its pictures, or for those of its folders; not every name is a text.
        const Path folder = m_folder->Get() / "M\xe4rz%";
        std::filesystem::create_directories(folder / "leer");
        std::filesystem::create_directories(folder / "\xe4");
        QVERIFY(Drop(view, {folder}));
        WaitForNote("There are no pictures in the folder");
        WaitForPanel();
        std::filesystem::copy_file(a, folder / "\xe4" / "#\xe4.png");
        QVERIFY(Drop(view, {folder}));
        AWAIT_EQUAL(Listed(), 3);
        WaitForPanel();
        QVERIFY(Drop(*m_window->List().viewport(), {folder / "\xe4" / "#\xe4.png"}));
        AWAIT_EQUAL(Listed(), 4);
    }
};

LUMATO_WINDOW_TEST(LooksTest)

}  // namespace
}  // namespace lumato::app

#include "looks_test.moc"
