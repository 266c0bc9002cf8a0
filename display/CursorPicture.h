#pragma once

#include <QImage>
#include <QSizeF>
#include <QString>

#include <memory>

namespace frameflow {

// A picture for the pointer, found by its name among the program's resources. It is drawn afresh for every size, so
// that it is sharp on every display. Main thread.
class CursorPicture
{
public:
    // Null where the program has no picture of that name.
    static std::shared_ptr<const CursorPicture> named(const QString& name);

    const QString& name() const { return mName; }
    // In points.
    QSizeF size() const { return mSize; }
    // On so many device pixels, premultiplied; null for none.
    QImage image(QSize pixels) const;

private:
    CursorPicture(const QString& name, QSizeF size) : mName(name), mSize(size) { }

    QString mName;
    QSizeF mSize;
};

} // namespace frameflow
