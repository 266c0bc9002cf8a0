#include "DamagedFiles.h"

#include "ControllerFixture.h"

#include <QSet>
#include <QTest>

using namespace frameflow;

// A show over samples of every type and over hundreds of files that are damaged in every way.
class DamagedFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void goodFilesAreShownAndDamagedOnesDoNoHarm();
};

void DamagedFilesTest::goodFilesAreShownAndDamagedOnesDoNoHarm()
{
    constexpr int damagedCount = 200;
    ControllerFixture fixture;
    const DamagedFiles files = addDamagedFiles(fixture.folder, damagedCount);
    QCOMPARE(files.damaged.size(), damagedCount);
    auto& controller = fixture.start();
    QVERIFY(fixture.openFolder());
    const auto onScreen = [&] { return fixture.onScreen(); };
    QSet<QByteArray> seen;
    // Once round: every step ends at a picture, over damaged files that have none.
    for (int step = 0; step <= files.good.size() + damagedCount; ++step) {
        QVERIFY(QTest::qWaitFor([&] { return !controller.isWaitingForSlide() && !onScreen().isEmpty(); }, 120000));
        if (seen.contains(onScreen())) {
            break;
        }
        seen.insert(onScreen());
        controller.nextSlide();
    }
    for (const QByteArray& name : files.good) {
        QVERIFY2(seen.contains(name), name.constData());
    }
    // What is left in the sequence is what has a picture.
    QCOMPARE(controller.fileSequence().count(), size_t(seen.size()));
}

QTEST_MAIN(DamagedFilesTest)
#include "DamagedFilesTest.moc"
