// JPEG files at full size: the same pixels that Qt makes of them, in the memory they are wanted in.

#include "AreaReduction.h"
#include "Decode.h"
#include "FileContents.h"
#include "JpegDecoder.h"
#include "PictureFiles.h"
#include "TargetMemory.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>
#include <QTest>

#include <vector>

using namespace frameflow;

namespace {

constexpr QSize size(203, 117);

QImage gradient()
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            image.setPixel(x, y, qRgb(x, 2 * y, (x * y) % 256));
        }
    }
    return image;
}

QByteArray contentsOf(const QByteArray& path)
{
    QFile file(QString::fromUtf8(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QImage byQt(const QByteArray& contents)
{
    return QImage::fromData(contents, "jpeg").convertToFormat(QImage::Format_RGB32);
}

QByteArray withProfile(const QImage& image, const QColorSpace& space)
{
    QImage tagged = image;
    tagged.setColorSpace(space);
    return encoded(tagged, "jpeg");
}

// Memory as a decoder has it, with room for pictures of that many bytes.
struct Memory
{
    explicit Memory(qint64 bytes) : room(bytes) { }
    MemoryRange range() { return {room.data(), qint64(room.size())}; }
    std::vector<uchar> room;
};

constexpr qint64 bytes = qint64(203) * 117 * 4;
constexpr QSize small(61, 35);
constexpr qint64 smallBytes = qint64(61) * 35 * 4;

DecodeRequest requestWithCopy(QSize from = size, QSize to = small)
{
    DecodeRequest request;
    request.fileName = "a.jpg";
    request.reductions = {{QSize(1, 1), QSize(1, 1)}, {from, to}};
    return request;
}

QImage reduced(const QImage& image, QSize to)
{
    QImage result(to, image.format());
    AreaReduction(image.size(), to).advance(image.constBits(), image.bytesPerLine(), image.height(), result);
    return result;
}

} // namespace

class JpegTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyKindLooksAsQtReadsIt_data();
    void everyKindLooksAsQtReadsIt();
    void rareKindsAreLeftToQt_data();
    void rareKindsAreLeftToQt();
    void cutOffFilesAreShownAsFarAsTheyGo();
    void filesWithoutAPictureAreBad_data();
    void filesWithoutAPictureAreBad();
    void profilesComeAlong();
    void picturesAreDecodedIntoTheirMemory();
    void memoryThatDoesNotSuitIsLeftAlone_data();
    void memoryThatDoesNotSuitIsLeftAlone();
    void memoryIsForOnePictureAtATime();
    void aCopyIsMadeOnTheWay();
    void copiesOfOtherSizesAreNotMade_data();
    void copiesOfOtherSizesAreNotMade();
    void turnedPicturesEndInTheirMemory();
    void convertedPicturesHaveNoOldCopy();

private:
    DecodedPicture decodeFile(const QByteArray& contents, const DecodeRequest& request)
    {
        const QByteArray path = mFolder.addFile("a.jpg", contents);
        return decodePicture(openForDecoding(FileUrl::fromPath(path)).number(), request);
    }
    QByteArray made(const char* name, const QStringList& options)
    {
        const QByteArray source = mFolder.addFile("in.ppm", encoded(gradient(), "ppm"));
        const QByteArray target = mFolder.pathOf(name);
        QStringList arguments = options;
        arguments << QStringLiteral("-outfile") << QString::fromUtf8(target) << QString::fromUtf8(source);
        return runTool(QStringLiteral("cjpeg"), arguments) ? contentsOf(target) : QByteArray();
    }

    TestFolder mFolder;
};

void JpegTest::everyKindLooksAsQtReadsIt_data()
{
    QTest::addColumn<QStringList>("options");
    const auto row = [](const char* name, const char* options) {
        QTest::newRow(name) << QString::fromUtf8(options).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    };
    row("usual", "");
    row("progressive", "-progressive");
    row("grey", "-grayscale");
    row("grey, progressive", "-grayscale -progressive");
    row("red, green and blue", "-rgb");
    row("full chroma", "-sample 1x1");
    row("half chroma", "-sample 2x1");
    row("lying chroma", "-sample 1x2");
    row("restart markers", "-restart 1");
    row("arithmetic", "-arithmetic");
    row("worst quality", "-quality 1");
    row("best quality", "-quality 100");
}

void JpegTest::everyKindLooksAsQtReadsIt()
{
    QFETCH(QStringList, options);
    const QByteArray contents = made("made.jpg", options);
    QVERIFY(!contents.isEmpty());
    const auto picture = decodeJpeg(contents, {});
    QVERIFY(picture);
    QCOMPARE(picture->error, DecodeError::None);
    QCOMPARE(picture->size, size);
    QCOMPARE(picture->pixels.format(), QImage::Format_RGB32);
    QCOMPARE(picture->pixels, byQt(contents));
}

void JpegTest::rareKindsAreLeftToQt_data()
{
    QTest::addColumn<QByteArray>("contents");
    const QByteArray source = mFolder.addFile("rare.png", encoded(gradient(), "png"));
    const QByteArray inks = mFolder.pathOf("inks.jpg");
    QVERIFY(runTool(QStringLiteral("convert"),
        {QString::fromUtf8(source), QStringLiteral("-colorspace"), QStringLiteral("CMYK"), QString::fromUtf8(inks)}));
    QTest::newRow("four inks") << contentsOf(inks);
    const QByteArray coloured = withProfile(gradient(), QColorSpace(QColorSpace::SRgb));
    const qsizetype segment = coloured.indexOf(QByteArray("\xff\xe2", 2));
    const qsizetype length = 2 + uchar(coloured.at(segment + 2)) * 256 + uchar(coloured.at(segment + 3));
    QByteArray grey = encoded(gradient().convertToFormat(QImage::Format_Grayscale8), "jpeg");
    grey.insert(2, coloured.mid(segment, length));
    QTest::newRow("grey with a profile") << grey;
}

void JpegTest::rareKindsAreLeftToQt()
{
    QFETCH(QByteArray, contents);
    QVERIFY(!contents.isEmpty());
    QVERIFY(!decodeJpeg(contents, {}));
}

void JpegTest::cutOffFilesAreShownAsFarAsTheyGo()
{
    const QByteArray whole = encoded(gradient(), "jpeg");
    const auto picture = decodeJpeg(whole.left(whole.size() / 2), {});
    QVERIFY(picture);
    QCOMPARE(picture->error, DecodeError::None);
    QCOMPARE(picture->pixels.copy(0, 0, size.width(), 16), byQt(whole).copy(0, 0, size.width(), 16));
    QVERIFY(picture->pixels != byQt(whole));
}

void JpegTest::filesWithoutAPictureAreBad_data()
{
    QTest::addColumn<QByteArray>("contents");
    const QByteArray whole = encoded(gradient(), "jpeg");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("the first marker") << whole.left(2);
    QTest::newRow("some markers") << whole.left(100);
    QTest::newRow("another type") << encoded(gradient(), "png");
    QByteArray wrong = whole;
    const qsizetype frame = wrong.indexOf(QByteArray("\xff\xc0", 2));
    wrong[frame + 5] = 0; // no height, and no marker that tells it later
    wrong[frame + 6] = 0;
    QTest::newRow("no height") << wrong;
}

void JpegTest::filesWithoutAPictureAreBad()
{
    QFETCH(QByteArray, contents);
    const auto picture = decodeJpeg(contents, {});
    QVERIFY(!picture || picture->error != DecodeError::None);
    QVERIFY(decodeFile(contents, {}).pixels.isNull() || contents.startsWith("\x89PNG"));
}

void JpegTest::profilesComeAlong()
{
    const QColorSpace space(QColorSpace::DisplayP3);
    const auto picture = decodeJpeg(withProfile(gradient(), space), {});
    QVERIFY(picture);
    QCOMPARE(picture->pixels.colorSpace(), space);
    QVERIFY(!decodeJpeg(encoded(gradient(), "jpeg"), {})->pixels.colorSpace().isValid());
}

void JpegTest::picturesAreDecodedIntoTheirMemory()
{
    const QByteArray contents = encoded(gradient(), "jpeg");
    Memory memory(bytes);
    const TargetMemory target(memory.range());
    const DecodedPicture picture = decodeFile(contents, {});
    QVERIFY(target.holds(picture.pixels));
    QCOMPARE(picture.pixels.constBits(), memory.room.data());
    QCOMPARE(picture.pixels, byQt(contents));
}

void JpegTest::memoryThatDoesNotSuitIsLeftAlone_data()
{
    QTest::addColumn<qint64>("room");
    QTest::newRow("too small") << bytes - 1;
    QTest::newRow("much too large") << 2 * bytes + 2;
}

void JpegTest::memoryThatDoesNotSuitIsLeftAlone()
{
    QFETCH(qint64, room);
    const QByteArray contents = encoded(gradient(), "jpeg");
    Memory memory(room);
    const TargetMemory target(memory.range());
    const DecodedPicture picture = decodeFile(contents, {});
    QVERIFY(!target.holds(picture.pixels));
    QCOMPARE(picture.pixels, byQt(contents));
    QCOMPARE(memory.room, std::vector<uchar>(room));
}

void JpegTest::memoryIsForOnePictureAtATime()
{
    Memory memory(bytes);
    const TargetMemory target(memory.range());
    QImage first = targetBitmap(size, QImage::Format_RGB32);
    QVERIFY(target.holds(first));
    QVERIFY(!target.holds(targetBitmap(size, QImage::Format_RGB32)));
    first = QImage();
    {
        const TargetMemory::Kept kept(true);
        QVERIFY(!target.holds(targetBitmap(size, QImage::Format_RGB32)));
    }
    QVERIFY(target.holds(targetBitmap(size, QImage::Format_RGB32)));
    QVERIFY(!target.holds(targetBitmap(size, QImage::Format_Grayscale8)));
}

void JpegTest::aCopyIsMadeOnTheWay()
{
    const QByteArray contents = encoded(gradient(), "jpeg");
    Memory memory(placeBehind(bytes) + smallBytes);
    const TargetMemory target(memory.range());
    const DecodedPicture picture = decodeFile(contents, requestWithCopy());
    QVERIFY(target.holds(picture.pixels));
    QCOMPARE(picture.reduced, reduced(byQt(contents), small));
    QCOMPARE(picture.reduced.constBits(), memory.room.data() + placeBehind(bytes));
}

void JpegTest::copiesOfOtherSizesAreNotMade_data()
{
    QTest::addColumn<QSize>("from");
    QTest::addColumn<QSize>("to");
    QTest::addColumn<qint64>("room");
    const qint64 enough = placeBehind(bytes) + smallBytes;
    QTest::newRow("of another picture") << QSize(204, 117) << small << enough;
    QTest::newRow("larger than the picture") << size << QSize(204, 1) << enough;
    QTest::newRow("of no size") << size << QSize(0, 0) << enough;
    QTest::newRow("of a negative size") << size << QSize(-1, -1) << enough;
    QTest::newRow("without room behind the picture") << size << small << enough - 1;
}

void JpegTest::copiesOfOtherSizesAreNotMade()
{
    QFETCH(QSize, from);
    QFETCH(QSize, to);
    QFETCH(qint64, room);
    Memory memory(room);
    const TargetMemory target(memory.range());
    const DecodedPicture picture = decodeFile(encoded(gradient(), "jpeg"), requestWithCopy(from, to));
    QVERIFY(target.holds(picture.pixels));
    QVERIFY(picture.reduced.isNull());
}

void JpegTest::turnedPicturesEndInTheirMemory()
{
    const QImage stored = quartersPicture();
    const qint64 room = stored.sizeInBytes() + 64 + 4 * 10 * 10;
    Memory memory(room);
    const TargetMemory target(memory.range());
    const auto picture
        = decodeFile(withExif(encoded(stored, "jpeg"), exifBlock(6)), requestWithCopy(quartersSize, QSize(10, 10)));
    QCOMPARE(picture.pixels.size(), quartersSize.transposed());
    QVERIFY(target.holds(picture.pixels));
    QCOMPARE(quarters(picture.pixels, 24), uprightQuarters(6));
    QVERIFY(picture.reduced.isNull());
}

void JpegTest::convertedPicturesHaveNoOldCopy()
{
    for (const auto named : {QColorSpace::DisplayP3, QColorSpace::SRgb}) {
        Memory memory(placeBehind(bytes) + smallBytes);
        const TargetMemory target(memory.range());
        const DecodedPicture picture = decodeFile(withProfile(gradient(), QColorSpace(named)), requestWithCopy());
        QVERIFY(target.holds(picture.pixels)); // converted where it is
        QCOMPARE(picture.reduced.isNull(), named != QColorSpace::SRgb);
    }
}

QTEST_GUILESS_MAIN(JpegTest)
#include "JpegTest.moc"
