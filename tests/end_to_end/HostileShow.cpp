#include "HostileShow.h"

#include "HostileFiles.h"
#include "MemoryPeak.h"
#include "SettingsKeys.h"
#include "WindowPings.h"

#include <QElapsedTimer>

namespace frameflow::e2e {

HostileShow showHostileFiles(ShowDriver& show)
{
    using namespace std::chrono_literals;
    HostileShow result;
    show.addColour("! first.png", HostileShow::first);
    result.files = static_cast<int>(addHostileFiles(show.folder).size());
    show.addColour("z last.png", HostileShow::last);
    show.set(keys::slideInterval, 0.02);
    show.set(keys::endMode, keys::endModeWait);
    const auto window = show.startWithFolder() ? show.showWindow() : std::nullopt;
    if (!window || !show.waitForColour(HostileShow::first)) {
        return result;
    }
    const MemoryPeak memory(show.program().processId());
    const WindowPings pings(*window);
    show.press(QStringLiteral("ctrl+p"));
    const auto isLastShown
        = [&] { return QColor(show.server().pixel(show.server().bounds().center())) == HostileShow::last; };
    QElapsedTimer sinceKey;
    sinceKey.start();
    const auto isOver = [&] {
        // A damaged movie may say that it lasts for years: nobody watches that to its end.
        if (sinceKey.hasExpired(std::chrono::milliseconds(2s).count())) {
            show.press(QStringLiteral("Right"));
            sinceKey.restart();
        }
        return !show.program().isRunning() || isLastShown();
    };
    waitFor(isOver, 4min);
    result.isThrough = show.program().isRunning() && isLastShown();
    result.longestPause = pings.answers() > 0 ? pings.longest() : std::chrono::hours(1);
    result.mostMemory = memory.bytes();
    return result;
}

} // namespace frameflow::e2e
