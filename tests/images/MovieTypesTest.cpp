#include "FileContents.h"
#include "FileTypes.h"
#include "MovieDecoder.h"
#include "MovieFiles.h"

#include <QDataStream>
#include <QMimeDatabase>
#include <QSet>
#include <QTest>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

using namespace frameflow;

namespace {

struct Sample
{
    const char* name;
    const char* options;
};

// One for every type of movie that can be written here, and more where a suffix has a container of its own.
const std::vector<Sample>& movieSamples()
{
    static const std::vector<Sample> samples{
        {"a.mp4", "-c:v libx264"},
        {"a.m4v", "-c:v libx264 -f mp4"},
        {"a.f4v", "-c:v libx264"},
        {"a.mov", "-c:v libx264"},
        {"a.qt", "-c:v mjpeg -f mov"},
        {"a.mj2", "-c:v jpeg2000 -f mov"},
        {"a.3gp", "-c:v h263"},
        {"a.3g2", "-c:v mpeg4"},
        {"a.mkv", "-c:v libx264"},
        {"a.mk3d", "-c:v libx264 -f matroska"},
        {"a.webm", "-c:v libvpx -deadline realtime -cpu-used 8"},
        {"a.avi", "-c:v mpeg4"},
        {"a.divx", "-c:v mpeg4 -vtag DX50 -f avi"},
        {"a.wmv", "-c:v wmv2"},
        {"a.flv", "-c:v flv"},
        {"a.mpg", "-c:v mpeg2video"},
        {"a.vob", "-c:v mpeg2video"},
        {"a.mpe", "-c:v mpeg1video -f mpeg1video"},
        {"a.ts", "-c:v mpeg2video"},
        {"a.m2t", "-c:v mpeg2video -f mpegts"},
        {"a.mts", "-c:v libx264 -f mpegts -mpegts_m2ts_mode 1"},
        {"a.m2ts", "-c:v libx264"},
        {"a.ogv", "-c:v libtheora"},
        {"a.ogm", "-c:v libtheora -f ogg"},
        {"a.axv", "-c:v libtheora -f ogg"},
        {"a.ogg", "-c:v libtheora -f ogg"},
        {"a.dv", "-vf scale=720:576 -c:v dvvideo -pix_fmt yuv420p"},
        {"a.mjpeg", "-c:v mjpeg"},
        {"a.mjpg", "-c:v mjpeg -f mjpeg"},
        {"a.rv", "-c:v rv20 -f rm"},
    };
    return samples;
}

const std::vector<Sample>& soundSamples()
{
    static const std::vector<Sample> samples{
        {"a.mp3", "-c:a libmp3lame"},
        {"a.mp2", "-c:a mp2"},
        {"a.m4a", "-c:a aac"},
        {"a.m4b", "-c:a aac -f ipod"},
        {"a.m4r", "-c:a aac -f ipod"},
        {"alac.m4a", "-c:a alac"},
        {"a.aac", "-c:a aac"},
        {"a.adts", "-c:a aac -f adts"},
        {"a.ac3", "-c:a ac3"},
        {"a.dts", "-c:a dca -strict experimental"},
        {"a.dtshd", "-c:a dca -strict experimental -f dts"},
        {"a.flac", "-c:a flac"},
        {"a.oga", "-c:a flac -f ogg"},
        {"vorbis.ogg", "-c:a libvorbis"},
        {"a.opus", "-c:a libopus"},
        {"a.axa", "-c:a libvorbis -f ogg"},
        {"a.spx", "-c:a libspeex -ar 16000"},
        {"a.wav", "-c:a pcm_s16le"},
        {"a.aif", "-c:a pcm_s16be -f aiff"},
        {"a.aifc", "-c:a pcm_s16le -f aiff"},
        {"a.au", "-c:a pcm_s16be"},
        {"a.voc", "-c:a pcm_u8"},
        {"a.gsm", "-ar 8000 -c:a libgsm"},
        {"a.wma", "-c:a wmav2"},
        {"a.mka", "-c:a libvorbis"},
        {"a.tta", "-c:a tta"},
        {"a.wv", "-c:a wavpack"},
        {"a.ra", "-c:a ac3 -f rm"},
    };
    return samples;
}

QByteArray adaptiveMultiRate(const char* start, char header, int length)
{
    return start + (header + QByteArray(length, '\0')).repeated(100);
}

// One bit a sample, as few programs write it.
QByteArray dsdStream()
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    constexpr qsizetype block = 4096;
    const QByteArray samples(block * 16, 0x69);
    const quint64 dataLength = 12 + samples.size();
    stream.writeRawData("DSD ", 4);
    stream << quint64(28) << quint64(28 + 52 + dataLength) << quint64(0);
    stream.writeRawData("fmt ", 4);
    stream << quint64(52) << quint32(1) << quint32(0) << quint32(1) << quint32(1) << quint32(2822400) << quint32(1)
           << quint64(samples.size() * 8) << quint32(block) << quint32(0);
    stream.writeRawData("data", 4);
    stream << dataLength;
    return bytes + samples;
}

QByteArray chunk(const char* name, const QByteArray& contents)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.writeRawData(name, 4);
    stream << quint64(contents.size());
    return bytes + contents + QByteArray(contents.size() % 2, '\0');
}

QByteArray dsdInterchange()
{
    const QByteArray properties = QByteArray("SND ") + chunk("FS  ", QByteArray("\0\x2b\x11\0", 4))
        + chunk("CHNL", QByteArray("\0\1C   ", 6)) + chunk("CMPR", QByteArray("DSD \x0enot compressed\0", 20));
    return chunk("FRM8",
        QByteArray("DSD ") + chunk("FVER", QByteArray("\1\5\0\0", 4)) + chunk("PROP", properties)
            + chunk("DSD ", QByteArray(65536, 0x69)));
}

// An animation of four grey pictures.
QByteArray flicAnimation()
{
    constexpr qsizetype width = 16;
    constexpr qsizetype height = 8;
    QByteArray frames;
    for (int i = 0; i < 4; ++i) {
        QByteArray frame;
        QDataStream stream(&frame, QIODevice::WriteOnly);
        stream.setByteOrder(QDataStream::LittleEndian);
        constexpr quint32 coloursLength = 6 + 2 + 2 + 3 * 256;
        constexpr quint32 copyLength = 6 + width * height;
        stream << quint32(16 + coloursLength + copyLength) << quint16(0xf1fa) << quint16(2) << quint64(0);
        stream << coloursLength << quint16(4) << quint16(1) << quint8(0) << quint8(0);
        for (int colour = 0; colour < 256; ++colour) {
            stream << quint8(colour) << quint8(colour) << quint8(colour);
        }
        stream << copyLength << quint16(16);
        frames += frame + QByteArray(width * height, static_cast<char>(60 * i));
    }
    QByteArray head;
    QDataStream stream(&head, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << quint32(128 + frames.size()) << quint16(0xaf12) << quint16(4) << quint16(width) << quint16(height)
           << quint16(8) << quint16(3) << quint32(100);
    return head.leftJustified(80, '\0') + QByteArray("\x80\0\0\0\x80\0\0\0", 8) + QByteArray(40, '\0') + frames;
}

} // namespace

// Whether what the names promise can be opened.
class MovieTypesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void moviesAreOpened_data();
    void moviesAreOpened();
    void soundsAreOpened_data();
    void soundsAreOpened();
    void madeByHand_data();
    void madeByHand();
    void whatNobodyWritesIsReadAllTheSame_data();
    void whatNobodyWritesIsReadAllTheSame();
    void noOtherTypeIsPromised();

private:
    DecodedPicture probeOf(const QByteArray& name)
    {
        mMeasured.insert(mimeTypeForName(name));
        const FileDescriptor file = openForDecoding(mMovies.folder().urlOf(name));
        DecodeRequest request;
        request.fileName = name;
        return probeMovie(file.number(), request);
    }

    MovieFiles mMovies;
    QSet<QString> mMeasured;
};

void MovieTypesTest::moviesAreOpened_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("options");
    for (const Sample& sample : movieSamples()) {
        QTest::newRow(sample.name) << QByteArray(sample.name) << QByteArray(sample.options);
    }
}

void MovieTypesTest::moviesAreOpened()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, options);
    QCOMPARE(mediaKindForName(name), MediaKind::Movie);
    QVERIFY(mMovies.make(name, MovieFiles::numbers() + " -t 1 -q:v 3 " + options));
    const DecodedPicture probe = probeOf(name);
    QCOMPARE(probe.error, DecodeError::None);
    QVERIFY(probe.movie->hasVideo);
    QCOMPARE(numberIn(probe.pixels), 0);
}

void MovieTypesTest::soundsAreOpened_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("options");
    for (const Sample& sample : soundSamples()) {
        QTest::newRow(sample.name) << QByteArray(sample.name) << QByteArray(sample.options);
    }
}

void MovieTypesTest::soundsAreOpened()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, options);
    QCOMPARE(mediaKindForName(name), MediaKind::Movie);
    QVERIFY(mMovies.make(name, MovieFiles::sound() + " -t 1 " + options));
    const DecodedPicture probe = probeOf(name);
    QCOMPARE(probe.error, DecodeError::None);
    QVERIFY(probe.movie->hasAudio);
}

void MovieTypesTest::madeByHand_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("amr") << QByteArray("a.amr") << adaptiveMultiRate("#!AMR\n", 0x3c, 31);
    QTest::newRow("awb") << QByteArray("a.awb") << adaptiveMultiRate("#!AMR-WB\n", 0x44, 60);
    QTest::newRow("dsf") << QByteArray("a.dsf") << dsdStream();
    QTest::newRow("dff") << QByteArray("a.dff") << dsdInterchange();
    QTest::newRow("flc") << QByteArray("a.flc") << flicAnimation();
}

void MovieTypesTest::madeByHand()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, contents);
    QCOMPARE(mediaKindForName(name), MediaKind::Movie);
    mMovies.folder().addFile(name, contents);
    const DecodedPicture probe = probeOf(name);
    QCOMPARE(probe.error, DecodeError::None);
    QVERIFY(probe.movie->hasAudio || probe.movie->hasVideo);
}

// Their writers are rare, or gone.
void MovieTypesTest::whatNobodyWritesIsReadAllTheSame_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("container");
    QTest::addColumn<QByteArray>("codec");
    QTest::newRow("ape") << QByteArray("a.ape") << QByteArray("ape") << QByteArray("ape");
    QTest::newRow("mpc 7") << QByteArray("a.mpc") << QByteArray("mpc") << QByteArray("mpc7");
    QTest::newRow("mpc 8") << QByteArray("a.mpc") << QByteArray("mpc8") << QByteArray("mpc8");
    QTest::newRow("nsv") << QByteArray("a.nsv") << QByteArray("nsv") << QByteArray("vp6");
    QTest::newRow("vivo") << QByteArray("a.viv") << QByteArray("vivo") << QByteArray("h263");
    QTest::newRow("sgi movie") << QByteArray("a.movie") << QByteArray("mv") << QByteArray("mvc2");
    QTest::newRow("bink") << QByteArray("a.bik") << QByteArray("bink") << QByteArray("binkvideo");
    QTest::newRow("smacker") << QByteArray("a.smk") << QByteArray("smk") << QByteArray("smackvid");
}

void MovieTypesTest::whatNobodyWritesIsReadAllTheSame()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, container);
    QFETCH(QByteArray, codec);
    QCOMPARE(mediaKindForName(name), MediaKind::Movie);
    QVERIFY(av_find_input_format(container.constData()) != nullptr);
    QVERIFY(avcodec_find_decoder_by_name(codec.constData()) != nullptr);
    mMeasured.insert(mimeTypeForName(name));
}

// Runs last. What the database of this machine calls a movie or a sound, and the program shows, was opened above.
void MovieTypesTest::noOtherTypeIsPromised()
{
    // Names of their own, for what other names stand for.
    const QSet<QString> same{QStringLiteral("audio/webm"), QStringLiteral("audio/ogg"), QStringLiteral("video/ogg"),
        QStringLiteral("audio/x-flac+ogg"), QStringLiteral("audio/x-vorbis+ogg"), QStringLiteral("audio/x-opus+ogg"),
        QStringLiteral("audio/x-speex+ogg"), QStringLiteral("video/x-theora+ogg")};
    int suffixes = 0;
    const auto types = QMimeDatabase().allMimeTypes();
    for (const QMimeType& type : types) {
        const auto names = type.suffixes();
        for (const QString& suffix : names) {
            const QByteArray name = "a." + suffix.toUtf8();
            if (mediaKindForName(name) == MediaKind::Movie) {
                const QString promised = mimeTypeForName(name);
                QVERIFY2(mMeasured.contains(promised) || same.contains(promised), qPrintable(suffix + promised));
                ++suffixes;
            }
        }
    }
    QVERIFY(suffixes > 60);
}

QTEST_GUILESS_MAIN(MovieTypesTest)
#include "MovieTypesTest.moc"
