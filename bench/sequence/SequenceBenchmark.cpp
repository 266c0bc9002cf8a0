// Measures the sequence against find on trees of its own. Takes no arguments; each line is
// name|figure|reference|ratio|limit. FRAMEFLOW_BENCH_LARGE also measures a tree of a million files.

#include "BenchTools.h"
#include "Duplicates.h"
#include "FileSequence.h"
#include "HotFolderBenchmark.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace frameflow;
using namespace frameflow::bench;

namespace {

double medianCollection(UserDefaults& defaults, SerialQueue& queue, const QByteArray& root, size_t expected)
{
    FileSequence sequence(defaults);
    const double time = timed([&] { collect(sequence, queue, root); });
    if (sequence.count() != expected) {
        std::fprintf(stderr, "%zu files instead of %zu\n", sequence.count(), expected);
        std::exit(1);
    }
    return time;
}

double benchCollecting(UserDefaults& defaults, SerialQueue& queue, const QByteArray& root)
{
    std::vector<double> own;
    std::vector<double> finds;
    medianCollection(defaults, queue, root, 75000);
    runFind(root);
    for (int i = 0; i < 7; ++i) {
        own.push_back(medianCollection(defaults, queue, root, 75000));
        finds.push_back(timed([&] { runFind(root); }));
    }
    report("collect 100,000 files", median(own), "find", median(finds), 1.0);
    return median(own);
}

double benchCollectingFew(UserDefaults& defaults, SerialQueue& queue, const QByteArray& root)
{
    std::vector<double> own;
    for (int i = 0; i < 7; ++i) {
        own.push_back(medianCollection(defaults, queue, root, 7500));
    }
    return median(own);
}

void benchFirstFile(UserDefaults& defaults, SerialQueue& queue, const QByteArray& root)
{
    std::vector<double> small;
    for (int i = 0; i < 7; ++i) {
        FileSequence sequence(defaults);
        small.push_back(timed([&] { collect(sequence, queue, root); }));
    }
    report("collect 10 files", median(small), "a frame at 60 Hz", 1000.0 / 60, 1.0);
}

double benchLarge(UserDefaults& defaults, SerialQueue& queue, const QByteArray& root, double hundredThousand)
{
    medianCollection(defaults, queue, root, 750000);
    std::vector<double> own;
    own.reserve(3);
    for (int i = 0; i < 3; ++i) {
        own.push_back(medianCollection(defaults, queue, root, 750000));
    }
    report("collect 1,000,000 files", median(own), "100,000 files", hundredThousand, 13.0);

    queue.sync([] {});
    malloc_trim(0);
    const auto before = mallinfo2().uordblks;
    FileSequence sequence(defaults);
    collect(sequence, queue, root);
    queue.sync([] {});
    const double bytes = static_cast<double>(mallinfo2().uordblks - before) / static_cast<double>(sequence.count());
    std::printf("memory of a file in a sequence of 750,000|%.0f bytes|250 bytes|%.2f|1.00\n", bytes, bytes / 250);
    return median(own);
}

SlideItems itemsNamed(int pairs)
{
    SlideItems items;
    for (int i = 0; i < pairs; ++i) {
        const QByteArray base = "/pictures/holiday/IMG_" + QByteArray::number(i * 7919 % pairs);
        items.emplace_back(new SlideItem(FileUrl::fromPath(base + ".JPG"), {i, 0}, {}));
        items.emplace_back(new SlideItem(FileUrl::fromPath(base + ".CR2"), {i, 0}, {}));
    }
    return items;
}

void benchDuplicates(double collecting)
{
    std::vector<double> times;
    for (int i = 0; i < 7; ++i) {
        auto items = itemsNamed(50000);
        times.push_back(timed([&] {
            const auto duplicates = takeDuplicates(items);
            require(duplicates.urls.size() == 50000 && items.size() == 50000, "duplicates");
        }));
    }
    report("remove 50,000 duplicates", median(times), "collect", collecting, 0.25);
}

// What the show does with a folder in which nothing can be decoded.
void removeAllAtCursor(FileSequence& sequence)
{
    FileUrl url = sequence.first();
    while (!url.isEmpty()) {
        sequence.remove(url);
        sequence.stepBackAfterRemoval();
        url = sequence.next();
    }
    require(sequence.count() == 0, "remove");
}

// Several sequences in memory at once, as many files in all: the processor's caches serve neither side better.
double medianRemoval(UserDefaults& defaults, SerialQueue& queue, const QByteArray& root, int sequences)
{
    std::vector<double> times;
    for (int i = 0; i < 7; ++i) {
        std::vector<std::unique_ptr<FileSequence>> all;
        for (int k = 0; k < sequences; ++k) {
            all.push_back(std::make_unique<FileSequence>(defaults));
            collect(*all.back(), queue, root);
        }
        times.push_back(timed([&] {
            for (const auto& sequence : all) {
                removeAllAtCursor(*sequence);
            }
        }));
    }
    return median(times) / sequences;
}

void benchRemoving(UserDefaults& defaults, SerialQueue& queue, const QByteArray& small, const QByteArray& large)
{
    const double reference = medianRemoval(defaults, queue, small, 10);
    report("remove all of 75,000 files", medianRemoval(defaults, queue, large, 1), "7,500 files", reference, 15.0);
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QTemporaryDir folder;
    require(folder.isValid(), "temporary folder");
    const QByteArray root = folder.path().toUtf8();
    UserDefaults defaults(folder.filePath(QStringLiteral("settings.conf")));
    defaults.registerDefaults({{keys::sort, keys::sortByName}, {keys::endMode, keys::endModeRewind}});
    SerialQueue queue("bench");

    makeTree(root + "/hundred thousand", 100000);
    makeTree(root + "/ten thousand", 10000);
    require(mkdir((root + "/ten").constData(), 0777) == 0, "mkdir");
    for (int i = 0; i < 10; ++i) {
        const QByteArray name = root + "/ten/" + QByteArray::number(i) + ".jpg";
        close(open(name.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    }

    const double collecting = benchCollecting(defaults, queue, root + "/hundred thousand");
    benchFirstFile(defaults, queue, root + "/ten");
    benchDuplicates(collecting);
    benchRemoving(defaults, queue, root + "/ten thousand", root + "/hundred thousand");
    const double collectingFew = benchCollectingFew(defaults, queue, root + "/ten thousand");
    HotFolderBenchmark hot(defaults, queue);
    hot.measure(root + "/ten thousand", "10,000", collectingFew);
    hot.measure(root + "/hundred thousand", "100,000", collecting);
    hot.measureGrowth(root + "/ten thousand", root + "/hundred thousand", "100,000");
    if (qEnvironmentVariableIsSet("FRAMEFLOW_BENCH_LARGE")) {
        makeTree(root + "/million", 1000000);
        const double collectingMany = benchLarge(defaults, queue, root + "/million", collecting);
        hot.measure(root + "/million", "1,000,000", collectingMany);
        hot.measureGrowth(root + "/hundred thousand", root + "/million", "1,000,000");
    }
    return 0;
}
