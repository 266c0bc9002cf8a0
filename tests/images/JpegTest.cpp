// JPEG files at full size: the same pixels that Qt makes of them, in the memory they are wanted in.

#include "AreaReduction.h"
#include "Decode.h"
#include "FileContents.h"
#include "JpegDecoder.h"
#include "PictureFiles.h"
#include "SharedBitmap.h"
#include "TargetMemory.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>
#include <QTest>

#include <cstring>
#include <vector>

#include <unistd.h>

using namespace frameflow;

namespace {

constexpr QSize size(203, 117);

constexpr QSize largeSize(2048, 1056);
constexpr qint64 largeBytes = qint64(2048) * 1056 * 4;

QImage gradient(QSize pixels = size)
{
    QImage image(pixels, QImage::Format_RGB32);
    for (int y = 0; y < pixels.height(); ++y) {
        for (int x = 0; x < pixels.width(); ++x) {
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

DecodeRequest requestWithCopy(QSizeF view = small)
{
    DecodeRequest request;
    request.fileName = "a.jpg";
    request.frame = {view, 1, FitMode::Stretch};
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
    void copiesThatAreNotWantedAreNotMade_data();
    void copiesThatAreNotWantedAreNotMade();
    void aCopyIsMadeWithoutATargetToo();
    void linesAreHandedOverAsTheyCome_data();
    void linesAreHandedOverAsTheyCome();
    void whatIsNotTheLastWordIsNotHandedOver_data();
    void whatIsNotTheLastWordIsNotHandedOver();
    void otherTypesHaveACopyToo();
    void turnedPicturesEndInTheirMemoryWithTheirCopy();
    void convertedPicturesHaveACopyInTheirNewColours();

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
    QTest::newRow("much too large") << 3 * bytes + 3;
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

void JpegTest::copiesThatAreNotWantedAreNotMade_data()
{
    QTest::addColumn<QSizeF>("view");
    QTest::addColumn<qint64>("room");
    const qint64 enough = placeBehind(bytes) + smallBytes;
    QTest::newRow("larger than the picture") << QSizeF(204, 1) << enough;
    QTest::newRow("as large as the picture") << QSizeF(size) << enough;
    QTest::newRow("for no view") << QSizeF(0, 0) << enough;
    QTest::newRow("for a view of negative size") << QSizeF(-1, -1) << enough;
    QTest::newRow("for a view less than a pixel high") << QSizeF(61, 0.25) << enough;
    QTest::newRow("without room behind the picture") << QSizeF(small) << enough - 1;
}

void JpegTest::copiesThatAreNotWantedAreNotMade()
{
    QFETCH(QSizeF, view);
    QFETCH(qint64, room);
    Memory memory(room);
    const TargetMemory target(memory.range());
    const DecodedPicture picture = decodeFile(encoded(gradient(), "jpeg"), requestWithCopy(view));
    QVERIFY(target.holds(picture.pixels));
    QVERIFY(picture.reduced.isNull());
}

void JpegTest::aCopyIsMadeWithoutATargetToo()
{
    const QByteArray contents = encoded(gradient(), "jpeg");
    const DecodedPicture picture = decodeFile(contents, requestWithCopy());
    QCOMPARE(picture.pixels, byQt(contents));
    QCOMPARE(picture.reduced, reduced(byQt(contents), small));
}

void JpegTest::linesAreHandedOverAsTheyCome_data()
{
    QTest::addColumn<bool>("isGiven");
    QTest::newRow("in memory that was given") << true;
    QTest::newRow("in memory of its own") << false;
}

void JpegTest::linesAreHandedOverAsTheyCome()
{
    QFETCH(const bool, isGiven);
    const QByteArray contents = encoded(gradient(largeSize), "jpeg");
    const FileDescriptor given = emptySharedMemory();
    TargetMemory target({nullptr, isGiven ? largeBytes : 0}, isGiven ? given.number() : -1);
    const DecodedPicture picture = decodeFile(contents, requestWithCopy());
    FileDescriptor own;
    QVERIFY(target.wasWritten(picture.pixels, own));
    QCOMPARE(own.isOpen(), !isGiven);
    QByteArray written(largeBytes, '\0');
    QCOMPARE(pread((isGiven ? given : own).number(), written.data(), written.size(), 0), ssize_t(written.size()));
    QVERIFY(std::memcmp(written.constData(), picture.pixels.constBits(), written.size()) == 0);
    QCOMPARE(picture.pixels, byQt(contents));
    QVERIFY(!target.wasWritten(picture.pixels, own)); // given away
}

void JpegTest::whatIsNotTheLastWordIsNotHandedOver_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("small") << encoded(gradient(), "jpeg");
    QTest::newRow("turned") << withExif(encoded(gradient(largeSize), "jpeg"), exifBlock(6));
    QTest::newRow("in other colours") << withProfile(gradient(largeSize), QColorSpace(QColorSpace::DisplayP3));
    QTest::newRow("of another type") << encoded(gradient(largeSize), "png");
}

void JpegTest::whatIsNotTheLastWordIsNotHandedOver()
{
    QFETCH(const QByteArray, contents);
    TargetMemory target({});
    const DecodedPicture picture = decodeFile(contents, requestWithCopy());
    QCOMPARE(picture.error, DecodeError::None);
    FileDescriptor own;
    QVERIFY(!target.wasWritten(picture.pixels, own));
    QVERIFY(!own.isOpen());
}

void JpegTest::otherTypesHaveACopyToo()
{
    const DecodedPicture picture = decodeFile(encoded(gradient(), "png"), requestWithCopy());
    QCOMPARE(picture.reduced, reduced(picture.pixels, small));
}

void JpegTest::turnedPicturesEndInTheirMemoryWithTheirCopy()
{
    const QImage stored = quartersPicture();
    const qint64 room = stored.sizeInBytes() + 64 + 4 * 10 * 10;
    Memory memory(room);
    const TargetMemory target(memory.range());
    const auto picture = decodeFile(withExif(encoded(stored, "jpeg"), exifBlock(6)), requestWithCopy(QSizeF(10, 10)));
    QCOMPARE(picture.pixels.size(), quartersSize.transposed());
    QVERIFY(target.holds(picture.pixels));
    QCOMPARE(quarters(picture.pixels, 24), uprightQuarters(6));
    QCOMPARE(picture.reduced, reduced(picture.pixels, QSize(10, 10)));
}

void JpegTest::convertedPicturesHaveACopyInTheirNewColours()
{
    for (const auto named : {QColorSpace::DisplayP3, QColorSpace::SRgb}) {
        Memory memory(placeBehind(bytes) + smallBytes);
        const TargetMemory target(memory.range());
        const DecodedPicture picture = decodeFile(withProfile(gradient(), QColorSpace(named)), requestWithCopy());
        QVERIFY(target.holds(picture.pixels)); // converted where it is
        QCOMPARE(picture.reduced, reduced(picture.pixels, small));
    }
}

QTEST_GUILESS_MAIN(JpegTest)
#include "JpegTest.moc"
