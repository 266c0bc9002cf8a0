#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <QUrl>

#include <functional>

namespace frameflow {

// A file or folder, named by the bytes of its path as the kernel knows them. An empty FileUrl stands for "no file".
// A value: cheap to copy (the bytes are shared), compared and hashed by its bytes, safe to pass between threads.
class FileUrl
{
public:
    FileUrl() = default;

    // A path as given: a relative one is taken from the current folder; trailing slashes go, and nothing else is
    // changed.
    static FileUrl fromPath(const QByteArray& path);
    static FileUrl fromPath(const QString& path);
    // Empty for a URL of another scheme or of another host. Percent-encoded bytes are taken over as they are.
    static FileUrl fromUrl(const QUrl& url);
    // Whether a text is meant as a file: URL, whatever the case of its scheme.
    static bool isFileUrl(const QByteArray& text);
    // A start argument or a dropped text: a file:// URL, or else a path. Looks whether folders before ".." are links:
    // where they are not, the path is made plain, without "." and ".." and doubled slashes.
    static FileUrl fromArgument(const QByteArray& argument);

    bool isEmpty() const { return mPath.isEmpty(); }
    const QByteArray& path() const { return mPath; }
    // The last component; the whole path when there is no slash.
    QByteArrayView fileName() const;
    // What follows the last dot of the file name, without the dot; empty where there is none, or for a leading dot
    // only.
    QByteArrayView extension() const;
    // For people: the path as text, with U+FFFD for bytes that are not UTF-8.
    QString displayPath() const;
    // As a file:// URL: what is no letter, digit or slash is percent-encoded, so that it holds any bytes. Empty for an
    // empty one.
    QByteArray encoded() const;
    QUrl toUrl() const;

    friend bool operator==(const FileUrl& a, const FileUrl& b) { return a.mPath == b.mPath; }
    friend bool operator!=(const FileUrl& a, const FileUrl& b) { return a.mPath != b.mPath; }
    friend bool operator<(const FileUrl& a, const FileUrl& b) { return a.mPath < b.mPath; }
    friend size_t qHash(const FileUrl& url, size_t seed = 0) { return url.isEmpty() ? 0 : qHash(url.mPath, seed); }

private:
    explicit FileUrl(QByteArray path) : mPath(std::move(path)) { }

    QByteArray mPath;
};

// The extension of a file name, as FileUrl::extension().
QByteArrayView extensionOfName(QByteArrayView fileName);

} // namespace frameflow

template <>
struct std::hash<frameflow::FileUrl>
{
    size_t operator()(const frameflow::FileUrl& url) const noexcept { return qHash(url); }
};

Q_DECLARE_METATYPE(frameflow::FileUrl)
