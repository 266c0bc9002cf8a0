#include "SlideItem.h"

#include "NameKey.h"

#include <climits>
#include <cstdlib>
#include <ctime>

namespace frameflow {

namespace {

QByteArray resolvedPath(const QByteArray& path)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.constData(), nullptr), &std::free);
    return QByteArray(resolved.get());
}

std::weak_ordering orderOf(int comparison)
{
    return comparison <=> 0;
}

} // namespace

FileDate FileDate::now()
{
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return {time.tv_sec, static_cast<qint32>(time.tv_nsec)};
}

FileDate FileDate::modificationDate(const struct stat& attributes)
{
    return {attributes.st_mtim.tv_sec, static_cast<qint32>(attributes.st_mtim.tv_nsec)};
}

SlideItem::SlideItem(const FileUrl& url) : mUrl(url)
{
    refreshAttributes();
}

SlideItem::SlideItem(const FileUrl& url, FileDate modified, const QByteArray& resolvedName)
    : mNanoseconds(modified.nanoseconds), mSeconds(modified.seconds), mUrl(url)
{
    if (!resolvedName.isEmpty() && resolvedName != url.fileName()) {
        mResolvedName = std::make_unique<QByteArray>(resolvedName);
    }
}

SlideItemPtr SlideItem::itemWithURL(const FileUrl& url)
{
    return SlideItemPtr(new SlideItem(url));
}

QByteArrayView SlideItem::mFileName() const
{
    return mResolvedName ? QByteArrayView(*mResolvedName) : mUrl.fileName();
}

std::optional<FileDate> SlideItem::fileModificationDate() const
{
    return mNanoseconds == noDate ? std::nullopt : std::optional(FileDate{mSeconds, mNanoseconds});
}

void SlideItem::refreshAttributes()
{
    mNanoseconds = noDate;
    mSeconds = 0;
    mResolvedName.reset();
    struct stat attributes
    {
    };
    if (mUrl.isEmpty() || lstat(mUrl.path().constData(), &attributes) != 0) {
        return;
    }
    // Links in the folders of the path change nothing about the last component.
    if (S_ISLNK(attributes.st_mode)) {
        const QByteArray target = resolvedPath(mUrl.path());
        if (target.isEmpty() || stat(target.constData(), &attributes) != 0) {
            return;
        }
        const QByteArray name = target.mid(target.lastIndexOf('/') + 1);
        if (name != mUrl.fileName()) {
            mResolvedName = std::make_unique<QByteArray>(name);
        }
    }
    const auto modified = FileDate::modificationDate(attributes);
    mSeconds = modified.seconds;
    mNanoseconds = modified.nanoseconds;
}

bool SlideItem::isReady(FileDate now)
{
    const auto settled = [&] {
        const auto modified = fileModificationDate();
        return modified && FileDate{modified->seconds + 1, modified->nanoseconds} <= now;
    };
    if (settled()) {
        return true;
    }
    refreshAttributes();
    return settled();
}

bool SlideItem::isJPG() const
{
    return mUrl.isEmpty() || mUrl.extension().compare(QByteArrayView("jpg"), Qt::CaseInsensitive) == 0;
}

std::weak_ordering SlideItem::dateCompare(const SlideItem& other) const
{
    const auto own = fileModificationDate();
    const auto others = other.fileModificationDate();
    if (!own) {
        return std::weak_ordering::equivalent;
    }
    return others ? std::weak_ordering(*own <=> *others) : std::weak_ordering::greater;
}

std::weak_ordering SlideItem::nameCompare(const SlideItem& other) const
{
    return orderOf(nameKey(mFileName()).compare(nameKey(other.mFileName())));
}

std::weak_ordering SlideItem::baseCompare(const SlideItem& other) const
{
    return orderOf(baseName().compare(other.baseName()));
}

std::weak_ordering SlideItem::urlCompare(const SlideItem& other) const
{
    return orderOf(QByteArrayView(mUrl.path()).compare(other.mUrl.path()));
}

QByteArrayView SlideItem::baseName() const
{
    const auto name = mFileName();
    const auto dot = name.lastIndexOf('.');
    return dot > 0 ? name.first(dot) : name;
}

} // namespace frameflow
