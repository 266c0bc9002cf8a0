#include "ControllerFixture.h"
#include "KLLayerView.h"
#include "SlideWindow.h"
#include "StaysTrue.h"

#include <QMouseEvent>
#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

// The mouse in a running show, and what zooming means to it.
class PointerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mFixture = std::make_unique<ControllerFixture>(); }
    void cleanup() { mFixture.reset(); }

    void aPressPostponesTheNextSlide();
    void draggingPostponesItAgainAndAgain();
    void withinASecondAPressPostponesNothing();
    void aPressDoesNotStartAStoppedShow();
    void clicksAndTheWheelDoNotChangeTheSlide();
    void theZoomCommandsPostponeTheNextSlideButForZoomOff_data();
    void theZoomCommandsPostponeTheNextSlideButForZoomOff();
    void theNextSlideWaitsForTheZoomToEnd();
    void theNextSlideIsFittedAgain();
    void theMenuBarStaysAwayWhileAButtonIsHeld();
    void aMovedMouseShowsAPointerThatWasHiddenWithTheSlide();

private:
    SlideController& openThree()
    {
        mFixture->set(keys::slideInterval, 10);
        mFixture->addPictures({"1.png", "2.png", "3.png"});
        auto& controller = mFixture->start();
        if (!mFixture->openFolder()) {
            qFatal("the folder does not open");
        }
        static int shows = 0;
        mFixture->clock.advance(std::chrono::hours(++shows)); // the last postponement is the program's, not the show's
        return controller;
    }
    KLLayerView& view() { return *mFixture->controller().slideView(); }
    void send(QEvent::Type type, QPointF at, Qt::MouseButtons buttons, Qt::MouseButton button = Qt::LeftButton)
    {
        QMouseEvent event(type, at, at, at, button, buttons, {});
        QCoreApplication::sendEvent(&view(), &event);
    }
    void press() { send(QEvent::MouseButtonPress, {30, 30}, Qt::LeftButton); }
    void drag(QPointF to = {40, 40}) { send(QEvent::MouseMove, to, Qt::LeftButton, Qt::NoButton); }
    void release() { send(QEvent::MouseButtonRelease, {40, 40}, Qt::NoButton); }
    Duration timeLeft() { return mFixture->controller().nextSlideChange() - mFixture->clock.now(); }

    std::unique_ptr<ControllerFixture> mFixture;
};

void PointerTest::aPressPostponesTheNextSlide()
{
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(9s);
    press();
    QVERIFY(timeLeft() == 5s);
    release();
    QVERIFY(timeLeft() == 5s);
}

void PointerTest::draggingPostponesItAgainAndAgain()
{
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(9s);
    press();
    for (int i = 0; i < 20; ++i) {
        mFixture->clock.advance(2s);
        drag();
        QVERIFY(timeLeft() == 5s);
    }
    QCOMPARE(mFixture->shown(), QByteArray("1.png"));
    release();
    mFixture->clock.advance(5s);
    QCOMPARE(mFixture->shown(), QByteArray("2.png"));
}

void PointerTest::withinASecondAPressPostponesNothing()
{
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(9s);
    press();
    mFixture->clock.advance(800ms);
    drag();
    QVERIFY(timeLeft() == 4200ms);
    release();
}

void PointerTest::aPressDoesNotStartAStoppedShow()
{
    auto& controller = openThree();
    press();
    drag();
    release();
    QVERIFY(!controller.timerRuns());
}

void PointerTest::clicksAndTheWheelDoNotChangeTheSlide()
{
    openThree();
    for (int i = 0; i < 3; ++i) {
        press();
        release();
        send(QEvent::MouseButtonDblClick, {30, 30}, Qt::LeftButton);
        release();
        send(QEvent::MouseButtonPress, {30, 30}, Qt::RightButton, Qt::RightButton);
        send(QEvent::MouseButtonRelease, {30, 30}, Qt::NoButton, Qt::RightButton);
    }
    QWheelEvent event({}, {}, {}, QPoint(0, 120), Qt::NoButton, {}, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&view(), &event);
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->shown(), QByteArray("1.png"));
    QVERIFY(!view().isZoomed());
}

void PointerTest::theZoomCommandsPostponeTheNextSlideButForZoomOff_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("seconds");
    QTest::newRow("in") << QByteArray("ZoomIn") << 5;
    QTest::newRow("actual size") << QByteArray("ZoomOne") << 5;
    QTest::newRow("off") << QByteArray("ZoomOff") << 1;
}

void PointerTest::theZoomCommandsPostponeTheNextSlideButForZoomOff()
{
    QFETCH(QByteArray, command);
    QFETCH(int, seconds);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(9s);
    QVERIFY(mFixture->trigger(command.constData()));
    QVERIFY(timeLeft() == std::chrono::seconds(seconds));
}

void PointerTest::theNextSlideWaitsForTheZoomToEnd()
{
    auto& controller = openThree();
    QVERIFY(mFixture->trigger("ZoomIn"));
    view().compositor().deliverPending();
    QVERIFY(view().isBusy());
    controller.nextSlide();
    QCOMPARE(mFixture->shown(), QByteArray("1.png"));
    mFixture->letTransitionEnd();
    controller.nextSlide();
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->shown(), QByteArray("2.png"));
}

void PointerTest::theNextSlideIsFittedAgain()
{
    auto& controller = openThree();
    const QRectF fitted = view().currentLayer()->frame();
    QVERIFY(mFixture->trigger("ZoomOne") && mFixture->trigger("ZoomIn"));
    mFixture->letTransitionEnd();
    QVERIFY(view().isZoomed());
    controller.nextSlide();
    QVERIFY(mFixture->rest());
    QVERIFY(!view().isZoomed());
    QCOMPARE(view().currentLayer()->frame(), fitted);
}

void PointerTest::theMenuBarStaysAwayWhileAButtonIsHeld()
{
    openThree();
    auto* const bar = view().window()->findChild<QMenuBar*>();
    QVERIFY(bar->geometry().bottom() < 0);
    press();
    drag({200, 0});
    QVERIFY(staysTrueFor(100ms, [&] { return bar->geometry().bottom() < 0; }));
    release();
    send(QEvent::MouseMove, {200, 0}, Qt::NoButton, Qt::NoButton);
    QTRY_VERIFY(bar->geometry().bottom() > 0);
}

void PointerTest::aMovedMouseShowsAPointerThatWasHiddenWithTheSlide()
{
    openThree();
    QCOMPARE(view().cursor().shape(), Qt::BlankCursor);
    press(); // without moving
    release();
    QCOMPARE(view().cursor().shape(), Qt::ArrowCursor);
}

QTEST_MAIN(PointerTest)
#include "PointerTest.moc"
