#pragma once

#include "ShowDriver.h"

#include <QColor>

namespace frameflow::e2e {

// What a show over all hostile files came to.
struct HostileShow
{
    static constexpr QColor first{200, 60, 20}; // of the slides before and behind them
    static constexpr QColor last{20, 160, 60};

    int files = 0;
    bool isThrough = false; // the program still runs, and shows the last slide
    std::chrono::milliseconds longestPause{0}; // of the thread that has the window
    qint64 mostMemory = 0; // bytes, of the program and its decoders together
};

// Fills the driver's folder and lets the program, which it starts, show all that is there. The program runs on.
HostileShow showHostileFiles(ShowDriver& show);

} // namespace frameflow::e2e
