#pragma once

#include "ManualClock.h"
#include "SequenceFixture.h"

#include <QDir>

#include <algorithm>
#include <memory>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace frameflow {

// A sequence with a clock of its own, which watches its folder: below "hot" in a temporary folder, so that tests may
// rename or remove it.
struct HotFixture
{
    HotFixture()
    {
        set(keys::sort, keys::sortByName);
        set(keys::endMode, keys::endModeWait);
        set(keys::showNewItemsASAP, true);
        sequence.setDelegate(&delegate);
        outside.addFolder("hot");
    }

    void set(const QString& key, const QVariant& value)
    {
        mValues.insert(key, value);
        defaults.registerDefaults(mValues);
    }

    QByteArray pathOf(const QByteArray& name) const { return outside.pathOf("hot/" + name); }
    FileUrl urlOf(const QByteArray& name) const { return FileUrl::fromPath(pathOf(name)); }
    FileUrl hotFolder() const { return outside.urlOf("hot"); }
    QByteArray addFile(const QByteArray& name, const QByteArray& contents = "x") const
    {
        return outside.addFile("hot/" + name, contents);
    }
    void addFiles(const QByteArray& names) const
    {
        for (const auto& name : names.split(' ')) {
            addFile(name);
        }
    }
    void removeFile(const QByteArray& name) const { QCOMPARE(unlink(pathOf(name).constData()), 0); }
    void rename(const QByteArray& from, const QByteArray& to) const
    {
        QCOMPARE(::rename(outside.pathOf(from).constData(), outside.pathOf(to).constData()), 0);
    }

    // Has the folder with these files watched, the first look over. The two ways by which changes come can be closed.
    void watch(const QByteArray& names = {}, const QByteArray& current = {})
    {
        if (!names.isEmpty()) {
            addFiles(names);
        }
        sequence.addURLs({hotFolder()});
        QTRY_VERIFY(!sequence.isRescanning());
        for (size_t i = 0; !current.isEmpty() && i < sequence.count(); ++i) {
            if (sequence.URLAtIndex(i) == urlOf(current)) {
                sequence.gotoIndex(i);
            }
        }
    }
    void watchByEventsOnly(const QByteArray& names = {}, const QByteArray& current = {})
    {
        watch(names, current);
        sequence.stopTimer();
    }
    void watchByTimerOnly(const QByteArray& names = {}, const QByteArray& current = {})
    {
        watch(names, current);
        sequence.stopFSEvents();
    }

    void rescan()
    {
        sequence.updateHotFolder();
        QTRY_VERIFY(!sequence.isRescanning());
    }

    // Whether it becomes true while time goes on. Real events come in real time.
    bool comesTrue(const std::function<bool()>& condition)
    {
        return QTest::qWaitFor([&] {
            clock.advanceSeconds(0.1);
            return condition() && !sequence.isRescanning();
        });
    }
    bool listBecomes(const QByteArray& expected)
    {
        if (comesTrue([&] { return names() == expected; })) {
            return true;
        }
        qWarning("The list is \"%s\"", names().constData());
        return false;
    }

    // Bytes that wait in the kernel, of all the watches of this process; -1 without a watch.
    static int unreadEvents()
    {
        int sum = -1;
        for (const QFileInfo& file : QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::System | QDir::Files)) {
            int bytes = 0;
            if (file.symLinkTarget().endsWith(QLatin1String("inotify"))
                && ioctl(file.fileName().toInt(), FIONREAD, &bytes) == 0) {
                sum = std::max(sum, 0) + bytes;
            }
        }
        return sum;
    }

    QByteArray names() const
    {
        QByteArrayList all;
        for (size_t i = 0; i < sequence.count(); ++i) {
            all.append(sequence.URLAtIndex(i).path().mid(hotFolder().path().size() + 1));
        }
        return all.join(' ');
    }
    QByteArray current() const { return sequence.current().fileName().toByteArray(); }

    TestFolder outside;
    TestFolder settings;
    ManualClock clock;
    UserDefaults defaults{QString::fromUtf8(settings.pathOf("settings.conf"))};
    RecordingDelegate delegate;
    FileSequence sequence{defaults, clock};

private:
    QVariantMap mValues;
};

// A file that is being written until this is gone.
class FileInWriting
{
public:
    explicit FileInWriting(const QByteArray& path)
        : mFile(open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666))
    {
        writeMore();
    }
    ~FileInWriting() { close(); }
    FileInWriting(const FileInWriting&) = delete;
    FileInWriting& operator=(const FileInWriting&) = delete;

    void writeMore() const { QCOMPARE(write(mFile, "half", 4), 4); }
    void close()
    {
        if (mFile >= 0) {
            ::close(mFile);
            mFile = -1;
        }
    }

private:
    int mFile;
};

constexpr size_t nowhere = ~size_t(0);

} // namespace frameflow
