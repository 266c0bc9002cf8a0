// bench_steps [PROGRAM] [STEPS]
// Measures what a person feels who steps through photographs of 24 megapixels: from the event of the key to the pixels
// on an X server of its own, after a rest on each slide and as fast as slides appear. The reference of the hurried
// steps is two djpeg side by side. Prints lines "name|figure|reference|ratio|limit" and fails when a limit is exceeded.

#include "BenchReport.h"
#include "Keyboard.h"
#include "OwnDisplay.h"
#include "Program.h"
#include "SettingsKeys.h"
#include "XServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace frameflow;
using namespace frameflow::bench;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

constexpr QSize photograph(6000, 4000);
constexpr std::array colours{0xFFE614C8U, 0xFF14B43CU, 0xFF1E28DCU, 0xFFE6D214U};

// As hard to decode as a photograph, with fine lines beside a plain square in the middle, by which it is known.
QImage picture(QRgb colour)
{
    QImage image(photograph, QImage::Format_RGB32);
    QRandomGenerator random(7);
    for (int y = 0; y < image.height(); ++y) {
        auto* const line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int noise = static_cast<int>(random.generate() & 15);
            line[x] = qRgb(x / 30 + noise, y / 20 + noise, (x ^ y) / 32 % 128 + noise);
        }
    }
    const QSize square = image.size() / 6;
    QPainter painter(&image);
    painter.fillRect(
        QRect(image.rect().center() - QPoint(square.width(), square.height()) / 2, square), QColor(colour));
    return image;
}

class Bench
{
public:
    Bench(const QString& program, int steps) : mProgram(program), mSteps(steps), mServer(XServer::open())
    {
        if (!mServer) {
            qFatal("no X server");
        }
        for (size_t i = 0; i < colours.size(); ++i) {
            if (!picture(colours[i]).save(name(static_cast<int>(i)), "JPG", 90)) {
                qFatal("no room for the pictures");
            }
        }
        for (int i = static_cast<int>(colours.size()); i < 6 * mSteps + 12; ++i) {
            const int original = i % static_cast<int>(colours.size());
            if (link(QFile::encodeName(name(original)).constData(), QFile::encodeName(name(i)).constData()) != 0) {
                qFatal("no links");
            }
        }
    }

    bool run()
    {
        writeSettings({{keys::hintsShown, true}, {keys::autoStart, false}, {keys::transition, QStringLiteral("None")},
            {keys::sort, keys::sortByName}, {keys::autoCheckNewVersion, false}});
        if (!mProgram.start({mFolder.path()}) || !awaitSlide()) {
            std::fprintf(stderr, "no first slide: %s\n", mProgram.output().constData());
            return false;
        }
        rested();
        hurried();
        return mReport.isWithinLimits();
    }

private:
    QString name(int number) const
    {
        return mFolder.filePath(QStringLiteral("%1.jpg").arg(number, 5, 10, QLatin1Char('0')));
    }

    void rested()
    {
        std::vector<double> times;
        times.reserve(mSteps);
        bool isSharp = true;
        for (int i = 0; i < mSteps; ++i) {
            std::this_thread::sleep_for(2s);
            times.push_back(step());
            const QImage atOnce = mServer->grab(mServer->bounds());
            std::this_thread::sleep_for(300ms);
            isSharp = isSharp && atOnce == mServer->grab(mServer->bounds());
        }
        mReport.add("step after two seconds, median, ms", median(times), 0, 20);
        mReport.add("step after two seconds, 95th percentile, ms", percentile95(times), 0, 35);
        mReport.add("pictures that became sharper after they appeared", isSharp ? 0 : 1, 0, 0);
        std::this_thread::sleep_for(2s);
        step();
        mReport.add("wrong pictures at Actual Size straight after a step", isTrueAtActualSize() ? 0 : 1, 0, 0);
        // The next slide ends the zoom, and steps are dropped until it has.
        std::this_thread::sleep_for(2s);
        step();
        std::this_thread::sleep_for(2s);
    }

    // Whether the middle of the picture comes to be on the screen as it is in the file.
    bool isTrueAtActualSize()
    {
        mKeyboard.pressWith(key::control, key::zero);
        const QImage file(name(static_cast<int>(mShown)));
        QRect middle(QPoint(), mServer->bounds().size());
        middle.moveCenter(file.rect().center());
        const QImage expected = file.copy(middle).convertToFormat(QImage::Format_RGB32);
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 5000) {
            if (mServer->grab(mServer->bounds()).convertToFormat(QImage::Format_RGB32) == expected) {
                return true;
            }
            std::this_thread::sleep_for(20ms);
        }
        return false;
    }

    // In turn with the reference, which works as long at a time: what the machine gives a program changes with the
    // minute, and with how long the program has asked for all of it.
    void hurried()
    {
        constexpr int turns = 5;
        std::vector<double> times;
        times.reserve(turns * mSteps);
        std::vector<double> reference;
        reference.reserve(turns * mSteps / 2);
        for (int turn = 0; turn < turns; ++turn) {
            for (int i = 0; i < mSteps; ++i) {
                times.push_back(step());
            }
            std::this_thread::sleep_for(3s); // what is read ahead is not to slow down the reference
            for (int i = 0; i < mSteps / 2; ++i) {
                reference.push_back(twoSideBySide());
            }
        }
        const double both = median(reference);
        mReport.add("hurried step, median, ms against half of two djpeg side by side", median(times), both / 2, 1.25);
        mReport.add(
            "hurried step, 95th percentile, ms against two djpeg side by side", percentile95(times), both, 1.15);
    }

    // Milliseconds from the key to the middle of the next picture.
    double step()
    {
        mShown = (mShown + 1) % colours.size();
        QElapsedTimer timer;
        timer.start();
        mKeyboard.press(key::rightArrow);
        return awaitSlide() ? static_cast<double>(timer.nsecsElapsed()) / 1e6 : never;
    }

    bool awaitSlide()
    {
        const QPoint centre = mServer->bounds().center();
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 30000) {
            if (isColour(mServer->pixel(centre), colours[mShown])) {
                return true;
            }
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }

    double twoSideBySide() const
    {
        QElapsedTimer timer;
        timer.start();
        std::array<pid_t, 2> children{};
        for (size_t i = 0; i < children.size(); ++i) {
            children[i] = startDjpeg(QFile::encodeName(name(static_cast<int>(i))));
        }
        bool worked = true;
        for (const pid_t child : children) {
            int status = -1;
            worked = waitpid(child, &status, 0) == child && status == 0 && worked;
        }
        return worked ? static_cast<double>(timer.nsecsElapsed()) / 1e6 : never;
    }

    static pid_t startDjpeg(const QByteArray& path)
    {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        QByteArray program("djpeg");
        QByteArray argument(path);
        std::array<char*, 3> words{program.data(), argument.data(), nullptr};
        pid_t child = -1;
        if (posix_spawnp(&child, program.constData(), &actions, nullptr, words.data(), environ) != 0) {
            qFatal("djpeg is missing");
        }
        posix_spawn_file_actions_destroy(&actions);
        return child;
    }

    Program mProgram;
    int mSteps;
    std::unique_ptr<XServer> mServer;
    Keyboard mKeyboard;
    QTemporaryDir mFolder;
    size_t mShown = 0;
    BenchReport mReport;
};

} // namespace

int main(int argc, char** argv)
{
    startOnOwnDisplay(argc, argv);
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/frameflow");
    const int steps = arguments.value(2, QStringLiteral("20")).toInt();
    return Bench(arguments.value(1, beside), std::max(steps, 1)).run() ? 0 : 1;
}
