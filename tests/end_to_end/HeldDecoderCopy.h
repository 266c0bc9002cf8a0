#pragma once

#include "ShowDriver.h"

#include <QFile>

namespace frameflow::e2e {

// The program as it was built, but for the decoder of the common types, which is that of HeldPictures: a copy in the
// folder. The path of the program.
inline QString copyWithHeldDecoder(const TestFolder& folder)
{
    QString program = QString::fromUtf8(folder.addFolder("bin") + "/frameflow");
    if (!QFile::copy(ShowDriver::builtProgram(), program)) {
        qFatal("%s cannot be written", qPrintable(program));
    }
    folder.addFolder("libexec/frameflow");
    folder.addLink("libexec/frameflow/frameflow-decoder", HELD_DECODER);
    folder.addLink("libexec/frameflow/frameflow-decoder-extra", DECODERS "/frameflow-decoder-extra");
    return program;
}

} // namespace frameflow::e2e
