#include "MainThread.h"

#include <QCoreApplication>

#include <utility>

namespace frameflow {

void postToMainThread(std::function<void()> job)
{
    if (auto* application = QCoreApplication::instance()) {
        QMetaObject::invokeMethod(application, std::move(job), Qt::QueuedConnection);
    }
}

} // namespace frameflow
