#include "HotFolderBenchmark.h"

#include "BenchTools.h"
#include "Clock.h"
#include "FileSequence.h"
#include "SettingsKeys.h"

#include <QCoreApplication>
#include <QDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow::bench {

namespace {

// A clock by which nothing ever falls due: rescans are made when the benchmark says so.
class StillClock final : public Clock
{
public:
    TimePoint now() const override { return {}; }
    std::unique_ptr<Alarm> alarmAt(TimePoint, std::function<void()>) override { return std::make_unique<Alarm>(); }
};

class NewFiles final : public FileSequenceDelegate
{
public:
    void firstFileFound() override { }
    void newFilesFound() override { ++count; }
    void currentFileChanged() override { }

    int count = 0;
};

double processorTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// Of all threads of the program, in milliseconds.
template <typename Work>
double processorTimeOf(const Work& work)
{
    timespec begin{};
    timespec end{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &begin);
    work();
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    return static_cast<double>(end.tv_sec - begin.tv_sec) * 1e3
        + static_cast<double>(end.tv_nsec - begin.tv_nsec) / 1e6;
}

// A sequence that watches a tree, and the longest time for which a rescan has kept the main thread busy. Of that
// thread's own time: what other programs do meanwhile on a machine with few cores is not counted.
class WatchedTree
{
public:
    WatchedTree(UserDefaults& defaults, SerialQueue& queue, Clock& clock, const QByteArray& root)
        : mRoot(root), mSequence(defaults, clock)
    {
        mSequence.setDelegate(&mNewFiles);
        collect(mSequence, queue, root);
        finish();
        mSequence.gotoIndex(mSequence.count() / 2);
        mLongestPause = 0;
    }

    FileSequence& sequence() { return mSequence; }
    int newFiles() const { return mNewFiles.count; }
    double longestPause() const { return mLongestPause; }

    void rescan()
    {
        pausing([this] { mSequence.updateHotFolder(); });
        finish();
    }

    // Waits until the condition holds, or a minute is over.
    template <typename Condition>
    void wait(const Condition& holds)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!holds() && std::chrono::steady_clock::now() < end) {
            pausing([] { QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents); });
        }
        require(holds(), "waiting");
    }

    void addFiles(int count)
    {
        for (int i = 0; i < count; ++i) {
            const QByteArray path = nameOf(i);
            const int file = open(path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
            require(file >= 0 && write(file, "x", 1) == 1, "new file");
            close(file);
        }
    }
    void removeFiles(int count)
    {
        for (int i = 0; i < count; ++i) {
            require(unlink(nameOf(i).constData()) == 0, "unlink");
        }
    }

private:
    QByteArray nameOf(int number) const { return mRoot + "/new " + QByteArray::number(number) + ".jpg"; }
    void finish()
    {
        wait([this] { return !mSequence.isRescanning(); });
    }
    template <typename Work>
    void pausing(const Work& work)
    {
        const double begin = processorTime();
        work();
        mLongestPause = std::max(mLongestPause, processorTime() - begin);
    }

    QByteArray mRoot;
    NewFiles mNewFiles;
    FileSequence mSequence;
    double mLongestPause = 0;
};

// Registered, so that no settings file is written meanwhile.
void setNewItemsNext(UserDefaults& defaults, bool next)
{
    defaults.registerDefaults(
        {{keys::sort, keys::sortByName}, {keys::endMode, keys::endModeRewind}, {keys::showNewItemsASAP, next}});
}

struct Cost
{
    double time = 0;
    double processorTime = 0;
};

Cost rescanWithOneNewFile(WatchedTree& tree)
{
    Cost cost;
    const size_t before = tree.sequence().count();
    tree.addFiles(1);
    cost.processorTime = processorTimeOf([&] { cost.time = timed([&] { tree.rescan(); }); });
    require(tree.sequence().count() == before + 1, "the new file is there");
    tree.removeFiles(1);
    tree.rescan();
    require(tree.sequence().count() == before, "the file has gone");
    return cost;
}

double processorTimeOfCollecting(UserDefaults& defaults, SerialQueue& queue, const QByteArray& root)
{
    FileSequence sequence(defaults);
    return processorTimeOf([&] { collect(sequence, queue, root); });
}

// Times of files are too coarse for a look to be trusted right after a change.
void letChangesGrowOld()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(2200));
}

QList<QByteArray> foldersOf(const QByteArray& root)
{
    QList<QByteArray> folders{root};
    for (const QString& name : QDir(QString::fromUtf8(root)).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        folders.append(root + '/' + name.toUtf8());
    }
    return folders;
}

void benchLook(WatchedTree& tree, const QByteArray& root, const QByteArray& size)
{
    const auto folders = foldersOf(root);
    if (folders.size() < 100) {
        return; // the time to hand a job to another thread is all that there would be to see
    }
    letChangesGrowOld();
    tree.rescan(); // the walk after which a look is enough
    std::vector<double> looks;
    std::vector<double> reads;
    for (int i = 0; i < 21; ++i) {
        looks.push_back(processorTimeOf([&] { tree.rescan(); }));
        reads.push_back(processorTimeOf([&] {
            struct stat attributes
            {
            };
            for (const auto& folder : folders) {
                require(lstat(folder.constData(), &attributes) == 0, "stat");
            }
        }));
    }
    report(("processor time of a look at " + size + " unchanged files").constData(), median(looks),
        (QByteArray::number(folders.size()) + " attribute reads").constData(), median(reads), 1.6);
}

// Everything that can come of a rescan.
void benchPause(WatchedTree& tree, UserDefaults& defaults, const QByteArray& root, const QByteArray& size)
{
    constexpr int burst = 10000;
    tree.addFiles(burst);
    tree.rescan();
    tree.removeFiles(burst);
    tree.rescan();
    setNewItemsNext(defaults, false);
    tree.addFiles(1);
    tree.rescan();
    tree.removeFiles(1);
    tree.rescan();
    setNewItemsNext(defaults, true);
    const QByteArray away = root + " away";
    require(rename(root.constData(), away.constData()) == 0, "rename");
    tree.rescan();
    require(tree.sequence().count() == 0, "all have gone");
    require(rename(away.constData(), root.constData()) == 0, "rename");
    report(("longest pause by rescans of " + size + " files").constData(), tree.longestPause(), "5 ms", 5.0, 1.0);
}

void benchArrival(UserDefaults& defaults, SerialQueue& queue, const QByteArray& root, const QByteArray& size)
{
    SystemClock clock;
    WatchedTree tree(defaults, queue, clock, root);
    tree.sequence().stopTimer();
    std::vector<double> times;
    for (int i = 0; i < 5; ++i) {
        tree.addFiles(1);
        const int before = tree.newFiles();
        times.push_back(timed([&] { tree.wait([&] { return tree.newFiles() > before; }); }));
        tree.removeFiles(1);
        const size_t count = tree.sequence().count();
        tree.wait([&] { return tree.sequence().count() < count; });
    }
    const double longest = *std::max_element(times.begin(), times.end());
    report(("new file among " + size + ", longest of five").constData(), longest, "1.3 seconds", 1300.0, 1.0);
}

} // namespace

void HotFolderBenchmark::measure(const QByteArray& root, const char* size, double collecting)
{
    setNewItemsNext(mDefaults, true);
    StillClock clock;
    {
        WatchedTree tree(mDefaults, mQueue, clock, root);
        std::vector<double> times;
        for (int i = 0; i < 7; ++i) {
            times.push_back(rescanWithOneNewFile(tree).time);
        }
        report(
            ("rescan " + QByteArray(size) + " files, one new").constData(), median(times), "collect", collecting, 1.0);
    }
    {
        WatchedTree tree(mDefaults, mQueue, clock, root);
        benchLook(tree, root, size);
        benchPause(tree, mDefaults, root, size);
    }
    benchArrival(mDefaults, mQueue, root, size);
}

// By turns: whatever else the machine does at the time, it does to both.
void HotFolderBenchmark::measureGrowth(const QByteArray& smaller, const QByteArray& larger, const char* size)
{
    setNewItemsNext(mDefaults, true);
    StillClock clock;
    WatchedTree few(mDefaults, mQueue, clock, smaller);
    WatchedTree many(mDefaults, mQueue, clock, larger);
    std::vector<double> rescans;
    std::vector<double> collections;
    for (int i = 0; i < 9; ++i) {
        const double fewRescanned = rescanWithOneNewFile(few).processorTime;
        rescans.push_back(rescanWithOneNewFile(many).processorTime / fewRescanned);
        const double fewCollected = processorTimeOfCollecting(mDefaults, mQueue, smaller);
        collections.push_back(processorTimeOfCollecting(mDefaults, mQueue, larger) / fewCollected);
    }
    std::printf("growth of a rescan's processor time to %s files|%.1f times|collecting %.1f times|%.2f|1.30\n", size,
        median(rescans), median(collections), median(rescans) / median(collections));
    std::fflush(stdout);
}

} // namespace frameflow::bench
