#pragma once

#include "SerialQueue.h"
#include "UpdateLibrary.h"

#include <QDateTime>
#include <QString>

#include <functional>

namespace frameflow {

// Whether a week has passed since the last check; an invalid date is none.
bool isUpdateCheckDue(const QDateTime& lastCheck, const QDateTime& now);

// The result of a check, as checkForUpdate answers it, and the version that the server named.
struct UpdateAnswer
{
    int result = 0;
    QString version;
};

// Asks whether the program's maker has a version newer than that. Blocks.
UpdateAnswer askForUpdate(const QString& currentVersion, const UpdateServer& server);

// A check on a queue of its own, which holds nothing up. Main thread only.
class BackgroundCheck
{
public:
    // Calls back on the main thread, unless it is destroyed before.
    BackgroundCheck(
        const QString& currentVersion, UpdateServer server, std::function<void(const UpdateAnswer& answer)> finished);
    // Ends the request, and waits for no server.
    ~BackgroundCheck();
    BackgroundCheck(const BackgroundCheck&) = delete;
    BackgroundCheck& operator=(const BackgroundCheck&) = delete;

private:
    const std::shared_ptr<RequestStop> mStop = std::make_shared<RequestStop>();
    const std::shared_ptr<std::function<void(const UpdateAnswer&)>> mFinished;
    SerialQueue mQueue{"com.quillory.updatecheck"};
};

} // namespace frameflow
