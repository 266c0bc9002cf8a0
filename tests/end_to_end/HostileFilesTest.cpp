#include "Gigapixels.h"
#include "HostileShow.h"
#include "MemoryPeak.h"
#include "SettingsKeys.h"

#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

// The program in a folder full of files that were made to harm it.
class HostileFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theShowGoesThroughAllOfThem();
    void gigapixelPicturesAreShown();
};

void HostileFilesTest::theShowGoesThroughAllOfThem()
{
    ShowDriver driver;
    const HostileShow show = showHostileFiles(driver);
    QVERIFY2(show.isThrough, driver.program().output().constData());
    QVERIFY2(show.files >= 300, qPrintable(QString::number(show.files)));
    qInfo("%d files, longest pause %d ms, %d MB at most", show.files, int(show.longestPause.count()),
        int(show.mostMemory / 1'000'000));
    QVERIFY(show.longestPause < 2s);
#if !defined(__SANITIZE_ADDRESS__)
    QVERIFY(show.mostMemory > 0 && show.mostMemory < 2'000'000'000);
#endif
    // It still does what it is told.
    driver.press(QStringLiteral("0"));
    driver.press(QStringLiteral("Home"));
    QVERIFY(driver.waitForColour(HostileShow::first));
    driver.program().end();
    QCOMPARE(driver.program().exitCode(), std::optional(0));
}

void HostileFilesTest::gigapixelPicturesAreShown()
{
    ShowDriver driver;
    driver.addColour("a.png", HostileShow::first);
    for (const HostileFile& file : gigapixelPictures()) {
        driver.folder.addFile(file.name, file.contents);
    }
    driver.addColour("z.png", HostileShow::last);
    driver.set(keys::imageFitMode, keys::fitModeStretch);
    QVERIFY(driver.startWithFolder());
    QVERIFY(driver.waitForColour(HostileShow::first));
    const MemoryPeak memory(driver.program().processId());
    driver.press(QStringLiteral("Right"));
    QVERIFY(driver.waitForColour(QColor(128, 128, 128)));
    const QRect all = driver.server().bounds();
    const auto isInQuarters = [&](QColor upperLeft, QColor upperRight) {
        const auto colourAt = [&](int x, int y) {
            return QColor(driver.server().pixel({all.width() * x / 8, all.height() * y / 8}));
        };
        return colourAt(1, 1) == upperLeft && colourAt(7, 7) == upperLeft && colourAt(5, 5) == upperLeft
            && colourAt(7, 1) == upperRight && colourAt(1, 7) == upperRight;
    };
    driver.press(QStringLiteral("Right"));
    QVERIFY(waitFor([&] { return isInQuarters(Qt::white, Qt::black); }, 60s));
    driver.press(QStringLiteral("Right"));
    QVERIFY(waitFor([&] { return isInQuarters(Qt::black, Qt::white); }, 60s));
    driver.press(QStringLiteral("Right"));
    QVERIFY(driver.waitForColour(HostileShow::last));
    qInfo("%d MB at most", int(memory.bytes() / 1'000'000));
#if !defined(__SANITIZE_ADDRESS__)
    QVERIFY(memory.bytes() > 0 && memory.bytes() < 1'500'000'000);
#endif
}

QTEST_GUILESS_MAIN(HostileFilesTest)
#include "HostileFilesTest.moc"
