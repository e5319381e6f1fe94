// The plug pulled, and the way out asked for, in every state of the window: nothing hangs, no picture is
// lost.
#include <QFileDialog>

#include "app/parts/app_state.h"
#include "picture/picture_state.h"
#include "store/store.h"
#include "tests/app/window_support.h"

namespace lumato::app {
namespace {

constexpr const char* kStates[] = {"idle",     "loading", "adding", "deleting", "dragging",   "batch",
                                   "download", "reading", "saving", "question", "save dialog"};

class StatesTest : public WindowFixture {
    Q_OBJECT

    void OpenWithPictures() {
        Open(kHundredTimesAsFast);
        Attach();
        AddAndWait({"a.png", "b.png"});
        DownloadAndWait();
        AddAndWait({"c.png"});
    }
    // Three pictures are on the list then, the third not yet on the frame, and this begins.
    void Enter(const QString& state) {
        if (state == QLatin1String("loading"))
            SelectInBrowser("a.png");
        if (state == QLatin1String("adding") || state == QLatin1String("dragging"))
            Edit("a.png");
        if (state == QLatin1String("adding"))
            Click(kAddButtonID);
        if (state == QLatin1String("deleting"))
            m_window->MyDelButtonHandler();
        if (state == QLatin1String("dragging"))
            QTest::mousePress(&Find<RectView>(myHIRectID), Qt::LeftButton, {}, OnCanvas(290, 200));
        if (state == QLatin1String("batch"))
            m_window->AddFiles({Pictures() / "a.png", Pictures() / "b.png"});
        if (state == QLatin1String("download"))
            Click(kDownLoadButtonID);
        if (state == QLatin1String("reading")) {
            Detach();
            m_window->Frames().Attach(Frame());
        }
        if (state == QLatin1String("saving"))
            m_window->SavePicturesTo(m_folder->Get());
        if (state == QLatin1String("question"))
            m_window->close();
        if (state == QLatin1String("save dialog"))
            Click(kUpLoadButtnonID);
    }
    void ListenTo(const QObject& listener, QStringList& notes) {
        ControlPanel& panel = m_window->Panel();
        connect(&panel, &ControlPanel::NoteShown, &listener, [&] { notes += panel.Note(); });
    }
    void Rows() {
        QTest::addColumn<QString>("state");
        for (const char* state : kStates)
            QTest::newRow(state) << QString::fromLatin1(state);
    }
    static bool IsTransfer(const QString& state) {
        return QStringList{"batch", "download", "reading", "saving"}.contains(state);
    }

  private slots:
    void unpluggingLosesNothing_data() { Rows(); }
    void unpluggingLosesNothing() {
        QFETCH(QString, state);
        OpenWithPictures();
        Enter(state);
        QStringList notes;  // of what ended just then another may follow
        const QObject listener;
        ListenTo(listener, notes);
        m_window->Link().DetachVirtualFrame();
        AWAIT(MainThreadOwns() && !m_window->Panel().IsEnabled() && Listed() == 0);
        AWAIT(notes.contains(QStringLiteral("Device Not Online!")));
        QVERIFY(picture::Pictures().gmyCGimage == nullptr);
        for (QDialog* dialog : m_window->findChildren<QDialog*>())
            dialog->reject();
        // Back again, with what had been added: all of it, but for what the unplugging came before.
        Attach();
        const int least = state == QLatin1String("deleting") ? 2 : 3;
        AWAIT(Listed() >= least);
        QCOMPARE(m_window->HasUnsavedChanges(), Waiting() > 0);
        AWAIT(m_window->Panel().IsEnabled());
        const int listed = Listed();
        Edit("b.png");
        Click(kAddButtonID);
        AWAIT(Listed() == listed + 1 && MainThreadOwns());
        DownloadAndWait();
        QCOMPARE(ShownByTheFrame(), static_cast<std::size_t>(listed) + 1);
    }

    void quittingAsksOrIsRefused_data() { Rows(); }
    void quittingAsksOrIsRefused() {
        QFETCH(QString, state);
        OpenWithPictures();
        Enter(state);
        QStringList notes;  // the task's own last note may follow at once
        const QObject listener;
        ListenTo(listener, notes);
        m_window->close();
        QVERIFY(m_window->isVisible());
        if (IsTransfer(state)) {
            QVERIFY(m_window->findChild<QMessageBox*>() == nullptr);
            AWAIT(notes.contains(QStringLiteral("Can not quit application,during transfering data!")));
        }
        AWAIT(MainThreadOwns() && m_window->Panel().IsEnabled());
        m_window->close();
        AWAIT_EQUAL(m_window->findChildren<QMessageBox*>().size(), 1);
        QCOMPARE(Question()->informativeText().contains(QStringLiteral("kept")),
                 state != QLatin1String("download") && state != QLatin1String("deleting"));
        QTest::keyClick(Question(), Qt::Key_Escape);
        AWAIT(Question() == nullptr);
        QVERIFY(m_window->isVisible());
        m_window->close();
        AWAIT(Question() != nullptr);
        QTest::keyClick(Question(), Qt::Key_Return);
        AWAIT(device::Link().frame == nullptr);
        for (QDialog* dialog : m_window->findChildren<QDialog*>())
            dialog->reject();
        if (state == QLatin1String("download"))
            QCOMPARE(ShownByTheFrame(), 3U);
    }

    void quittingSaysWhatIsAtStake() {
        OpenWithPictures();  // one waits
        const auto asked = [this] {
            m_window->close();
            [&] { AWAIT(Question() != nullptr); }();
            const QString text = Question() != nullptr ? Question()->informativeText() : QString();
            return std::pair(text.contains(QStringLiteral("kept")),
                             text.contains(QStringLiteral("forgotten")));
        };
        QCOMPARE(asked(), std::pair(true, false));
        QTest::keyClick(Question(), Qt::Key_Escape);
        AWAIT(Question() == nullptr);
        m_window->MovePictures({1}, 3);
        AWAIT(IsReady());
        QCOMPARE(asked(), std::pair(true, true));
        // Files that are handed over meanwhile are at stake, too.
        const QString before = Question()->informativeText();
        m_window->ComeForward({Pictures() / "a.png", Pictures() / "b.png"});
        AWAIT(IsReady() && Listed() == 5);
        AWAIT(Question() != nullptr && Question()->informativeText() != before);
        for (QAbstractButton* button : Question()->buttons()) {
            if (button->text().remove(u'&') == QLatin1String("Download First"))
                button->click();
        }
        AWAIT(device::Link().frame == nullptr);
        QCOMPARE(ShownByTheFrame(), 5U);
    }

    void halfAReadListIsNothingToWorkWith() {
        OpenWithPictures();
        Enter(QStringLiteral("reading"));
        QVERIFY(App().state == WindowState::Reading);
        m_window->findChild<QPushButton*>(QLatin1String(kStopButton))->click();
        WaitForNote("Reading stopped");
        AWAIT(MainThreadOwns());
        QVERIFY(!IsReady() && !m_window->HasUnsavedChanges() && Listed() < 2);
        AWAIT_EQUAL(Text(kTotalPic), QStringLiteral("–"));
        QCOMPARE(Find<QWidget>(myHIRectID).focusPolicy(), Qt::NoFocus);
        m_window->MyDownLoadButtonHandler();
        QVERIFY(MainThreadOwns());
        m_window->Link().ReadAgain();
        WaitForPanel();
        AWAIT_EQUAL(Listed(), 3);
        QCOMPARE(ShownByTheFrame(), 2U);
    }

    void whatWasDeletedAndBroughtBackIsKept() {
        OpenWithPictures();
        m_window->MyDeleteAllCheckBoxHandler(true);
        m_window->MyDelButtonHandler();
        AWAIT(Listed() == 0 && MainThreadOwns());
        m_window->Undo();
        AWAIT(Listed() == 3 && MainThreadOwns());
        Detach();
        Attach();
        AWAIT_EQUAL(Listed(), 3);
        QCOMPARE(Waiting(), 1);
        WaitForNote("Pictures not yet on the frame are back in the list");
    }
};

LUMATO_WINDOW_TEST(StatesTest)

}  // namespace
}  // namespace lumato::app

#include "states_test.moc"
