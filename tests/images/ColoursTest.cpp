#include "Colour.h"
#include "KLImage.h"
#include "PictureFiles.h"

#include <QColorSpace>
#include <QTest>

#include <lcms2.h>

using namespace frameflow;

class ColoursTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void profilesAreConverted_data();
    void profilesAreConverted();
    void tableProfileIsConverted();
    void greyProfileIsConverted();
    void srgbIsNotTouched();
    void wrongProfileCountsAsSrgb();
    void cameraSaysAdobeRgb();
    void cmyk_data();
    void cmyk();
    void inksOnPaperAreNotInverted();
    void deepAndGreyPictures_data();
    void deepAndGreyPictures();
    void transparentPalette();
    void greyWithAlpha();
    void floatIsLinearLight();
    void brighterThanWhiteIsWhite();
    void everyFormatOfMemory();

private:
    bool convert(const QStringList& arguments) const { return runTool(QStringLiteral("convert"), arguments); }
    QString path(const char* name) const { return QString::fromUtf8(mFolder->pathOf(name)); }
    QRgb colourOf(const char* name) const
    {
        const KLImagePtr image = KLImage::imageWithURL(mFolder->urlOf(name));
        return image ? image->getCGImage().pixelColor(image->width() / 2, image->height() / 2).rgba() : 0;
    }

    std::unique_ptr<TestFolder> mFolder;
};

namespace {

QImage plain(QColor colour, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(32, 32, format);
    image.fill(colour);
    return image;
}

QByteArray saved(cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    QByteArray bytes(size, '\0');
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

// Swaps red and blue by way of a table, which no matrix and curves can say.
QByteArray swappingProfile()
{
    const cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    const cmsHPROFILE lab = cmsCreateLab4Profile(nullptr);
    const cmsHTRANSFORM toLab = cmsCreateTransform(srgb, TYPE_BGR_16, lab, TYPE_LabV2_16, INTENT_PERCEPTUAL, 0);
    const cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 2.1);
    cmsSetDeviceClass(profile, cmsSigInputClass);
    cmsSetColorSpace(profile, cmsSigRgbData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, 3, 3);
    cmsStage* const table = cmsStageAllocCLut16bit(nullptr, 17, 3, 3, nullptr);
    cmsStageSampleCLut16bit(
        table,
        [](const cmsUInt16Number in[], cmsUInt16Number out[], void* transform) -> cmsInt32Number {
            cmsDoTransform(transform, in, out, 1);
            return 1;
        },
        toLab, 0);
    cmsPipelineInsertStage(pipeline, cmsAT_END, table);
    cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
    cmsWriteTag(profile, cmsSigMediaWhitePointTag, cmsD50_XYZ());
    cmsPipelineFree(pipeline);
    cmsDeleteTransform(toLab);
    cmsCloseProfile(lab);
    cmsCloseProfile(srgb);
    return saved(profile);
}

QByteArray linearGreyProfile()
{
    cmsToneCurve* const curve = cmsBuildGamma(nullptr, 1.0);
    const cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
    return saved(profile);
}

#define COMPARE_COLOUR(actual, expected, tolerance)                                                                    \
    do {                                                                                                               \
        const QRgb actualColour = (actual);                                                                            \
        QVERIFY2(isNear(actualColour, (expected), (tolerance)), qPrintable(QString::number(actualColour, 16)));        \
    } while (false)

} // namespace

void ColoursTest::init()
{
    mFolder = std::make_unique<TestFolder>();
}

void ColoursTest::profilesAreConverted_data()
{
    QTest::addColumn<QColorSpace>("space");
    QTest::addColumn<QByteArray>("format");
    const QColorSpace spaces[] = {QColorSpace(QColorSpace::AdobeRgb), QColorSpace(QColorSpace::DisplayP3),
        QColorSpace(QColorSpace::ProPhotoRgb), QColorSpace(QColorSpace::SRgbLinear)};
    const char* const names[] = {"Adobe RGB", "Display P3", "ProPhoto", "linear"};
    for (int i = 0; i < 4; ++i) {
        for (const char* const format : {"jpeg", "png", "tiff", "webp"}) {
            QTest::addRow("%s %s", names[i], format) << spaces[i] << QByteArray(format);
        }
    }
}

// The same sRGB colour, written in another space, comes back.
void ColoursTest::profilesAreConverted()
{
    QFETCH(QColorSpace, space);
    QFETCH(QByteArray, format);
    const QColor colour(200, 100, 50);
    QImage image = plain(colour);
    image.setColorSpace(QColorSpace(QColorSpace::SRgb));
    image.convertToColorSpace(space);
    QVERIFY(!isNear(image.pixel(3, 3), colour.rgb(), 8));
    mFolder->addFile("a", encoded(image, format.constData(), 100));
    COMPARE_COLOUR(colourOf("a"), colour.rgb(), 6);
    const QImage thumbnail = KLImage::thumbNailFromURL(mFolder->urlOf("a"));
    COMPARE_COLOUR(thumbnail.pixel(16, 16), colour.rgb(), 6);
}

void ColoursTest::tableProfileIsConverted()
{
    mFolder->addFile("p.icc", swappingProfile());
    mFolder->addFile("in.png", encoded(plain(QColor(200, 100, 50)), "png"));
    QVERIFY(
        convert({path("in.png"), QStringLiteral("-strip"), QStringLiteral("-profile"), path("p.icc"), path("a.tif")}));
    for (const char* const name : {"a.png", "a.jpg", "a.webp"}) {
        QVERIFY(runTool(QStringLiteral("vips"), {QStringLiteral("copy"), path("a.tif"), path(name)}));
    }
    for (const char* const name : {"a.tif", "a.png", "a.jpg", "a.webp"}) {
        COMPARE_COLOUR(colourOf(name), qRgb(50, 100, 200), 12);
    }
}

void ColoursTest::greyProfileIsConverted()
{
    QImage grey(32, 32, QImage::Format_Grayscale8);
    grey.fill(55);
    mFolder->addFile("in.png", encoded(grey, "png"));
    mFolder->addFile("p.icc", linearGreyProfile());
    QVERIFY(
        convert({path("in.png"), QStringLiteral("-strip"), QStringLiteral("-profile"), path("p.icc"), path("a.tif")}));
    for (const char* const name : {"a.png", "a.jpg"}) {
        QVERIFY(runTool(QStringLiteral("vips"), {QStringLiteral("copy"), path("a.tif"), path(name)}));
    }
    for (const char* const name : {"a.tif", "a.png", "a.jpg"}) {
        // A fifth of the light.
        COMPARE_COLOUR(colourOf(name), qRgb(128, 128, 128), 3);
    }
}

void ColoursTest::srgbIsNotTouched()
{
    QImage image(256, 4, QImage::Format_RGB32);
    for (int x = 0; x < 256; ++x) {
        for (int y = 0; y < 4; ++y) {
            image.setPixel(x, y, qRgb(x, 255 - x, x ^ 0x55));
        }
    }
    mFolder->addFile("none.png", encoded(image, "png"));
    image.setColorSpace(QColorSpace(QColorSpace::SRgb));
    mFolder->addFile("srgb.png", encoded(image, "png"));
    QVERIFY(convert({path("none.png"), path("gamma.png")}));
    for (const char* const name : {"none.png", "srgb.png", "gamma.png"}) {
        const KLImagePtr loaded = KLImage::imageWithURL(mFolder->urlOf(name));
        QVERIFY(loaded);
        for (int x = 0; x < 256; ++x) {
            QCOMPARE(QColor(loaded->getCGImage().pixel(x, 1)), QColor(image.pixel(x, 1)));
        }
    }
}

void ColoursTest::wrongProfileCountsAsSrgb()
{
    const QColor colour(200, 100, 50);
    mFolder->addFile("in.png", encoded(plain(colour), "png"));
    QByteArray jpeg = encoded(plain(colour), "jpeg", 100);
    const QByteArray body = QByteArray("ICC_PROFILE\0\1\1", 14) + QByteArray(200, 'x');
    jpeg.insert(
        2, "\xff\xe2" + QByteArray(1, char((body.size() + 2) >> 8)) + QByteArray(1, char(body.size() + 2)) + body);
    mFolder->addFile("a.jpg", jpeg);
    COMPARE_COLOUR(colourOf("a.jpg"), colour.rgb(), 4);
}

void ColoursTest::cameraSaysAdobeRgb()
{
    const QColor colour(200, 100, 50);
    QImage image = plain(colour);
    image.setColorSpace(QColorSpace(QColorSpace::SRgb));
    image.convertToColorSpace(QColorSpace(QColorSpace::AdobeRgb));
    image.setColorSpace(QColorSpace());
    const QByteArray jpeg = encoded(image, "jpeg", 100);
    mFolder->addFile("a.jpg", withExif(jpeg, exifBlock(1, {}, true)));
    COMPARE_COLOUR(colourOf("a.jpg"), colour.rgb(), 6);
    mFolder->addFile("b.jpg", withExif(jpeg, exifBlock(1)));
    QVERIFY(!isNear(colourOf("b.jpg"), colour.rgb(), 10));
}

void ColoursTest::cmyk_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("jpeg") << QByteArray("a.jpg");
    QTest::newRow("tiff") << QByteArray("a.tif");
    QTest::newRow("photoshop") << QByteArray("a.psd");
}

void ColoursTest::cmyk()
{
    QFETCH(QByteArray, name);
    mFolder->addFile("in.png", encoded(quartersPicture(), "png"));
    QVERIFY(convert({path("in.png"), QStringLiteral("-colorspace"), QStringLiteral("CMYK"), QStringLiteral("-quality"),
        QStringLiteral("95"), path(name.constData())}));
    const KLImagePtr image = KLImage::imageWithURL(mFolder->urlOf(name));
    QVERIFY(image);
    QCOMPARE(image->getCGImage().size(), quartersSize);
    QCOMPARE(image->getCGImage().format(), QImage::Format_RGB32);
    // Ink is never as bright as light.
    QCOMPARE(quarters(image->getCGImage(), 185), QByteArray("RGBY"));
    QCOMPARE(KLImage::thumbNailFromURL(mFolder->urlOf(name)).size(), quartersSize);
}

void ColoursTest::inksOnPaperAreNotInverted()
{
    mFolder->addFile("in.png", encoded(plain(Qt::white), "png"));
    for (const char* const name : {"a.jpg", "a.tif"}) {
        QVERIFY(convert({path("in.png"), QStringLiteral("-colorspace"), QStringLiteral("CMYK"), path(name)}));
        COMPARE_COLOUR(colourOf(name), qRgb(255, 255, 255), 6);
    }
}

void ColoursTest::deepAndGreyPictures_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QRgb>("expected");
    const auto words = [](const char* text) { return QString::fromUtf8(text).split(QLatin1Char(' ')); };
    const QRgb colour = qRgb(200, 100, 50);
    QTest::newRow("16-bit png") << QByteArray("a.png") << words("-depth 16 -define png:bit-depth=16") << colour;
    QTest::newRow("16-bit tiff") << QByteArray("a.tif") << words("-depth 16") << colour;
    QTest::newRow("16-bit ppm") << QByteArray("a.ppm") << words("-depth 16") << colour;
    QTest::newRow("float tiff") << QByteArray("a.tif") << words("-define quantum:format=floating-point -depth 32")
                                << colour;
    QTest::newRow("grey png") << QByteArray("a.png") << words("-fill gray50 -colorize 100 -type grayscale")
                              << qRgb(127, 127, 127);
    QTest::newRow("grey jpeg") << QByteArray("a.jpg") << words("-fill gray50 -colorize 100 -type grayscale")
                               << qRgb(127, 127, 127);
    QTest::newRow("16-bit grey png") << QByteArray(
        "a.png") << words("-fill gray50 -colorize 100 -type grayscale -depth 16 -define png:bit-depth=16")
                                     << qRgb(127, 127, 127);
    QTest::newRow("grey tiff") << QByteArray("a.tif") << words("-fill gray50 -colorize 100 -type grayscale")
                               << qRgb(127, 127, 127);
    QTest::newRow("grey map") << QByteArray("a.pgm") << words("-fill gray50 -colorize 100") << qRgb(127, 127, 127);
    QTest::newRow("grey jpeg 2000") << QByteArray("a.jp2") << words("-fill gray50 -colorize 100 -type grayscale")
                                    << qRgb(127, 127, 127);
    QTest::newRow("black and white png") << QByteArray("a.png") << words("-fill white -colorize 100 -monochrome")
                                         << qRgb(255, 255, 255);
    QTest::newRow("fax tiff") << QByteArray("a.tif") << words("-fill white -colorize 100 -monochrome -compress Group4")
                              << qRgb(255, 255, 255);
    QTest::newRow("bitmap") << QByteArray("a.pbm") << words("-fill white -colorize 100 -monochrome")
                            << qRgb(255, 255, 255);
    QTest::newRow("palette png") << QByteArray("a.png") << words("-type palette") << colour;
    QTest::newRow("palette tiff") << QByteArray("a.tif") << words("-type palette") << colour;
    QTest::newRow("16-bit photoshop") << QByteArray("a.psd") << words("-depth 16 -type TrueColor") << colour;
}

void ColoursTest::deepAndGreyPictures()
{
    QFETCH(QByteArray, name);
    QFETCH(QStringList, options);
    QFETCH(QRgb, expected);
    mFolder->addFile("in.png", encoded(plain(QColor(200, 100, 50)), "png"));
    QVERIFY(convert(QStringList{path("in.png")} + options + QStringList{path(name.constData())}));
    const KLImagePtr image = KLImage::imageWithURL(mFolder->urlOf(name));
    QVERIFY(image);
    QCOMPARE(image->getCGImage().format(), QImage::Format_RGB32);
    COMPARE_COLOUR(colourOf(name.constData()), expected, 3);
}

void ColoursTest::transparentPalette()
{
    QImage image(32, 32, QImage::Format_Indexed8);
    image.setColorTable({qRgba(255, 0, 0, 255), qRgba(0, 0, 255, 0)});
    image.fill(0);
    for (int x = 16; x < 32; ++x) {
        for (int y = 0; y < 32; ++y) {
            image.setPixel(x, y, 1);
        }
    }
    mFolder->addFile("a.png", encoded(image, "png"));
    const KLImagePtr loaded = KLImage::imageWithURL(mFolder->urlOf("a.png"));
    QVERIFY(loaded);
    QCOMPARE(loaded->getCGImage().format(), QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(loaded->getCGImage().pixelColor(4, 4), QColor(255, 0, 0));
    QCOMPARE(loaded->getCGImage().pixelColor(20, 4).alpha(), 0);
}

void ColoursTest::greyWithAlpha()
{
    mFolder->addFile("in.png", encoded(plain(QColor(90, 90, 90, 128), QImage::Format_ARGB32), "png"));
    QVERIFY(convert({path("in.png"), QStringLiteral("-define"), QStringLiteral("png:color-type=4"), path("a.png")}));
    QVERIFY(convert({path("in.png"), QStringLiteral("-type"), QStringLiteral("GrayscaleMatte"), path("a.tif")}));
    for (const char* const name : {"a.png", "a.tif"}) {
        const KLImagePtr loaded = KLImage::imageWithURL(mFolder->urlOf(name));
        QVERIFY(loaded);
        const QColor colour = loaded->getCGImage().pixelColor(4, 4);
        QVERIFY2(
            qAbs(colour.alpha() - 128) <= 1 && qAbs(colour.red() - 90) <= 2 && colour.red() == colour.blue(), name);
    }
}

void ColoursTest::floatIsLinearLight()
{
    mFolder->addFile("in.png", encoded(plain(QColor(128, 128, 128)), "png"));
    for (const char* const name : {"a.exr", "a.hdr"}) {
        QVERIFY(convert({path("in.png"), QStringLiteral("-colorspace"), QStringLiteral("RGB"), path(name)}));
        COMPARE_COLOUR(colourOf(name), qRgb(128, 128, 128), 2);
    }
}

void ColoursTest::brighterThanWhiteIsWhite()
{
    mFolder->addFile("in.png", encoded(plain(Qt::white), "png"));
    QVERIFY(convert({path("in.png"), QStringLiteral("-colorspace"), QStringLiteral("RGB"), path("a.hdr")}));
    QFile file(path("a.hdr"));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QByteArray bytes = file.readAll();
    bytes.replace("FORMAT=", "EXPOSURE=0.1\nFORMAT=");
    mFolder->addFile("b.hdr", bytes);
    COMPARE_COLOUR(colourOf("b.hdr"), qRgb(255, 255, 255), 0);
}

// Whatever a decoder hands over, with and without a colour space, becomes one of the two formats that are drawn.
void ColoursTest::everyFormatOfMemory()
{
    for (int number = QImage::Format_Mono; number < QImage::NImageFormats; ++number) {
        const auto format = static_cast<QImage::Format>(number);
        for (const bool isAdobe : {false, true}) {
            QImage image(5, 5, format);
            if (image.colorCount() == 0 && image.depth() <= 8 && format != QImage::Format_Grayscale8
                && format != QImage::Format_Alpha8) {
                image.setColorTable({qRgb(0, 0, 0), qRgb(255, 255, 255)});
            }
            image.fill(0);
            if (isAdobe) {
                image.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
            }
            const QImage result = toScreenColours(image);
            QVERIFY2(result.format() == QImage::Format_RGB32 || result.format() == QImage::Format_ARGB32_Premultiplied,
                qPrintable(QString::number(number)));
            QCOMPARE(result.size(), image.size());
        }
    }
    QVERIFY(toScreenColours(QImage()).isNull());
}

QTEST_MAIN(ColoursTest)
#include "ColoursTest.moc"
