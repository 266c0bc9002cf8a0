// What an update server may answer, against what this program may be.

#include "VersionText.h"

#include <cstdlib>

#include <fuzzer/FuzzedDataProvider.h>

using namespace frameflow;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const std::string ours = input.ConsumeRandomLengthString(20);
    const std::string reply = input.ConsumeRemainingBytesAsString();
    const auto version = versionInReply(reply);
    const bool isUsable = !version || (version->size() >= 3 && version->size() <= 11 && isValidVersion(*version));
    const bool isOneNewer = !isNewerVersion(ours, reply) || !isNewerVersion(reply, ours);
    const QString our = QString::fromStdString(ours);
    const QString their = QString::fromStdString(reply);
    if (!isUsable || !isOneNewer || int(compareVersion(our, their)) != -int(compareVersion(their, our))) {
        std::abort();
    }
    return 0;
}
