#pragma once

#include <QImage>
#include <QString>

namespace frameflow::e2e {

// How far two pictures of one size are apart. Errors are in steps of 8 bits, of the premultiplied channels: the colour
// of a pixel that is not there does not count.
struct PictureDifference
{
    bool isOfOneSize = true; // otherwise the rest means nothing
    int largestError = 0; // of one channel in one pixel
    QPoint largestErrorAt;
    double worstTileError = 0.0; // mean over the channels of a tile of 32 x 32 pixels; those at the edges are smaller
    QRect worstTile;

    QString text() const;
};

PictureDifference comparePictures(const QImage& actual, const QImage& expected);

struct PictureTolerance
{
    int largestError = 0;
    double worstTileError = 0.0;
};

// Whether the pictures are as near as that. If not, warns with the numbers and writes NAME-actual.png,
// NAME-expected.png and NAME-difference.png (amplified) into the build's folder "pictures".
bool isSamePicture(
    const QImage& actual, const QImage& expected, const QString& name, const PictureTolerance& tolerance = {});

// Where those files go.
QString failedPicturesFolder();

} // namespace frameflow::e2e
