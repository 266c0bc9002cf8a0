#include "TransitionRows.h"
#include "ViewFixture.h"

#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

const QSize viewSize(200, 100);

// A view that shows red, and is about to show green.
struct TwoSlides : ViewFixture
{
    explicit TwoSlides(const QString& title) : ViewFixture(viewSize)
    {
        setTransition(title);
        show(solid(viewSize, Qt::red));
    }
    void next(bool forward = true) { show(solid(viewSize, Qt::green), forward); }
    QColor middle() const { return colorAt(100, 50); }
};

} // namespace

class TransitionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void crossFadeByItsDuration_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<int>("milliseconds");
        QTest::addColumn<bool>("forward");
        QTest::newRow("cross fade forward") << QStringLiteral("Cross Fade") << 1000 << true;
        QTest::newRow("cross fade backward") << QStringLiteral("Cross Fade") << 1000 << false;
        QTest::newRow("fast cross fade forward") << QStringLiteral("Fast Cross Fade") << 200 << true;
        QTest::newRow("fast cross fade backward") << QStringLiteral("Fast Cross Fade") << 200 << false;
    }
    void crossFadeByItsDuration()
    {
        QFETCH(QString, title);
        QFETCH(int, milliseconds);
        QFETCH(bool, forward);
        const Duration duration = std::chrono::milliseconds(milliseconds);
        TwoSlides slides(title);
        slides.next(forward);
        QVERIFY(slides.view->isBusy());
        QVERIFY(isNear(slides.middle(), QColor(255, 0, 0)));
        slides.clock.advance(duration / 4);
        QVERIFY(isNear(slides.middle(), QColor(191, 16, 0)));
        slides.clock.advance(duration / 4);
        // Half of the old slide, and of what is left, half of the new one.
        QVERIFY(isNear(slides.middle(), QColor(128, 64, 0)));
        slides.clock.advance(duration / 4);
        QVERIFY(isNear(slides.middle(), QColor(64, 143, 0)));
        slides.clock.advance(duration / 4 - 1ns);
        QVERIFY(slides.view->isBusy());
        slides.clock.advance(1ns);
        QVERIFY(!slides.view->isBusy());
        QCOMPARE(slides.middle(), QColor(0, 255, 0));
        QCOMPARE(slides.clock.pendingAlarms(), size_t(0));
    }

    void crossFadeLeavesTheLayersRight()
    {
        TwoSlides slides(QStringLiteral("Cross Fade"));
        slides.next();
        const KLLayerView& view = *slides.view;
        const QString key = QStringLiteral("transition");
        QVERIFY(view.previousLayer()->animation(key));
        QCOMPARE(view.previousLayer()->animation(key), view.currentLayer()->animation(key));
        QCOMPARE(view.previousLayer()->zPosition(), 1.0);
        QCOMPARE(view.currentLayer()->zPosition(), 0.0);
        QCOMPARE(view.previousLayer()->opacity(), 0.0);
        QCOMPARE(view.currentLayer()->opacity(), 1.0);
        QCOMPARE(view.backgroundLayer()->sublayers(),
            (std::vector{view.currentLayer(), view.previousLayer(), view.cursorLayer()}));
        slides.clock.advance(1s);
        QVERIFY(view.previousLayer()->runs().empty());
        QVERIFY(view.currentLayer()->runs().empty());
    }

    void crossFadeKeepsThePlacesOfBothSlides()
    {
        ViewFixture fixture(viewSize);
        fixture.setTransition(QStringLiteral("Cross Fade"));
        fixture.show(solid({40, 100}, Qt::red)); // a tall one, then a wide one
        fixture.show(solid({200, 20}, Qt::green));
        fixture.clock.advance(500ms);
        const QImage image = fixture.grab();
        QVERIFY(isNear(image.pixelColor(100, 50), QColor(128, 64, 0)));
        QVERIFY(isNear(image.pixelColor(100, 5), QColor(128, 0, 0)));
        QVERIFY(isNear(image.pixelColor(5, 50), QColor(0, 128, 0)));
        QVERIFY(isNear(image.pixelColor(5, 5), QColor(0, 0, 0)));
    }

    void crossFadeIsOverInOneJump()
    {
        TwoSlides slides(QStringLiteral("Cross Fade"));
        slides.next();
        slides.clock.jump(10s);
        slides.clock.advance(0s);
        QVERIFY(!slides.view->isBusy());
        QCOMPARE(slides.middle(), QColor(0, 255, 0));
    }

    void busyBeginsAndEndsBetweenEvents()
    {
        TwoSlides slides(QStringLiteral("Cross Fade"));
        slides.view->setImage(KLImage::imageWithImage(solid(viewSize, Qt::green)), true);
        QVERIFY(!slides.view->isBusy());
        QCoreApplication::processEvents();
        QVERIFY(slides.view->isBusy());
    }

    void busyBeginsBeforeTheNextKey()
    {
        TwoSlides slides(QStringLiteral("Cross Fade"));
        slides.view->setImage(KLImage::imageWithImage(solid(viewSize, Qt::green)), true);
        QTest::keyClick(slides.view.get(), Qt::Key_Right);
        QVERIFY(slides.view->isBusy());
    }

    void busyEndsThoughTheViewIsHidden()
    {
        TwoSlides slides(QStringLiteral("Cross Fade"));
        slides.view->hide();
        slides.next();
        QVERIFY(slides.view->isBusy());
        slides.clock.advance(1s);
        QVERIFY(!slides.view->isBusy());
    }

    void noneChangesAtOnceAndIsNeverBusy()
    {
        for (const bool forward : {true, false}) {
            TwoSlides slides(QStringLiteral("None"));
            slides.next(forward);
            QVERIFY(!slides.view->isBusy());
            QVERIFY(!slides.view->compositor().isMoving());
            QCOMPARE(slides.middle(), QColor(0, 255, 0));
            QCOMPARE(slides.view->previousLayer()->opacity(), 0.0);
            QCOMPARE(slides.view->currentLayer()->opacity(), 1.0);
        }
    }

    void unknownNameLeavesTheOldSlide_data()
    {
        QTest::addColumn<QString>("title");
        QTest::newRow("unknown") << QStringLiteral("Dissolve");
        QTest::newRow("other case") << QStringLiteral("cross fade");
        QTest::newRow("trailing space") << QStringLiteral("Cross Fade ");
        QTest::newRow("empty") << QString();
    }
    void unknownNameLeavesTheOldSlide()
    {
        QFETCH(QString, title);
        TwoSlides slides(title);
        const LayerPtr next = slides.view->previousLayer();
        const double opacity = next->opacity();
        slides.next();
        QVERIFY(slides.view->ImageOK());
        QVERIFY(!slides.view->isBusy());
        QCOMPARE(slides.view->currentLayer(), next);
        QCOMPARE(next->opacity(), opacity);
        QCOMPARE(slides.view->previousLayer()->opacity(), 1.0);
        QCOMPARE(slides.middle(), QColor(255, 0, 0));
    }

    void absentNameLeavesTheOldSlide()
    {
        ViewFixture fixture(viewSize);
        fixture.show(solid(viewSize, Qt::red));
        fixture.show(solid(viewSize, Qt::green));
        QVERIFY(!fixture.view->isBusy());
        QCOMPARE(fixture.colorAt(100, 50), QColor(255, 0, 0));
    }

    void everyTitleThatMayBeStoredShowsTheNextSlide_data()
    {
        QTest::addColumn<QString>("title");
        for (const char* title : {"None", "Cross Fade", "Fast Cross Fade", "Flip", "Slide", "Rotate Left Right",
                 "Rotate Left", "Shrink", "Expand", "Bar Swipe", "Swipe", "Mod", "All", "Test"}) {
            QTest::newRow(title) << QString::fromLatin1(title);
        }
    }
    void everyTitleThatMayBeStoredShowsTheNextSlide()
    {
        QFETCH(QString, title);
        for (const bool forward : {true, false}) {
            TwoSlides slides(title);
            slides.next(forward);
            slides.clock.advance(3s);
            QVERIFY(!slides.view->isBusy());
            QCOMPARE(slides.middle(), QColor(0, 255, 0));
        }
    }

    void transitionFromAnEnlargedSlideRunsItsTime_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<double>("seconds");
        for (const TransitionRow& row : transitionRows) {
            QTest::newRow(row.title) << QString::fromLatin1(row.title) << row.seconds;
        }
    }
    void transitionFromAnEnlargedSlideRunsItsTime()
    {
        QFETCH(QString, title);
        QFETCH(double, seconds);
        TwoSlides slides(title);
        slides.view->zoomIn();
        slides.clock.advance(1s);
        QVERIFY(!slides.view->isBusy());
        slides.view->zoomOff(); // as the view does it before the next slide, in the same turn
        slides.next();
        slides.clock.advance(durationFromSeconds(seconds) - 1ns);
        QVERIFY(slides.view->isBusy());
        slides.clock.advance(1ns);
        QVERIFY(!slides.view->isBusy());
        slides.clock.advance(1s);
        QCOMPARE(slides.middle(), QColor(0, 255, 0));
        QCOMPARE(slides.clock.pendingAlarms(), size_t(0));
    }

    void slidesWithoutAViewToStandInHaveZeroFrames()
    {
        for (const TransitionRow& row : transitionRows) {
            for (const bool forward : {true, false}) {
                ViewFixture fixture(QSize(0, 0));
                fixture.setTransition(QString::fromLatin1(row.title));
                fixture.show(solid({10, 10}, Qt::red));
                fixture.show(solid({10, 10}, Qt::green), forward);
                fixture.clock.advance(3s);
                QVERIFY(!fixture.view->isBusy());
            }
        }
    }

    void clearingInTheMiddleOfAnyTransitionEndsInBlack()
    {
        for (const TransitionRow& row : transitionRows) {
            TwoSlides slides(QString::fromLatin1(row.title));
            slides.next();
            slides.clock.advanceSeconds(row.seconds / 2);
            slides.view->clearImage();
            slides.clock.advance(2s);
            QVERIFY(!slides.view->isBusy());
            QCOMPARE(slides.grab(), solid(viewSize, Qt::black));
        }
    }

    void resizingInTheMiddleOfAnyTransitionEndsWithTheSlideInItsFrame()
    {
        for (const TransitionRow& row : transitionRows) {
            TwoSlides slides(QString::fromLatin1(row.title));
            slides.next();
            slides.clock.advanceSeconds(row.seconds / 2);
            slides.view->resize(100, 50);
            slides.view->refresh();
            slides.grab();
            slides.clock.advance(2s);
            QVERIFY(!slides.view->isBusy());
            QCOMPARE(slides.grab(), solid({100, 50}, Qt::green));
        }
    }

    void titleIsReadAtEverySlide()
    {
        TwoSlides slides(QStringLiteral("None"));
        slides.setTransition(QStringLiteral("Cross Fade"));
        slides.next();
        QVERIFY(slides.view->isBusy());
    }

    void anyEndOfAnAnimationEndsBusyAndHidesThePreviousSlide_data()
    {
        QTest::addColumn<bool>("finished");
        QTest::newRow("finished") << true;
        QTest::newRow("not finished") << false;
    }
    void anyEndOfAnAnimationEndsBusyAndHidesThePreviousSlide()
    {
        QFETCH(bool, finished);
        TwoSlides slides(QStringLiteral("Cross Fade"));
        slides.next();
        slides.view->previousLayer()->setOpacity(1.0);
        slides.view->animationDidStop(slides.view->currentLayer()->animation(QStringLiteral("transition")), finished);
        QVERIFY(!slides.view->isBusy());
        QCOMPARE(slides.view->previousLayer()->opacity(), 0.0);
    }

    void clearingWhileFadingEndsInBlack()
    {
        TwoSlides slides(QStringLiteral("Cross Fade"));
        slides.next();
        slides.clock.advance(500ms);
        slides.view->clearImage();
        slides.clock.advance(500ms);
        QVERIFY(!slides.view->isBusy());
        QCOMPARE(slides.grab(), solid(viewSize, Qt::black));
    }
};

QTEST_MAIN(TransitionsTest)
#include "TransitionsTest.moc"
