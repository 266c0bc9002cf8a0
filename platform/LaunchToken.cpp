#include "LaunchToken.h"

#include <QString>

#include <algorithm>

namespace frameflow {

namespace {

constexpr qsizetype longestToken = 1024;

} // namespace

LaunchToken LaunchToken::fromEnvironment()
{
    return {checked(qgetenv("DESKTOP_STARTUP_ID")), checked(qgetenv("XDG_ACTIVATION_TOKEN"))};
}

QByteArray LaunchToken::checked(const QByteArray& token)
{
    const bool isText
        = std::all_of(token.begin(), token.end(), [](char character) { return character >= ' ' && character <= '~'; });
    return isText && token.size() <= longestToken ? token : QByteArray();
}

std::optional<quint32> LaunchToken::time() const
{
    const QByteArray mark("_TIME");
    const auto place = startupId.lastIndexOf(mark);
    bool isNumber = false;
    const quint32 number = place < 0 ? 0 : startupId.mid(place + mark.size()).toUInt(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

} // namespace frameflow
