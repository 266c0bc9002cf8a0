#include "PictureFiles.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QColor>
#include <QTest>

#include <sys/stat.h>

using namespace frameflow;
using namespace frameflow::e2e;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);
const QColor blue(30, 30, 200);

} // namespace

// Stepping through a folder with keys, as a person sees it.
class StepsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mShow = std::make_unique<ShowDriver>(); }
    void cleanup() { mShow.reset(); }

    void theSamplesAreShownOneAfterAnother();
    void aNestedFolderIsShownInTheChosenOrder();
    void keysStepPastBothEnds_data();
    void keysStepPastBothEnds();
    void escapeEndsTheShowAndTheWelcomeAppears();
    void digitsRunTheShowAndOtherKeysStopIt();
    void crossFadePassesThroughMixedColours();
    void brokenFilesAreSteppedOver();

private:
    void addThree() const
    {
        mShow->addColour("1.png", red);
        mShow->addColour("2.png", green);
        mShow->addColour("3.png", blue);
    }

    std::unique_ptr<ShowDriver> mShow;
};

void StepsTest::theSamplesAreShownOneAfterAnother()
{
    QVERIFY(mShow->start({ShowDriver::samplesFolder().toUtf8()}));
    QVERIFY(mShow->showWindow() && mShow->waitUntilAtRest());
    const auto window = mShow->showWindow();
    QVERIFY(window.has_value());
    QVERIFY(mShow->server().isFullScreen(*window));
    QImage last(mShow->server().bounds().size(), QImage::Format_RGB32);
    last.fill(Qt::black);
    QList<QImage> seen;
    for (int slide = 0; slide < 16; ++slide) {
        QImage now;
        // Black before the first one; after that, each looks unlike the one before.
        QVERIFY2(waitFor([&] {
            now = mShow->screen();
            return comparePictures(now, last).largestError > 20;
        }),
            qPrintable(QString::number(slide)));
        last = now;
        seen.append(now);
        mShow->press(QStringLiteral("Right"));
    }
    // After the last one comes the first again.
    QVERIFY(mShow->waitForScreen(seen.first(), QStringLiteral("samples-wrap"), {2, 1.0}));
}

void StepsTest::aNestedFolderIsShownInTheChosenOrder()
{
    mShow->addColour("b/2.png", green);
    mShow->addColour("a/c/3.png", blue);
    mShow->addColour("1.png", red);
    mShow->folder.addFile(".hidden/0.png", "nothing");
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(green));
    mShow->press(QStringLiteral("Next"));
    QVERIFY(mShow->waitForColour(blue));
    mShow->press(QStringLiteral("Left"));
    QVERIFY(mShow->waitForColour(green));
    mShow->press(QStringLiteral("Home"));
    QVERIFY(mShow->waitForColour(red));
}

void StepsTest::keysStepPastBothEnds_data()
{
    QTest::addColumn<QString>("mode");
    QTest::newRow("wait") << keys::endModeWait;
    QTest::newRow("rewind") << keys::endModeRewind;
    QTest::newRow("close") << keys::endModeClose;
}

void StepsTest::keysStepPastBothEnds()
{
    QFETCH(QString, mode);
    addThree();
    mShow->set(keys::endMode, mode);
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("Left")); // back past the first: the last
    QVERIFY(mShow->waitForColour(blue));
    mShow->press(QStringLiteral("Prior"));
    QVERIFY(mShow->waitForColour(green));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(blue));
    mShow->press(QStringLiteral("Right")); // on past the last
    if (mode == keys::endModeRewind) {
        QVERIFY(mShow->waitForColour(red));
    } else if (mode == keys::endModeWait) {
        mShow->press(QStringLiteral("Right"));
        mShow->press(QStringLiteral("Left")); // the key after them shows that they were seen, and did nothing
        QVERIFY(mShow->waitForColour(green));
    } else {
        const auto welcome = mShow->showWindow();
        QVERIFY(welcome.has_value());
        QVERIFY(waitFor([&] {
            const auto windows = mShow->server().windowsOf(mShow->program().processId());
            return windows.size() == 1 && !mShow->server().isFullScreen(windows.first());
        }));
    }
}

void StepsTest::escapeEndsTheShowAndTheWelcomeAppears()
{
    addThree();
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("Escape"));
    QVERIFY(waitFor([&] {
        const auto windows = mShow->server().windowsOf(mShow->program().processId());
        return windows.size() == 1 && !mShow->server().isFullScreen(windows.first())
            && mShow->server().isVisible(windows.first());
    }));
    QVERIFY(mShow->program().isRunning());
}

void StepsTest::digitsRunTheShowAndOtherKeysStopIt()
{
    addThree();
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("2"));
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(mShow->waitForColour(blue));
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("space")); // stops, and steps
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(waitFor([] { return storedSetting(keys::slideInterval).toDouble() == 2.0; }));
    // Stopped: what comes next is what the key brings, not what the timer would have brought.
    mShow->press(QStringLiteral("Left"));
    QVERIFY(mShow->waitForColour(red));
}

void StepsTest::crossFadePassesThroughMixedColours()
{
    addThree();
    mShow->set(keys::transition, QStringLiteral("Cross Fade"));
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(red));
    const QPoint middle = mShow->server().bounds().center();
    bool mixed = false;
    // A machine that holds this test up for half a second takes the mixture away from it, not from the show.
    for (int attempt = 0; attempt < 5 && !mixed; ++attempt) {
        mShow->press(QStringLiteral("Right"));
        QVERIFY(waitFor([&] {
            const QColor colour = mShow->server().pixel(middle);
            mixed |= colour.red() > 60 && colour.red() < 180 && colour.green() > 35 && colour.green() < 140;
            return isNear(colour.rgb(), green.rgb(), 6);
        }));
        if (!mixed) {
            QVERIFY(mShow->waitUntilAtRest());
            mShow->press(QStringLiteral("Home"));
            QVERIFY(mShow->waitForColour(red) && mShow->waitUntilAtRest());
        }
    }
    QVERIFY(mixed);
}

void StepsTest::brokenFilesAreSteppedOver()
{
    addThree();
    mShow->folder.addFile("0 text.jpg", "this is no picture");
    mShow->folder.addFile("1a empty.png", "");
    mShow->folder.addFolder("1b folder.jpg");
    mShow->folder.addLink("1c dangling.jpg", "nowhere");
    mShow->folder.addLink("1d circle.jpg", "1d circle.jpg");
    QVERIFY(mkfifo(mShow->folder.pathOf("1e pipe.jpg").constData(), 0600) == 0);
    mShow->folder.addFile("1f \xff\xfe\n;%#?.jpg", "not this either");
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(red));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(green));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(blue));
    const auto windows = mShow->server().windowsOf(mShow->program().processId());
    QCOMPARE(windows.size(), 1); // no message boxes
}

QTEST_GUILESS_MAIN(StepsTest)
#include "StepsTest.moc"
