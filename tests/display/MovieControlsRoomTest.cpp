#include "MovieControls.h"
#include "MoviePlayerView.h"
#include "PlayedMovies.h"
#include "ViewFixture.h"

#include <QApplication>
#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

// Where the controls of a movie stand, above what covers the lower edge of the view.
class MovieControlsRoomTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void theyStandAboveWhatIsAtTheLowerEdge();
    void theyMoveWithIt();
    void whatWasThereBeforeTheFirstMovieCountsToo();
    void theyNeverCoverIt_data();
    void theyNeverCoverIt();
    void withoutRoomTheyGoUntilThereIsSome();
    void withoutRoomTheKeyboardStaysWithTheSlide();
    void thoseThatFadeAwayDoNotComeBackWithTheRoom();

private:
    KLLayerView& view() const { return *mFixture->view; }
    MovieControls& controls() const { return *view().moviePlayerView()->controls(); }
    void show() const { view().showMovie(playerFor(mFiles->folder().urlOf("a.mkv")), true); }
    void resize(const QSize& size) const
    {
        view().resize(size);
        QCoreApplication::processEvents();
    }
    int roomBelow() const { return view().height() - controls().geometry().bottom() - 1; }

    std::unique_ptr<MovieFiles> mFiles;
    std::unique_ptr<ViewFixture> mFixture;
};

void MovieControlsRoomTest::initTestCase()
{
    mFiles = std::make_unique<MovieFiles>();
    QVERIFY(mFiles->make("a.mkv", MovieFiles::numbers() + " -c:v ffv1"));
}

void MovieControlsRoomTest::init()
{
    mFixture = std::make_unique<ViewFixture>(QSize(900, 500));
    QVERIFY(mFixture->activate());
}

void MovieControlsRoomTest::cleanup()
{
    mFixture.reset();
    QVERIFY(MovieEngine::waitForThreads(10s));
}

void MovieControlsRoomTest::theyStandAboveWhatIsAtTheLowerEdge()
{
    show();
    controls().reveal();
    const int margin = roomBelow();
    QVERIFY(margin > 0);
    view().setBottomInset(40);
    QCOMPARE(roomBelow(), margin + 40);
    QCOMPARE(controls().height(), 56);
}

void MovieControlsRoomTest::theyMoveWithIt()
{
    show();
    const int margin = roomBelow();
    for (const int height : {33, 0, 66, 20}) {
        view().setBottomInset(height);
        QCOMPARE(roomBelow(), margin + height);
        controls().reveal();
        QCOMPARE(roomBelow(), margin + height);
    }
    resize({900, 300});
    QCOMPARE(roomBelow(), margin + 20);
    show(); // another movie
    QCOMPARE(roomBelow(), margin + 20);
}

void MovieControlsRoomTest::whatWasThereBeforeTheFirstMovieCountsToo()
{
    view().setBottomInset(40);
    show();
    controls().reveal();
    QVERIFY(roomBelow() > 40);
}

void MovieControlsRoomTest::theyNeverCoverIt_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("height"); // of the controls; 0 where there is no room
    QTest::newRow("large") << QSize(1600, 1000) << 56;
    QTest::newRow("wide and low") << QSize(1600, 120) << 56;
    QTest::newRow("lower") << QSize(1600, 110) << 53;
    QTest::newRow("too low") << QSize(1600, 100) << 0;
    QTest::newRow("the smallest window") << QSize(160, 120) << 56;
    QTest::newRow("with its menu bar") << QSize(160, 96) << 56;
    QTest::newRow("just enough") << QSize(160, 81) << 44;
    QTest::newRow("not quite") << QSize(160, 80) << 0;
    QTest::newRow("hardly any") << QSize(40, 20) << 0;
}

void MovieControlsRoomTest::theyNeverCoverIt()
{
    QFETCH(QSize, size);
    QFETCH(int, height);
    constexpr int taken = 33;
    show();
    view().setBottomInset(taken);
    resize(size);
    controls().reveal();
    QCOMPARE(controls().isVisible(), height > 0);
    if (height > 0) {
        QCOMPARE(controls().height(), height);
        const QRect free = view().rect().adjusted(0, 0, 0, -taken);
        QVERIFY(free.contains(controls().geometry()));
        for (const QWidget* widget : controls().findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
            QVERIFY(!widget->isVisible() || controls().rect().contains(widget->geometry()));
        }
    }
}

void MovieControlsRoomTest::withoutRoomTheyGoUntilThereIsSome()
{
    show();
    view().setBottomInset(33);
    controls().reveal();
    QVERIFY(controls().isVisible());
    resize({160, 70});
    QVERIFY(!controls().isVisible());
    resize({160, 120});
    QVERIFY(controls().isVisible());
    resize({160, 70});
    view().setBottomInset(0);
    QVERIFY(controls().isVisible());
    view().setBottomInset(33);
    QVERIFY(!controls().isVisible());
    mFixture->clock.advance(4s); // nobody has moved the pointer
    view().setBottomInset(0);
    QVERIFY(!controls().isVisible());
}

void MovieControlsRoomTest::withoutRoomTheKeyboardStaysWithTheSlide()
{
    show();
    QTest::keyClick(&view(), Qt::Key_Tab);
    QVERIFY(controls().isAncestorOf(QApplication::focusWidget()));
    view().setBottomInset(450);
    QVERIFY(view().hasFocus());
    for (const Qt::Key key : {Qt::Key_Tab, Qt::Key_Backtab}) {
        QTest::keyClick(&view(), key);
        QVERIFY(view().hasFocus());
    }
    view().setBottomInset(0);
    QVERIFY(view().hasFocus());
    QTest::keyClick(&view(), Qt::Key_Tab);
    QVERIFY(controls().isAncestorOf(QApplication::focusWidget()));
}

void MovieControlsRoomTest::thoseThatFadeAwayDoNotComeBackWithTheRoom()
{
    show();
    controls().reveal();
    controls().conceal();
    view().setBottomInset(450);
    view().setBottomInset(0);
    QVERIFY(!controls().isRevealed());
    QTRY_VERIFY(!controls().isVisible());
}

QTEST_MAIN(MovieControlsRoomTest)
#include "MovieControlsRoomTest.moc"
