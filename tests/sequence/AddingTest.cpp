#include "SequenceFixture.h"

#include <QSet>

#include <array>
#include <optional>

namespace frameflow {

class AddingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newSequenceIsEmpty();
    void filesListedTwiceGiveTwoEqualItems();
    void listAddersSort();
    void singleAddersKeepTheOrderOfDiscovery();
    void maxFolderLevel_data();
    void maxFolderLevel();
    void missingAndUndisplayableAreSkipped();
    void displayable_data();
    void displayable();
    void firstFileFoundOnce();
    void firstFileFoundAgainAfterClear();
    void firstFileOfAFolder();
    void droppedFirstFileMakesTheNextOneFirst();
    void allFilesOfAFolderDropped();
    void noDelegateIsNoProblem();
    void folderIsNotSearchedDuringASearch();
    void filesAreAddedDuringASearch();
    void addFilesAllowsFoldersAgain();
    void delegateMayDestroyTheSequence();
    void delegateMayClearTheSequence();
};

void AddingTest::newSequenceIsEmpty()
{
    SequenceFixture f;
    QCOMPARE(f.sequence.count(), size_t(0));
    QCOMPARE(f.sequence.currentIndex(), size_t(0));
    QVERIFY(f.sequence.hotFolder().isEmpty());
    QVERIFY(f.sequence.removedURLs().isEmpty());
    QVERIFY(!f.sequence.isCollecting());
}

void AddingTest::filesListedTwiceGiveTwoEqualItems()
{
    SequenceFixture f;
    const auto path = f.folder.addFile("a.jpg");
    f.sequence.addFiles({path, path});
    QCOMPARE(f.names(), "a.jpg a.jpg");
}

void AddingTest::listAddersSort()
{
    SequenceFixture f;
    const auto ten = f.folder.addFile("img10.jpg");
    const auto nine = f.folder.addFile("img9.jpg");
    f.sequence.addFiles({ten, nine});
    QCOMPARE(f.names(), "img9.jpg img10.jpg");
    f.sequence.clear();
    f.sequence.addURLs({FileUrl::fromPath(ten), FileUrl::fromPath(nine)});
    QCOMPARE(f.names(), "img9.jpg img10.jpg");
}

void AddingTest::singleAddersKeepTheOrderOfDiscovery()
{
    SequenceFixture f;
    for (const char* name : {"3.jpg", "1.jpg", "2.jpg"}) {
        f.sequence.addFile(f.folder.addFile(name));
    }
    QCOMPARE(f.names(), "3.jpg 1.jpg 2.jpg");
    f.sequence.addURL(FileUrl::fromPath(f.folder.addFile("0.jpg")));
    QCOMPARE(f.names(), "3.jpg 1.jpg 2.jpg 0.jpg");
}

void AddingTest::maxFolderLevel_data()
{
    QTest::addColumn<QVariant>("level");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("absent") << QVariant() << QByteArray("1.jpg s/2.jpg s/t/3.jpg");
    QTest::newRow("0") << QVariant(0) << QByteArray("1.jpg s/2.jpg s/t/3.jpg");
    QTest::newRow("-1") << QVariant(-1) << QByteArray("1.jpg s/2.jpg s/t/3.jpg");
    QTest::newRow("1") << QVariant(1) << QByteArray("1.jpg");
    QTest::newRow("2") << QVariant(2) << QByteArray("1.jpg s/2.jpg");
}

void AddingTest::maxFolderLevel()
{
    QFETCH(const QVariant, level);
    SequenceFixture f;
    f.folder.addFile("1.jpg");
    f.folder.addFile("s/2.jpg");
    f.folder.addFile("s/t/3.jpg");
    f.set(keys::maxFolderLevel, level);
    f.sequence.addURLs({f.folder.url()});
    QTEST(f.names(), "expected");
}

void AddingTest::missingAndUndisplayableAreSkipped()
{
    SequenceFixture f;
    f.sequence.addFiles({f.folder.pathOf("missing.jpg"), f.folder.addFile("a.txt"), f.folder.addFile("b.jpg"), ""});
    f.sequence.addURL(FileUrl());
    QCOMPARE(f.names(), "b.jpg");
}

void AddingTest::displayable_data()
{
    QTest::addColumn<bool>("expected");
    QTest::newRow("/a.jpg") << true;
    QTest::newRow("/a.MOV") << true;
    QTest::newRow("/a.pdf") << false;
    QTest::newRow("/a.eps") << false;
    QTest::newRow("/a.txt") << false;
    QTest::newRow("/a") << false;
}

void AddingTest::displayable()
{
    QTEST(FileSequence::displayableURL(FileUrl::fromPath(QByteArray(QTest::currentDataTag()))), "expected");
}

void AddingTest::firstFileFoundOnce()
{
    SequenceFixture f;
    RecordingDelegate delegate;
    QByteArray seen;
    delegate.onFirstFile = [&] { seen = f.names(); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addFiles({f.folder.addFile("a.txt"), f.folder.addFile("c.jpg"), f.folder.addFile("b.jpg")});
    QCOMPARE(delegate.firstFiles, 1);
    QCOMPARE(seen, "c.jpg");
    QCOMPARE(f.sequence.count(), size_t(2));
}

void AddingTest::firstFileFoundAgainAfterClear()
{
    FiveFiles f;
    RecordingDelegate delegate;
    f.sequence.setDelegate(&delegate);
    f.sequence.addFile(f.folder.pathOf("a.jpg"));
    QCOMPARE(delegate.firstFiles, 0);
    f.sequence.clear();
    f.sequence.addURLs({f.folder.url()});
    QCOMPARE(delegate.firstFiles, 1);
}

void AddingTest::firstFileOfAFolder()
{
    FiveFiles f;
    f.sequence.clear();
    RecordingDelegate delegate;
    size_t count = 0;
    delegate.onFirstFile = [&] { count = f.sequence.count(); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(delegate.firstFiles, 1);
    QCOMPARE(count, size_t(1));
    QCOMPARE(f.sequence.count(), size_t(5));
}

void AddingTest::droppedFirstFileMakesTheNextOneFirst()
{
    SequenceFixture f;
    RecordingDelegate delegate;
    QList<FileUrl> told;
    delegate.onFirstFile = [&] {
        f.sequence.next(); // from before the first, after a removal
        told.append(f.sequence.current());
        if (told.size() < 3) {
            dropCurrent(f.sequence);
        }
    };
    f.sequence.setDelegate(&delegate);
    QList<QByteArray> paths;
    QList<FileUrl> urls;
    for (const char* name : {"e.jpg", "d.jpg", "c.jpg", "b.jpg", "a.jpg"}) {
        paths.append(f.folder.addFile(name));
        urls.append(f.folder.urlOf(name));
    }
    f.sequence.addFiles(paths);
    QCOMPARE(told, urls.mid(0, 3));
    QCOMPARE(f.sequence.removedURLs(), urls.mid(0, 2));
    QCOMPARE(f.names(), "a.jpg b.jpg c.jpg");
}

void AddingTest::allFilesOfAFolderDropped()
{
    FiveFiles f;
    f.sequence.clear();
    RecordingDelegate delegate;
    QSet<FileUrl> told;
    delegate.onFirstFile = [&] {
        f.sequence.next();
        told.insert(dropCurrent(f.sequence));
        QCOMPARE(f.sequence.count(), size_t(0));
    };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(delegate.firstFiles, 5);
    QCOMPARE(told.size(), 5);
    QCOMPARE(f.sequence.removedURLs().size(), 5);
    QCOMPARE(f.sequence.count(), size_t(0));
}

void AddingTest::noDelegateIsNoProblem()
{
    SequenceFixture f;
    f.sequence.checkFirstFile();
    const auto path = f.folder.addFile("a.jpg");
    f.sequence.addFile(path);
    f.sequence.itemChanged(FileUrl::fromPath(path));
    QCOMPARE(f.sequence.count(), size_t(1));
}

void AddingTest::folderIsNotSearchedDuringASearch()
{
    FiveFiles f;
    f.sequence.clear();
    const TestFolder other;
    other.addFile("z.jpg");
    RecordingDelegate delegate;
    delegate.onFirstFile = [&] { f.sequence.addFile(other.path()); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(f.sequence.count(), size_t(5));
    f.sequence.addFile(other.path());
    QCOMPARE(f.sequence.count(), size_t(6));
}

void AddingTest::filesAreAddedDuringASearch()
{
    FiveFiles f;
    f.sequence.clear();
    const TestFolder other;
    const auto file = other.addFile("z.jpg");
    RecordingDelegate delegate;
    delegate.onFirstFile = [&] { f.sequence.addFile(file); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addURLs({f.folder.url()});
    QCOMPARE(f.sequence.count(), size_t(6));
    QCOMPARE(f.sequence.URLAtIndex(5), FileUrl::fromPath(file));
}

void AddingTest::addFilesAllowsFoldersAgain()
{
    FiveFiles f;
    f.sequence.clear();
    const TestFolder other;
    other.addFile("z.jpg");
    RecordingDelegate delegate;
    delegate.onFirstFile = [&] { f.sequence.addFiles({other.path()}); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(f.sequence.count(), size_t(6));
}

void AddingTest::delegateMayDestroyTheSequence()
{
    SequenceFixture f;
    const auto first = f.folder.addFile("a.jpg");
    const auto second = f.folder.addFile("b.jpg");
    RecordingDelegate delegate;
    std::optional<FileSequence> sequence;
    delegate.onFirstFile = [&] { sequence.reset(); };
    const std::array<std::function<void()>, 4> adders{[&] {
                                                          sequence->addFiles({first, second});
                                                      },
        [&] {
            sequence->addURLs({FileUrl::fromPath(first), FileUrl::fromPath(second)});
        },
        [&] { sequence->addDirectory(f.folder.path()); }, [&] { sequence->addFile(first); }};
    for (const auto& add : adders) {
        sequence.emplace(f.defaults);
        sequence->setDelegate(&delegate);
        add();
        QVERIFY(!sequence);
    }
    QCOMPARE(delegate.firstFiles, 4);
}

void AddingTest::delegateMayClearTheSequence()
{
    FiveFiles f;
    f.sequence.clear();
    RecordingDelegate delegate;
    delegate.onFirstFile = [&] { f.sequence.clear(); };
    f.sequence.setDelegate(&delegate);
    f.sequence.addDirectory(f.folder.path());
    QCOMPARE(delegate.firstFiles, 1);
    QCOMPARE(f.sequence.count(), size_t(0));
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::AddingTest)
#include "AddingTest.moc"
