#include "FileUrl.h"

#include <array>
#include <cstdlib>
#include <memory>

#include <unistd.h>

namespace frameflow {

namespace {

bool isLocalHost(const QByteArray& host)
{
    if (host.isEmpty() || host == "localhost") {
        return true;
    }
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 && host == name.data();
}

} // namespace

FileUrl FileUrl::fromPath(const QByteArray& path)
{
    if (path.isEmpty()) {
        return {};
    }
    QByteArray absolute = path;
    if (!path.startsWith('/')) {
        const std::unique_ptr<char, decltype(&std::free)> folder(getcwd(nullptr, 0), &std::free);
        absolute = QByteArray(folder ? folder.get() : "");
        if (!absolute.endsWith('/')) {
            absolute += '/';
        }
        absolute += path;
    }
    while (absolute.size() > 1 && absolute.endsWith('/')) {
        absolute.chop(1);
    }
    return FileUrl(absolute);
}

FileUrl FileUrl::fromPath(const QString& path)
{
    return fromPath(path.toUtf8());
}

FileUrl FileUrl::fromUrl(const QUrl& url)
{
    return url.scheme() == QLatin1String("file") ? fromArgument(url.toEncoded(QUrl::RemoveQuery | QUrl::RemoveFragment))
                                                 : FileUrl();
}

FileUrl FileUrl::fromArgument(const QByteArray& argument)
{
    if (!argument.startsWith("file:/")) {
        return fromPath(argument);
    }
    QByteArray rest = argument.mid(5); // keeps the first slash
    if (rest.startsWith("//")) {
        const auto slash = rest.indexOf('/', 2);
        const QByteArray host = slash < 0 ? rest.mid(2) : rest.mid(2, slash - 2);
        if (slash < 0 || !isLocalHost(host)) {
            return {};
        }
        rest = rest.mid(slash);
    }
    const QByteArray path = QByteArray::fromPercentEncoding(rest);
    // A path with a NUL byte names no file.
    return path.contains('\0') ? FileUrl() : fromPath(path);
}

QByteArrayView FileUrl::fileName() const
{
    return QByteArrayView(mPath).sliced(mPath.lastIndexOf('/') + 1);
}

QByteArrayView FileUrl::extension() const
{
    return extensionOfName(fileName());
}

QString FileUrl::displayPath() const
{
    return QString::fromUtf8(mPath);
}

QUrl FileUrl::toUrl() const
{
    return isEmpty() ? QUrl() : QUrl::fromEncoded("file://" + mPath.toPercentEncoding("/"));
}

QByteArrayView extensionOfName(QByteArrayView fileName)
{
    const auto dot = fileName.lastIndexOf('.');
    return dot <= 0 ? QByteArrayView() : fileName.sliced(dot + 1);
}

} // namespace frameflow
