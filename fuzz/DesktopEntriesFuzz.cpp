// Desktop entries, which are looked at for the preferences and before an editor is started.

#include "Applications.h"
#include "Bytes.h"

using namespace frameflow;
using namespace frameflow::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    const FileDescriptor file = fileWith(restOf(input));
    const QString path = QStringLiteral("/proc/self/fd/%1").arg(file.number());
    if (const auto application = applicationAt(path)) {
        static_cast<void>(canOpen(*application, OpenedKind::Images));
        static_cast<void>(canOpen(*application, OpenedKind::Movies));
    }
    return 0;
}
