#include "DecoderKinds.h"

#include "FileTypes.h"
#include "FileUrl.h"

namespace frameflow {

namespace {

// A folder of a million made-up suffixes must not fill the memory.
constexpr qsizetype mostRemembered = 200;
constexpr qsizetype longestSuffix = 16;

QByteArray suffixOf(const QByteArray& fileName)
{
    return extensionOfName(fileName).toByteArray().toLower();
}

} // namespace

DecoderKind DecoderKinds::first(const DecodeRequest& request) const
{
    if (request.wanted != Wanted::Picture || isRawName(request.fileName)) {
        return DecoderKind::Extra;
    }
    return mKnown.value(suffixOf(request.fileName), DecoderKind::Common);
}

void DecoderKinds::noteCommon(const QByteArray& fileName)
{
    // From now on a file of that suffix which is left to the other kind is an exception.
    const QByteArray suffix = suffixOf(fileName);
    if (suffix.size() <= longestSuffix && (mKnown.size() < mostRemembered || mKnown.contains(suffix))) {
        mKnown.insert(suffix, DecoderKind::Common);
    }
}

void DecoderKinds::noteExtra(const QByteArray& fileName)
{
    const QByteArray suffix = suffixOf(fileName);
    if (suffix.size() <= longestSuffix && mKnown.size() < mostRemembered && !mKnown.contains(suffix)) {
        mKnown.insert(suffix, DecoderKind::Extra);
    }
}

} // namespace frameflow
