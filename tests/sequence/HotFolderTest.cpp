#include "SequenceFixture.h"

namespace frameflow {

class HotFolderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneFolderBecomesHot();
    void oneFolderOpenedAsPathBecomesHot();
    void twoFoldersMakeNoHotFolder();
    void secondFolderEndsTheWatch();
    void fileAndFolderMakeNoHotFolder();
    void singleFileLeavesTheHotFolder();
    void missingFolderStillBecomesHot();
    void clearEndsTheWatchAndAllowsAnother();
};

void HotFolderTest::oneFolderBecomesHot()
{
    SequenceFixture f;
    const auto before = std::chrono::system_clock::now();
    f.sequence.addURLs({f.folder.url()});
    QCOMPARE(f.sequence.hotFolder(), f.folder.url());
    const auto scanned = f.sequence.lastHotfolderScan();
    QVERIFY(scanned >= before - std::chrono::seconds(5));
    QVERIFY(scanned <= std::chrono::system_clock::now() - std::chrono::seconds(5));
}

void HotFolderTest::oneFolderOpenedAsPathBecomesHot()
{
    SequenceFixture f;
    f.sequence.addFiles({f.folder.path() + '/'});
    QCOMPARE(f.sequence.hotFolder(), f.folder.url());
}

void HotFolderTest::twoFoldersMakeNoHotFolder()
{
    SequenceFixture f;
    const TestFolder other;
    f.sequence.addURLs({f.folder.url(), other.url()});
    QVERIFY(f.sequence.hotFolder().isEmpty());
    f.sequence.addFiles({f.folder.path(), other.path()});
    QVERIFY(f.sequence.hotFolder().isEmpty());
}

void HotFolderTest::secondFolderEndsTheWatch()
{
    SequenceFixture f;
    const TestFolder other;
    f.sequence.addURLs({f.folder.url()});
    f.sequence.addURLs({other.url()});
    QVERIFY(f.sequence.hotFolder().isEmpty());
    // No folder is watched now, so a third one alone is.
    f.sequence.addURLs({f.folder.url()});
    QCOMPARE(f.sequence.hotFolder(), f.folder.url());
}

void HotFolderTest::fileAndFolderMakeNoHotFolder()
{
    SequenceFixture f;
    f.sequence.addURLs({f.folder.url(), FileUrl::fromPath(f.folder.addFile("a.jpg"))});
    QVERIFY(f.sequence.hotFolder().isEmpty());
}

void HotFolderTest::singleFileLeavesTheHotFolder()
{
    SequenceFixture f;
    f.sequence.addURLs({f.folder.url()});
    f.sequence.addFiles({f.folder.addFile("a.jpg")});
    QCOMPARE(f.sequence.hotFolder(), f.folder.url());
}

void HotFolderTest::missingFolderStillBecomesHot()
{
    SequenceFixture f;
    f.sequence.addDirectory(f.folder.pathOf("missing"));
    QCOMPARE(f.sequence.hotFolder(), f.folder.urlOf("missing"));
    QCOMPARE(f.sequence.count(), size_t(0));
}

void HotFolderTest::clearEndsTheWatchAndAllowsAnother()
{
    SequenceFixture f;
    const TestFolder other;
    f.sequence.addURLs({f.folder.url(), other.url()});
    f.sequence.clear();
    QVERIFY(f.sequence.hotFolder().isEmpty());
    f.sequence.addDirectory(other.path());
    QCOMPARE(f.sequence.hotFolder(), other.url());
    f.sequence.clear();
    QVERIFY(f.sequence.hotFolder().isEmpty());
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::HotFolderTest)
#include "HotFolderTest.moc"
