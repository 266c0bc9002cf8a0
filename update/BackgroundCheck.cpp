#include "BackgroundCheck.h"

#include "MainThread.h"

#include <array>

namespace frameflow {

bool isUpdateCheckDue(const QDateTime& lastCheck, const QDateTime& now)
{
    constexpr qint64 week = 604'800'000; // milliseconds
    return !lastCheck.isValid() || lastCheck.msecsTo(now) > week;
}

UpdateAnswer askForUpdate(const QString& currentVersion, const UpdateServer& server)
{
    std::array<char, 128> version{};
    const int result
        = checkForUpdate("frameflow", currentVersion.toStdString(), version.data(), version.size(), server);
    return {result, QString::fromUtf8(version.data())};
}

BackgroundCheck::BackgroundCheck(
    const QString& currentVersion, UpdateServer server, std::function<void(const UpdateAnswer& answer)> finished)
    : mFinished(std::make_shared<std::function<void(const UpdateAnswer&)>>(std::move(finished)))
{
    server.options.stop = mStop;
    mQueue.async([currentVersion, server, wanted = std::weak_ptr(mFinished)] {
        const UpdateAnswer answer = askForUpdate(currentVersion, server);
        postToMainThread([answer, wanted] {
            if (const auto callback = wanted.lock()) {
                (*callback)(answer);
            }
        });
    });
}

BackgroundCheck::~BackgroundCheck()
{
    mStop->stop();
    mQueue.abandonRunning();
}

} // namespace frameflow
