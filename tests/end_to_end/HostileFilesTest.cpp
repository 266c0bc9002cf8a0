#include "HostileShow.h"

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

QTEST_GUILESS_MAIN(HostileFilesTest)
#include "HostileFilesTest.moc"
