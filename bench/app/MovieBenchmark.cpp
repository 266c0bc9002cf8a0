// bench_movies [PROGRAM] [MOVIES]
// Plays a counted movie at 1920 by 1080 on an X server of its own: how many of its frames come to the screen, and how
// much processor time that takes, against the player library's own program with its output in software. Then many short
// movies in a row: what memory they leave behind. Prints lines "name|figure|reference|ratio|limit" and fails when a
// limit is exceeded.

#include "BenchReport.h"
#include "MovieFolder.h"
#include "OwnDisplay.h"
#include "Program.h"
#include "SettingsKeys.h"
#include "XServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include <unistd.h>

using namespace frameflow;
using namespace frameflow::bench;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

constexpr int firstCounted = 45; // frames; by then everything runs evenly
constexpr int lastCounted = 285;
constexpr int runs = 3;

// Of the process and all its threads, in seconds.
double processorTime(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(process));
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QByteArray text = file.readAll();
    const auto fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

struct Showing
{
    std::set<int> frames; // that were on the screen
    double seconds = 0; // of processor time, for the frames that are counted

    int missing() const
    {
        int count = 0;
        for (int i = firstCounted; i <= lastCounted; ++i) {
            count += frames.count(i) == 0 ? 1 : 0;
        }
        return count;
    }
};

class Bench
{
public:
    Bench(QString program, int movies) : mProgram(std::move(program)), mMovies(movies), mServer(XServer::open())
    {
        if (!mServer
            || !writeCountedMovie(QStringLiteral(FRAMEFLOW_SAMPLES), mFolder.filePath(QStringLiteral("counted.mp4")))) {
            qFatal("no X server, or no movie");
        }
    }

    bool run()
    {
        counted();
        inARow();
        return mReport.isWithinLimits();
    }

private:
    void counted()
    {
        std::vector<double> ours;
        std::vector<double> theirs;
        int missing = movieFrames;
        int theirMissing = movieFrames;
        for (int i = 0; i < runs; ++i) {
            const Showing reference = showReference();
            const Showing showing = showOurs(mFolder.filePath(QStringLiteral("counted.mp4")));
            ours.push_back(showing.seconds);
            theirs.push_back(reference.seconds);
            // Whatever else the machine does now and then is no fault of either.
            missing = std::min(missing, showing.missing());
            theirMissing = std::min(theirMissing, reference.missing());
        }
        mReport.add("frames of a 1080p30 movie that never came to the screen", missing, 0, 0);
        mReport.add("the same of the reference", theirMissing, 0, {});
        mReport.add("processor time of eight seconds of it, s", median(ours), median(theirs), 1.25);
    }

    Showing showReference() const
    {
        Program player(QStringLiteral("mpv"));
        player.start({QStringLiteral("--no-config"), QStringLiteral("--no-terminal"), QStringLiteral("--vo=x11"),
            QStringLiteral("--ao=null"), QStringLiteral("--hwdec=no"), QStringLiteral("--no-osc"),
            QStringLiteral("--osd-level=0"), QStringLiteral("--fs"), QStringLiteral("--demuxer=lavf"),
            mFolder.filePath(QStringLiteral("counted.mp4"))});
        return watch(player);
    }

    Showing showOurs(const QString& path) const
    {
        writeSettings(settings(keys::endModeWait, keys::fitModeFit));
        Program program(mProgram);
        program.start({path});
        return watch(program);
    }

    static QVariantMap settings(const QString& endMode, const QString& fitMode)
    {
        return {{keys::hintsShown, true}, {keys::autoStart, true}, {keys::transition, QStringLiteral("None")},
            {keys::sort, keys::sortByName}, {keys::endMode, endMode}, {keys::imageFitMode, fitMode},
            {keys::autoCheckNewVersion, false}};
    }

    // Looks at the uppermost lines of the screen until the movie is over.
    Showing watch(Program& program) const
    {
        Showing showing;
        std::optional<double> before;
        const QRect strip(0, movieStripHeight / 2, mServer->bounds().width(), 1);
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 30000) {
            const int number = numberInStrip(mServer->grab(strip));
            if (number >= 0 && (before || number < firstCounted + 10)) {
                showing.frames.insert(number);
            }
            if (number >= firstCounted && number < firstCounted + 10 && !before) {
                before = processorTime(program.processId());
            } else if (before && number >= lastCounted) {
                showing.seconds = processorTime(program.processId()) - *before;
                break;
            }
            std::this_thread::sleep_for(3ms);
        }
        program.end();
        return showing;
    }

    void inARow()
    {
        QTemporaryDir folder;
        const auto name = [&](int number) {
            return folder.filePath(QStringLiteral("%1.mp4").arg(number, 4, 10, QLatin1Char('0')));
        };
        if (!writeShortMovie(name(0))) {
            qFatal("no movie");
        }
        for (int i = 1; i < mMovies; ++i) {
            if (link(QFile::encodeName(name(0)).constData(), QFile::encodeName(name(i)).constData()) != 0) {
                qFatal("no links");
            }
        }
        writeSettings(settings(keys::endModeWait, keys::fitModeZoom));
        Program program(mProgram);
        program.start({folder.path()});
        const double inTheMiddle = memoryAt(program, mMovies / 2);
        const double atTheEnd = memoryAt(program, mMovies);
        mReport.add("memory after so many movies, against after half of them, MiB", atTheEnd, inTheMiddle, 1.05);
    }

    // The median while the movies before that number play, in MiB: what it is depends on the moment. A huge number when
    // they never do.
    double memoryAt(Program& program, int number) const
    {
        constexpr double mebibyte = 1 << 20;
        constexpr int looks = 20;
        std::vector<double> seen;
        const bool isThere = waitFor(
            [&] {
                if (numberPlaying(program) >= number - 5) {
                    seen.push_back(double(program.residentBytes()) / mebibyte);
                }
                return seen.size() >= looks && numberPlaying(program) >= number - 1;
            },
            std::chrono::seconds(3 * mMovies));
        return isThere ? median(seen) : 1e9;
    }

    // From the title of its window; -1 without one.
    int numberPlaying(const Program& program) const
    {
        for (const WindowId window : mServer->windowsOf(program.processId())) {
            bool isNumber = false;
            const int number = mServer->title(window).left(4).toInt(&isNumber);
            if (isNumber) {
                return number;
            }
        }
        return -1;
    }

    QString mProgram;
    int mMovies;
    std::unique_ptr<XServer> mServer;
    QTemporaryDir mFolder;
    BenchReport mReport;
};

} // namespace

int main(int argc, char** argv)
{
    startOnOwnDisplay(argc, argv);
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/frameflow");
    const int movies = arguments.value(2, QStringLiteral("100")).toInt();
    return Bench(arguments.value(1, beside), std::max(movies, 2)).run() ? 0 : 1;
}
