#include "FileContents.h"
#include "MovieDecoder.h"
#include "MovieFiles.h"
#include "PictureFiles.h"

#include <QTest>
#include <QtEndian>

using namespace frameflow;

// Files with sound alone, and the picture that belongs to it.
class MovieSoundsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everySound_data();
    void everySound();
    void soundWithoutAPictureHasNone_data();
    void soundWithoutAPictureHasNone();
    void coverIsThePictureOfSound_data();
    void coverIsThePictureOfSound();
    void coverIsReduced();
    void largeCoverBeforeTheSound();
    void damagedCoverIsNone();
    void coverOfAMovieIsNotItsFrame();
    void videoThatCannotBeDecodedLeavesTheSound();

private:
    DecodedPicture frameOf(const QByteArray& name) const
    {
        const FileDescriptor file = openForDecoding(mMovies.folder().urlOf(name));
        DecodeRequest request;
        request.fileName = name;
        return decodeMovieFrame(file.number(), request);
    }

    DecodedPicture probeOf(const QByteArray& name, int longestSide = 0) const
    {
        const FileDescriptor file = openForDecoding(mMovies.folder().urlOf(name));
        DecodeRequest request;
        request.fileName = name;
        request.longestSide = longestSide;
        return probeMovie(file.number(), request);
    }

    QByteArray coverBlock(const QByteArray& picture) const;

    MovieFiles mMovies;
};

void MovieSoundsTest::initTestCase()
{
    mMovies.folder().addFile("cover.jpg", encoded(quartersPicture(), "jpg"));
    mMovies.folder().addFile("cover.png", encoded(quartersPicture(), "png"));
}

// A picture as it stands in the comments of Ogg files.
QByteArray MovieSoundsTest::coverBlock(const QByteArray& picture) const
{
    const auto number = [](quint32 value) {
        const quint32 big = qToBigEndian(value);
        return QByteArray(reinterpret_cast<const char*>(&big), sizeof(big));
    };
    const QByteArray type = "image/png";
    const QByteArray block = number(3) + number(static_cast<quint32>(type.size())) + type + number(0) + number(80)
        + number(48) + number(24) + number(0) + number(static_cast<quint32>(picture.size())) + picture;
    return block.toBase64();
}

void MovieSoundsTest::everySound_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("options");
    const auto row = [](const char* name, const char* options = "-vn") {
        QTest::newRow(name) << QByteArray(name) << QByteArray(options);
    };
    row("a.mp3");
    row("a.mp2");
    row("a.m4a");
    row("a.m4b", "-f ipod");
    row("a.aac");
    row("a.ac3");
    row("eac3.ac3", "-c:a eac3 -f eac3");
    row("a.dts", "-c:a dca -strict experimental");
    row("a.flac");
    row("a.ogg");
    row("a.oga");
    row("flac.ogg", "-c:a flac");
    row("a.opus");
    row("a.spx");
    row("a.mka");
    row("a.webm", "-c:a libopus");
    row("a.wav");
    row("deep.wav", "-c:a pcm_f32le");
    row("adpcm.wav", "-c:a adpcm_ms");
    row("w64.wav", "-f w64");
    row("a.wma");
    row("a.wv");
    row("a.tta");
    row("a.aiff");
    row("a.au");
    row("a.voc");
    row("a.3gp", "-c:a aac");
    row("a.mp4", "-c:a aac");
    row("a.mov", "-c:a pcm_s16le");
    row("a.ts", "-c:a aac");
    row("a.ra", "-c:a ac3 -f rm");
    row("a.gsm", "-ar 8000 -c:a libgsm");
}

void MovieSoundsTest::everySound()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, options);
    QVERIFY(mMovies.make(name, MovieFiles::sound() + " " + options));
    const DecodedPicture probe = probeOf(name);
    QCOMPARE(probe.error, DecodeError::None);
    QVERIFY(probe.pixels.isNull());
    QVERIFY(probe.movie);
    QVERIFY(probe.movie->hasAudio);
    QVERIFY(!probe.movie->hasVideo);
    QVERIFY(!probe.movie->hasCover);
    QVERIFY(probe.movie->size.isEmpty());
    QVERIFY2(qAbs(probe.movie->seconds - 10) < 0.15, qPrintable(QString::number(probe.movie->seconds)));
}

void MovieSoundsTest::soundWithoutAPictureHasNone_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("mp3") << QByteArray("a.mp3");
    QTest::newRow("ogg") << QByteArray("a.ogg");
    QTest::newRow("mp4") << QByteArray("a.mp4");
}

void MovieSoundsTest::soundWithoutAPictureHasNone()
{
    QFETCH(QByteArray, name);
    QVERIFY(mMovies.make(name, MovieFiles::sound()));
    QCOMPARE(frameOf(name).error, DecodeError::NotAPicture);
    QVERIFY(frameOf(name).pixels.isNull());
}

void MovieSoundsTest::coverIsThePictureOfSound_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("options");
    const QByteArray png = "-i %folder/cover.png -map 0 -map 1 -c:v copy -disposition:v attached_pic ";
    const QByteArray jpg = "-i %folder/cover.jpg -map 0 -map 1 -c:v copy -disposition:v attached_pic ";
    QTest::newRow("mp3, png") << QByteArray("a.mp3") << png + "-id3v2_version 3";
    QTest::newRow("mp3, jpg") << QByteArray("a.mp3") << jpg + "-id3v2_version 4";
    QTest::newRow("m4a, png") << QByteArray("a.m4a") << png + "-c:a aac";
    QTest::newRow("m4a, jpg") << QByteArray("a.m4a") << jpg + "-c:a aac";
    QTest::newRow("flac") << QByteArray("a.flac") << png + "-c:a flac";
    QTest::newRow("ogg") << QByteArray("a.ogg")
                         << "-metadata:s:a METADATA_BLOCK_PICTURE=" + coverBlock(mMovies.contentsOf("cover.png"));
    QTest::newRow("opus") << QByteArray("a.opus")
                          << "-metadata:s:a METADATA_BLOCK_PICTURE=" + coverBlock(mMovies.contentsOf("cover.png"));
    QTest::newRow("mka") << QByteArray("a.mka")
                         << QByteArray("-attach %folder/cover.jpg -metadata:s:t mimetype=image/jpeg -c:a flac");
    QTest::newRow("aiff") << QByteArray("a.aiff") << png + "-write_id3v2 1";
}

void MovieSoundsTest::coverIsThePictureOfSound()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, options);
    QVERIFY(mMovies.make(name, MovieFiles::sound() + " " + options));
    const DecodedPicture probe = probeOf(name);
    QCOMPARE(probe.error, DecodeError::None);
    QVERIFY(probe.movie->hasCover);
    QVERIFY(probe.movie->hasAudio);
    QVERIFY(!probe.movie->hasVideo);
    QVERIFY(probe.movie->size.isEmpty());
    QCOMPARE(probe.size, quartersSize);
    QCOMPARE(quarters(probe.pixels, 40), uprightQuarters(1));
    QVERIFY2(qAbs(probe.movie->seconds - 10) < 0.15, qPrintable(QString::number(probe.movie->seconds)));
    QCOMPARE(frameOf(name).error, DecodeError::NotAPicture);
}

void MovieSoundsTest::coverIsReduced()
{
    QVERIFY(mMovies.make(
        "a.mp3", MovieFiles::sound() + " -i %folder/cover.png -map 0 -map 1 -c:v copy -disposition:v attached_pic"));
    QCOMPARE(probeOf("a.mp3", 40).pixels.size(), QSize(40, 24));
    QCOMPARE(probeOf("a.mp3", 40).size, quartersSize);
}

// Such a tag is longer than what a type is looked for in.
void MovieSoundsTest::largeCoverBeforeTheSound()
{
    QVERIFY(mMovies.make(
        "noise.png", "-f lavfi -i color=gray:s=1200x1000:r=1:d=1,format=rgb24,noise=alls=100:allf=t -frames:v 1"));
    QVERIFY(mMovies.contentsOf("noise.png").size() > 2'000'000);
    QVERIFY(mMovies.make(
        "a.mp3", MovieFiles::sound() + " -i %folder/noise.png -map 0 -map 1 -c:v copy -disposition:v attached_pic"));
    const DecodedPicture probe = probeOf("a.mp3");
    QCOMPARE(probe.error, DecodeError::None);
    QVERIFY(probe.movie->hasAudio);
    QCOMPARE(probe.size, QSize(1200, 1000));
}

void MovieSoundsTest::damagedCoverIsNone()
{
    QVERIFY(mMovies.make(
        "a.mp3", MovieFiles::sound() + " -i %folder/cover.png -map 0 -map 1 -c:v copy -disposition:v attached_pic"));
    QByteArray bytes = mMovies.contentsOf("a.mp3");
    const qsizetype at = bytes.indexOf("IHDR");
    QVERIFY(at > 0);
    bytes.replace(at, 12, QByteArray(12, 'x'));
    mMovies.folder().addFile("b.mp3", bytes);
    const DecodedPicture probe = probeOf("b.mp3");
    QCOMPARE(probe.error, DecodeError::None);
    QVERIFY(probe.pixels.isNull());
    QVERIFY(probe.movie->hasAudio);
    QVERIFY(!probe.movie->hasCover);
}

void MovieSoundsTest::coverOfAMovieIsNotItsFrame()
{
    QVERIFY(mMovies.make("a.mp4",
        "-i %folder/cover.png " + MovieFiles::numbers()
            + " -map 0 -map 1 -c:v:0 copy -disposition:v:0 attached_pic -c:v:1 libx264"));
    QCOMPARE(numberIn(frameOf("a.mp4").pixels), 125);
    const DecodedPicture probe = probeOf("a.mp4");
    QCOMPARE(numberIn(probe.pixels), 0);
    QVERIFY(probe.movie->hasVideo);
    QVERIFY(!probe.movie->hasCover);
    QCOMPARE(probe.movie->size, numbersSize);
}

void MovieSoundsTest::videoThatCannotBeDecodedLeavesTheSound()
{
    QVERIFY(mMovies.make(
        "a.mp4", MovieFiles::numbers() + " " + MovieFiles::sound() + " -c:v libx264 -c:a aac -movflags faststart"));
    QByteArray bytes = mMovies.contentsOf("a.mp4");
    bytes.replace("avc1", "xxxx");
    bytes.replace("avcC", "xxxX");
    mMovies.folder().addFile("b.mp4", bytes);
    const DecodedPicture probe = probeOf("b.mp4");
    QCOMPARE(probe.error, DecodeError::None);
    QVERIFY(!probe.movie->hasVideo);
    QVERIFY(probe.movie->hasAudio);
    QCOMPARE(frameOf("b.mp4").error, DecodeError::NotAPicture);
}

QTEST_GUILESS_MAIN(MovieSoundsTest)
#include "MovieSoundsTest.moc"
