#pragma once

#include "FileUrl.h"

#include <QList>

#include <functional>

namespace frameflow {

class SerialQueue;
class UserDefaults;

// Told by a FileSequence, always on the main thread.
class FileSequenceDelegate
{
public:
    virtual ~FileSequenceDelegate() = default;
    virtual void firstFileFound() = 0;
    virtual void newFilesFound() = 0;
    virtual void currentFileChanged() = 0;
};

// A collection to be made on a queue.
struct CollectionRequest
{
    enum class Adder
    {
        Files, // as addFiles
        Urls, // as addURLs
        Directory, // as addDirectory, with one entry
        Url, // as addURL, with one entry
    };

    Adder adder = Adder::Files;
    QList<FileUrl> entries;
    bool clearFirst = false;
    bool sortAfterwards = false;
    bool removeDuplicatesAfterwards = false;
};

// The ordered list of slides with a cursor. Main thread only; collections run on a queue and post what they find.
class FileSequence
{
public:
    explicit FileSequence(UserDefaults& defaults);
    ~FileSequence();

    void setDelegate(FileSequenceDelegate* delegate);

    // Queued collection. Returns at once. What is found joins the list in batches, the first of one item, followed by
    // firstFileFound; finished runs on the main thread when the order and duplicate rules have been applied. A second
    // collection queued behind the first adds to it. An abandoned collection calls nothing back.
    void collect(SerialQueue& queue, const CollectionRequest& request, std::function<void()> finished = {});
    // Gives up all collections at once, running and queued ones, even one stuck in a system call.
    void abandonCollections();
    bool isCollecting() const;
    // Empties the sequence after the jobs that the queue already holds.
    void clearOn(SerialQueue& queue, std::function<void()> finished = {});

    // Synchronous operations.
    void addURLs(const QList<FileUrl>& urls);
    void addURL(const FileUrl& url);
    void addFiles(const QList<QByteArray>& paths);
    void addFile(const QByteArray& path);
    void addDirectory(const QByteArray& path);
    static bool displayableURL(const FileUrl& url);
    void checkFirstFile();

    size_t count() const;
    size_t currentIndex() const;
    FileUrl current() const;
    FileUrl first();
    FileUrl next();
    FileUrl previous();
    FileUrl URLAtIndex(size_t index) const;
    FileUrl gotoIndex(size_t index);
    FileUrl atOffset(qint64 offset) const;
    void rewind();
    void sort();
    void shuffle();
    void removeDuplicates();
    FileUrl trash();
    void remove(const FileUrl& url);
    // After remove() of the current item: puts the cursor so that next() answers the file that followed it, also when
    // the first item was removed (previous() would wrap to the end there).
    void stepBackAfterRemoval();
    void clear();
    void itemChanged(const FileUrl& url);
};

} // namespace frameflow
