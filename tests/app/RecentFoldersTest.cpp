#include "RecentFolders.h"

#include "SettingsKeys.h"
#include "TestFiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QTest>

#include <atomic>
#include <memory>

using namespace frameflow;

// The list where the disk of one of its folders says nothing when it is asked.
class RecentFoldersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void foldersStayWhereTheyWereWhenADiskIsSilent();
    void foldersBeforeTheSilentOneAreLookedFor();
    void aFolderIsRememberedWhileAnotherDiskIsSilent();
    void aFolderOnASilentDiskCanBeOpened();
    void aFolderThatIsGoneLeavesTheListWhenItsDiskAnswersAgain();
    void theListGoesWhileADiskIsSilent();

private:
    // Shared with what is stuck in it when a test is over.
    struct Disk
    {
        QByteArray silent; // the name of the folder that is on it
        std::atomic<bool> isSilent = false;
        std::atomic<int> stuck = 0;
        QSemaphore answer;
    };

    void remember(const QByteArray& name)
    {
        mFolder->addFolder(name);
        QVERIFY(mList->remember(mFolder->urlOf(name)));
    }
    void fallSilent(const QByteArray& name)
    {
        mDisk->silent = name;
        mDisk->isSilent = true;
    }
    QList<QByteArray> names()
    {
        QList<QByteArray> all;
        for (const FileUrl& folder : mList->paths()) {
            all.append(folder.fileName().toByteArray());
        }
        return all;
    }
    void remove(const QByteArray& name) const { QVERIFY(QDir().rmdir(QString::fromUtf8(mFolder->pathOf(name)))); }

    std::unique_ptr<TestFolder> mFolder;
    std::unique_ptr<UserDefaults> mDefaults;
    std::shared_ptr<Disk> mDisk;
    std::unique_ptr<RecentFolders> mList;
};

void RecentFoldersTest::init()
{
    mFolder = std::make_unique<TestFolder>();
    mDefaults = std::make_unique<UserDefaults>(QString::fromUtf8(mFolder->pathOf("frameflow.conf")));
    mDisk = std::make_shared<Disk>();
    const auto resolve = [disk = mDisk](const QByteArray& bookmark) {
        if (disk->isSilent && rememberedFolder(bookmark).fileName() == disk->silent) {
            ++disk->stuck;
            disk->answer.acquire();
        }
        return resolveBookmark(bookmark);
    };
    mList = std::make_unique<RecentFolders>(*mDefaults, resolve);
    for (const char* name : {"c", "b", "a"}) {
        remember(name);
    }
}

void RecentFoldersTest::cleanup()
{
    mDisk->answer.release(1000); // so that no thread stays behind
    mList.reset();
    mDefaults.reset();
    mFolder.reset();
}

void RecentFoldersTest::foldersStayWhereTheyWereWhenADiskIsSilent()
{
    fallSilent("a");
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(names(), (QList<QByteArray>{"a", "b", "c"}));
    QVERIFY(timer.elapsed() < 5000); // a moment, on a machine that has other things to do
    QCOMPARE(mDisk->stuck, 1);
    QCOMPARE(mList->count(), size_t(3));
}

void RecentFoldersTest::foldersBeforeTheSilentOneAreLookedFor()
{
    remove("a");
    fallSilent("b");
    QCOMPARE(names(), (QList<QByteArray>{"b", "c"}));
    QCOMPARE(mDefaults->value(keys::recentFolderBookmarks).toList().size(), 2);
}

void RecentFoldersTest::aFolderIsRememberedWhileAnotherDiskIsSilent()
{
    fallSilent("b");
    remember("c");
    QCOMPARE(names(), (QList<QByteArray>{"c", "a", "b"}));
}

void RecentFoldersTest::aFolderOnASilentDiskCanBeOpened()
{
    fallSilent("b");
    QCOMPARE(mList->folderAt(1), mFolder->urlOf("b"));
}

void RecentFoldersTest::aFolderThatIsGoneLeavesTheListWhenItsDiskAnswersAgain()
{
    remove("b");
    fallSilent("b");
    QCOMPARE(names(), (QList<QByteArray>{"a", "b", "c"}));
    mDisk->isSilent = false;
    mDisk->answer.release(1000);
    QCOMPARE(names(), (QList<QByteArray>{"a", "c"}));
}

void RecentFoldersTest::theListGoesWhileADiskIsSilent()
{
    fallSilent("a");
    names();
    QElapsedTimer timer;
    timer.start();
    mList.reset();
    QVERIFY(timer.elapsed() < 5000);
}

QTEST_GUILESS_MAIN(RecentFoldersTest)

#include "RecentFoldersTest.moc"
