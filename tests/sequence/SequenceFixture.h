#pragma once

#include "FileSequence.h"
#include "SettingsKeys.h"
#include "TestFiles.h"
#include "UserDefaults.h"

#include <QTest>

#include <functional>

#include <unistd.h>

namespace frameflow {

// A sequence with settings and a folder of its own, and the settings' registered values set by the test.
struct SequenceFixture
{
    SequenceFixture()
    {
        set(keys::sort, keys::sortByName);
        set(keys::endMode, keys::endModeRewind);
    }

    void set(const QString& key, const QVariant& value)
    {
        mValues.insert(key, value);
        defaults.registerDefaults(mValues);
    }

    // Files named 0.jpg, 1.jpg and so on; links to one file, which the file system makes fast.
    void addFiles(int count) const
    {
        const QByteArray source = folder.addFile("source", "");
        for (int i = 0; i < count; ++i) {
            const QByteArray path = folder.pathOf(QByteArray::number(i) + ".jpg");
            if (link(source.constData(), path.constData()) != 0) {
                qFatal("link %s", path.constData());
            }
        }
    }

    // The names of all items in order, separated by spaces.
    QByteArray names(const FileSequence& list) const
    {
        QByteArrayList all;
        for (size_t i = 0; i < list.count(); ++i) {
            all.append(list.URLAtIndex(i).path().mid(folder.path().size() + 1));
        }
        return all.join(' ');
    }
    QByteArray names() const { return names(sequence); }

    TestFolder folder;
    TestFolder settings;
    UserDefaults defaults{QString::fromUtf8(settings.pathOf("settings.conf"))};
    FileSequence sequence{defaults};

private:
    QVariantMap mValues;
};

// Five files, sorted, with the cursor on the first.
struct FiveFiles : SequenceFixture
{
    FiveFiles()
    {
        for (const char* name : {"a.jpg", "b.jpg", "c.jpg", "d.jpg", "e.jpg"}) {
            folder.addFile(name);
        }
        sequence.addURLs({folder.url()});
    }
};

// Removes the current file and leaves the cursor before the next, as the show does with what it cannot decode.
inline FileUrl dropCurrent(FileSequence& sequence)
{
    FileUrl dropped = sequence.current();
    sequence.remove(dropped);
    sequence.stepBackAfterRemoval();
    return dropped;
}

// Counts what it is told; each hook runs as part of the call.
class RecordingDelegate : public FileSequenceDelegate
{
public:
    void firstFileFound() override
    {
        ++firstFiles;
        if (onFirstFile) {
            onFirstFile();
        }
    }
    void newFilesFound() override
    {
        ++newFiles;
        if (onNewFiles) {
            onNewFiles();
        }
    }
    void currentFileChanged() override
    {
        ++changes;
        if (onChange) {
            onChange();
        }
    }

    int firstFiles = 0;
    int newFiles = 0;
    int changes = 0;
    std::function<void()> onFirstFile;
    std::function<void()> onNewFiles;
    std::function<void()> onChange;
};

} // namespace frameflow
