#pragma once

#include <QByteArray>
#include <QRgb>
#include <QSize>

namespace frameflow::bench {

// The centres of the pictures, by which they are known on screen.
constexpr QRgb firstColour = 0xFFE614C8;
constexpr QRgb otherColour = 0xFF14B43C;

// Fills the folder, which must exist, with files 000000.jpg and so on. The first shows the first colour in its middle,
// all others show the other colour; they are hard links as far as the file system allows. Ends the program (qFatal)
// where that fails.
void fillFolder(const QByteArray& folder, int files, const QSize& size);

} // namespace frameflow::bench
