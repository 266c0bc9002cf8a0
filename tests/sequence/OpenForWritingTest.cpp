#include "OpenForWriting.h"

#include "HotFixture.h"

#include <sys/stat.h>

Q_DECLARE_METATYPE(frameflow::Writer)

namespace frameflow {

class OpenForWritingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writersAreSeen();
    void nameInAFolder();
    void lookingHindersNobody();
    void emptyFilesAreStillToBeWritten();
    void strangeFiles();
    void unfinished_data();
    void unfinished();
};

void OpenForWritingTest::writersAreSeen()
{
    const TestFolder folder;
    const auto path = folder.addFile("a.jpg");
    QVERIFY(writerOf(AT_FDCWD, path.constData()) == Writer::None);
    {
        const FileInWriting first(path);
        QVERIFY(writerOf(AT_FDCWD, path.constData()) == Writer::Some);
        {
            const FileInWriting second(path);
        }
        QVERIFY(writerOf(AT_FDCWD, path.constData()) == Writer::Some);
    }
    QVERIFY(writerOf(AT_FDCWD, path.constData()) == Writer::None);
    const int reader = open(path.constData(), O_RDONLY | O_CLOEXEC);
    QVERIFY(writerOf(AT_FDCWD, path.constData()) == Writer::None);
    close(reader);
}

void OpenForWritingTest::nameInAFolder()
{
    const TestFolder folder;
    const FileInWriting file(folder.pathOf("a.jpg"));
    folder.addLink("link.jpg", folder.pathOf("a.jpg"));
    const int opened = open(folder.path().constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    QVERIFY(writerOf(opened, "a.jpg") == Writer::Some);
    QVERIFY(writerOf(opened, "link.jpg") == Writer::Some);
    QVERIFY(writerOf(opened, "missing.jpg") == Writer::Unknown);
    close(opened);
}

void OpenForWritingTest::lookingHindersNobody()
{
    const TestFolder folder;
    const auto path = folder.addFile("a.jpg");
    QVERIFY(writerOf(AT_FDCWD, path.constData()) == Writer::None);
    // Refused if it would have to wait for us.
    const int file = open(path.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    QVERIFY(file >= 0);
    close(file);
}

void OpenForWritingTest::emptyFilesAreStillToBeWritten()
{
    const TestFolder folder;
    const auto path = folder.addFile("a.jpg", "");
    QVERIFY(writerOf(AT_FDCWD, path.constData()) == Writer::Some);
    folder.addFile("a.jpg", "x");
    QVERIFY(writerOf(AT_FDCWD, path.constData()) == Writer::None);
}

void OpenForWritingTest::strangeFiles()
{
    const TestFolder folder;
    QCOMPARE(mkfifo(folder.pathOf("pipe.jpg").constData(), 0600), 0);
    QVERIFY(writerOf(AT_FDCWD, folder.pathOf("pipe.jpg").constData()) == Writer::Unknown);
    QVERIFY(writerOf(AT_FDCWD, folder.path().constData()) == Writer::Unknown);
}

void OpenForWritingTest::unfinished_data()
{
    QTest::addColumn<Writer>("writer");
    QTest::addColumn<bool>("isAwaited");
    QTest::addColumn<qint64>("age");
    QTest::addColumn<bool>("expected");
    QTest::newRow("written") << Writer::Some << false << qint64(1000) << true;
    QTest::newRow("not written") << Writer::None << true << qint64(0) << false;
    QTest::newRow("unknown, never seen open") << Writer::Unknown << false << qint64(0) << false;
    QTest::newRow("unknown, seen open") << Writer::Unknown << true << qint64(59) << true;
    QTest::newRow("unknown, seen open, old") << Writer::Unknown << true << qint64(60) << false;
    QTest::newRow("unknown, seen open, from the future") << Writer::Unknown << true << qint64(-100) << true;
}

void OpenForWritingTest::unfinished()
{
    QFETCH(const Writer, writer);
    QFETCH(const bool, isAwaited);
    QFETCH(const qint64, age);
    QTEST(isUnfinished(writer, isAwaited, {5000 - age, 0}, {5000, 0}), "expected");
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::OpenForWritingTest)
#include "OpenForWritingTest.moc"
