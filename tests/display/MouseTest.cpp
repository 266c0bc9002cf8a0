#include "PointerFixture.h"

#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

// What the mouse does to the slide, the show and the pointer of the system.
class MouseTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QVERIFY(!isPointerHidden()); }

    void aReleaseBringsThePointerBack();
    void leavingTheViewBringsThePointerBack();
    void aDragAfterTheViewWasLeftKeepsThePointer();
    void twoPressesHideThePointerOnce();
    void aDoubleClickIsAPress();
    void hidingAndShowingNeverPileUp();
    void aViewThatGoesShowsThePointer();
    void otherButtonsDoNothing_data();
    void otherButtonsDoNothing();
    void clicksDoNotChangeTheSlide();
    void aReleaseGoesOnToTheWindow();
    void everyPressAndDragPostponesTheNextSlide();
    void withinASecondNothingIsPostponedAgain();
    void allViewsPostponeAsOne();
    void withoutADelegateNothingIsPostponed();
    void aDragWithCommandMovesAnEnlargedSlide_data();
    void aDragWithCommandMovesAnEnlargedSlide();
    void aPressWithCommandOnAnEnlargedSlideShowsTheClosedHand();
    void aDragWithoutCommandDoesNotMoveAnEnlargedSlide();
    void commandDoesNotMoveASlideThatIsNotEnlarged();
    void commandCanBeTakenAndLeftDuringADrag();
    void afterAPanThePointerIsThere();
};

void MouseTest::aReleaseBringsThePointerBack()
{
    PointerFixture fixture;
    fixture.press({20, 20});
    fixture.release({20, 20});
    QVERIFY(!isPointerHidden());
    QCOMPARE(fixture.view->cursor().shape(), Qt::ArrowCursor);
    QCOMPARE(fixture.view->cursorLayer()->opacity(), 0.0);
}

void MouseTest::leavingTheViewBringsThePointerBack()
{
    PointerFixture fixture;
    fixture.press({20, 20});
    fixture.leave();
    QVERIFY(!isPointerHidden());
    QCOMPARE(fixture.view->cursorLayer()->opacity(), 0.0);
}

void MouseTest::aDragAfterTheViewWasLeftKeepsThePointer()
{
    PointerFixture fixture;
    fixture.press({20, 20});
    fixture.leave();
    fixture.drag({-30, 20});
    QVERIFY(!isPointerHidden());
    QCOMPARE(fixture.view->cursorLayer()->opacity(), 0.0);
    fixture.release({-30, 20});
    fixture.press({20, 20}); // from here on as ever
    QVERIFY(isPointerHidden());
    fixture.release({20, 20});
}

void MouseTest::twoPressesHideThePointerOnce()
{
    PointerFixture fixture;
    fixture.press({20, 20});
    fixture.press({30, 20});
    QVERIFY(isPointerHidden());
    fixture.release({30, 20});
    QVERIFY(!isPointerHidden());
}

void MouseTest::aDoubleClickIsAPress()
{
    PointerFixture fixture;
    fixture.press({20, 20});
    fixture.release({20, 20});
    fixture.send(QEvent::MouseButtonDblClick, {20, 20}, Qt::LeftButton, Qt::LeftButton);
    QVERIFY(isPointerHidden());
    QCOMPARE(fixture.view->cursorLayer()->opacity(), 1.0);
    fixture.release({20, 20});
}

void MouseTest::hidingAndShowingNeverPileUp()
{
    KLLayerView::showMouse();
    QVERIFY(!isPointerHidden());
    KLLayerView::hideMouse();
    KLLayerView::hideMouse();
    QVERIFY(isPointerHidden());
    KLLayerView::showMouse();
    QVERIFY(!isPointerHidden());
    KLLayerView::showMouse();
    KLLayerView::hideMouse();
    QVERIFY(isPointerHidden());
    KLLayerView::showMouse();
}

void MouseTest::aViewThatGoesShowsThePointer()
{
    PointerFixture fixture;
    fixture.press({20, 20});
    QVERIFY(isPointerHidden());
    fixture.view.reset();
    QVERIFY(!isPointerHidden());
}

void MouseTest::otherButtonsDoNothing_data()
{
    QTest::addColumn<int>("button");
    QTest::newRow("right") << int(Qt::RightButton);
    QTest::newRow("middle") << int(Qt::MiddleButton);
    QTest::newRow("back") << int(Qt::BackButton);
    QTest::newRow("forward") << int(Qt::ForwardButton);
}

void MouseTest::otherButtonsDoNothing()
{
    QFETCH(int, button);
    const auto other = static_cast<Qt::MouseButton>(button);
    PointerFixture fixture;
    fixture.send(QEvent::MouseButtonPress, {20, 20}, other, other);
    fixture.send(QEvent::MouseMove, {30, 20}, Qt::NoButton, other);
    QVERIFY(!isPointerHidden());
    QCOMPARE(fixture.delegate.delays, 0);
    fixture.press({20, 20});
    fixture.send(QEvent::MouseButtonRelease, {20, 20}, other, Qt::LeftButton);
    QVERIFY(isPointerHidden()); // the left one is still held
    fixture.release({20, 20});
}

void MouseTest::clicksDoNotChangeTheSlide()
{
    PointerFixture fixture;
    fixture.show(quarters({200, 100}));
    const QImage before = fixture.grab();
    const KLImagePtr image = fixture.view->currentImage();
    fixture.press({20, 20});
    fixture.release({20, 20});
    QCOMPARE(fixture.view->currentImage(), image);
    QCOMPARE(fixture.grab(), before);
}

void MouseTest::aReleaseGoesOnToTheWindow()
{
    PointerFixture fixture;
    fixture.press({20, 20});
    QMouseEvent event(QEvent::MouseButtonRelease, QPointF(20, 20), QPointF(20, 20), Qt::LeftButton, {}, {});
    static_cast<QObject*>(fixture.view.get())->event(&event);
    QVERIFY(!event.isAccepted());
}

void MouseTest::everyPressAndDragPostponesTheNextSlide()
{
    PointerFixture fixture;
    fixture.press({20, 20});
    QCOMPARE(fixture.delegate.delays, 1);
    fixture.clock.advance(1001ms);
    fixture.drag({30, 20});
    QCOMPARE(fixture.delegate.delays, 2);
    fixture.clock.advance(1001ms);
    fixture.release({30, 20});
    QCOMPARE(fixture.delegate.delays, 2);
}

void MouseTest::withinASecondNothingIsPostponedAgain()
{
    PointerFixture fixture;
    fixture.view->delaySlideShow();
    for (int i = 0; i < 100; ++i) {
        fixture.clock.advance(10ms);
        fixture.press({20, 20});
        fixture.drag({30, 20});
    }
    QCOMPARE(fixture.delegate.delays, 1); // exactly a second has passed, not more
    fixture.clock.advance(1ms);
    fixture.drag({30, 20});
    QCOMPARE(fixture.delegate.delays, 2);
    fixture.release({30, 20});
}

void MouseTest::allViewsPostponeAsOne()
{
    PointerFixture fixture;
    KLLayerView other(fixture.defaults, fixture.clock);
    CountingDelegate delegate;
    other.setDelegate(&delegate);
    fixture.view->delaySlideShow();
    other.delaySlideShow();
    QCOMPARE(delegate.delays, 0);
    fixture.clock.advance(1001ms);
    other.delaySlideShow();
    QCOMPARE(delegate.delays, 1);
    QCOMPARE(fixture.delegate.delays, 1);
}

void MouseTest::withoutADelegateNothingIsPostponed()
{
    PointerFixture fixture;
    fixture.view->setDelegate(nullptr);
    fixture.press({20, 20});
    QVERIFY(isPointerHidden());
    fixture.release({20, 20});
    QCOMPARE(fixture.delegate.delays, 0);
}

void MouseTest::aDragWithCommandMovesAnEnlargedSlide_data()
{
    QTest::addColumn<int>("modifier");
    QTest::newRow("Control") << int(Qt::ControlModifier);
    QTest::newRow("Meta") << int(Qt::MetaModifier);
    QTest::newRow("Control with another") << int(Qt::ControlModifier | Qt::ShiftModifier);
}

void MouseTest::aDragWithCommandMovesAnEnlargedSlide()
{
    QFETCH(int, modifier);
    const Qt::KeyboardModifiers held(modifier);
    PointerFixture fixture;
    fixture.show(quarters({400, 200}));
    fixture.view->zoomOne();
    fixture.endZoom();
    fixture.press({100, 50}, held);
    fixture.drag({110, 70}, held);
    QCOMPARE(fixture.slidePosition(), QPointF(110, 30)); // with the mouse, which counts from above
    fixture.drag({115, 65}, held);
    QCOMPARE(fixture.slidePosition(), QPointF(115, 35));
    QCOMPARE(fixture.view->cursor().shape(), Qt::ClosedHandCursor);
    QVERIFY(!isPointerHidden());
    QCOMPARE(fixture.colorAt(116, 66), QColor(Qt::white)); // the middle of the picture is where it was dragged to
    QCOMPARE(fixture.colorAt(113, 63), QColor(Qt::red));
    fixture.drag({1000, 1000}, held); // never past its edges
    QCOMPARE(fixture.slidePosition(), QPointF(200, 0));
    fixture.release({1000, 1000});
    QCOMPARE(fixture.view->cursor().shape(), Qt::ArrowCursor);
}

void MouseTest::aPressWithCommandOnAnEnlargedSlideShowsTheClosedHand()
{
    PointerFixture fixture;
    fixture.show(quarters({400, 200}));
    fixture.view->zoomIn();
    fixture.press({100, 50}, Qt::ControlModifier);
    QCOMPARE(fixture.view->cursor().shape(), Qt::ClosedHandCursor);
    QVERIFY(!isPointerHidden());
    QVERIFY(fixture.view->cursorLayer()->contents().isNull());
    QCOMPARE(fixture.delegate.delays, 1);
    fixture.release({100, 50});
    QCOMPARE(fixture.view->cursor().shape(), Qt::ArrowCursor);
}

void MouseTest::aDragWithoutCommandDoesNotMoveAnEnlargedSlide()
{
    PointerFixture fixture;
    fixture.show(quarters({400, 200}));
    fixture.view->zoomOne();
    fixture.endZoom();
    const QPointF position = fixture.slidePosition();
    fixture.press({100, 50}, Qt::ShiftModifier | Qt::AltModifier);
    fixture.drag({110, 70}, Qt::ShiftModifier | Qt::AltModifier);
    QCOMPARE(fixture.slidePosition(), position);
    QVERIFY(isPointerHidden());
    fixture.release({110, 70});
}

void MouseTest::commandDoesNotMoveASlideThatIsNotEnlarged()
{
    PointerFixture fixture;
    fixture.setFitMode(keys::fitModeFill); // larger than the view all the same
    fixture.show(quarters({400, 100}));
    QVERIFY(fixture.view->currentLayer()->bounds().width() > 200);
    const QPointF position = fixture.slidePosition();
    fixture.press({100, 50}, Qt::ControlModifier);
    fixture.drag({110, 70}, Qt::ControlModifier);
    QCOMPARE(fixture.slidePosition(), position);
    QVERIFY(isPointerHidden());
    QCOMPARE(fixture.cursorFrame().topLeft(), QPointF(110, 100 - 70 - 96));
    fixture.release({110, 70});
}

void MouseTest::commandCanBeTakenAndLeftDuringADrag()
{
    PointerFixture fixture;
    fixture.show(quarters({400, 200}));
    fixture.view->zoomOne();
    fixture.endZoom();
    fixture.press({100, 50});
    const QRectF cursor = fixture.cursorFrame();
    fixture.drag({120, 50}, Qt::ControlModifier); // from where the mouse was
    QCOMPARE(fixture.slidePosition(), QPointF(120, 50));
    QCOMPARE(fixture.cursorFrame(), cursor);
    QVERIFY(!isPointerHidden());
    fixture.drag({130, 60});
    QCOMPARE(fixture.slidePosition(), QPointF(120, 50));
    QCOMPARE(fixture.cursorFrame().topLeft(), QPointF(130, 40 - 96));
    QVERIFY(isPointerHidden());
    fixture.drag({131, 60}, Qt::ControlModifier); // only what it has moved since
    QCOMPARE(fixture.slidePosition(), QPointF(121, 50));
    fixture.release({131, 60});
}

void MouseTest::afterAPanThePointerIsThere()
{
    PointerFixture fixture;
    fixture.show(quarters({400, 200}));
    fixture.view->zoomOne();
    fixture.endZoom();
    fixture.press({100, 50}, Qt::ControlModifier);
    fixture.drag({110, 50}); // Control has been left; no picture has been shown
    QVERIFY(!isPointerHidden());
    QCOMPARE(fixture.view->cursor().shape(), Qt::ArrowCursor);
    fixture.release({110, 50});
}

QTEST_MAIN(MouseTest)
#include "MouseTest.moc"
