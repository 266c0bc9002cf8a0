#include "MovieControls.h"

#include "MoviePlayerView.h"
#include "PlayedMovies.h"
#include "ViewFixture.h"

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QtTest>

using namespace frameflow;
using namespace std::chrono_literals;

// The floating controls of a movie, used as a person does.
class MovieControlsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void theyComeWithThePointerAndGoAfterAMoment();
    void aPointerThatDoesNotMoveDoesNotBringThem();
    void theyStayWhileSomethingIsDragged();
    void theyGoWithTheMovie();
    void tabLeadsToThemAndEscapeBack();
    void theyHandTheKeyboardBackWhenTheyGo();
    void aClickLeavesTheKeyboardToTheSlide();
    void everyControlHasANameAndARole();
    void playAndPauseSayWhatTheyDo();
    void theySayWhereTheMovieStands();
    void theKeysOfThePositionSeek();
    void thePageKeysOfThePositionSeek();
    void theWheelOverThePositionSeeks();
    void notchesOfTheWheelAddUpWhileTheMovieIsOnItsWay();
    void theWheelOverASliderNeverReachesTheSlide();
    void aPressOnThePositionGoesThere();
    void draggingBehindTheEndDoesNotEndTheMovie();
    void singleFrames();
    void loudnessIsKeptFromMovieToMovie();
    void whatAMovieLacksHasNoControl();
    void whatThereIsNoRoomForIsLeftOut_data();
    void whatThereIsNoRoomForIsLeftOut();
    void aMovieOfUnknownLengthCannotBeSought();
    void timeTexts_data();
    void timeTexts();

private:
    KLLayerView& view() const { return *mFixture->view; }
    MovieControls& controls() const { return *view().moviePlayerView()->controls(); }
    template <typename Widget>
    Widget* control(const QString& name) const
    {
        for (Widget* widget : controls().findChildren<Widget*>()) {
            if (widget->accessibleName() == name) {
                return widget;
            }
        }
        return nullptr;
    }
    MovieSlider& position() const { return *control<MovieSlider>(QStringLiteral("Position")); }
    void show(const QByteArray& name) const { view().showMovie(playerFor(mFiles->folder().urlOf(name)), true); }
    void showStill(const QByteArray& name) const
    {
        show(name);
        view().moviePlayer()->pause();
        QVERIFY(QTest::qWaitFor([this] { return !view().moviePlayer()->frame().isNull(); }, 10000));
    }
    // False when the slider leaves it to others.
    static bool turnWheel(QWidget& over, const QPoint& angle)
    {
        const QPointF at = over.rect().center();
        QWheelEvent event(
            at, over.mapToGlobal(at), QPoint(), angle, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&over, &event);
        return event.isAccepted();
    }
    void movePointerTo(const QPoint& point) const
    {
        QMouseEvent move(QEvent::MouseMove, point, view().mapToGlobal(point), Qt::NoButton, Qt::NoButton, {});
        QApplication::sendEvent(&view(), &move);
    }

    std::unique_ptr<MovieFiles> mFiles;
    std::unique_ptr<ViewFixture> mFixture;
};

void MovieControlsTest::initTestCase()
{
    mFiles = std::make_unique<MovieFiles>();
    QVERIFY(
        mFiles->make("long.mp4", MovieFiles::numbers() + ' ' + MovieFiles::sound() + " -c:v libx264 -g 25 -c:a aac"));
    QVERIFY(mFiles->make("silent.mkv", MovieFiles::numbers() + " -c:v ffv1 -t 2"));
    QVERIFY(mFiles->make("sound.mp3", MovieFiles::sound() + " -t 2"));
}

void MovieControlsTest::init()
{
    mFixture = std::make_unique<ViewFixture>(QSize(900, 500));
    QVERIFY(mFixture->activate());
}

void MovieControlsTest::cleanup()
{
    mFixture.reset();
    QVERIFY(MovieEngine::waitForThreads(10s));
}

void MovieControlsTest::theyComeWithThePointerAndGoAfterAMoment()
{
    show("long.mp4");
    QVERIFY(!controls().isRevealed() && controls().isHidden());
    QSignalSpy rested(&view(), &KLLayerView::pointerRested);
    movePointerTo({100, 100});
    QVERIFY(controls().isRevealed() && !controls().isHidden());
    mFixture->clock.advance(2900ms);
    QVERIFY(controls().isRevealed());
    movePointerTo({101, 100});
    mFixture->clock.advance(2900ms);
    QVERIFY(controls().isRevealed());
    QCOMPARE(rested.count(), 0);
    mFixture->clock.advance(200ms);
    QVERIFY(!controls().isRevealed());
    QCOMPARE(rested.count(), 1);
    QTRY_VERIFY(controls().isHidden()); // faded out
    movePointerTo({100, 100});
    QVERIFY(controls().isRevealed());
    QTRY_COMPARE(fadeOf(position()), 1.0);
}

void MovieControlsTest::aPointerThatDoesNotMoveDoesNotBringThem()
{
    show("long.mp4");
    movePointerTo(view().mapFromGlobal(QCursor::pos()));
    QVERIFY(!controls().isRevealed());
}

void MovieControlsTest::theyStayWhileSomethingIsDragged()
{
    show("long.mp4");
    controls().reveal();
    position().setSliderDown(true);
    mFixture->clock.advance(10s);
    QVERIFY(controls().isRevealed());
    position().setSliderDown(false);
    mFixture->clock.advance(3s);
    QVERIFY(!controls().isRevealed());
}

void MovieControlsTest::theyGoWithTheMovie()
{
    show("long.mp4");
    controls().reveal();
    mFixture->show(solid({20, 20}, Qt::red));
    QVERIFY(!controls().isRevealed());
    QTRY_VERIFY(controls().isHidden());
    movePointerTo({200, 100});
    controls().reveal();
    QVERIFY(!controls().isRevealed()); // there is nothing to control
}

void MovieControlsTest::tabLeadsToThemAndEscapeBack()
{
    show("long.mp4");
    QTest::keyClick(&view(), Qt::Key_Tab);
    QVERIFY(controls().isRevealed());
    QList<QWidget*> seen;
    for (int i = 0; i < 6; ++i) {
        QWidget* const focused = QApplication::focusWidget();
        QVERIFY(focused != nullptr && controls().isAncestorOf(focused));
        QVERIFY(!seen.contains(focused));
        seen.append(focused);
        QTest::keyClick(focused, Qt::Key_Tab);
    }
    QCOMPARE(seen.size(), 6); // steps and play, position, mute and volume
    control<MovieButton>(QStringLiteral("Pause"))->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    QVERIFY(!controls().isRevealed());
    QVERIFY(view().hasFocus());
    QTest::keyClick(&view(), Qt::Key_Backtab);
    QCOMPARE(QApplication::focusWidget()->accessibleName(), QStringLiteral("Volume"));
}

void MovieControlsTest::theyHandTheKeyboardBackWhenTheyGo()
{
    show("long.mp4");
    QTest::keyClick(&view(), Qt::Key_Tab);
    mFixture->clock.advance(2s);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab); // whoever uses them keeps them
    mFixture->clock.advance(2s);
    QVERIFY(controls().isRevealed());
    mFixture->clock.advance(2s);
    QVERIFY(!controls().isRevealed());
    QVERIFY(view().hasFocus());
    QTest::keyClick(&view(), Qt::Key_Tab);
    QVERIFY(!view().hasFocus());
    mFixture->show(solid({20, 20}, Qt::red)); // the movie is over
    QVERIFY(view().hasFocus());
}

void MovieControlsTest::aClickLeavesTheKeyboardToTheSlide()
{
    show("long.mp4");
    controls().reveal();
    QTest::mouseClick(control<MovieButton>(QStringLiteral("Pause")), Qt::LeftButton);
    QVERIFY(!view().moviePlayer()->isPlaying());
    QVERIFY(view().hasFocus());
}

void MovieControlsTest::everyControlHasANameAndARole()
{
    show("long.mp4");
    controls().reveal();
    QVERIFY(!controls().accessibleName().isEmpty());
    QStringList names;
    for (QWidget* widget : controls().findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        QAccessibleInterface* const accessible = QAccessible::queryAccessibleInterface(widget);
        QVERIFY(accessible != nullptr);
        const QString name = widget->accessibleName();
        QVERIFY2(!name.isEmpty(), widget->metaObject()->className());
        const QAccessible::Role role = accessible->role();
        QVERIFY2(role == QAccessible::Button || role == QAccessible::Slider || role == QAccessible::StaticText,
            qPrintable(name));
        names.append(name);
    }
    QCOMPARE(names.size(), 8);
    QCOMPARE(QSet<QString>(names.begin(), names.end()).size(), 8);
}

void MovieControlsTest::playAndPauseSayWhatTheyDo()
{
    show("long.mp4");
    controls().reveal();
    auto* const button = control<MovieButton>(QStringLiteral("Pause"));
    QVERIFY(button != nullptr);
    QCOMPARE(button->glyph(), MovieGlyph::Pause);
    button->click();
    QVERIFY(!view().moviePlayer()->isPlaying());
    QCOMPARE(button->accessibleName(), QStringLiteral("Play"));
    QCOMPARE(button->glyph(), MovieGlyph::Play);
    view().moviePlayer()->play(); // by another way
    QCOMPARE(button->accessibleName(), QStringLiteral("Pause"));
}

void MovieControlsTest::theySayWhereTheMovieStands()
{
    showStill("long.mp4");
    controls().reveal();
    QTRY_COMPARE(position().maximum() / 100, 100);
    view().moviePlayer()->seek(4, MovieEngine::Seek::Exact);
    QTRY_COMPARE(position().value() / 100, 40);
    QCOMPARE(control<QLabel>(QStringLiteral("Elapsed Time"))->text(), QStringLiteral("0:04"));
    QCOMPARE(control<QLabel>(QStringLiteral("Time Left"))->text(), QStringLiteral("\u22120:06"));
    // While it plays they look by themselves.
    view().moviePlayer()->play();
    QTRY_VERIFY(view().moviePlayer()->position() > 4.3);
    mFixture->clock.advance(200ms);
    QVERIFY(position().value() > 4250);
    // Hidden ones do not.
    controls().conceal();
    QTRY_VERIFY(controls().isHidden());
    QCOMPARE(mFixture->clock.pendingAlarms(), size_t(0));
}

void MovieControlsTest::theKeysOfThePositionSeek()
{
    showStill("long.mp4");
    controls().reveal();
    QTRY_VERIFY(position().maximum() > 9000);
    PlayerLog log(view().moviePlayer());
    QTest::keyClick(&position(), Qt::Key_Right);
    QVERIFY(log.waitForNumber(125));
    QTest::keyClick(&position(), Qt::Key_Right);
    QTRY_VERIFY(log.numbers.last() >= 248); // almost its end
    QTest::keyClick(&position(), Qt::Key_Home);
    QVERIFY(log.waitForNumber(0));
    QCOMPARE(log.ended, 0);
}

void MovieControlsTest::thePageKeysOfThePositionSeek()
{
    showStill("long.mp4");
    controls().reveal();
    QTRY_VERIFY(position().maximum() > 9000);
    PlayerLog log(view().moviePlayer());
    QTest::keyClick(&position(), Qt::Key_PageUp);
    QTRY_VERIFY(!log.numbers.isEmpty() && log.numbers.last() >= 248); // a page is longer than the movie
    QTest::keyClick(&position(), Qt::Key_PageDown);
    QVERIFY(log.waitForNumber(0));
    QTest::keyClick(&position(), Qt::Key_Up);
    QVERIFY(log.waitForNumber(125));
    QTest::keyClick(&position(), Qt::Key_Left);
    QVERIFY(log.waitForNumber(0));
}

void MovieControlsTest::theWheelOverThePositionSeeks()
{
    showStill("long.mp4");
    controls().reveal();
    QTRY_VERIFY(position().maximum() > 9000);
    PlayerLog log(view().moviePlayer());
    turnWheel(position(), {0, 120});
    QCOMPARE(position().value(), 5000);
    QCOMPARE(control<QLabel>(QStringLiteral("Elapsed Time"))->text(), QStringLiteral("0:05"));
    QVERIFY(log.waitForNumber(125));
    turnWheel(position(), {0, -60}); // half a notch, as finer wheels give it
    QTRY_VERIFY(!log.numbers.isEmpty() && qAbs(log.numbers.last() - 62) <= 1);
    turnWheel(position(), {-120, 0});
    QTRY_VERIFY(qAbs(log.numbers.last() - 187) <= 1);
    turnWheel(position(), {0, -2400});
    QVERIFY(log.waitForNumber(0));
    QVERIFY(!view().moviePlayer()->isPlaying());
}

void MovieControlsTest::notchesOfTheWheelAddUpWhileTheMovieIsOnItsWay()
{
    showStill("long.mp4");
    controls().reveal();
    QTRY_VERIFY(position().maximum() > 9000);
    PlayerLog log(view().moviePlayer());
    for (int i = 0; i < 4; ++i) {
        turnWheel(position(), {0, 60});
        Q_EMIT view().moviePlayer()->frameChanged(); // one from before
    }
    QTRY_VERIFY(log.numbers.last() >= 248);
    mFixture->clock.advance(1s);
    Q_EMIT view().moviePlayer()->frameChanged();
    QVERIFY(position().value() > 9800);
}

void MovieControlsTest::theWheelOverASliderNeverReachesTheSlide()
{
    showStill("long.mp4");
    controls().reveal();
    QTRY_VERIFY(position().maximum() > 9000);
    QVERIFY(turnWheel(position(), {0, -120})); // it is at its start already
    auto* const volume = control<MovieSlider>(QStringLiteral("Volume"));
    QVERIFY(turnWheel(*volume, {0, 120}));
    QCOMPARE(volume->value(), 100);
    for (int i = 0; i < 12; ++i) {
        QVERIFY(turnWheel(*volume, {0, -10}));
    }
    QCOMPARE(volume->value(), 95);
}

void MovieControlsTest::aPressOnThePositionGoesThere()
{
    showStill("long.mp4");
    controls().reveal();
    QCoreApplication::processEvents();
    QTRY_VERIFY(position().maximum() > 9000);
    PlayerLog log(view().moviePlayer());
    QTest::mouseClick(&position(), Qt::LeftButton, {}, position().rect().center());
    QTRY_VERIFY(!log.numbers.isEmpty() && qAbs(log.numbers.last() - 125) < 5);
    QVERIFY(!view().moviePlayer()->isPlaying());
    QTest::mouseClick(&position(), Qt::LeftButton, {}, QPoint(0, 5));
    QVERIFY(log.waitForNumber(0));
}

void MovieControlsTest::draggingBehindTheEndDoesNotEndTheMovie()
{
    show("long.mp4");
    controls().reveal();
    QCoreApplication::processEvents();
    QTRY_VERIFY(position().maximum() > 9000);
    QTRY_VERIFY(view().moviePlayer()->position() > 0);
    PlayerLog log(view().moviePlayer());
    const QPoint end(position().width() - 1, 5);
    QTest::mousePress(&position(), Qt::LeftButton, {}, position().rect().center());
    QMouseEvent move(QEvent::MouseMove, end, position().mapToGlobal(end), Qt::NoButton, Qt::LeftButton, {});
    QApplication::sendEvent(&position(), &move);
    QTRY_VERIFY(!log.numbers.isEmpty() && log.numbers.last() > 200);
    QCOMPARE(log.ended, 0);
    QVERIFY(view().moviePlayer()->isPlaying());
    QTest::mouseRelease(&position(), Qt::LeftButton, {}, end);
    QTRY_COMPARE_WITH_TIMEOUT(log.ended, 1, 10000); // it played on from there
}

void MovieControlsTest::singleFrames()
{
    showStill("long.mp4");
    controls().reveal();
    PlayerLog log(view().moviePlayer());
    control<MovieButton>(QStringLiteral("One Frame On"))->click();
    QVERIFY(log.waitForNumber(1));
    control<MovieButton>(QStringLiteral("One Frame On"))->click();
    QVERIFY(log.waitForNumber(2));
    control<MovieButton>(QStringLiteral("One Frame Back"))->click();
    QVERIFY(log.waitForNumber(1));
}

void MovieControlsTest::loudnessIsKeptFromMovieToMovie()
{
    show("long.mp4");
    controls().reveal();
    auto* const volume = control<MovieSlider>(QStringLiteral("Volume"));
    QCOMPARE(volume->value(), 100);
    QTest::keyClick(volume, Qt::Key_Left);
    QCOMPARE(volume->value(), 95);
    auto* const mute = control<MovieButton>(QStringLiteral("Mute"));
    mute->click();
    QCOMPARE(mute->glyph(), MovieGlyph::Silence);
    QCOMPARE(mute->accessibleName(), QStringLiteral("Turn Sound On"));
    mFixture->show(solid({20, 20}, Qt::red));
    show("sound.mp3");
    controls().reveal();
    QCOMPARE(volume->value(), 95);
    QCOMPARE(mute->glyph(), MovieGlyph::Silence);
    QTest::keyClick(volume, Qt::Key_Right); // whoever turns it up wants to hear it
    QCOMPARE(mute->glyph(), MovieGlyph::Sound);
    volume->setValue(0);
    QCOMPARE(mute->glyph(), MovieGlyph::Silence);
}

void MovieControlsTest::whatAMovieLacksHasNoControl()
{
    show("silent.mkv");
    controls().reveal();
    QVERIFY(!control<MovieButton>(QStringLiteral("Mute"))->isVisible());
    QVERIFY(!control<MovieSlider>(QStringLiteral("Volume"))->isVisible());
    QVERIFY(control<MovieButton>(QStringLiteral("One Frame On"))->isVisible());
    show("sound.mp3");
    QVERIFY(control<MovieButton>(QStringLiteral("Mute"))->isVisible());
    QVERIFY(!control<MovieButton>(QStringLiteral("One Frame On"))->isVisible());
    QVERIFY(!control<MovieButton>(QStringLiteral("One Frame Back"))->isVisible());
}

void MovieControlsTest::whatThereIsNoRoomForIsLeftOut_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("shown");
    QTest::newRow("wide") << QSize(900, 500) << 8;
    QTest::newRow("narrow") << QSize(400, 300) << 7;
    QTest::newRow("the smallest window") << QSize(160, 120) << 4;
}

void MovieControlsTest::whatThereIsNoRoomForIsLeftOut()
{
    QFETCH(QSize, size);
    QFETCH(int, shown);
    show("long.mp4");
    view().resize(size);
    QCoreApplication::processEvents();
    controls().reveal();
    int count = 0;
    for (const QWidget* widget : controls().findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        count += widget->isVisible() ? 1 : 0;
    }
    QCOMPARE(count, shown);
    QVERIFY(view().rect().contains(controls().geometry()));
}

void MovieControlsTest::aMovieOfUnknownLengthCannotBeSought()
{
    ProbedMovie movie = probed(mFiles->folder().urlOf("silent.mkv"));
    movie.facts.seconds = 0;
    view().showMovie(MoviePlayer::playerWithURL(mFiles->folder().urlOf("nowhere.mkv"), movie), true);
    controls().reveal();
    QVERIFY(!position().isEnabled());
    QCOMPARE(control<QLabel>(QStringLiteral("Time Left"))->text(), QString());
}

void MovieControlsTest::timeTexts_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << 0.0 << QStringLiteral("0:00");
    QTest::newRow("before the start") << -3.0 << QStringLiteral("0:00");
    QTest::newRow("part of a second") << 0.99 << QStringLiteral("0:00");
    QTest::newRow("seconds") << 59.0 << QStringLiteral("0:59");
    QTest::newRow("minutes") << 754.2 << QStringLiteral("12:34");
    QTest::newRow("an hour") << 3600.0 << QStringLiteral("1:00:00");
    QTest::newRow("many hours") << 100 * 3600.0 + 61 << QStringLiteral("100:01:01");
}

void MovieControlsTest::timeTexts()
{
    QFETCH(double, seconds);
    QFETCH(QString, text);
    QCOMPARE(timeText(seconds), text);
}

QTEST_MAIN(MovieControlsTest)
#include "MovieControlsTest.moc"
