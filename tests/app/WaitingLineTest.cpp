#include "WaitingLine.h"

#include <QTest>

using namespace frameflow;
using From = WaitingLine::From;

class WaitingLineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void jobsLeaveInTheOrderOfTheirComing()
    {
        QByteArray done;
        WaitingLine line;
        QVERIFY(line.isEmpty());
        line.add(From::Person, [&] { done += 'a'; });
        line.add(From::Sequence, [&] { done += 'b'; });
        line.add(From::Person, [&] { done += 'c'; });
        while (!line.isEmpty()) {
            line.takeFirst()();
        }
        QCOMPARE(done, QByteArray("abc"));
    }

    void clearingKeepsWhatTheSequenceFound()
    {
        QByteArray done;
        WaitingLine line;
        line.add(From::Person, [&] { done += 'a'; });
        line.add(From::Sequence, [&] { done += 'b'; });
        line.add(From::Person, [&] { done += 'c'; });
        line.add(From::Sequence, [&] { done += 'd'; });
        for (const auto& job : line.clear()) {
            job();
        }
        QCOMPARE(done, QByteArray("bd"));
        QVERIFY(line.isEmpty());
    }
};

QTEST_APPLESS_MAIN(WaitingLineTest)
#include "WaitingLineTest.moc"
