#include "Bands.h"

#include <QMutex>
#include <QThread>
#include <QWaitCondition>

#include <algorithm>
#include <atomic>
#include <memory>

namespace frameflow {

namespace {

// Small enough that a thread that is held up keeps nobody waiting for long.
constexpr int rowsOfABand = 32;

// Shared with threads that may come when all is done; those take nothing any more, and so never look at the work.
class Job
{
public:
    Job(int rows, const std::function<void(int, int)>& work)
        : mRows(rows), mBands((rows + rowsOfABand - 1) / rowsOfABand), mWork(work)
    {
    }

    void takePart()
    {
        for (int band = mNext++; band < mBands; band = mNext++) {
            mWork(band * rowsOfABand, std::min((band + 1) * rowsOfABand, mRows));
            if (++mDone == mBands) {
                const QMutexLocker locker(&mMutex);
                mAllDone.wakeAll();
            }
        }
    }

    void await()
    {
        QMutexLocker locker(&mMutex);
        while (mDone < mBands) {
            mAllDone.wait(&mMutex);
        }
    }

private:
    const int mRows;
    const int mBands;
    const std::function<void(int, int)>& mWork;
    std::atomic<int> mNext = 0;
    std::atomic<int> mDone = 0;
    QMutex mMutex;
    QWaitCondition mAllDone;
};

} // namespace

Bands::Bands()
{
    mPool.setObjectName(QStringLiteral("bands"));
    mPool.setMaxThreadCount(std::max(1, QThread::idealThreadCount() - 1));
}

void Bands::forEach(int rows, const std::function<void(int, int)>& work)
{
    if (rows <= 0) {
        return;
    }
    const auto job = std::make_shared<Job>(rows, work);
    const int helpers = QThread::idealThreadCount() > 1 ? mPool.maxThreadCount() : 0;
    for (int i = 0; i < helpers; ++i) {
        mPool.start([job] { job->takePart(); });
    }
    job->takePart();
    job->await();
}

} // namespace frameflow
