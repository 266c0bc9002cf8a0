#include "SettingsText.h"

#include <QFile>
#include <QSettings>

#include <atomic>
#include <new>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

namespace {

// A file without a name. QSettings reads files only, and remembers the contents of a file that it takes for unchanged
// by its size and its time in milliseconds; here every text is new to it.
class MemoryFile
{
public:
    MemoryFile() : mDescriptor(memfd_create("settings", MFD_CLOEXEC)) { }
    ~MemoryFile()
    {
        if (mDescriptor >= 0) {
            close(mDescriptor);
        }
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    bool isOpen() const { return mDescriptor >= 0; }
    QString path() const { return QStringLiteral("/proc/self/fd/%1").arg(mDescriptor); }

    bool setContents(const QByteArray& contents)
    {
        static std::atomic<time_t> differentTime = 1;
        const time_t time = differentTime++;
        const timespec times[2] = {{time, 0}, {time, 0}};
        return pwrite(mDescriptor, contents.constData(), contents.size(), 0) == contents.size()
            && futimens(mDescriptor, times) == 0;
    }

private:
    int mDescriptor;
};

// Whether QSettings would write it under the same name: it takes slashes out that separate nothing.
bool canBeWritten(const QString& key)
{
    return !key.isEmpty() && key.split(QLatin1Char('/'), Qt::SkipEmptyParts).join(QLatin1Char('/')) == key;
}

} // namespace

tl::expected<QVariantMap, SettingsTextError> readSettingsText(const QByteArray& text)
{
    MemoryFile file;
    if (!file.isOpen() || !file.setContents(text)) {
        return tl::unexpected(SettingsTextError::Failed);
    }
    const QSettings settings(file.path(), QSettings::IniFormat);
    QVariantMap values;
    try {
        const QStringList keys = settings.allKeys();
        for (const QString& key : keys) {
            if (canBeWritten(key)) {
                values.insert(key, settings.value(key));
            }
        }
    } catch (const std::bad_alloc&) {
        // A value of another type than text says how long it is, and room is made before it is read.
        return tl::unexpected(SettingsTextError::Damaged);
    }
    switch (settings.status()) {
    case QSettings::NoError:
        return values;
    case QSettings::FormatError:
        return tl::unexpected(SettingsTextError::Damaged);
    case QSettings::AccessError:
        break;
    }
    return tl::unexpected(SettingsTextError::Failed);
}

namespace {

// QSettings takes a write that the disk had only half the room for as done. Every value is one line.
bool isWhole(const QString& path, const QVariantMap& values)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    const QByteArray text = file.readAll();
    const auto read = readSettingsText(text);
    return read && read->keys() == values.keys() && (values.isEmpty() || text.endsWith('\n'));
}

} // namespace

bool writeSettingsText(const QString& path, const QVariantMap& values)
{
    QSettings settings(path, QSettings::IniFormat);
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        settings.setValue(it.key(), it.value());
    }
    settings.sync();
    return settings.status() == QSettings::NoError && isWhole(path, values);
}

bool isSameSetting(const QVariant& a, const QVariant& b)
{
    if (a.isValid() != b.isValid()) {
        return false;
    }
    if (a == b) {
        return true;
    }
    // Numbers, booleans and lists of one text come back as text.
    const auto texts = [](const QVariant& value) {
        return value.canConvert<QString>() ? QStringList(value.toString()) : value.toStringList();
    };
    return a.typeId() != b.typeId() && texts(a) == texts(b) && !texts(a).isEmpty();
}

} // namespace frameflow
