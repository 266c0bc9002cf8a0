// bench_soak [PROGRAM] [SLIDES] [TRANSITION]
// Lets a show run for SLIDES (1000) slides with transitions, on an X server of its own, and compares what the program
// and its decoders hold in memory at the end with what they held after the first 50. Shared memory counts by shares
// (PSS). Prints lines "name|figure|reference|ratio|limit" and fails when the limit is exceeded.

#include "BenchReport.h"
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
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include <unistd.h>

using namespace frameflow;
using namespace frameflow::bench;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

constexpr std::array colours{0xFFE614C8U, 0xFF14B43CU, 0xFF1E28DCU, 0xFFE6D214U};
constexpr int files = 60;
constexpr int firstSlides = 50;

// Fine lines, as in a photograph, beside a plain square in the middle, by which it is known.
QImage picture(QRgb colour, const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    QRandomGenerator random(7);
    for (int y = 0; y < image.height(); ++y) {
        auto* const line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int noise = static_cast<int>(random.generate() & 15);
            line[x] = qRgb(x / 30 + noise, y / 20 + noise, (x ^ y) / 32 % 128 + noise);
        }
    }
    const QSize square = size / 4;
    QPainter painter(&image);
    painter.fillRect(
        QRect(image.rect().center() - QPoint(square.width(), square.height()) / 2, square), QColor(colour));
    return image;
}

// In mebibytes; below zero where the kernel does not tell.
double proportionalShare(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/smaps_rollup").arg(process));
    if (!file.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith("Pss:")) {
            return line.simplified().split(' ').value(1).toDouble() / 1024;
        }
    }
    return -1;
}

class Soak
{
public:
    Soak(const QString& program, int slides, QString transition)
        : mProgram(program), mSlides(slides), mTransition(std::move(transition)), mServer(XServer::open())
    {
        if (!mServer) {
            qFatal("no X server");
        }
        // Of several sizes, so that what is allocated for one does not fit the next.
        const std::array sizes{QSize(4000, 3000), QSize(1600, 2400), QSize(3000, 2000), QSize(1000, 700)};
        for (int i = 0; i < files; ++i) {
            const size_t kind = static_cast<size_t>(i) % colours.size();
            const bool saved = i < static_cast<int>(colours.size())
                ? picture(colours[kind], sizes[kind]).save(name(i), "JPG", 85)
                : QFile::copy(name(static_cast<int>(kind)), name(i));
            if (!saved) {
                qFatal("no room for the pictures");
            }
        }
    }

    bool run()
    {
        writeSettings({{keys::hintsShown, true}, {keys::autoStart, true}, {keys::slideInterval, 0.3},
            {keys::transition, mTransition}, {keys::sort, keys::sortByName}, {keys::endMode, keys::endModeRewind},
            {keys::autoCheckNewVersion, false}});
        if (!mProgram.start({mFolder.path()}) || !await(firstSlides)) {
            std::fprintf(stderr, "no show: %s\n", mProgram.output().constData());
            return false;
        }
        const double before = memoryAtRest();
        mServer->pressKey(QStringLiteral("ctrl+p"));
        if (!await(mSlides)) {
            std::fprintf(stderr, "the show stopped after %d slides: %s\n", mSeen, mProgram.output().constData());
            return false;
        }
        const double after = memoryAtRest();
        const QByteArray name = "memory after " + QByteArray::number(mSlides) + " slides against "
            + QByteArray::number(firstSlides) + ", MiB";
        BenchReport report;
        report.add(name.constData(), after > 0 ? after : never, before > 0 ? before : never, 1.05);
        return report.isWithinLimits();
    }

private:
    QString name(int number) const
    {
        return mFolder.filePath(QStringLiteral("%1.jpg").arg(number, 3, 10, QLatin1Char('0')));
    }

    // Waits until so many slides have been on the screen since the start.
    bool await(int slides)
    {
        const QPoint centre = mServer->bounds().center();
        QElapsedTimer sinceSlide;
        sinceSlide.start();
        while (mSeen < slides && sinceSlide.elapsed() < 30000) {
            const QRgb pixel = mServer->pixel(centre);
            for (const QRgb colour : colours) {
                if (colour != mLast && isColour(pixel, colour)) {
                    mLast = colour;
                    ++mSeen;
                    sinceSlide.restart();
                }
            }
            std::this_thread::sleep_for(3ms);
        }
        return mSeen >= slides;
    }

    bool awaitColour(QRgb colour) const
    {
        return waitFor([&] { return isColour(mServer->pixel(mServer->bounds().center()), colour); }, 30s);
    }

    // Stops the show, goes to the same slide by the same steps, so that the same pictures are held, and waits until
    // nothing moves any more. Below zero when that fails.
    double memoryAtRest()
    {
        mServer->pressKey(QStringLiteral("ctrl+p"));
        for (int i = 0; i < 2; ++i) {
            std::this_thread::sleep_for(2s); // a transition on its way does not let go of the screen
            mServer->pressKey(QStringLiteral("Home"));
        }
        for (size_t step = 0; step < 7; ++step) {
            if (step > 0) {
                mServer->pressKey(QStringLiteral("Right"));
            }
            if (!awaitColour(colours[step % colours.size()])) {
                return -1;
            }
            std::this_thread::sleep_for(1s);
        }
        qint64 last = -1;
        int quiet = 0;
        while (quiet < 20) {
            const qint64 now = mProgram.contextSwitches();
            quiet = now == last ? quiet + 1 : 0;
            last = now;
            std::this_thread::sleep_for(100ms);
        }
        double sum = proportionalShare(mProgram.processId());
        std::fprintf(stderr, "after %d slides, MiB: program %.1f", mSeen, sum);
        for (const qint64 decoder : childrenOf(mProgram.processId())) {
            const double share = std::max(proportionalShare(decoder), 0.0);
            std::fprintf(stderr, ", decoder %.1f", share);
            sum += share;
        }
        std::fputc('\n', stderr);
        return sum;
    }

    Program mProgram;
    const int mSlides;
    const QString mTransition;
    std::unique_ptr<XServer> mServer;
    QTemporaryDir mFolder;
    QRgb mLast = 0;
    int mSeen = 0;
};

} // namespace

int main(int argc, char** argv)
{
    startOnOwnDisplay(argc, argv);
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/frameflow");
    const int slides = arguments.value(2, QStringLiteral("1000")).toInt();
    const QString transition = arguments.value(3, QStringLiteral("Fast Cross Fade"));
    return Soak(arguments.value(1, beside), std::max(slides, firstSlides), transition).run() ? 0 : 1;
}
