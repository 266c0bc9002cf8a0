// The file of the settings, which a person or another program may have written.

#include "RectText.h"
#include "UserDefaults.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>

using namespace frameflow;

namespace {

void readEveryWay(const UserDefaults& defaults, const QString& key)
{
    static_cast<void>(defaults.boolValue(key));
    static_cast<void>(defaults.boolValueOrTrue(key));
    static_cast<void>(defaults.integerValue(key));
    static_cast<void>(defaults.floatValue(key));
    static_cast<void>(rectFromText(defaults.stringValue(key)));
    static_cast<void>(defaults.dateValue(key));
    static_cast<void>(defaults.dataValue(key));
    static_cast<void>(defaults.value(key).toList());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments)
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    new QCoreApplication(*count, *arguments); // for as long as the process
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("settings"));
    QFile file(path);
    const bool isWritten = file.open(QIODevice::WriteOnly)
        && file.write(reinterpret_cast<const char*>(data), qint64(size)) == qint64(size);
    file.close();
    UserDefaults defaults(path);
    for (const char* const key : {"sort", "WindowFrame", "RecentFolderBookmarks", "a", "b", "c"}) {
        readEveryWay(defaults, QLatin1String(key));
    }
    // Whatever stood there, what is set from now on is kept.
    defaults.setValue(QStringLiteral("ours"), QStringLiteral("kept"));
    const bool isKept
        = defaults.synchronize() && UserDefaults(path).stringValue(QStringLiteral("ours")) == QLatin1String("kept");
    if (!isWritten || !isKept) {
        std::abort();
    }
    return 0;
}
