#include "ExtraDecoders.h"

#include <QCoreApplication>
#include <QFile>
#include <QLibrary>

#include <atomic>

namespace frameflow {

namespace {

std::atomic<bool> loaded = false;

const ExtraDecoders* load()
{
    // Beside the program as it is built, then where it is installed: only ever relative to the program.
    const QString folder = QCoreApplication::applicationDirPath();
    const QString candidates[] = {
        folder + QStringLiteral("/../lib/frameflow-decoders.so"),
        folder + QStringLiteral("/" FRAMEFLOW_MODULE_FOLDER "/frameflow-decoders.so"),
    };
    for (const QString& path : candidates) {
        if (!QFile::exists(path)) {
            continue;
        }
        QLibrary library(path);
        library.setLoadHints(QLibrary::PreventUnloadHint);
        const auto functions = reinterpret_cast<const ExtraDecoders* (*)()>(library.resolve("frameflowDecoders"));
        if (functions) {
            loaded = true;
            return functions();
        }
    }
    return nullptr;
}

} // namespace

const ExtraDecoders* extraDecoders()
{
    static const ExtraDecoders* const module = load();
    return module;
}

bool areExtraDecodersLoaded()
{
    return loaded;
}

} // namespace frameflow
