// bench_hostile_files: the program shows all files that the tests have made to harm it, on an X server of its own. How
// many there are, how long its window did not answer at most, and how much memory it and its decoders held together.
// Prints lines "name|figure|reference|ratio|limit" and fails above a limit, or when the show does not reach its end.

#include "BenchReport.h"
#include "HostileShow.h"
#include "OwnDisplay.h"

#include <QGuiApplication>

#include <cstdio>

using namespace frameflow::bench;
using namespace frameflow::e2e;

int main(int argc, char** argv)
{
    startOnOwnDisplay(argc, argv);
    const QGuiApplication application(argc, argv);
    ShowDriver driver;
    const HostileShow show = showHostileFiles(driver);
    if (!show.isThrough) {
        std::fprintf(stderr, "the show did not come to its end: %s\n", driver.program().output().constData());
    }
    constexpr double longestPause = 2000; // milliseconds
    constexpr double mostMemory = 1500; // megabytes
    BenchReport report;
    report.add("hostile files gone through", show.files, 0);
    report.add("longest pause of the window over hostile files, ms",
        show.isThrough ? static_cast<double>(show.longestPause.count()) : never, 0, longestPause);
    report.add("most memory of all processes over hostile files, MB",
        show.isThrough ? static_cast<double>(show.mostMemory) / 1e6 : never, 0, mostMemory);
    return report.isWithinLimits() ? 0 : 1;
}
