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

    // On a tree of BenchTools, with the milliseconds that it takes to collect it. Leaves the tree as it was.
    void measure(const QByteArray& root, const char* size, double collecting);
    // How a rescan's cost grows from one such tree to a larger one, against that of collecting.
    void measureGrowth(const QByteArray& smaller, const QByteArray& larger, const char* size);

private:
    UserDefaults& mDefaults;
    SerialQueue& mQueue;
};

} // namespace frameflow::bench
