#include "Trash.h"

#include "TestFiles.h"

#include <QTest>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

using namespace frameflow;

namespace {

QByteArray trashFolder()
{
    return qgetenv("XDG_DATA_HOME") + "/Trash";
}

bool exists(const QByteArray& path)
{
    struct stat status
    {
    };
    return lstat(path.constData(), &status) == 0;
}

QByteArray contentsOf(const QByteArray& path)
{
    std::ifstream file(path.constData(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return QByteArray::fromStdString(text);
}

// Qt's own listing leaves out names that are not UTF-8.
QByteArrayList entriesOf(const QByteArray& folder)
{
    QByteArrayList names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.toStdString())) {
        names.append(QByteArray::fromStdString(entry.path().filename().string()));
    }
    return names;
}

// A folder of its own in the home, which is the file system of the private Trash. GIO itself decides by the device.
class HomeFolder
{
public:
    HomeFolder() : mPath(qgetenv("HOME") + "/pictures") { mkdir(mPath.constData(), 0777); }

    QByteArray add(const QByteArray& name, const QByteArray& contents) const
    {
        QByteArray path = mPath + '/' + name;
        FILE* const file = fopen(path.constData(), "wb");
        if (!file) {
            qFatal("%s cannot be made", path.constData());
        }
        fwrite(contents.constData(), 1, contents.size(), file);
        fclose(file);
        return path;
    }
    QByteArray pathOf(const QByteArray& name) const { return mPath + '/' + name; }

private:
    QByteArray mPath;
};

} // namespace

class TrashTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void movesAFileWithItsRecord_data();
    void movesAFileWithItsRecord();
    void keepsFilesOfEqualNamesApart();
    void movesALinkAndNotItsTarget();
    void nameTooLongForARecordIsRefusedAndTheFileKept();
    void missingFileIsRefused();
    void nothingIsRefused();
    void volumeWithoutATrashLosesNothing();

private:
    HomeFolder mHome;
};

void TrashTest::init()
{
    std::filesystem::remove_all(trashFolder().toStdString());
}

void TrashTest::movesAFileWithItsRecord_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("plain") << QByteArray("a.jpg");
    QTest::newRow("odd") << QByteArray("a;b%41#c?d\n\xF0\x9F\x8F\x94.jpg");
    QTest::newRow("not UTF-8") << QByteArray("\xFF\xFE.jpg");
    QTest::newRow("leading dash") << QByteArray("-rf.jpg");
    QTest::newRow("long") << QByteArray(230, 'n') + ".jpg";
}

void TrashTest::movesAFileWithItsRecord()
{
    QFETCH(QByteArray, name);
    const QByteArray path = mHome.add(name, "picture");
    QVERIFY(moveToTrash(FileUrl::fromPath(path)));
    QVERIFY(!exists(path));
    const auto files = entriesOf(trashFolder() + "/files");
    QCOMPARE(files.size(), 1);
    const auto records = entriesOf(trashFolder() + "/info");
    QCOMPARE(records, QByteArrayList{files.front() + ".trashinfo"});
    const QByteArray record = contentsOf(trashFolder() + "/info/" + records.front());
    QVERIFY(record.startsWith("[Trash Info]\n"));
    QVERIFY2(record.contains("Path=" + path.toPercentEncoding("/;?:@&=+$,!'()*") + "\n")
            || QByteArray::fromPercentEncoding(record).contains("Path=" + path + "\n"),
        record.constData());
}

void TrashTest::keepsFilesOfEqualNamesApart()
{
    QVERIFY(moveToTrash(FileUrl::fromPath(mHome.add("a.jpg", "first"))));
    QVERIFY(moveToTrash(FileUrl::fromPath(mHome.add("a.jpg", "second"))));
    QByteArrayList contents;
    for (const QByteArray& name : entriesOf(trashFolder() + "/files")) {
        contents.append(contentsOf(trashFolder() + "/files/" + name));
    }
    std::sort(contents.begin(), contents.end());
    QCOMPARE(contents, (QByteArrayList{"first", "second"}));
}

void TrashTest::movesALinkAndNotItsTarget()
{
    const QByteArray target = mHome.add("target.jpg", "picture");
    const QByteArray link = mHome.pathOf("link.jpg");
    QCOMPARE(symlink(target.constData(), link.constData()), 0);
    QVERIFY(moveToTrash(FileUrl::fromPath(link)));
    QVERIFY(!exists(link));
    QCOMPARE(contentsOf(target), QByteArray("picture"));
}

void TrashTest::nameTooLongForARecordIsRefusedAndTheFileKept()
{
    const QByteArray path = mHome.add(QByteArray(251, 'n') + ".jpg", "picture");
    QVERIFY(!moveToTrash(FileUrl::fromPath(path)));
    QCOMPARE(contentsOf(path), QByteArray("picture"));
}

void TrashTest::missingFileIsRefused()
{
    QVERIFY(!moveToTrash(FileUrl::fromPath(mHome.pathOf("missing.jpg"))));
    QVERIFY(!exists(trashFolder() + "/files/missing.jpg"));
}

void TrashTest::nothingIsRefused()
{
    QVERIFY(!moveToTrash(FileUrl()));
}

void TrashTest::volumeWithoutATrashLosesNothing()
{
    // A system folder that no desktop trashes from; memory file systems are such volumes.
    const QByteArray folder = "/dev/shm/frameflow-trash-" + QByteArray::number(getpid());
    QCOMPARE(mkdir(folder.constData(), 0700), 0);
    const QByteArray path = folder + "/a.jpg";
    FILE* const file = fopen(path.constData(), "wb");
    QVERIFY(file);
    fputs("picture", file);
    fclose(file);
    const bool moved = moveToTrash(FileUrl::fromPath(path));
    const QByteArray contents = contentsOf(path);
    unlink(path.constData());
    rmdir(folder.constData());
    QVERIFY(!moved);
    QCOMPARE(contents, QByteArray("picture"));
    QVERIFY(!exists(trashFolder() + "/files/a.jpg"));
}

QTEST_GUILESS_MAIN(TrashTest)
#include "TrashTest.moc"
