#include "SettingsKeys.h"
#include "ShowDriver.h"
#include "StaysTrue.h"

#include <QBuffer>
#include <QColor>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

using namespace frameflow;
using namespace frameflow::e2e;

namespace {

const QColor red(200, 30, 30);
const QColor green(30, 160, 30);
const QColor blue(30, 30, 200);
const QColor white(240, 240, 240);

} // namespace

// A show whose folder changes while it runs: files come, are replaced and go.
class HotFolderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mShow = std::make_unique<ShowDriver>(); }
    void cleanup() { mShow.reset(); }

    void newFileIsShownAtOnceInAStoppedShow();
    void newFileComesInItsTurn();
    void newFileInANewFolder();
    void replacedFileIsShownAfresh_data();
    void replacedFileIsShownAfresh();
    void removedFilesAreNotShownAgain();
    void halfWrittenFileWaits();
    void emptyFolderBeginsWithItsFirstFile();
    void folderThatWasAwayComesBack();
    void showRunsWhileFilesComeAndGo();

private:
    QByteArray picture(QColor colour) const
    {
        QImage image(mShow->server().bounds().size(), QImage::Format_RGB32);
        image.fill(colour);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        return bytes;
    }
    void add(const QByteArray& name, QColor colour) const { mShow->folder.addFile(name, picture(colour)); }
    void remove(const QByteArray& name) const { QCOMPARE(unlink(mShow->folder.pathOf(name).constData()), 0); }
    bool start()
    {
        return mShow->start({mShow->folder.pathOf("hot")}) && mShow->showWindow() && mShow->waitUntilAtRest();
    }
    // Whether the next slides, by key, have these colours.
    bool stepsThrough(const QList<QColor>& colours) const
    {
        return std::all_of(colours.begin(), colours.end(), [this](const QColor& colour) {
            mShow->press(QStringLiteral("Right"));
            return mShow->waitForColour(colour);
        });
    }
    // Steps from slide to slide until it is there.
    bool comesAlong(QColor colour) const
    {
        return waitFor([&] {
            mShow->press(QStringLiteral("Right"));
            return waitFor([&] { return isOnScreen(colour); }, std::chrono::milliseconds(300));
        });
    }
    bool isOnScreen(QColor colour) const
    {
        const QRgb seen = mShow->server().pixel(mShow->server().bounds().center());
        return qAbs(qRed(seen) - colour.red()) + qAbs(qGreen(seen) - colour.green()) + qAbs(qBlue(seen) - colour.blue())
            < 20;
    }

    std::unique_ptr<ShowDriver> mShow;
};

void HotFolderTest::newFileIsShownAtOnceInAStoppedShow()
{
    add("hot/1.png", red);
    add("hot/3.png", blue);
    QVERIFY(start());
    QVERIFY(mShow->waitForColour(red));
    add("hot/2.png", green);
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(stepsThrough({blue, red, green}));
}

void HotFolderTest::newFileComesInItsTurn()
{
    mShow->set(keys::showNewItemsASAP, false);
    add("hot/1.png", red);
    add("hot/3.png", blue);
    QVERIFY(start());
    add("hot/4.png", green);
    QVERIFY(comesAlong(green));
    QVERIFY(stepsThrough({red, blue, green}));
}

void HotFolderTest::newFileInANewFolder()
{
    add("hot/1.png", red);
    QVERIFY(start());
    add("hot/new/deep/2.png", green);
    QVERIFY(mShow->waitForColour(green));
    add("hot/new/deep/3.png", blue);
    QVERIFY(mShow->waitForColour(blue));
}

void HotFolderTest::replacedFileIsShownAfresh_data()
{
    QTest::addColumn<bool>("atOnce");
    QTest::newRow("written over") << false;
    QTest::newRow("renamed over") << true;
}

void HotFolderTest::replacedFileIsShownAfresh()
{
    QFETCH(const bool, atOnce);
    add("hot/1.png", red);
    add("hot/2.png", blue);
    QVERIFY(start());
    QVERIFY(mShow->waitForColour(red));
    if (atOnce) {
        add("new.png", green);
        QCOMPARE(rename(mShow->folder.pathOf("new.png").constData(), mShow->folder.pathOf("hot/1.png").constData()), 0);
    } else {
        add("hot/1.png", green);
    }
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(stepsThrough({blue, green}));
    // So is one that is not on screen, when its turn comes.
    add("hot/2.png", white);
    QVERIFY(comesAlong(white));
}

void HotFolderTest::removedFilesAreNotShownAgain()
{
    for (const char* name : {"1", "2", "3", "4"}) {
        add("hot/" + QByteArray(name) + ".png",
            *name == '1'       ? red
                : *name == '2' ? green
                : *name == '3' ? blue
                               : white);
    }
    QVERIFY(start());
    QVERIFY(mShow->waitForColour(red));
    remove("hot/1.png");
    remove("hot/3.png");
    add("hot/5.png", QColor(200, 200, 30)); // tells by its coming that the removals have been seen
    QVERIFY(mShow->waitForColour(QColor(200, 200, 30)));
    QVERIFY(stepsThrough({green, white, QColor(200, 200, 30), green}));
}

void HotFolderTest::halfWrittenFileWaits()
{
    add("hot/1.png", red);
    QVERIFY(start());
    const QByteArray bytes = picture(green);
    const int file = open(mShow->folder.pathOf("hot/2.png").constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    QCOMPARE(write(file, bytes.constData(), bytes.size() / 2), ssize_t(bytes.size() / 2));
    add("hot/3.png", blue); // a rescan, which passes the other over
    QVERIFY(mShow->waitForColour(blue));
    QVERIFY(stepsThrough({red, blue}));
    const auto rest = bytes.mid(bytes.size() / 2);
    QCOMPARE(write(file, rest.constData(), rest.size()), ssize_t(rest.size()));
    close(file);
    QVERIFY(mShow->waitForColour(green));
    QVERIFY(stepsThrough({red, green, blue})); // in order, from the beginning
}

void HotFolderTest::emptyFolderBeginsWithItsFirstFile()
{
    mShow->folder.addFolder("hot");
    QVERIFY(mShow->start({mShow->folder.pathOf("hot")}));
    QVERIFY(mShow->showWindow() && mShow->waitUntilAtRest()); // the start window
    add("hot/1.png", red);
    QVERIFY(mShow->waitForColour(red));
}

void HotFolderTest::folderThatWasAwayComesBack()
{
    add("hot/1.png", white);
    for (int i = 2; i <= 20; ++i) {
        add("hot/" + QByteArray::number(i) + ".png", i % 2 == 0 ? green : blue);
    }
    QVERIFY(start());
    QVERIFY(stepsThrough({green}));
    QCOMPARE(rename(mShow->folder.pathOf("hot").constData(), mShow->folder.pathOf("away").constData()), 0);
    // A person goes on stepping through what the program still has in memory, and then there is nothing to step to.
    const auto seen = [this] { return mShow->server().pixel(mShow->server().bounds().center()); };
    const auto standsStill = [&] {
        return staysTrueFor(std::chrono::seconds(2), [&, before = seen()] {
            mShow->press(QStringLiteral("Right"));
            return seen() == before;
        });
    };
    QVERIFY(waitFor(standsStill));
    QVERIFY(mShow->program().isRunning());
    QCOMPARE(rename(mShow->folder.pathOf("away").constData(), mShow->folder.pathOf("hot").constData()), 0);
    // New files are shown at once, behind the others that there are. There were none: the first of all is shown.
    QVERIFY(mShow->waitForColour(white));
    QVERIFY(staysTrueFor(std::chrono::seconds(2), [&] { return isOnScreen(white); }));
    QList<QColor> round;
    for (int i = 2; i <= 20; ++i) {
        round += i % 2 == 0 ? green : blue;
    }
    QVERIFY(stepsThrough(round));
    QVERIFY(stepsThrough({white}));
}

void HotFolderTest::showRunsWhileFilesComeAndGo()
{
    add("hot/1.png", red);
    add("hot/2.png", green);
    QVERIFY(start());
    mShow->press(QStringLiteral("1")); // a second each, and running
    const auto comes = [this](QColor colour) { return waitFor([&] { return isOnScreen(colour); }); };
    QVERIFY(comes(green) && comes(red));
    add("hot/3.png", blue);
    QVERIFY(comes(blue) && comes(red) && comes(green) && comes(blue));
    remove("hot/1.png");
    add("hot/2.png", white);
    QVERIFY(comes(white) && comes(blue));
    // From now on these two alone.
    QVERIFY(staysTrueFor(std::chrono::seconds(4), [&] { return !isOnScreen(red) && !isOnScreen(green); }));
    QVERIFY(comes(white) && comes(blue));
}

QTEST_GUILESS_MAIN(HotFolderTest)
#include "HotFolderTest.moc"
