#include "FileUrls.h"

#include <algorithm>
#include <climits>

namespace frameflow {

namespace {

// Each byte of the path as three characters, after the scheme and the name of this machine.
constexpr qsizetype longestUrl = 3 * PATH_MAX + 300;

} // namespace

QList<FileUrl> filesFromUrls(const QList<QByteArray>& urls)
{
    QList<FileUrl> files;
    files.reserve(std::min(urls.size(), mostFilesHandedOver));
    for (const QByteArray& url : urls) {
        if (files.size() == mostFilesHandedOver) {
            break;
        }
        const bool isFile = url.size() <= longestUrl && FileUrl::isFileUrl(url);
        const FileUrl file = isFile ? FileUrl::fromArgument(url) : FileUrl();
        if (!file.isEmpty() && file.path().size() < PATH_MAX) {
            files.append(file);
        }
    }
    return files;
}

} // namespace frameflow
