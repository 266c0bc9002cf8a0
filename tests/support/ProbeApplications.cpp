#include "ProbeApplications.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>

namespace frameflow {

namespace {

void write(const QByteArray& path, const QByteArray& contents)
{
    QFile file(QFile::decodeName(path));
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size()) {
        qFatal("cannot write %s", path.constData());
    }
}

QByteArray contentsOf(const QByteArray& path)
{
    QFile file(QFile::decodeName(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray entriesFolder()
{
    return qgetenv("XDG_DATA_HOME") + "/applications";
}

} // namespace

ProbeApplications::ProbeApplications()
{
    if (!QDir().mkpath(QFile::decodeName(entriesFolder()))) {
        qFatal("no folder for desktop entries");
    }
}

QString ProbeApplications::add(
    const QByteArray& name, const QByteArray& categories, const QByteArrayList& types, const QByteArray& fieldCode)
{
    // Each argument ends with a NUL; the log is whole when it appears. The shell reads its own signals, since it blocks
    // all of them while it starts another program.
    const QByteArray log = mFolder.pathOf(name + ".log");
    const QByteArray script = mFolder.addFile(name + ".sh",
        "#!/bin/sh\nwhile read -r key value; do [ \"$key\" = SigBlk: ] && echo \"$value\"; done </proc/self/status >'"
            + log + ".signals'\n{ cat '" + log + "' 2>/dev/null; printf '%s\\0' \"$@\"; } >'" + log + ".part' && mv '"
            + log + ".part' '" + log + "'\n");
    chmod(script.constData(), 0755);
    const QByteArray path = entriesFolder() + '/' + name + ".desktop";
    write(path,
        "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=\"" + script + "\" " + fieldCode
            + "\nCategories=" + categories + "\nMimeType=" + types.join(';') + ";\n");
    mNames.append(name);
    for (const QByteArray& type : types) {
        mByType[type].append(name + ".desktop");
    }
    writeLists();
    return QFile::decodeName(path);
}

void ProbeApplications::setDefault(const QByteArray& type, const QByteArray& name)
{
    mDefaults[type] = name + ".desktop";
    writeLists();
}

void ProbeApplications::writeLists() const
{
    QByteArray cache = "[MIME Cache]\n";
    for (auto type = mByType.begin(); type != mByType.end(); ++type) {
        cache += type.key() + '=' + type->join(';') + ";\n";
    }
    write(entriesFolder() + "/mimeinfo.cache", cache);
    QByteArray defaults = "[Default Applications]\n";
    for (auto type = mDefaults.begin(); type != mDefaults.end(); ++type) {
        defaults += type.key() + '=' + *type + "\n";
    }
    write(qgetenv("XDG_CONFIG_HOME") + "/mimeapps.list", defaults);
}

QByteArrayList ProbeApplications::openedBy(const QByteArray& name) const
{
    QByteArrayList opened = contentsOf(mFolder.pathOf(name + ".log")).split('\0');
    opened.removeLast(); // what follows the last NUL
    return opened;
}

QByteArray ProbeApplications::blockedSignals(const QByteArray& name) const
{
    return contentsOf(mFolder.pathOf(name + ".log.signals")).trimmed();
}

void ProbeApplications::forget() const
{
    for (const QByteArray& name : mNames) {
        QFile::remove(QFile::decodeName(mFolder.pathOf(name + ".log")));
    }
}

} // namespace frameflow
