#pragma once

#include <QImage>
#include <QSizeF>
#include <QString>

class QPainter;

namespace frameflow {

// What is looked at while a piece of music plays: its cover, or a note where it has none, and its name beneath. Fills
// an area of that size, in points, at the painter's origin.
void paintSoundPicture(QPainter& painter, QSizeF area, const QImage& cover, const QString& fileName);

} // namespace frameflow
