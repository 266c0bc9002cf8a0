// How much processor time a picture costs, that of the decoders included, and how long many thumbnails take, against
// the plain JPEG decoder of the same machine. One line for each figure: name|figure|reference|ratio|limit, in
// milliseconds; the exit status is 1 when a ratio is above its limit.

#include "DecoderPool.h"
#include "KLImage.h"
#include "KLThumbnailCache.h"
#include "ThumbnailLoader.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImageWriter>
#include <QTemporaryDir>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <map>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace frameflow;

namespace {

constexpr int pairs = 11;

double milliseconds(const rusage& usage)
{
    const auto of = [](const timeval& time) { return time.tv_sec * 1e3 + time.tv_usec * 1e-3; };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

double processorTime(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

// Of the decoders that there are now, by their process numbers.
std::map<pid_t, double> decoderTimes()
{
    std::map<pid_t, double> times;
    for (const pid_t process : DecoderPool::instance().processes()) {
        clockid_t clock = {};
        if (clock_getcpuclockid(process, &clock) == 0) {
            times[process] = processorTime(clock);
        }
    }
    return times;
}

// Of every thread of this process and of its decoders, from its first instruction in the work to its last.
double ownTime(const std::function<void()>& work)
{
    const double before = processorTime(CLOCK_PROCESS_CPUTIME_ID);
    auto decodersBefore = decoderTimes();
    work();
    double spent = processorTime(CLOCK_PROCESS_CPUTIME_ID) - before;
    for (const auto& [process, time] : decoderTimes()) {
        spent += time - decodersBefore[process];
    }
    return spent;
}

// Starts a program that writes to /dev/null; -1 when it cannot be started.
pid_t startProgram(const std::vector<const char*>& arguments)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (const char* const argument : arguments) {
        words.push_back(const_cast<char*>(argument)); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    }
    words.push_back(nullptr);
    pid_t child = -1;
    const bool isStarted = posix_spawnp(&child, words.front(), &actions, nullptr, words.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    return isStarted ? child : -1;
}

// The processor time of a whole program. Negative when it fails.
double programTime(const std::vector<const char*>& arguments)
{
    const pid_t child = startProgram(arguments);
    int status = -1;
    rusage usage = {};
    return child > 0 && wait4(child, &status, 0, &usage) == child && status == 0 ? milliseconds(usage) : -1;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

// Skies and meadows: slow shades of colour, edges, and the fine grain that a sensor leaves on all of it.
QImage landscape(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    quint32 state = 12345;
    for (int y = 0; y < size.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            state = state * 1664525U + 1013904223U;
            const int grain = static_cast<int>(state >> 28) - 8;
            const double hills = 0.45 + 0.1 * std::sin(x * 0.0015) + 0.03 * std::sin(x * 0.02);
            const double height = double(y) / size.height();
            const bool isSky = height < hills;
            const double leaves = isSky ? 0 : 30 * std::sin(x * 0.31 + std::sin(y * 0.17) * 3) * std::cos(y * 0.23);
            const double shade = isSky ? 200 - 90 * height : 70 + 60 * height + leaves;
            const auto channel = [&](double base) { return std::clamp(static_cast<int>(base) + grain, 0, 255); };
            line[x]
                = qRgb(channel(shade * (isSky ? 0.7 : 0.8)), channel(shade), channel(isSky ? shade + 40 : shade * 0.4));
        }
    }
    return image;
}

struct Figure
{
    const char* name;
    const char* file;
    bool isThumbnail;
    double limit;
};

bool report(const Figure& figure, const QByteArray& path)
{
    const auto url = FileUrl::fromPath(path);
    std::vector<const char*> reference{"djpeg"};
    if (figure.isThumbnail) {
        reference.insert(reference.end(), {"-scale", "1/8"});
    }
    reference.push_back(path.constData());
    std::vector<double> ours;
    std::vector<double> theirs;
    for (int i = 0; i < pairs; ++i) {
        bool isThere = false;
        ours.push_back(ownTime([&] {
            isThere
                = figure.isThumbnail ? !KLImage::thumbNailFromURL(url).isNull() : KLImage::imageWithURL(url) != nullptr;
        }));
        theirs.push_back(programTime(reference));
        if (!isThere || theirs.back() < 0) {
            std::fprintf(stderr, "%s: cannot be measured\n", figure.name);
            return false;
        }
    }
    const double ratio = median(ours) / median(theirs);
    std::printf("%s|%.1f|%.1f|%.3f|%.2f\n", figure.name, median(ours), median(theirs), ratio, figure.limit);
    return ratio <= figure.limit;
}

// Two loops side by side, each over every second file. Negative when a program fails.
double timeOfTwoLoops(const std::vector<QByteArray>& paths)
{
    std::atomic<bool> worked = true;
    const auto loop = [&](size_t first) {
        for (size_t i = first; i < paths.size(); i += 2) {
            if (programTime({"djpeg", "-scale", "1/8", paths[i].constData()}) < 0) {
                worked = false;
            }
        }
    };
    QElapsedTimer timer;
    timer.start();
    std::thread other(loop, 1);
    loop(0);
    other.join();
    return worked ? static_cast<double>(timer.nsecsElapsed()) / 1e6 : -1;
}

// Negative when a thumbnail is missing.
double timeOfThumbnails(const std::vector<QByteArray>& paths)
{
    KLThumbnailCache::purge();
    std::vector<FileUrl> files;
    files.reserve(paths.size());
    for (const QByteArray& path : paths) {
        files.push_back(FileUrl::fromPath(path));
    }
    bool worked = true;
    QElapsedTimer timer;
    timer.start();
    ThumbnailLoader loader(DecoderPool::instance(),
        [&](const FileUrl& /*file*/, const QImage& picture) { worked = worked && !picture.isNull(); });
    loader.setWanted(files);
    while (!loader.isIdle()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return worked ? static_cast<double>(timer.nsecsElapsed()) / 1e6 : -1;
}

// The rates, as times for the same files.
bool reportThumbnails(const QByteArray& folder, const QByteArray& original)
{
    constexpr int count = 120;
    constexpr int rounds = 5;
    constexpr double limit = 1 / 0.9;
    std::vector<QByteArray> paths;
    paths.reserve(count);
    for (int i = 0; i < count; ++i) {
        paths.push_back(folder + '/' + QByteArray::number(i) + ".jpg");
        if (link(original.constData(), paths.back().constData()) != 0) {
            return false;
        }
    }
    std::vector<double> ours;
    std::vector<double> theirs;
    for (int i = 0; i < rounds; ++i) {
        ours.push_back(timeOfThumbnails(paths));
        theirs.push_back(timeOfTwoLoops(paths));
        if (ours.back() < 0 || theirs.back() < 0) {
            std::fprintf(stderr, "thumbnails cannot be measured\n");
            return false;
        }
    }
    const double ratio = median(ours) / median(theirs);
    std::printf("%d thumbnails of 12-megapixel JPEGs against two djpeg -scale 1/8 at a time|%.0f|%.0f|%.3f|%.2f\n",
        count, median(ours), median(theirs), ratio, limit);
    return ratio <= limit;
}

bool writeJpeg(const QByteArray& path, QSize size)
{
    constexpr int quality = 90;
    QImageWriter writer(QString::fromUtf8(path), "jpeg");
    writer.setQuality(quality);
    return writer.write(landscape(size));
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "minimal");
    const QGuiApplication application(argc, argv);
    const QTemporaryDir folder;
    const auto pathOf = [&](const char* name) { return folder.path().toUtf8() + '/' + name; };
    if (!folder.isValid() || !writeJpeg(pathOf("24.jpg"), QSize(6000, 4000))
        || !writeJpeg(pathOf("12.jpg"), QSize(4000, 3000))) {
        std::fprintf(stderr, "the pictures cannot be written\n");
        return 1;
    }
    constexpr std::array figures{
        Figure{"decode of a 24-megapixel JPEG", "24.jpg", false, 1.25},
        Figure{"decode of a 12-megapixel JPEG", "12.jpg", false, 1.25},
        Figure{"thumbnail of a 24-megapixel JPEG", "24.jpg", true, 1.3},
        Figure{"thumbnail of a 12-megapixel JPEG", "12.jpg", true, 1.3},
    };
    bool isWithin = true;
    for (const Figure& figure : figures) {
        isWithin = report(figure, pathOf(figure.file)) && isWithin;
    }
    const QByteArray many = pathOf("many");
    isWithin = mkdir(many.constData(), 0700) == 0 && reportThumbnails(many, pathOf("12.jpg")) && isWithin;
    return isWithin ? 0 : 1;
}
