#include "PictureCompare.h"

#include <QDir>

#include <algorithm>
#include <cstdlib>

namespace frameflow::e2e {

namespace {

constexpr int tileSize = 32;
constexpr int channels = 4;

QImage comparable(const QImage& image)
{
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QRgb channelErrors(QRgb a, QRgb b)
{
    return qRgba(std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b)),
        std::abs(qAlpha(a) - qAlpha(b)));
}

QRgb pixelOf(const QImage& image, int x, int y)
{
    return reinterpret_cast<const QRgb*>(image.constScanLine(y))[x];
}

void compareTile(PictureDifference& difference, const QImage& actual, const QImage& expected, const QRect& tile)
{
    qint64 sum = 0;
    for (int y = tile.top(); y <= tile.bottom(); ++y) {
        for (int x = tile.left(); x <= tile.right(); ++x) {
            const QRgb errors = channelErrors(pixelOf(actual, x, y), pixelOf(expected, x, y));
            sum += qRed(errors) + qGreen(errors) + qBlue(errors) + qAlpha(errors);
            const int largest = std::max({qRed(errors), qGreen(errors), qBlue(errors), qAlpha(errors)});
            if (largest > difference.largestError) {
                difference.largestError = largest;
                difference.largestErrorAt = QPoint(x, y);
            }
        }
    }
    const double mean = static_cast<double>(sum) / (static_cast<double>(tile.width()) * tile.height() * channels);
    if (mean > difference.worstTileError) {
        difference.worstTileError = mean;
        difference.worstTile = tile;
    }
}

// Multiplied, and lifted off the black, so that an error of one step is seen.
QImage differencePicture(const QImage& actual, const QImage& expected)
{
    QImage image(expected.size(), QImage::Format_RGB32);
    const auto amplified = [](int error) { return error == 0 ? 0 : std::min(255, 48 + error * 8); };
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb errors = channelErrors(pixelOf(actual, x, y), pixelOf(expected, x, y));
            const int alpha = amplified(qAlpha(errors));
            image.setPixel(x, y,
                qRgb(std::max(alpha, amplified(qRed(errors))), std::max(alpha, amplified(qGreen(errors))),
                    std::max(alpha, amplified(qBlue(errors)))));
        }
    }
    return image;
}

} // namespace

QString PictureDifference::text() const
{
    if (!isOfOneSize) {
        return QStringLiteral("different sizes");
    }
    return QStringLiteral("largest error %1 at %2,%3; worst tile %4 at %5,%6")
        .arg(largestError)
        .arg(largestErrorAt.x())
        .arg(largestErrorAt.y())
        .arg(worstTileError, 0, 'f', 3)
        .arg(worstTile.x())
        .arg(worstTile.y());
}

PictureDifference comparePictures(const QImage& actual, const QImage& expected)
{
    PictureDifference difference;
    if (actual.size() != expected.size()) {
        difference.isOfOneSize = false;
        return difference;
    }
    const QImage a = comparable(actual);
    const QImage b = comparable(expected);
    for (int y = 0; y < a.height(); y += tileSize) {
        for (int x = 0; x < a.width(); x += tileSize) {
            compareTile(difference, a, b, QRect(x, y, tileSize, tileSize).intersected(a.rect()));
        }
    }
    return difference;
}

bool isSamePicture(const QImage& actual, const QImage& expected, const QString& name, const PictureTolerance& tolerance)
{
    const auto difference = comparePictures(actual, expected);
    const bool isSame = difference.isOfOneSize && !actual.isNull() && difference.largestError <= tolerance.largestError
        && difference.worstTileError <= tolerance.worstTileError;
    if (isSame) {
        return true;
    }
    const QDir folder(failedPicturesFolder());
    folder.mkpath(QStringLiteral("."));
    qWarning("%s: %s; see %s", qPrintable(name), qPrintable(difference.text()), qPrintable(folder.path()));
    const auto pathOf = [&](const char* suffix) { return folder.filePath(name + QLatin1String(suffix)); };
    actual.save(pathOf("-actual.png"));
    expected.save(pathOf("-expected.png"));
    if (difference.isOfOneSize && !actual.isNull()) {
        differencePicture(comparable(actual), comparable(expected)).save(pathOf("-difference.png"));
    }
    return false;
}

QString failedPicturesFolder()
{
    return QStringLiteral(FRAMEFLOW_PICTURES_FOLDER);
}

} // namespace frameflow::e2e
