#include "Sources.h"

#include <algorithm>

namespace frameflow {

namespace {

// The order of paths in which everything below a folder follows it directly: a slash is before all other bytes.
bool isBefore(const FileUrl& a, const FileUrl& b)
{
    const auto rank = [](char byte) { return byte == '/' ? -1 : static_cast<int>(static_cast<unsigned char>(byte)); };
    return std::lexicographical_compare(a.path().begin(), a.path().end(), b.path().begin(), b.path().end(),
        [&](char x, char y) { return rank(x) < rank(y); });
}

bool isSameOrBelow(const FileUrl& folder, const FileUrl& url)
{
    const QByteArray& above = folder.path();
    const QByteArray& path = url.path();
    return path.startsWith(above) && (path.size() == above.size() || above.endsWith('/') || path[above.size()] == '/');
}

} // namespace

bool sourcesOverlap(const QList<FileUrl>& sources)
{
    QList<FileUrl> sorted = sources;
    std::sort(sorted.begin(), sorted.end(), isBefore);
    return std::adjacent_find(sorted.cbegin(), sorted.cend(), isSameOrBelow) != sorted.cend();
}

} // namespace frameflow
