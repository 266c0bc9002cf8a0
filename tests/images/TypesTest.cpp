#include "ContentType.h"
#include "KLImage.h"
#include "PictureFiles.h"
#include "TypeSamples.h"

#include <QTest>

#include <zlib.h>

using namespace frameflow;

class TypesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyTypeIsDecoded_data();
    void everyTypeIsDecoded();
    void everyTypeHasAThumbnail_data();
    void everyTypeHasAThumbnail();
    void metadataTurnsTheseTypes_data();
    void metadataTurnsTheseTypes();
    void codecTurnsThese_data();
    void codecTurnsThese();
    void propertiesDoNotTurnThese_data();
    void propertiesDoNotTurnThese();
    void contentsDecideWhenTheNameIsWrong_data();
    void contentsDecideWhenTheNameIsWrong();
    void largestPictureOfAnIconIsShown();
    void firstPictureOfSeveralIsShown_data();
    void firstPictureOfSeveralIsShown();
    void rawIsTurned_data();
    void rawIsTurned();
    void rawUsesALargePreview();
    void rawIgnoresASmallPreview();
    void rawThumbnailUsesAPreviewOf300();
    void contentTypes_data();
    void contentTypes();

private:
    void addTypeRows() const;

    TestFolder mFolder;
};

namespace {

QByteArray drawing()
{
    return R"(<?xml version="1.0"?><svg xmlns="http://www.w3.org/2000/svg" width="80" height="48">
        <rect width="40" height="24" fill="#f00"/><rect x="40" width="40" height="24" fill="#0f0"/>
        <rect y="24" width="40" height="24" fill="#00f"/><rect x="40" y="24" width="40" height="24" fill="#ff0"/></svg>)";
}

QByteArray gzipped(const QByteArray& bytes)
{
    z_stream stream = {};
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    QByteArray packed(bytes.size() + 1000, '\0');
    QByteArray input = bytes;
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.truncate(static_cast<qsizetype>(stream.total_out));
    deflateEnd(&stream);
    return packed;
}

QSize sizeOf(const KLImagePtr& image)
{
    return {static_cast<int>(image->width()), static_cast<int>(image->height())};
}

} // namespace

void TypesTest::initTestCase()
{
    const QByteArray source = mFolder.addFile("source.png", encoded(quartersPicture(), "png"));
    const QByteArray large = mFolder.addFile("large.png", encoded(quartersPicture(QSize(600, 360)), "png"));
    mFolder.addFolder("large");
    for (const TypeSample& sample : typeSamples()) {
        QVERIFY2(makeTypeSample(sample, source, mFolder.pathOf(sample.name)), sample.name);
        // Icons are never that large.
        if (QByteArray(sample.name) != "a.ico") {
            QVERIFY2(makeTypeSample(sample, large, mFolder.pathOf("large/") + sample.name), sample.name);
        }
    }
    QFile boxed(QString::fromUtf8(mFolder.pathOf("a.jp2")));
    QVERIFY(boxed.open(QIODevice::ReadOnly));
    const QByteArray bytes = boxed.readAll();
    mFolder.addFile("bare.j2k", bytes.mid(bytes.indexOf("jp2c") + 4));
    mFolder.addFile("a.svg", drawing());
    mFolder.addFile("a.svgz", gzipped(drawing()));
    mFolder.addFile("a.dng", cameraRaw(QSize(128, 96), 1));
}

void TypesTest::addTypeRows() const
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("tolerance");
    for (const TypeSample& sample : typeSamples()) {
        QTest::addRow("%s", sample.name) << QByteArray(sample.name) << sample.tolerance;
    }
}

void TypesTest::everyTypeIsDecoded_data()
{
    addTypeRows();
    QTest::newRow("a.svg") << QByteArray("a.svg") << 0;
    QTest::newRow("a.svgz") << QByteArray("a.svgz") << 0;
    QTest::newRow("bare.j2k") << QByteArray("bare.j2k") << 0;
}

void TypesTest::everyTypeIsDecoded()
{
    QFETCH(QByteArray, name);
    QFETCH(int, tolerance);
    const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf(name));
    QVERIFY(image);
    QCOMPARE(sizeOf(image), quartersSize);
    QCOMPARE(image->getCGImage().size(), quartersSize);
    QCOMPARE(image->getCGImage().format(), QImage::Format_RGB32);
    QCOMPARE(quarters(image->getCGImage(), tolerance), QByteArray("RGBY"));
}

void TypesTest::everyTypeHasAThumbnail_data()
{
    addTypeRows();
}

void TypesTest::everyTypeHasAThumbnail()
{
    QFETCH(QByteArray, name);
    QFETCH(int, tolerance);
    const bool isIcon = name == "a.ico";
    const QImage thumbnail = KLImage::thumbNailFromURL(mFolder.urlOf(isIcon ? name : "large/" + name));
    QCOMPARE(thumbnail.size(), isIcon ? quartersSize : QSize(300, 180));
    QCOMPARE(quarters(thumbnail, qMax(tolerance, 2)), QByteArray("RGBY"));
}

void TypesTest::metadataTurnsTheseTypes_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("tolerance");
    QTest::newRow("jpeg") << QByteArray("a.jpg") << 20;
    QTest::newRow("tiff") << QByteArray("a.tif") << 0;
    QTest::newRow("png") << QByteArray("a.png") << 0;
    QTest::newRow("webp") << QByteArray("a.webp") << 0;
    QTest::newRow("photoshop") << QByteArray("a.psd") << 0;
    QTest::newRow("jpeg 2000") << QByteArray("a.jp2") << 20;
}

void TypesTest::metadataTurnsTheseTypes()
{
    QFETCH(QByteArray, name);
    QFETCH(int, tolerance);
    const TestFolder folder;
    const QByteArray path = folder.pathOf(name);
    for (const int orientation : {3, 5, 6, 8}) {
        QFile::remove(QString::fromUtf8(path));
        QVERIFY(QFile::copy(QString::fromUtf8(mFolder.pathOf(name)), QString::fromUtf8(path)));
        QVERIFY(runTool(QStringLiteral("exiftool"),
            {QStringLiteral("-q"), QStringLiteral("-n"), QStringLiteral("-overwrite_original"),
                QStringLiteral("-Orientation=%1").arg(orientation), QString::fromUtf8(path)}));
        const KLImagePtr image = KLImage::imageWithURL(folder.urlOf(name));
        QVERIFY(image);
        QCOMPARE(quarters(image->getCGImage(), tolerance), uprightQuarters(orientation));
        QCOMPARE(sizeOf(image), orientation >= 5 ? quartersSize.transposed() : quartersSize);
    }
}

void TypesTest::codecTurnsThese_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QStringList>("command");
    const QString in = QString::fromUtf8(mFolder.pathOf("turned.jpg"));
    const auto out = [&](const char* name) { return QString::fromUtf8(mFolder.pathOf(name)); };
    QTest::newRow("jxl") << QByteArray("turned.jxl")
                         << QStringList{
                                QStringLiteral("cjxl"), in, out("turned.jxl"), QStringLiteral("--lossless_jpeg=1")};
}

// The properties still say that the picture is to be turned; the codec has done it by then, and it must not be done
// twice.
void TypesTest::codecTurnsThese()
{
    QFETCH(QByteArray, name);
    QFETCH(QStringList, command);
    for (const int orientation : {3, 6, 8}) {
        mFolder.addFile("turned.jpg", withExif(encoded(quartersPicture(), "jpeg"), exifBlock(orientation)));
        QVERIFY(runTool(command.first(), command.mid(1)));
        const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf(name));
        QVERIFY(image);
        QCOMPARE(quarters(image->getCGImage(), 40), uprightQuarters(orientation));
        QCOMPARE(quarters(KLImage::thumbNailFromURL(mFolder.urlOf(name)), 40), uprightQuarters(orientation));
    }
}

// These containers have a turn of their own, which the codec applies; the number in the properties is a mere copy.
void TypesTest::propertiesDoNotTurnThese_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("heic") << QByteArray("copy.heic");
    QTest::newRow("avif") << QByteArray("copy.avif");
}

void TypesTest::propertiesDoNotTurnThese()
{
    QFETCH(QByteArray, name);
    const QString path = QString::fromUtf8(mFolder.pathOf(name));
    QVERIFY(QFile::copy(QString::fromUtf8(mFolder.pathOf("a." + name.mid(5))), path));
    QVERIFY(runTool(QStringLiteral("exiftool"),
        {QStringLiteral("-q"), QStringLiteral("-n"), QStringLiteral("-overwrite_original"),
            QStringLiteral("-EXIF:Orientation=6"), path}));
    const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf(name));
    QVERIFY(image);
    QCOMPARE(quarters(image->getCGImage(), 40), QByteArray("RGBY"));
}

void TypesTest::contentsDecideWhenTheNameIsWrong_data()
{
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("png named jpg") << QByteArray("a.png") << QByteArray("x.jpg");
    QTest::newRow("jpeg named png") << QByteArray("a.jpg") << QByteArray("x.png");
    QTest::newRow("heic named jpg") << QByteArray("a.heic") << QByteArray("x.jpg");
    QTest::newRow("jpeg named heic") << QByteArray("a.jpg") << QByteArray("x.heic");
    QTest::newRow("photoshop named tif") << QByteArray("a.psd") << QByteArray("x.tif");
    QTest::newRow("webp named svg") << QByteArray("a.webp") << QByteArray("x.svg");
    QTest::newRow("drawing named png") << QByteArray("a.svg") << QByteArray("x.png");
    QTest::newRow("jpeg named as raw") << QByteArray("a.jpg") << QByteArray("x.nef");
    QTest::newRow("png named tga") << QByteArray("a.png") << QByteArray("x.tga");
    QTest::newRow("exr named hdr") << QByteArray("a.exr") << QByteArray("x.hdr");
    QTest::newRow("no suffix") << QByteArray("a.jpg") << QByteArray("x");
}

void TypesTest::contentsDecideWhenTheNameIsWrong()
{
    QFETCH(QByteArray, from);
    QFETCH(QByteArray, name);
    const TestFolder folder;
    QVERIFY(QFile::copy(QString::fromUtf8(mFolder.pathOf(from)), QString::fromUtf8(folder.pathOf(name))));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf(name));
    QVERIFY(image);
    QCOMPARE(quarters(image->getCGImage(), 40), QByteArray("RGBY"));
}

void TypesTest::largestPictureOfAnIconIsShown()
{
    const QString source = QString::fromUtf8(mFolder.pathOf("source.png"));
    QVERIFY(runTool(QStringLiteral("convert"),
        {source, QStringLiteral("-resize"), QStringLiteral("128x128!"), QStringLiteral("-define"),
            QStringLiteral("icon:auto-resize=16,64,32"), QString::fromUtf8(mFolder.pathOf("sizes.ico"))}));
    const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf("sizes.ico"));
    QVERIFY(image);
    QCOMPARE(sizeOf(image), QSize(64, 64));
}

void TypesTest::firstPictureOfSeveralIsShown_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("gif") << QByteArray("several.gif");
    QTest::newRow("tiff") << QByteArray("several.tif");
    QTest::newRow("webp") << QByteArray("several.webp");
}

void TypesTest::firstPictureOfSeveralIsShown()
{
    QFETCH(QByteArray, name);
    const QString source = QString::fromUtf8(mFolder.pathOf("source.png"));
    QVERIFY(runTool(QStringLiteral("convert"),
        {source, QStringLiteral("("), source, QStringLiteral("-rotate"), QStringLiteral("180"), QStringLiteral(")"),
            QString::fromUtf8(mFolder.pathOf(name))}));
    const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf(name));
    QVERIFY(image);
    QCOMPARE(quarters(image->getCGImage(), 30), QByteArray("RGBY"));
}

void TypesTest::rawIsTurned_data()
{
    QTest::addColumn<int>("orientation");
    for (const int orientation : {1, 3, 6, 8}) {
        QTest::addRow("%d", orientation) << orientation;
    }
}

void TypesTest::rawIsTurned()
{
    QFETCH(int, orientation);
    const TestFolder folder;
    const QSize size(128, 96);
    folder.addFile("a.dng", cameraRaw(size, orientation));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.dng"));
    QVERIFY(image);
    QCOMPARE(sizeOf(image), orientation >= 5 ? size.transposed() : size);
    QCOMPARE(quarters(image->getCGImage(), 90), uprightQuarters(orientation));
    QCOMPARE(quarters(KLImage::thumbNailFromURL(folder.urlOf("a.dng")), 90), uprightQuarters(orientation));
}

void TypesTest::rawUsesALargePreview()
{
    const TestFolder folder;
    // The preview shows something else, so that it can be told from the raw picture.
    QImage preview(600, 400, QImage::Format_RGB32);
    preview.fill(Qt::yellow);
    folder.addFile("a.dng", cameraRaw(QSize(640, 420), 6, encoded(preview, "jpeg")));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.dng"));
    QVERIFY(image);
    QCOMPARE(sizeOf(image), QSize(400, 600));
    QCOMPARE(quarters(image->getCGImage(), 20), QByteArray("YYYY"));
}

void TypesTest::rawIgnoresASmallPreview()
{
    const TestFolder folder;
    QImage preview(500, 328, QImage::Format_RGB32);
    preview.fill(Qt::yellow);
    folder.addFile("a.dng", cameraRaw(QSize(640, 420), 1, encoded(preview, "jpeg")));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.dng"));
    QVERIFY(image);
    QCOMPARE(sizeOf(image), QSize(640, 420));
    QCOMPARE(quarters(image->getCGImage(), 90), QByteArray("RGBY"));
}

void TypesTest::rawThumbnailUsesAPreviewOf300()
{
    const TestFolder folder;
    QImage preview(320, 210, QImage::Format_RGB32);
    preview.fill(Qt::yellow);
    folder.addFile("a.dng", cameraRaw(QSize(640, 420), 1, encoded(preview, "jpeg")));
    const QImage thumbnail = KLImage::thumbNailFromURL(folder.urlOf("a.dng"));
    QCOMPARE(thumbnail.size(), QSize(300, 197));
    QCOMPARE(quarters(thumbnail, 20), QByteArray("YYYY"));
}

void TypesTest::contentTypes_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<ContentType>("expected");
    QTest::newRow("empty") << QByteArray() << QByteArray("a.jpg") << ContentType::Unknown;
    QTest::newRow("pdf") << QByteArray("%PDF-1.7 \xff\xd8\xff") << QByteArray("a.jpg") << ContentType::Unknown;
    QTest::newRow("postscript") << QByteArray("%!PS-Adobe") << QByteArray("a.jpg") << ContentType::Unknown;
    QTest::newRow("text") << QByteArray("Hello") << QByteArray("a.svg") << ContentType::Unknown;
    QTest::newRow("web page") << QByteArray("<html><body/></html>") << QByteArray("a.png") << ContentType::Unknown;
    QTest::newRow("drawing program") << QByteArray("push graphic-context") << QByteArray("a.psd")
                                     << ContentType::Unknown;
    const QByteArray targa = QByteArray("\0\0\2\0\0\0\0\0\0\0\0\0\5\0\5\0\x18\0", 18);
    QTest::newRow("targa by name") << targa << QByteArray("a.tga") << ContentType::Targa;
    QTest::newRow("targa without name") << targa << QByteArray("a.jpg") << ContentType::Unknown;
    QTest::newRow("script named targa") << QByteArray("push graphic-context viewbox") << QByteArray("a.tga")
                                        << ContentType::Unknown;
    QTest::newRow("canon raw") << QByteArray("II*\0\x10\0\0\0CR\2\0", 12) << QByteArray("a.tif")
                               << ContentType::CameraRaw;
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf <svg/>") << QByteArray("a") << ContentType::Svg;
    QTest::newRow("movie container") << QByteArray("\0\0\0\x18"
                                                   "ftypisom",
        12) << QByteArray("a.heic") << ContentType::Unknown;
    QTest::newRow("avif") << QByteArray("\0\0\0\x18"
                                        "ftypavif",
        12) << QByteArray("a")
                          << ContentType::Heif;
}

void TypesTest::contentTypes()
{
    QFETCH(QByteArray, contents);
    QFETCH(QByteArray, name);
    QFETCH(ContentType, expected);
    QCOMPARE(contentType(contents, name), expected);
}

QTEST_MAIN(TypesTest)
#include "TypesTest.moc"
