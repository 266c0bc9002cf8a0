#pragma once

#include "DecodedPicture.h"

#include <QByteArray>
#include <QHash>

namespace frameflow {

enum class DecoderKind
{
    Common,
    Extra,
};

// Says which kind of decoder a file is sent to first, and learns from what became of others of its suffix. No locks.
class DecoderKinds
{
public:
    DecoderKind first(const DecodeRequest& request) const;

    // The common kind has decoded a file, or has left it to the other one, which did.
    void noteCommon(const QByteArray& fileName);
    void noteExtra(const QByteArray& fileName);

private:
    QHash<QByteArray, DecoderKind> mKnown; // by suffix
};

} // namespace frameflow
