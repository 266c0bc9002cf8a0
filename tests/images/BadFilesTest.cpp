#include "Decode.h"
#include "FileContents.h"
#include "KLImage.h"
#include "Limits.h"
#include "PictureFiles.h"

#include <QElapsedTimer>
#include <QTest>
#include <QtEndian>

#include <cmath>
#include <cstring>
#include <ctime>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <zlib.h>

using namespace frameflow;

class BadFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void truncatedJpegIsShownAsFarAsItGoes();
    void truncatedCmykJpegIsShownAsFarAsItGoes();
    void truncatedFilesAreBad_data();
    void truncatedFilesAreBad();
    void truncatedAnywhere_data();
    void truncatedAnywhere();
    void damagedAnywhere_data();
    void damagedAnywhere();
    void whatIsNoFileIsNeverOpened_data();
    void whatIsNoFileIsNeverOpened();
    void linkToAPictureIsFollowed();
    void otherContents_data();
    void otherContents();
    void claimedSizes_data();
    void claimedSizes();
    void drawingThatIsTakenForAMovieIsNotSearchedForOnesProperties();
    void bombIsRefused();
    void hugePictureIsHeldReduced();
    void descriptorOfSomethingElseIsRefused();
    void errorsAreToldApart();

private:
    bool isShown(const QByteArray& name) const
    {
        return KLImage::imageWithURL(mFolder.urlOf(name)) || !KLImage::thumbNailFromURL(mFolder.urlOf(name)).isNull();
    }

    QByteArray contentsOf(const QByteArray& name) const
    {
        QFile file(QString::fromUtf8(mFolder.pathOf(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    TestFolder mFolder;
};

namespace {

QByteArray big32(quint32 value)
{
    const quint32 bytes = qToBigEndian(value);
    return {reinterpret_cast<const char*>(&bytes), 4};
}

QByteArray big16(quint16 value)
{
    return big32(value).mid(2);
}

QByteArray little32(quint32 value)
{
    const quint32 bytes = qToLittleEndian(value);
    return {reinterpret_cast<const char*>(&bytes), 4};
}

QByteArray chunk(const QByteArray& type, const QByteArray& data)
{
    const QByteArray body = type + data;
    const auto checksum = crc32(0, reinterpret_cast<const Bytef*>(body.constData()), static_cast<uInt>(body.size()));
    return big32(static_cast<quint32>(data.size())) + body + big32(static_cast<quint32>(checksum));
}

// A picture of few bytes, well formed as far as it goes.
QByteArray tinyPng(quint32 width, quint32 height, bool isInterlaced = false)
{
    const QByteArray rows = qCompress(QByteArray(1000, '\0')).mid(4);
    return QByteArray("\x89PNG\r\n\x1a\n", 8)
        + chunk("IHDR", big32(width) + big32(height) + QByteArray("\x08\x02\0\0", 4) + char(isInterlaced))
        + chunk("IDAT", rows) + chunk("IEND", {});
}

// Noise: it does not shrink to nothing, so that a file cut in the middle lacks pixels.
QImage noise(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    quint32 state = 1;
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            state = state * 1664525U + 1013904223U;
            image.setPixel(x, y, 0xff000000U | state >> 8);
        }
    }
    return image;
}

constexpr const char* sampleNames[] = {"a.jpg", "a.png", "a.gif", "a.webp", "a.bmp", "a.tif", "a.ico", "a.tga", "a.ppm",
    "a.xpm", "a.heic", "a.avif", "a.jxl", "a.jp2", "a.psd", "a.hdr", "a.fits", "a.dds", "a.pcx", "a.sgi", "a.dng"};

void addNames()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* const name : sampleNames) {
        QTest::newRow(name) << QByteArray(name);
    }
}

} // namespace

void BadFilesTest::initTestCase()
{
    const QByteArray source = mFolder.addFile("source.png", encoded(noise(QSize(64, 48)), "png"));
    const QString in = QString::fromUtf8(source);
    const auto out = [&](const QByteArray& name) { return QString::fromUtf8(mFolder.pathOf(name)); };
    for (const QByteArray name : sampleNames) {
        if (name == "a.heic" || name == "a.avif") {
            QVERIFY(runTool(QStringLiteral("heif-enc"),
                {name == "a.avif" ? QStringLiteral("-A") : QStringLiteral("-v"), QStringLiteral("-o"), out(name), in}));
        } else if (name == "a.jxl") {
            QVERIFY(runTool(QStringLiteral("cjxl"), {in, out(name)}));
        } else if (name == "a.dng") {
            mFolder.addFile(name, cameraRaw(QSize(128, 96), 6, encoded(noise(QSize(128, 96)), "jpeg")));
        } else {
            QVERIFY(runTool(QStringLiteral("convert"), {in, out(name)}));
        }
    }
    QVERIFY(runTool(
        QStringLiteral("convert"), {in, QStringLiteral("-colorspace"), QStringLiteral("CMYK"), out("cmyk.jpg")}));
}

void BadFilesTest::truncatedJpegIsShownAsFarAsItGoes()
{
    const QByteArray whole = encoded(quartersPicture(QSize(800, 600)), "jpeg");
    mFolder.addFile("cut.jpg", whole.left(whole.size() / 2));
    const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf("cut.jpg"));
    QVERIFY(image);
    QCOMPARE(image->width(), 800U);
    QCOMPARE(quarters(image->getCGImage(), 20).left(2), QByteArray("RG"));
    QCOMPARE(KLImage::thumbNailFromURL(mFolder.urlOf("cut.jpg")).size(), QSize(300, 225));
}

void BadFilesTest::truncatedCmykJpegIsShownAsFarAsItGoes()
{
    const QByteArray whole = contentsOf("cmyk.jpg");
    mFolder.addFile("cut.jpg", whole.left(whole.size() - whole.size() / 4));
    const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf("cut.jpg"));
    QVERIFY(image);
    QCOMPARE(QSize(image->width(), image->height()), QSize(64, 48));
}

void BadFilesTest::truncatedFilesAreBad_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* const name : {"a.png", "a.webp", "a.tif", "a.ppm", "a.heic", "a.avif", "a.xpm"}) {
        QTest::newRow(name) << QByteArray(name);
    }
}

void BadFilesTest::truncatedFilesAreBad()
{
    QFETCH(QByteArray, name);
    const QByteArray whole = contentsOf(name);
    for (const qsizetype length : {whole.size() / 4, whole.size() / 2, whole.size() * 3 / 4}) {
        mFolder.addFile("cut" + name, whole.left(length));
        QVERIFY2(!KLImage::imageWithURL(mFolder.urlOf("cut" + name)), qPrintable(QString::number(length)));
    }
}

void BadFilesTest::truncatedAnywhere_data()
{
    addNames();
}

// Shown or not: nothing crashes, hangs or reads past the end.
void BadFilesTest::truncatedAnywhere()
{
    QFETCH(QByteArray, name);
    const QByteArray whole = contentsOf(name);
    QVERIFY(!whole.isEmpty());
    constexpr int cuts = 24;
    for (int i = 0; i < cuts; ++i) {
        // Dense at the start, where the headers are.
        const qsizetype length = i < cuts / 2 ? qsizetype(i) * 7 : whole.size() * (i - cuts / 2) / (cuts / 2);
        mFolder.addFile("cut" + name, whole.left(length));
        const QImage thumbnail = KLImage::thumbNailFromURL(mFolder.urlOf("cut" + name));
        QVERIFY(thumbnail.width() <= 300 && thumbnail.height() <= 300);
    }
    mFolder.addFile("cut" + name, {});
    QVERIFY(!isShown("cut" + name));
}

void BadFilesTest::damagedAnywhere_data()
{
    addNames();
}

void BadFilesTest::damagedAnywhere()
{
    QFETCH(QByteArray, name);
    const QByteArray whole = contentsOf(name);
    quint32 state = 7;
    for (int round = 0; round < 16; ++round) {
        QByteArray damaged = whole;
        for (int i = 0; i < 8; ++i) {
            state = state * 1664525U + 1013904223U;
            const qsizetype reach = round % 2 == 0 ? qMin<qsizetype>(damaged.size(), 256) : damaged.size();
            damaged[static_cast<qsizetype>(state >> 8) % reach] = static_cast<char>(state >> 24);
        }
        mFolder.addFile("damaged" + name, damaged);
        const QImage thumbnail = KLImage::thumbNailFromURL(mFolder.urlOf("damaged" + name));
        QVERIFY(thumbnail.width() <= 300 && thumbnail.height() <= 300);
    }
}

void BadFilesTest::whatIsNoFileIsNeverOpened_data()
{
    QTest::addColumn<QByteArray>("path");
    QVERIFY(mkfifo(mFolder.pathOf("fifo.jpg").constData(), 0600) == 0);
    QTest::newRow("fifo") << mFolder.pathOf("fifo.jpg");
    const int socketDescriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, mFolder.pathOf("socket.jpg").constData(), sizeof(address.sun_path));
    QVERIFY(bind(socketDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0);
    close(socketDescriptor);
    QTest::newRow("socket") << mFolder.pathOf("socket.jpg");
    QTest::newRow("folder") << mFolder.addFolder("folder.jpg");
    QTest::newRow("dangling link") << mFolder.addLink("dangling.jpg", "nowhere.jpg");
    QTest::newRow("link to itself") << mFolder.addLink("itself.jpg", "itself.jpg");
    QTest::newRow("link to a device") << mFolder.addLink("zero.jpg", "/dev/zero");
    QTest::newRow("device") << QByteArray("/dev/zero");
    QTest::newRow("terminal") << QByteArray("/dev/tty");
    QTest::newRow("link to a fifo") << mFolder.addLink("fifolink.jpg", "fifo.jpg");
    QTest::newRow("missing") << mFolder.pathOf("missing.jpg");
    QTest::newRow("below a file") << mFolder.pathOf("a.jpg/b.jpg");
    QTest::newRow("long name") << mFolder.pathOf(QByteArray(5000, 'a') + ".jpg");
}

void BadFilesTest::whatIsNoFileIsNeverOpened()
{
    QFETCH(QByteArray, path);
    const auto url = FileUrl::fromPath(path);
    QVERIFY(!openForDecoding(url).isOpen());
    QVERIFY(!KLImage::imageWithURL(url));
    QVERIFY(KLImage::thumbNailFromURL(url).isNull());
}

void BadFilesTest::linkToAPictureIsFollowed()
{
    mFolder.addLink("link.jpg", "a.png");
    const KLImagePtr image = KLImage::imageWithURL(mFolder.urlOf("link.jpg"));
    QVERIFY(image);
    QCOMPARE(image->mURL(), mFolder.urlOf("link.jpg"));
}

void BadFilesTest::otherContents_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("one byte") << QByteArray("\xff");
    QTest::newRow("text") << QByteArray("Dear reader,\n");
    QTest::newRow("pdf") << QByteArray("%PDF-1.4\n1 0 obj<</Type/Catalog>>endobj\ntrailer<</Root 1 0 R>>");
    QTest::newRow("postscript") << QByteArray("%!PS\n/Helvetica findfont 12 scalefont setfont showpage");
    QTest::newRow("encapsulated postscript") << QByteArray("%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 9 9\n");
    QTest::newRow("drawing script") << "push graphic-context\nviewbox 0 0 64 48\nimage over 0,0 0,0 '"
            + mFolder.pathOf("a.png") + "'\npop graphic-context\n";
    QTest::newRow("picture script") << "<?xml version='1.0'?><image><read filename='" + mFolder.pathOf("a.png")
            + "'/></image>";
    QTest::newRow("text list") << "@" + mFolder.pathOf("a.png");
    QTest::newRow("zeros") << QByteArray(5000, '\0');
    QTest::newRow("zip") << QByteArray("PK\3\4\x14\0\0\0", 8) + QByteArray(100, 'z');
    QTest::newRow("program") << QByteArray("\x7f"
                                           "ELF\2\1\1")
            + QByteArray(100, '\0');
    QTest::newRow("marks alone: jpeg") << QByteArray("\xff\xd8\xff");
    QTest::newRow("marks alone: tiff") << QByteArray("II*\0\x08\0\0\0", 8);
    QTest::newRow("marks alone: heif") << QByteArray("\0\0\0\x18"
                                                     "ftypheic",
        12);
}

void BadFilesTest::otherContents()
{
    QFETCH(QByteArray, contents);
    for (const char* const suffix : {"jpg", "png", "svg", "tga", "psd", "pcx", "nef", "dds", "tif", "heic", "exr"}) {
        const QByteArray name = QByteArray("other.") + suffix;
        mFolder.addFile(name, contents);
        QVERIFY2(!isShown(name), suffix);
    }
}

void BadFilesTest::claimedSizes_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("png") << QByteArray("x.png") << tinyPng(60000, 60000);
    QTest::newRow("png, largest") << QByteArray("x.png") << tinyPng(0x7fffffff, 0x7fffffff);
    QTest::newRow("png, zero") << QByteArray("x.png") << tinyPng(0, 0);
    QTest::newRow("bmp") << QByteArray("x.bmp")
                         << QByteArray("BM") + little32(1000) + little32(0) + little32(54) + little32(40)
            + little32(0x7ffffff0) + little32(0x7ffffff0) + QByteArray("\1\0\x20\0", 4) + QByteArray(24, '\0');
    QTest::newRow("tiff") << QByteArray("x.tif") << [] {
        QByteArray file = QByteArray("II*\0\x08\0\0\0", 8) + QByteArray("\x09\0", 2);
        const auto field = [&](int tag, quint32 value) {
            file += QByteArray(1, char(tag)) + QByteArray(1, char(tag >> 8)) + QByteArray("\4\0\1\0\0\0", 6)
                + little32(value);
        };
        field(0x100, 60000);
        field(0x101, 60000);
        field(0x102, 8);
        field(0x103, 1);
        field(0x106, 2);
        field(0x111, 8);
        field(0x115, 4);
        field(0x116, 60000);
        field(0x117, 0xfffffff0);
        return file + little32(0);
    }();
    QTest::newRow("photoshop") << QByteArray("x.psd")
                               << QByteArray("8BPS\0\1\0\0\0\0\0\0\0\3", 14) + big32(300000) + big32(300000)
            + QByteArray("\0\x08\0\3", 4) + QByteArray(14, '\0');
    QTest::newRow("targa") << QByteArray(
        "x.tga") << QByteArray("\0\0\x0a\0\0\0\0\0\0\0\0\0\xff\xff\xff\xff\x20\0", 18) + QByteArray(100, '\x7f');
    QTest::newRow("portable map") << QByteArray("x.ppm")
                                  << QByteArray("P6 2000000000 2000000000 255\n") + QByteArray(50, 'x');
    QTest::newRow("gif") << QByteArray("x.gif")
                         << QByteArray("GIF89a\xff\xff\xff\xff\0\0\0,\0\0\0\0\xff\xff\xff\xff\0\2\2D\1\0;", 30);
    QTest::newRow("radiance") << QByteArray("x.hdr")
                              << QByteArray("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2000000 +X 2000000\n");
    QTest::newRow("fits") << QByteArray("x.fits") << [] {
        QByteArray header;
        for (const char* const card :
            {"SIMPLE  =                    T", "BITPIX  =                  -64", "NAXIS   =                    2",
                "NAXIS1  =              2000000", "NAXIS2  =              2000000", "END"}) {
            header += QByteArray(card).leftJustified(80, ' ');
        }
        return header.leftJustified(2880, ' ');
    }();
    QTest::newRow("pcx") << QByteArray("x.pcx")
                         << QByteArray("\x0a\5\1\x08\0\0\0\0\xff\xff\xff\xff", 12) + QByteArray(53, '\0')
            + QByteArray("\3\xff\xff", 3) + QByteArray(60, '\0');
    QTest::newRow("sgi") << QByteArray("x.sgi")
                         << QByteArray("\x01\xda\1\1\0\3\xff\xff\xff\xff\0\4", 12) + QByteArray(500, '\0');
    QTest::newRow("direct draw") << QByteArray("x.dds")
                                 << QByteArray("DDS ") + little32(124) + little32(0x1007) + little32(0x7fffffff)
            + little32(0x7fffffff) + QByteArray(108, '\0');
    QTest::newRow("jpeg 2000") << QByteArray("x.j2k") << [] {
        return QByteArray("\xff\x4f\xff\x51\0\x2f\0\0", 8) + big32(0x7fffffff) + big32(0x7fffffff) + big32(0) + big32(0)
            + big32(0x7fffffff) + big32(0x7fffffff) + big32(0) + big32(0) + big16(3)
            + QByteArray("\7\1\1\7\1\1\7\1\1", 9);
    }();
    QTest::newRow("xpm")
        << QByteArray("x.xpm")
        << QByteArray("/* XPM */\nstatic char *x[] = {\n\"100000 100000 1 1\",\n\"a c #ff0000\",\n\"aaa\"};\n");
}

void BadFilesTest::claimedSizes()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, contents);
    mFolder.addFile(name, contents);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!KLImage::imageWithURL(mFolder.urlOf(name)));
    QVERIFY(KLImage::thumbNailFromURL(mFolder.urlOf(name)).isNull());
    QVERIFY2(timer.elapsed() < 20000, qPrintable(QString::number(timer.elapsed())));
}

// Its first bytes are a movie's, and a length of a gigabyte that would be gone through word by word.
void BadFilesTest::drawingThatIsTakenForAMovieIsNotSearchedForOnesProperties()
{
    const QByteArray name = "movie.svg";
    mFolder.addFile(name, R"(<svgftyp xmlns="http://www.w3.org/2000/svg"><svg/></svgftyp>)");
    DecodeRequest request;
    request.fileName = name;
    const std::clock_t begun = std::clock();
    QCOMPARE(decodePicture(openForDecoding(mFolder.urlOf(name)).number(), request).error, DecodeError::Damaged);
    QVERIFY(std::clock() - begun < 2 * CLOCKS_PER_SEC);
}

// A picture that is whole but far larger than its file is refused by the memory or the time that it would take.
void BadFilesTest::bombIsRefused()
{
    const auto side = static_cast<int>(std::sqrt(double(mostBytesForDecoding()) / 4)) + 1000;
    QVERIFY(!canDecode(QSize(side, side), 4));
    QVERIFY(canDecodeInStrips(QSize(side, side), 3));
    constexpr int tooMany = 50000;
    QVERIFY(!canDecodeInStrips(QSize(tooMany, tooMany), 3));
    constexpr int tooLong = 150000;
    QVERIFY(!canDecodeInStrips(QSize(tooLong, 3000), 3));
    const QMap<QByteArray, std::pair<QByteArray, DecodeError>> bombs{
        {"in strips.png", {tinyPng(side, side), DecodeError::Damaged}}, // which is found out by reading it
        {"interlaced.png", {tinyPng(side, side, true), DecodeError::TooLarge}},
        {"too many.png", {tinyPng(tooMany, tooMany), DecodeError::TooLarge}},
        {"too long.png", {tinyPng(tooLong, 3000), DecodeError::TooLarge}},
    };
    for (auto bomb = bombs.begin(); bomb != bombs.end(); ++bomb) {
        mFolder.addFile(bomb.key(), bomb->first);
        const FileDescriptor file = openForDecoding(mFolder.urlOf(bomb.key()));
        QVERIFY(file.isOpen());
        DecodeRequest request;
        request.fileName = bomb.key();
        QCOMPARE(decodePicture(file.number(), request).error, bomb->second);
    }
    QVERIFY(canDecode(QSize(8000, 8000), 4));
    QVERIFY(!canDecode(QSize(), 4));
    QVERIFY(!canDecode(QSize(0x7fffffff, 0x7fffffff), 8));
    QVERIFY(!canDecode(QSize(2'000'000, 1), 4));
    QVERIFY(!canDecodeInStrips(QSize(), 3));
}

void BadFilesTest::hugePictureIsHeldReduced()
{
    QImage image(12000, 8000, QImage::Format_Grayscale8);
    image.fill(200);
    for (const char* const format : {"jpeg", "png"}) {
        const QByteArray little = encoded(image, format, 50); // compressed, if it is a PNG
        const QByteArray much = little + QByteArray(4'000'000, '\0'); // which nobody reads
        for (const QByteArray& contents : {little, much}) {
            const QByteArray name = QByteArray::number(contents.size()) + '.' + format;
            mFolder.addFile(name, contents);
            const KLImagePtr huge = KLImage::imageWithURL(mFolder.urlOf(name));
            QVERIFY(huge);
            QCOMPARE(QSize(huge->width(), huge->height()), QSize(12000, 8000));
            const QSize held = huge->getCGImage().size();
            QVERIFY(qint64(held.width()) * held.height() <= mostPixelsHeld);
            const bool isLittle
                = contents == little && qstrcmp(format, "png") == 0; // JPEG has some bits for each block
            QCOMPARE(held, isLittle ? QSize(6000, 4000) : QSize(9797, 6531));
            QCOMPARE(huge->rectToFitScreen(QSizeF(1200, 1200), false), QRectF(0, 200, 1200, 800));
        }
    }
}

void BadFilesTest::descriptorOfSomethingElseIsRefused()
{
    int ends[2] = {-1, -1};
    QVERIFY(pipe(ends) == 0);
    DecodeRequest request;
    request.fileName = "a.jpg";
    QCOMPARE(decodePicture(ends[0], request).error, DecodeError::Unreadable);
    QCOMPARE(decodePicture(-1, request).error, DecodeError::Unreadable);
    close(ends[0]);
    close(ends[1]);
}

void BadFilesTest::errorsAreToldApart()
{
    const auto errorOf = [&](const QByteArray& name) {
        const FileDescriptor file = openForDecoding(mFolder.urlOf(name));
        DecodeRequest request;
        request.fileName = name;
        return decodePicture(file.number(), request).error;
    };
    mFolder.addFile("text.jpg", "text");
    mFolder.addFile("half.png", contentsOf("a.png").left(500));
    mFolder.addFile("half.dng", contentsOf("a.dng").left(7));
    QCOMPARE(errorOf("a.png"), DecodeError::None);
    QCOMPARE(errorOf("text.jpg"), DecodeError::NotAPicture);
    QCOMPARE(errorOf("half.png"), DecodeError::Damaged);
    QCOMPARE(errorOf("half.dng"), DecodeError::Damaged);
    if (geteuid() != 0) {
        QVERIFY(chmod(mFolder.pathOf("a.bmp").constData(), 0) == 0);
        QVERIFY(!KLImage::imageWithURL(mFolder.urlOf("a.bmp")));
        QVERIFY(chmod(mFolder.pathOf("a.bmp").constData(), 0600) == 0);
    }
}

QTEST_MAIN(BadFilesTest)
#include "BadFilesTest.moc"
