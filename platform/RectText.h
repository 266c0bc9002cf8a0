#pragma once

#include <QRectF>
#include <QString>

namespace frameflow {

// A rectangle as the text stored in settings: "{{x, y}, {width, height}}".
QString textFromRect(const QRectF& rect);
// Reads such a text; anything else gives the zero rectangle.
QRectF rectFromText(const QString& text);

} // namespace frameflow
