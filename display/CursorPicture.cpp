#include "CursorPicture.h"

#include <QImageReader>

namespace frameflow {

namespace {

QString pathOf(const QString& name)
{
    return QStringLiteral(":/frameflow/cursors/%1.svg").arg(name);
}

} // namespace

std::shared_ptr<const CursorPicture> CursorPicture::named(const QString& name)
{
    // What the settings hold is a name, and leads nowhere else.
    if (name.isEmpty() || name.contains(u'/')) {
        return nullptr;
    }
    const QSize size = QImageReader(pathOf(name)).size();
    return size.isEmpty() ? nullptr : std::shared_ptr<const CursorPicture>(new CursorPicture(name, size));
}

QImage CursorPicture::image(QSize pixels) const
{
    if (pixels.isEmpty()) {
        return {};
    }
    QImageReader reader(pathOf(mName));
    reader.setScaledSize(pixels);
    return reader.read().convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

} // namespace frameflow
