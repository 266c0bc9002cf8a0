#pragma once

#include "SerialQueue.h"
#include "UserDefaults.h"

#include <QByteArray>

namespace frameflow::bench {

// Measures what watching a folder costs: rescans against collecting, looks at an unchanged tree against reading the
// attributes of its folders, how long a rescan keeps the main thread, and how soon a new file is there.
class HotFolderBenchmark
{
public:
    HotFolderBenchmark(UserDefaults& defaults, SerialQueue& queue) : mDefaults(defaults), mQueue(queue) { }

    // On a tree of BenchTools, with the milliseconds that it takes to collect it. Trees from small to large. Leaves the
    // tree as it was.
    void measure(const QByteArray& root, const char* size, double collecting);

private:
    UserDefaults& mDefaults;
    SerialQueue& mQueue;
    // Processor time, of the tree before.
    double mLastRescan = 0;
    double mLastCollecting = 0;
};

} // namespace frameflow::bench
