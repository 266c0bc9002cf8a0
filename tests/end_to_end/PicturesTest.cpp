#include "CGRectUtils.h"
#include "PictureFiles.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"
#include "TypeSamples.h"

#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;

// Which pixels stand on the screen: fit modes, orientations, types.
class PicturesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mShow = std::make_unique<ShowDriver>(); }
    void cleanup() { mShow.reset(); }

    void everyOrientationIsUprightInEveryFitMode_data();
    void everyOrientationIsUprightInEveryFitMode();
    void fitCommandsMoveTheSlideOnScreen();
    void everyTypeStandsOnTheScreenUprightAtItsSize();
    void aPictureThatExactlyFitsIsSharp();
    void transparencyIsShownOverBlack();

private:
    static QRectF rectFor(const QString& mode, QSizeF size, QSizeF screen);

    std::unique_ptr<ShowDriver> mShow;
};

QRectF PicturesTest::rectFor(const QString& mode, QSizeF size, QSizeF screen)
{
    if (mode == keys::fitModeFit) {
        return CGRectUtils::rectToFitSize(size, screen, false);
    }
    if (mode == keys::fitModeZoom) {
        return CGRectUtils::rectToFitSize(size, screen, true);
    }
    if (mode == keys::fitModeFill) {
        return CGRectUtils::rectToFillSize(size, screen);
    }
    return QRectF(QPointF(), screen);
}

void PicturesTest::everyOrientationIsUprightInEveryFitMode_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QSize>("stored");
    for (const QString& mode : {keys::fitModeFit, keys::fitModeZoom, keys::fitModeFill, keys::fitModeStretch}) {
        QTest::addRow("%s small", qPrintable(mode)) << mode << QSize(320, 200);
        QTest::addRow("%s large", qPrintable(mode)) << mode << QSize(2000, 1000);
    }
}

void PicturesTest::everyOrientationIsUprightInEveryFitMode()
{
    QFETCH(QString, mode);
    QFETCH(QSize, stored);
    const QByteArray jpeg = encoded(quartersPicture(stored), "jpg");
    for (int orientation = 1; orientation <= 8; ++orientation) {
        mShow->folder.addFile(QByteArray::number(orientation) + ".jpg", withExif(jpeg, exifBlock(orientation)));
    }
    mShow->set(keys::imageFitMode, mode);
    QVERIFY(mShow->startAndRest());
    const QSize screen = mShow->server().bounds().size();
    for (int orientation = 1; orientation <= 8; ++orientation) {
        // Drawn from the picture's known quarters, without the program's own turning.
        const QSize upright = orientation >= 5 ? stored.transposed() : stored;
        const QImage picture = quartersOf(uprightQuarters(orientation), upright);
        const QImage expected = onBlack(picture, rectFor(mode, upright, screen), screen);
        // JPEG, and the edges between the quarters, which scaling softens in its own way.
        QVERIFY2(mShow->waitForScreen(
                     expected, QStringLiteral("%1-%2-%3").arg(mode).arg(stored.width()).arg(orientation), {255, 14.0}),
            qPrintable(QString::number(orientation)));
        mShow->press(QStringLiteral("Right"));
    }
}

void PicturesTest::fitCommandsMoveTheSlideOnScreen()
{
    const QSize size(400, 300);
    const QImage picture = quartersPicture(size);
    mShow->folder.addFile("a.png", encoded(picture, "png"));
    QVERIFY(mShow->startAndRest());
    const QSize screen = mShow->server().bounds().size();
    const QList<std::pair<QString, QString>> commands{{QStringLiteral("ctrl+2"), keys::fitModeZoom},
        {QStringLiteral("ctrl+3"), keys::fitModeFill}, {QStringLiteral("ctrl+4"), keys::fitModeStretch},
        {QStringLiteral("ctrl+1"), keys::fitModeFit}};
    QVERIFY(mShow->waitForScreen(
        onBlack(picture, rectFor(keys::fitModeFit, size, screen), screen), QStringLiteral("fit-first"), {0, 0.0}));
    for (const auto& [key, mode] : commands) {
        mShow->press(key);
        QVERIFY(mShow->waitForScreen(
            onBlack(picture, rectFor(mode, size, screen), screen), QStringLiteral("command-") + mode, {255, 14.0}));
        QVERIFY(waitFor([mode = mode] { return storedSetting(keys::imageFitMode).toString() == mode; }));
    }
}

void PicturesTest::everyTypeStandsOnTheScreenUprightAtItsSize()
{
    struct Shown
    {
        QByteArray name;
        QSize size;
        int tolerance;
    };
    QList<Shown> slides;
    const TestFolder making;
    const QByteArray in = making.addFile("in.png", encoded(quartersPicture(), "png"));
    for (const TypeSample& sample : typeSamples()) {
        const QByteArray name = QByteArray::number(slides.size() + 100) + ' ' + sample.name;
        QVERIFY2(makeTypeSample(sample, in, mShow->folder.pathOf(name)), sample.name);
        slides.append({name, quartersSize, sample.tolerance});
    }
    const QSize rawSize(128, 96);
    mShow->folder.addFile(QByteArray::number(slides.size() + 100) + " a.dng", cameraRaw(rawSize, 1));
    slides.append({"a.dng", rawSize, 60});
    // A dark slide between any two, so that every step is seen.
    for (int i = 0; i < slides.size(); ++i) {
        mShow->addColour(QByteArray::number(i + 100) + "z.png", Qt::black);
    }
    QVERIFY(mShow->startAndRest());
    const QSize screen = mShow->server().bounds().size();
    for (const Shown& slide : slides) {
        const QRect place = rectFor(keys::fitModeFit, slide.size, screen).toRect();
        QByteArray seen;
        bool rightSize = false;
        const bool right = waitFor([&] {
            const QImage now = mShow->screen();
            seen = quarters(now.copy(place), slide.tolerance + 20);
            const auto isBlack = [&](const QPoint& point) { return now.pixelColor(point).value() < 16; };
            rightSize = isBlack(place.topLeft() - QPoint(2, 2)) && isBlack(place.bottomRight() + QPoint(2, 2))
                && !isBlack(place.topLeft() + QPoint(2, 2)) && !isBlack(place.bottomRight() - QPoint(2, 2));
            return seen == "RGBY" && rightSize;
        });
        QVERIFY2(right, qPrintable(QString::fromUtf8(slide.name + ": " + seen + (rightSize ? "" : ", another size"))));
        mShow->press(QStringLiteral("Right"));
        QVERIFY2(mShow->waitForColour(Qt::black), slide.name.constData());
        mShow->press(QStringLiteral("Right"));
    }
}

void PicturesTest::aPictureThatExactlyFitsIsSharp()
{
    const QSize screen = mShow->server().bounds().size();
    QImage fine(screen, QImage::Format_RGB32);
    for (int y = 0; y < fine.height(); ++y) {
        for (int x = 0; x < fine.width(); ++x) {
            fine.setPixel(x, y, qRgb((x * 7 + y * 3) & 255, ((x ^ y) & 1) * 255, (x * y) & 255));
        }
    }
    mShow->folder.addFile("a.png", encoded(fine, "png"));
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForScreen(fine, QStringLiteral("sharp"), {0, 0.0}));
}

void PicturesTest::transparencyIsShownOverBlack()
{
    QImage glass(mShow->server().bounds().size(), QImage::Format_ARGB32);
    glass.fill(QColor(200, 100, 0, 128));
    mShow->folder.addFile("a.png", encoded(glass, "png"));
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(QColor(100, 50, 0)));
}

QTEST_GUILESS_MAIN(PicturesTest)
#include "PicturesTest.moc"
