// The transitions that mix or push whole drawings: what they put on the layers, and what is seen of it.
#include "ViewFixture.h"

#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

const QSize viewSize(200, 100);
const QString key = QStringLiteral("transition");

} // namespace

class FilterTransitionsTest : public QObject
{
    Q_OBJECT

    struct TwoSlides : ViewFixture
    {
        explicit TwoSlides(const QString& title, bool forward = true) : ViewFixture(viewSize)
        {
            setTransition(title);
            show(solid(viewSize, Qt::red));
            show(solid(viewSize, Qt::green), forward);
        }
        const LayerPtr& from() const { return view->previousLayer(); }
        const LayerPtr& to() const { return view->currentLayer(); }
    };

    static void rows()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("filter");
        QTest::addColumn<int>("milliseconds");
        QTest::addColumn<bool>("onBoth");
        QTest::addColumn<QRectF>("extent");
        const auto add
            = [](const char* title, const char* filter, int milliseconds, bool onBoth, const QRectF& extent) {
                  QTest::newRow(title) << QString::fromLatin1(title) << QString::fromLatin1(filter) << milliseconds
                                       << onBoth << extent;
              };
        add("Bar Swipe", "CIBarsSwipeTransition", 600, false, QRectF());
        add("Mod", "CIModTransition", 700, true, QRectF());
        add("Swipe", "CISwipeTransition", 400, false, QRectF(0, 0, 200, 100));
        add("Test", "CISwipeTransition", 400, false, QRectF(0, 0, 200, 100));
    }

private Q_SLOTS:
    void layersOfAFilterTransition_data() { rows(); }
    void layersOfAFilterTransition()
    {
        QFETCH(QString, title);
        QFETCH(QString, filter);
        QFETCH(int, milliseconds);
        QFETCH(bool, onBoth);
        QFETCH(QRectF, extent);
        for (const bool forward : {true, false}) {
            TwoSlides slides(title, forward);
            const AnimationPtr animation = slides.from()->animation(key);
            QVERIFY(animation);
            QCOMPARE(slides.to()->animation(key), onBoth ? animation : nullptr);
            QCOMPARE(animation->duration, Duration(std::chrono::milliseconds(milliseconds)));
            QCOMPARE(animation->curve, Curve::Linear);
            QCOMPARE(animation->delegate.get(), static_cast<AnimationDelegate*>(slides.view.get()));
            const auto& effect = std::get<TransitionEffect>(animation->effect);
            QCOMPARE(effect.kind, TransitionEffect::Kind::Filter);
            QCOMPARE(effect.filterName, filter);
            QCOMPARE(effect.inputExtent, extent);
            QCOMPARE(effect.startProgress, 0.0);
            QCOMPARE(effect.endProgress, 1.0);
            QCOMPARE(slides.from()->opacity(), 0.0);
            QCOMPARE(slides.to()->opacity(), 1.0);
            QCOMPARE(slides.from()->zPosition(), 0.0);
            QCOMPARE(slides.to()->zPosition(), 0.0);
            QCOMPARE(slides.view->backgroundLayer()->sublayers(),
                (std::vector{slides.to(), slides.from(), slides.view->cursorLayer()}));
        }
    }

    void filterTransitionLeadsFromOneSlideToTheOther_data() { rows(); }
    void filterTransitionLeadsFromOneSlideToTheOther()
    {
        QFETCH(QString, title);
        QFETCH(int, milliseconds);
        const Duration duration = std::chrono::milliseconds(milliseconds);
        TwoSlides slides(title);
        const auto greenShare = [&] {
            const QImage image = slides.grab();
            double green = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    green += image.pixelColor(x, y).greenF() / image.width() / image.height();
                }
            }
            return green;
        };
        QCOMPARE(slides.grab().convertToFormat(QImage::Format_RGB32), solid(viewSize, Qt::red));
        double last = 0;
        for (int step = 1; step < 10; ++step) {
            slides.clock.advance(duration / 10);
            const double share = greenShare();
            QVERIFY(share >= last);
            last = share;
        }
        QVERIFY(slides.view->isBusy());
        slides.clock.advance(duration / 10);
        QVERIFY(!slides.view->isBusy());
        QCOMPARE(slides.grab().convertToFormat(QImage::Format_RGB32), solid(viewSize, Qt::green));
        QVERIFY(last > 0.5 && last < 1.001);
    }

    void zPositionsOfAnEarlierTransitionDoNotStay_data() { rows(); }
    void zPositionsOfAnEarlierTransitionDoNotStay()
    {
        QFETCH(QString, title);
        TwoSlides slides(QStringLiteral("Flip"));
        slides.clock.advance(1s);
        slides.setTransition(title);
        slides.show(solid(viewSize, Qt::blue));
        QCOMPARE(slides.to()->zPosition(), 0.0); // had been in front of everything
        QCOMPARE(slides.grab().convertToFormat(QImage::Format_RGB32), solid(viewSize, Qt::green));
    }

    void pushMovesTheNewSlideInFromTheRight()
    {
        ViewFixture fixture(viewSize);
        fixture.setTransition(QStringLiteral("None"));
        fixture.show(solid(viewSize, Qt::red));
        fixture.show(solid(viewSize, Qt::green));
        KLLayerView& view = *fixture.view;
        view.transitionPush_BuildIn(view.previousLayer(), view.currentLayer());
        view.compositor().deliverPending();
        QVERIFY(view.isBusy());
        const AnimationPtr animation = view.currentLayer()->animation(key);
        QVERIFY(animation);
        QCOMPARE(view.previousLayer()->animation(key), animation);
        QCOMPARE(animation->duration, Duration(1s));
        QCOMPARE(std::get<TransitionEffect>(animation->effect).kind, TransitionEffect::Kind::PushFromRight);
        QCOMPARE(view.previousLayer()->opacity(), 0.0);
        QCOMPARE(view.currentLayer()->opacity(), 1.0);
        QCOMPARE(view.previousLayer()->zPosition(), 0.0);
        QCOMPARE(view.currentLayer()->zPosition(), 0.0);
        QCOMPARE(view.backgroundLayer()->sublayers(),
            (std::vector{view.previousLayer(), view.currentLayer(), view.cursorLayer()}));
        fixture.clock.advance(1s);
        QVERIFY(!view.isBusy());
        QCOMPARE(fixture.colorAt(100, 50), QColor(0, 255, 0));
    }

    void pushLeavesToTheLeft()
    {
        ViewFixture fixture(viewSize);
        fixture.setTransition(QStringLiteral("None"));
        fixture.show(solid(viewSize, Qt::red));
        fixture.show(quarters(viewSize));
        KLLayerView& view = *fixture.view;
        view.transitionPush_BuildIn(view.previousLayer(), view.currentLayer());
        fixture.clock.advance(250ms);
        // The new slide was in full view when it was pushed, and so is pushed by itself.
        const QImage image = fixture.grab();
        QVERIFY(isNear(image.pixelColor(40, 20), Qt::red));
        QVERIFY(isNear(image.pixelColor(60, 20), Qt::green));
        QVERIFY(isNear(image.pixelColor(140, 20), Qt::green));
        QVERIFY(isNear(image.pixelColor(160, 20), Qt::red));
    }

    void theTestIsASwipe()
    {
        TwoSlides test(QStringLiteral("Test"));
        TwoSlides swipe(QStringLiteral("Swipe"));
        for (int step = 0; step < 5; ++step) {
            QCOMPARE(test.grab(), swipe.grab());
            test.clock.advance(90ms);
            swipe.clock.advance(90ms);
        }
    }
};

QTEST_MAIN(FilterTransitionsTest)
#include "FilterTransitionsTest.moc"
