#include "FileUrl.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <sys/stat.h>
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

int hexDigit(char character)
{
    constexpr std::string_view digits = "0123456789abcdefABCDEF";
    const auto place = digits.find(character);
    return place == std::string_view::npos ? -1 : static_cast<int>(place < 16 ? place : place - 6);
}

// Unlike QByteArray::fromPercentEncoding, leaves a percent sign alone that no two hexadecimal digits follow.
QByteArray decoded(const QByteArray& text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == '%' && i + 2 < text.size();
        const int high = isEscape ? hexDigit(text[i + 1]) : -1;
        const int low = isEscape ? hexDigit(text[i + 2]) : -1;
        if (high >= 0 && low >= 0) {
            bytes += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

bool isLinkOrMissing(const QByteArray& path)
{
    struct stat status = {};
    return lstat(path.constData(), &status) != 0 || S_ISLNK(status.st_mode);
}

// The same file by its plain path: one folder, however it was typed, is to be known again. Only links are left as they
// are, and with them what leads out of their targets.
FileUrl withoutDots(const FileUrl& file)
{
    const QByteArray& path = file.path();
    if (!path.contains("/.") && !path.contains("//")) {
        return file;
    }
    QByteArray plain;
    for (const QByteArray& part : path.split('/')) {
        if (part.isEmpty() || part == ".") {
            continue;
        }
        if (part != ".." || plain.endsWith("/..") || (!plain.isEmpty() && isLinkOrMissing(plain))) {
            plain += '/' + part;
        } else {
            plain.truncate(std::max<qsizetype>(plain.lastIndexOf('/'), 0));
        }
    }
    return FileUrl::fromPath(plain.isEmpty() ? QByteArray("/") : plain);
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

bool FileUrl::isFileUrl(const QByteArray& text)
{
    constexpr QByteArrayView scheme("file:/");
    return text.first(std::min(text.size(), scheme.size())).toLower() == scheme;
}

FileUrl FileUrl::fromArgument(const QByteArray& argument)
{
    if (!isFileUrl(argument)) {
        return withoutDots(fromPath(argument));
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
    const QByteArray path = decoded(rest);
    // A path with a NUL byte names no file.
    return path.contains('\0') ? FileUrl() : withoutDots(fromPath(path));
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

QByteArray FileUrl::encoded() const
{
    return isEmpty() ? QByteArray() : "file://" + mPath.toPercentEncoding("/");
}

QUrl FileUrl::toUrl() const
{
    return isEmpty() ? QUrl() : QUrl::fromEncoded(encoded());
}

QByteArrayView extensionOfName(QByteArrayView fileName)
{
    const auto dot = fileName.lastIndexOf('.');
    return dot <= 0 ? QByteArrayView() : fileName.sliced(dot + 1);
}

} // namespace frameflow
