#include "FileContents.h"
#include "MovieDecoder.h"
#include "MovieFiles.h"
#include "PictureFiles.h"

#include <QTest>

using namespace frameflow;

// What the samples of a frame stand for.
class MovieColoursTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void matrixAndRange_data();
    void matrixAndRange();
    void unmarkedMatrixGoesByTheSize_data();
    void unmarkedMatrixGoesByTheSize();
    void wideColours_data();
    void wideColours();
    void brightMovies_data();
    void brightMovies();
    void transparencyIsOnBlack_data();
    void transparencyIsOnBlack();
    void greysStayGrey_data();
    void greysStayGrey();
    void coloursThatDoNotExistCountAsTheUsualOnes();

private:
    // The colour in the middle of a frame.
    QRgb colourOf(const QByteArray& name, int longestSide = 0) const
    {
        const FileDescriptor file = openForDecoding(mMovies.folder().urlOf(name));
        DecodeRequest request;
        request.fileName = name;
        request.longestSide = longestSide;
        const QImage pixels = decodeMovieFrame(file.number(), request).pixels;
        return pixels.isNull() ? 0 : pixels.pixel(pixels.width() / 2, pixels.height() / 2);
    }

    // Whether a movie made with the options shows a colour, whatever its size.
    void checkColour(const QByteArray& name, const QByteArray& options, QRgb colour, int tolerance) const
    {
        QVERIFY(mMovies.make(name, options));
        for (const int side : {0, 40}) {
            const QRgb shown = colourOf(name, side);
            QVERIFY2(isNear(shown, colour, tolerance), QByteArray::number(shown, 16).constData());
            QCOMPARE(qAlpha(shown), 255);
        }
    }

    MovieFiles mMovies;
};

namespace {

QByteArray plain(const QByteArray& colour, const QByteArray& size = "640x480")
{
    return "-f lavfi -i color=0x" + colour + ":s=" + size + ":r=5:d=1,format=gbrp";
}

} // namespace

void MovieColoursTest::matrixAndRange_data()
{
    QTest::addColumn<QByteArray>("matrix");
    QTest::addColumn<QByteArray>("mark");
    QTest::addColumn<QByteArray>("range");
    for (const char* const range : {"tv", "pc"}) {
        QTest::addRow("bt601 %s", range) << QByteArray("bt601") << QByteArray("smpte170m") << QByteArray(range);
        QTest::addRow("bt709 %s", range) << QByteArray("bt709") << QByteArray("bt709") << QByteArray(range);
        QTest::addRow("bt2020 %s", range) << QByteArray("bt2020") << QByteArray("bt2020nc") << QByteArray(range);
        QTest::addRow("smpte240m %s", range) << QByteArray("smpte240m") << QByteArray("smpte240m") << QByteArray(range);
    }
}

void MovieColoursTest::matrixAndRange()
{
    QFETCH(QByteArray, matrix);
    QFETCH(QByteArray, mark);
    QFETCH(QByteArray, range);
    // Each of these would be another colour by any other matrix or range.
    for (const QByteArray colour : {"ff0000", "00ff00", "0000ff", "c08040", "ffffff", "101010"}) {
        const auto options = plain(colour) + " -vf scale=out_color_matrix=" + matrix + ":out_range=" + range
            + ",format=yuv444p -colorspace " + mark + " -color_range " + range + " -c:v libx264 -qp 4";
        checkColour("a.mp4", options, 0xff000000U | colour.toUInt(nullptr, 16), 4);
    }
}

void MovieColoursTest::unmarkedMatrixGoesByTheSize_data()
{
    QTest::addColumn<QByteArray>("size");
    QTest::addColumn<QByteArray>("matrix");
    QTest::newRow("PAL") << QByteArray("720x576") << QByteArray("bt601");
    QTest::newRow("HD") << QByteArray("1280x720") << QByteArray("bt709");
    QTest::newRow("wide") << QByteArray("1280x534") << QByteArray("bt709");
    QTest::newRow("high") << QByteArray("480x640") << QByteArray("bt709");
}

void MovieColoursTest::unmarkedMatrixGoesByTheSize()
{
    QFETCH(QByteArray, size);
    QFETCH(QByteArray, matrix);
    const auto options = plain("00ff00", size) + " -vf scale=out_color_matrix=" + matrix
        + ":out_range=tv,format=yuv444p,setparams=colorspace=unknown -c:v libx264 -qp 4";
    checkColour("a.mp4", options, 0xff00ff00U, 4);
}

void MovieColoursTest::wideColours_data()
{
    QTest::addColumn<QByteArray>("primaries");
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QRgb>("shown");
    // Red and green of sRGB as they are written in wider colours.
    QTest::newRow("BT.2020 red") << QByteArray("bt2020") << QByteArray("cf4a22") << QRgb(0xffff0000);
    QTest::newRow("BT.2020 green") << QByteArray("bt2020") << QByteArray("97f54f") << QRgb(0xff00ff00);
    QTest::newRow("BT.2020 white") << QByteArray("bt2020") << QByteArray("ffffff") << QRgb(0xffffffff);
    QTest::newRow("P3 red") << QByteArray("smpte432") << QByteArray("ea3323") << QRgb(0xffff0000);
    QTest::newRow("P3 green") << QByteArray("smpte432") << QByteArray("75fb4c") << QRgb(0xff00ff00);
    QTest::newRow("P3 grey") << QByteArray("smpte432") << QByteArray("808080") << QRgb(0xff808080);
    QTest::newRow("BT.709 red") << QByteArray("bt709") << QByteArray("cf4a22") << QRgb(0xffcf4a22);
}

void MovieColoursTest::wideColours()
{
    QFETCH(QByteArray, primaries);
    QFETCH(QByteArray, stored);
    QFETCH(QRgb, shown);
    const auto options = plain(stored)
        + " -vf scale=out_color_matrix=bt709:out_range=tv,format=yuv444p10 -colorspace bt709 -color_range tv"
          " -color_primaries "
        + primaries + " -c:v libx264 -qp 4";
    // What lies on the edge of the narrower colours comes out a few steps beside it in eight bits.
    checkColour("a.mp4", options, shown, 14);
}

void MovieColoursTest::brightMovies_data()
{
    QTest::addColumn<QByteArray>("transfer");
    QTest::addColumn<int>("sample"); // of ten bits, within the television's range
    QTest::addColumn<int>("darkest");
    QTest::addColumn<int>("brightest");
    const QByteArray quantizer = "smpte2084";
    QTest::newRow("quantizer, black") << quantizer << 64 << 0 << 1;
    QTest::newRow("quantizer, skin") << quantizer << 460 << 90 << 150;
    QTest::newRow("quantizer, paper") << quantizer << 573 << 205 << 240;
    QTest::newRow("quantizer, 1000 cd") << quantizer << 723 << 252 << 255;
    QTest::newRow("quantizer, 10000 cd") << quantizer << 940 << 255 << 255;
    const QByteArray hybrid = "arib-std-b67";
    QTest::newRow("hybrid, black") << hybrid << 64 << 0 << 1;
    QTest::newRow("hybrid, skin") << hybrid << 450 << 90 << 150;
    QTest::newRow("hybrid, paper") << hybrid << 721 << 205 << 240;
    QTest::newRow("hybrid, brightest") << hybrid << 940 << 252 << 255;
}

void MovieColoursTest::brightMovies()
{
    QFETCH(QByteArray, transfer);
    QFETCH(int, sample);
    QFETCH(int, darkest);
    QFETCH(int, brightest);
    const auto options
        = "-f lavfi -i color=black:s=64x64:r=5:d=1,format=yuv420p10,geq=lum=" + QByteArray::number(sample)
        + ":cb=512:cr=512 -color_range tv -colorspace bt2020nc -color_primaries bt2020 -color_trc " + transfer
        + " -c:v libx265 -x265-params log-level=none:lossless=1";
    QVERIFY(mMovies.make("a.mp4", options));
    const QRgb shown = colourOf("a.mp4");
    QVERIFY2(qAbs(qRed(shown) - qGreen(shown)) <= 2 && qAbs(qBlue(shown) - qGreen(shown)) <= 2,
        QByteArray::number(shown, 16).constData());
    QVERIFY2(qGreen(shown) >= darkest && qGreen(shown) <= brightest, QByteArray::number(shown, 16).constData());
}

void MovieColoursTest::transparencyIsOnBlack_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("options");
    QTest::newRow("vp9") << QByteArray("a.webm")
                         << QByteArray("-pix_fmt yuva420p -c:v libvpx-vp9 -deadline realtime -crf 4 -b:v 0");
    QTest::newRow("vp8") << QByteArray(
        "b.webm") << QByteArray("-pix_fmt yuva420p -c:v libvpx -auto-alt-ref 0 -deadline realtime -crf 4 -b:v 4M");
    QTest::newRow("png") << QByteArray("png.mov") << QByteArray("-pix_fmt rgba -c:v png");
    QTest::newRow("qtrle") << QByteArray("qtrle.mov") << QByteArray("-pix_fmt argb -c:v qtrle");
    QTest::newRow("prores") << QByteArray("prores.mov")
                            << QByteArray("-pix_fmt yuva444p10le -c:v prores_ks -profile:v 4444");
}

void MovieColoursTest::transparencyIsOnBlack()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, options);
    for (const auto& [alpha, red] : {std::pair<const char*, int>{"ff", 240}, {"80", 120}, {"00", 0}}) {
        const auto source = QByteArray("-f lavfi -i color=0xf00000") + alpha + ":s=64x64:r=5:d=1,format=rgba ";
        checkColour(name, source + options, qRgb(red, 0, 0), 8);
    }
}

void MovieColoursTest::greysStayGrey_data()
{
    QTest::addColumn<QByteArray>("format");
    for (const char* const format : {"gray", "gray10le", "gray16le", "yuv410p", "yuv411p", "yuv422p", "yuv440p",
             "yuv420p16le", "yuva444p16le", "bgr0", "gbrp", "gbrp12le", "gbrap", "rgb48le", "rgba64le"}) {
        QTest::newRow(format) << QByteArray(format);
    }
}

void MovieColoursTest::greysStayGrey()
{
    QFETCH(QByteArray, format);
    checkColour("a.mkv", plain("5a5a5a", "64x64") + " -pix_fmt " + format + " -c:v ffv1", 0xff5a5a5aU, 2);
}

void MovieColoursTest::coloursThatDoNotExistCountAsTheUsualOnes()
{
    constexpr qsizetype start = 5;
    const QByteArray marks = " -color_primaries bt2020 -color_trc bt2020-10 -colorspace bt2020nc";
    QVERIFY(mMovies.make("marked.mpg", plain("c86432") + ",format=yuv420p -c:v mpeg2video -q:v 2" + marks));
    QByteArray contents = mMovies.contentsOf("marked.mpg");
    int count = 0;
    // Where the stream says how it is to be displayed, in three bytes.
    for (qsizetype at = 0; (at = contents.indexOf(QByteArray("\0\0\1\xb5", 4), at + 1)) >= 0;) {
        const bool isDisplay = at + start + 3 <= contents.size() && (uchar(contents[at + 4]) & 0xf1) == 0x21;
        if (isDisplay) {
            contents.replace(at + start, 3, QByteArray(3, '\xcd'));
            ++count;
        }
    }
    QVERIFY(count > 0);
    mMovies.folder().addFile("wrong.mpg", contents);
    const QRgb shown = colourOf("wrong.mpg");
    QVERIFY2(isNear(shown, qRgb(0xc8, 0x64, 0x32), 12), QByteArray::number(shown, 16).constData());
}

QTEST_GUILESS_MAIN(MovieColoursTest)
#include "MovieColoursTest.moc"
