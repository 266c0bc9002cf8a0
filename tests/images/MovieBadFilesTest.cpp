#include "FileContents.h"
#include "MovieDecoder.h"
#include "MovieFiles.h"
#include "MovieFrames.h"
#include "PictureFiles.h"

#include <QElapsedTimer>
#include <QTest>

#include <random>

#include <unistd.h>

using namespace frameflow;

// Files that are cut off, damaged, made up to do harm, or no movies at all.
class MovieBadFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void whatIsNoMovieIsNoPicture_data();
    void whatIsNoMovieIsNoPicture();
    void listsOfMoviesAreNotFollowed_data();
    void listsOfMoviesAreNotFollowed();
    void contentsDecideWhenTheNameIsWrong();
    void moviesWithoutAPlayableStreamAreDamaged_data();
    void moviesWithoutAPlayableStreamAreDamaged();
    void soundThatCannotBeDecodedIsDamaged();
    void descriptorOfSomethingElseIsRefused();
    void movieWithoutItsIndexIsDamaged();
    void cutMovieShowsTheLastFrameItHas_data();
    void cutMovieShowsTheLastFrameItHas();
    void liveMoviesAreMeasured_data();
    void liveMoviesAreMeasured();
    void beginningThatIsMissing();
    void lengthThatIsNotThere_data();
    void lengthThatIsNotThere();
    void hugeFramesAreRefused();
    void hugeSeekTablesAreRefused();
    void truncatedAnywhere_data();
    void truncatedAnywhere();
    void damagedAnywhere_data();
    void damagedAnywhere();
    void limitsLeaveTheNearestFrame_data();
    void limitsLeaveTheNearestFrame();
    void withoutTimeNothingIsRead();

private:
    DecodedPicture frameOf(const QByteArray& name) const
    {
        const FileDescriptor file = openForDecoding(mMovies.folder().urlOf(name));
        DecodeRequest request;
        request.fileName = name;
        return decodeMovieFrame(file.number(), request);
    }

    DecodedPicture probeOf(const QByteArray& name) const
    {
        const FileDescriptor file = openForDecoding(mMovies.folder().urlOf(name));
        DecodeRequest request;
        request.fileName = name;
        return probeMovie(file.number(), request);
    }

    // Whatever comes out is whole, and comes soon.
    void checkAnswers(const QByteArray& name) const;

    MovieFiles mMovies;
};

namespace {

void addMovieRows()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* const name : {"a.mp4", "f.mp4", "a.mkv", "a.webm", "a.ts", "a.avi", "a.mpg", "a.flv", "a.wmv",
             "a.ogv", "a.mjpeg", "a.mp3", "a.flac", "a.ogg"}) {
        QTest::newRow(name) << QByteArray(name);
    }
}

} // namespace

void MovieBadFilesTest::initTestCase()
{
    const QByteArray both = MovieFiles::numbers() + " " + MovieFiles::sound() + " ";
    QVERIFY(mMovies.make("a.mp4", both + "-c:v libx264 -g 50 -bf 3 -c:a aac -movflags faststart"));
    QVERIFY(mMovies.make("end.mp4", both + "-c:v libx264 -g 50 -bf 3 -c:a aac"));
    QVERIFY(mMovies.make("f.mp4", both + "-c:v libx264 -g 25 -c:a aac -movflags frag_keyframe+empty_moov"));
    QVERIFY(mMovies.make("a.mkv", both + "-c:v libx265 -x265-params log-level=none:keyint=50 -c:a aac"));
    QVERIFY(mMovies.make("a.webm", both + "-c:v libvpx-vp9 -g 50 -deadline realtime -cpu-used 8 -c:a libopus"));
    QVERIFY(mMovies.make("a.ts", both + "-c:v libx264 -g 50 -c:a aac"));
    QVERIFY(mMovies.make("a.avi", both + "-c:v mpeg4 -g 50 -q:v 3 -c:a mp3"));
    QVERIFY(mMovies.make("a.mpg", both + "-c:v mpeg2video -q:v 3 -c:a mp2"));
    QVERIFY(mMovies.make("a.flv", both + "-c:v flv -q:v 3 -ar 44100 -c:a mp3"));
    QVERIFY(mMovies.make("a.wmv", both + "-c:v wmv2 -q:v 3 -c:a wmav2"));
    QVERIFY(mMovies.make("a.ogv", both + "-c:v libtheora -q:v 8 -c:a libvorbis"));
    QVERIFY(mMovies.make("a.mjpeg", MovieFiles::numbers() + " -c:v mjpeg -q:v 3"));
    QVERIFY(mMovies.make("png.mov", MovieFiles::numbers() + " -c:v png"));
    for (const QByteArray name : {"a.mp3", "a.flac", "a.ogg"}) {
        QVERIFY(mMovies.make(name, MovieFiles::sound()));
    }
}

void MovieBadFilesTest::whatIsNoMovieIsNoPicture_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("one byte") << QByteArray("x");
    QTest::newRow("text") << QByteArray("Quite some words that make no movie.\n").repeated(100);
    QTest::newRow("zeroes") << QByteArray(3'000'000, '\0');
    QTest::newRow("png") << encoded(quartersPicture(), "png");
    QTest::newRow("jpg") << encoded(quartersPicture(), "jpg");
    QTest::newRow("svg") << QByteArray("<?xml version=\"1.0\"?><svg xmlns=\"http://www.w3.org/2000/svg\"/>");
    QTest::newRow("subtitles") << QByteArray("1\n00:00:01,000 --> 00:00:02,000\nWords\n\n").repeated(20);
    QTest::newRow("program") << QByteArray("\x7f"
                                           "ELF\2\1\1")
                                    .append(QByteArray(500, '\0'));
    QTest::newRow("a tag and nothing else") << QByteArray("ID3\3\0\0\x7f\x7f\x7f\x7f", 10).append(QByteArray(100, 'x'));
}

void MovieBadFilesTest::whatIsNoMovieIsNoPicture()
{
    QFETCH(QByteArray, contents);
    for (const QByteArray name : {"b.mp4", "b.mkv", "b.ts", "b.mp3", "b.avi", "b"}) {
        mMovies.folder().addFile(name, contents);
        QCOMPARE(frameOf(name).error, DecodeError::NotAPicture);
        QCOMPARE(probeOf(name).error, DecodeError::NotAPicture);
        QVERIFY(!probeOf(name).movie);
    }
}

void MovieBadFilesTest::listsOfMoviesAreNotFollowed_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("m3u8") << QByteArray("#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n#EXTINF:10.0,\n%a.ts\n"
                                        "#EXT-X-ENDLIST\n");
    QTest::newRow("m3u") << QByteArray("#EXTM3U\n#EXTINF:10,a\n%a.mp4\n");
    QTest::newRow("concat") << QByteArray("ffconcat version 1.0\nfile '%a.mp4'\n");
    QTest::newRow("pls") << QByteArray("[playlist]\nFile1=%a.mp3\nNumberOfEntries=1\nVersion=2\n");
    QTest::newRow("dash") << QByteArray(
        "<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" "
        "mediaPresentationDuration=\"PT10S\"><Period><AdaptationSet mimeType=\"video/mp4\"><Representation id=\"1\" "
        "bandwidth=\"1\"><BaseURL>%f.mp4</BaseURL></Representation></AdaptationSet></Period></MPD>");
    QTest::newRow("sdp") << QByteArray("v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\n"
                                       "m=video 5004 RTP/AVP 96\na=rtpmap:96 H264/90000\n");
    QTest::newRow("asx") << QByteArray("<asx version=\"3.0\"><entry><ref href=\"%a.wmv\"/></entry></asx>");
    QTest::newRow("reference") << QByteArray("[Reference]\r\nRef1=%a.wmv\r\n");
    QTest::newRow("subtitle index") << QByteArray("# VobSub index file, v7 (do not modify this line!)\nsize: 720x576\n"
                                                  "timestamp: 00:00:01:000, filepos: 000000000\n");
}

void MovieBadFilesTest::listsOfMoviesAreNotFollowed()
{
    QFETCH(QByteArray, contents);
    contents.replace("%", mMovies.folder().path() + '/');
    for (const QByteArray name : {"list.mp4", "list.m3u8", "list.ts", "list.wmv"}) {
        mMovies.folder().addFile(name, contents);
        QCOMPARE(frameOf(name).error, DecodeError::NotAPicture);
        QCOMPARE(probeOf(name).error, DecodeError::NotAPicture);
    }
}

void MovieBadFilesTest::contentsDecideWhenTheNameIsWrong()
{
    mMovies.folder().addFile("wrong.mkv", mMovies.contentsOf("a.mp4"));
    mMovies.folder().addFile("wrong.mp4", mMovies.contentsOf("a.ts"));
    mMovies.folder().addFile("wrong.mjpeg", mMovies.contentsOf("a.avi"));
    for (const QByteArray name : {"wrong.mkv", "wrong.mp4", "wrong.mjpeg"}) {
        QVERIFY(numberIn(frameOf(name).pixels) == 125 || numberIn(frameOf(name).pixels) == 124);
        QVERIFY(probeOf(name).movie->hasVideo);
    }
}

void MovieBadFilesTest::moviesWithoutAPlayableStreamAreDamaged_data()
{
    QTest::addColumn<QByteArray>("contents");
    const QByteArray whole = mMovies.contentsOf("png.mov");
    QTest::newRow("unknown codec") << QByteArray(whole).replace("png ", "xxxx");
    QTest::newRow("no frame that can be decoded") << QByteArray(whole).replace("IHDR", "XXXX");
    QTest::newRow("mp4 that ends at once") << mMovies.contentsOf("a.mp4").left(32);
    QTest::newRow("matroska that ends at once") << mMovies.contentsOf("a.mkv").left(200);
    QTest::newRow("avi that ends at once") << mMovies.contentsOf("a.avi").left(100);
}

void MovieBadFilesTest::moviesWithoutAPlayableStreamAreDamaged()
{
    QFETCH(QByteArray, contents);
    mMovies.folder().addFile("b.mov", contents);
    QCOMPARE(frameOf("b.mov").error, DecodeError::Damaged);
    QCOMPARE(probeOf("b.mov").error, DecodeError::Damaged);
    QVERIFY(!probeOf("b.mov").movie);
}

void MovieBadFilesTest::soundThatCannotBeDecodedIsDamaged()
{
    mMovies.folder().addFile("b.flac", mMovies.contentsOf("a.flac").left(60));
    QCOMPARE(probeOf("b.flac").error, DecodeError::Damaged);
}

void MovieBadFilesTest::descriptorOfSomethingElseIsRefused()
{
    int ends[2];
    QCOMPARE(pipe(ends), 0);
    const FileDescriptor reading(ends[0]);
    const FileDescriptor writing(ends[1]);
    for (const int descriptor : {ends[0], -1}) {
        QCOMPARE(decodeMovieFrame(descriptor, {}).error, DecodeError::Unreadable);
        QCOMPARE(probeMovie(descriptor, {}).error, DecodeError::Unreadable);
    }
}

void MovieBadFilesTest::movieWithoutItsIndexIsDamaged()
{
    const QByteArray whole = mMovies.contentsOf("end.mp4");
    mMovies.folder().addFile("b.mp4", whole.left(whole.indexOf("moov") - 4));
    QCOMPARE(frameOf("b.mp4").error, DecodeError::Damaged);
    QCOMPARE(probeOf("b.mp4").error, DecodeError::Damaged);
}

void MovieBadFilesTest::cutMovieShowsTheLastFrameItHas_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("percent");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    // Behind the middle it is still the frame there, where the length is told apart from the frames.
    QTest::newRow("mp4 at 80") << QByteArray("a.mp4") << 80 << 125 << 125;
    QTest::newRow("mp4 at 30") << QByteArray("a.mp4") << 30 << 40 << 80;
    QTest::newRow("mkv at 80") << QByteArray("a.mkv") << 80 << 124 << 125;
    QTest::newRow("mkv at 30") << QByteArray("a.mkv") << 30 << 40 << 90;
    QTest::newRow("webm at 30") << QByteArray("a.webm") << 30 << 40 << 110;
    QTest::newRow("flv at 30") << QByteArray("a.flv") << 30 << 20 << 90;
    // These tell their length by their last frame, or by the share of bytes that there is.
    QTest::newRow("avi at 50") << QByteArray("a.avi") << 50 << 40 << 90;
    QTest::newRow("ts at 50") << QByteArray("a.ts") << 50 << 40 << 90;
    QTest::newRow("mpg at 50") << QByteArray("a.mpg") << 50 << 40 << 90;
}

void MovieBadFilesTest::cutMovieShowsTheLastFrameItHas()
{
    QFETCH(QByteArray, name);
    QFETCH(int, percent);
    QFETCH(int, from);
    QFETCH(int, to);
    const QByteArray whole = mMovies.contentsOf(name);
    mMovies.folder().addFile("cut", whole.left(whole.size() * percent / 100));
    const DecodedPicture frame = frameOf("cut");
    QCOMPARE(frame.error, DecodeError::None);
    const int number = numberIn(frame.pixels);
    QVERIFY2(number >= from && number <= to, qPrintable(QString::number(number)));
    QCOMPARE(numberIn(probeOf("cut").pixels), 0);
}

// Written to something that cannot be gone back in: their length and what lies where stand nowhere.
void MovieBadFilesTest::liveMoviesAreMeasured_data()
{
    QTest::addColumn<QByteArray>("options");
    QTest::newRow("mkv") << QByteArray("-c:v libx264 -bf 3 -f matroska -live 1");
    QTest::newRow("webm") << QByteArray("-c:v libvpx -deadline realtime -cpu-used 8 -b:v 1M -f webm -live 1");
    QTest::newRow("one key frame") << QByteArray("-c:v libx264 -bf 3 -g 1000 -f matroska -live 1");
    QTest::newRow("mpeg4 alone") << QByteArray("-c:v mpeg4 -q:v 3 -f m4v");
    QTest::newRow("mpeg2 alone") << QByteArray("-c:v mpeg2video -bf 0 -q:v 3 -f mpeg2video");
}

void MovieBadFilesTest::liveMoviesAreMeasured()
{
    QFETCH(QByteArray, options);
    QVERIFY(mMovies.make("live", MovieFiles::numbers() + " " + options));
    const DecodedPicture probe = probeOf("live");
    QCOMPARE(probe.error, DecodeError::None);
    QVERIFY2(qAbs(probe.movie->seconds - 10) < 0.1, qPrintable(QString::number(probe.movie->seconds)));
    QCOMPARE(numberIn(probe.pixels), 0);
    QVERIFY(numberIn(frameOf("live").pixels) == 125 || numberIn(frameOf("live").pixels) == 124);
}

// A recording may begin between key frames.
void MovieBadFilesTest::beginningThatIsMissing()
{
    const QByteArray whole = mMovies.contentsOf("a.ts");
    constexpr qsizetype packet = 188;
    mMovies.folder().addFile("late.ts", whole.mid(whole.size() / packet / 10 * packet));
    const int first = numberIn(probeOf("late.ts").pixels);
    QVERIFY2(first > 0 && first <= 60, qPrintable(QString::number(first)));
    const int middle = numberIn(frameOf("late.ts").pixels);
    QVERIFY2(middle > 125 && middle < 145, qPrintable(QString::number(middle)));
}

void MovieBadFilesTest::lengthThatIsNotThere_data()
{
    QTest::addColumn<quint32>("length");
    QTest::addColumn<int>("number");
    QTest::newRow("a day") << quint32(86'400'000) << 249;
    QTest::newRow("as long as can be written") << quint32(0xfffffff0U) << 249;
    QTest::newRow("a second") << quint32(1000) << 12;
    QTest::newRow("a thousandth") << quint32(1) << 0;
}

void MovieBadFilesTest::lengthThatIsNotThere()
{
    QFETCH(quint32, length);
    QFETCH(int, number);
    constexpr qsizetype lengthDistance = 20;
    mMovies.folder().addFile("b.mp4", patched(mMovies.contentsOf("a.mp4"), "mvhd", lengthDistance, length));
    QCOMPARE(numberIn(frameOf("b.mp4").pixels), number);
    QCOMPARE(numberIn(probeOf("b.mp4").pixels), 0);
}

void MovieBadFilesTest::hugeFramesAreRefused()
{
    // From the name of the box that describes the pictures to their size.
    constexpr qsizetype sizeDistance = 28;
    const QByteArray whole = mMovies.contentsOf("png.mov");
    mMovies.folder().addFile("box.mov", patched(whole, "png ", sizeDistance, 0xffffffffU));
    QCOMPARE(numberIn(frameOf("box.mov").pixels), 125);
    QByteArray frames = whole;
    for (qsizetype at = frames.indexOf("IHDR"); at >= 0; at = frames.indexOf("IHDR", at + 1)) {
        frames.replace(at + 4, 8, QByteArray("\0\0\xff\xff\0\0\xff\xff", 8));
    }
    mMovies.folder().addFile("frames.mov", frames);
    QCOMPARE(frameOf("frames.mov").error, DecodeError::Damaged);
    QCOMPARE(probeOf("frames.mov").error, DecodeError::Damaged);
    mMovies.folder().addFile("both.mov", patched(frames, "png ", sizeDistance, 0xffffffffU));
    QCOMPARE(frameOf("both.mov").error, DecodeError::TooLarge);
    QCOMPARE(probeOf("both.mov").error, DecodeError::TooLarge);
}

// Of frames that nobody wrote, in a small file.
void MovieBadFilesTest::hugeSeekTablesAreRefused()
{
    QByteArray bytes = mMovies.contentsOf("a.mp4");
    bytes = patched(bytes, "stsz", 8, 1); // all of one byte
    bytes = patched(bytes, "stsz", 12, 0x7fffffffU); // so many
    bytes = patched(bytes, "stsc", 16, 0x7fffffffU); // in one block
    bytes = patched(bytes, "stts", 12, 0x7fffffffU);
    mMovies.folder().addFile("b.mp4", bytes);
    QElapsedTimer timer;
    timer.start();
    checkAnswers("b.mp4");
    QVERIFY2(timer.elapsed() < 20'000, qPrintable(QString::number(timer.elapsed())));
}

void MovieBadFilesTest::checkAnswers(const QByteArray& name) const
{
    QElapsedTimer timer;
    timer.start();
    const DecodedPicture frame = frameOf(name);
    QCOMPARE(frame.pixels.isNull(), frame.error != DecodeError::None);
    const DecodedPicture probe = probeOf(name);
    QCOMPARE(probe.movie.has_value(), probe.error == DecodeError::None);
    QVERIFY(probe.error == DecodeError::None || probe.pixels.isNull());
    if (probe.movie) {
        QVERIFY(probe.movie->hasVideo || probe.movie->hasAudio);
        QCOMPARE(probe.movie->hasVideo, !probe.movie->size.isEmpty());
        QVERIFY(probe.movie->seconds >= 0);
    }
    // Far above what any takes, to be sure on a busy machine.
    QVERIFY2(timer.elapsed() < 30'000, qPrintable(QString::number(timer.elapsed())));
}

void MovieBadFilesTest::truncatedAnywhere_data()
{
    addMovieRows();
}

void MovieBadFilesTest::truncatedAnywhere()
{
    QFETCH(QByteArray, name);
    const QByteArray whole = mMovies.contentsOf(name);
    for (int part = 0; part < 24; ++part) {
        mMovies.folder().addFile("part/" + name, whole.left(whole.size() * part / 24));
        checkAnswers("part/" + name);
    }
    for (qsizetype length = 1; length < whole.size() && length < 5000; length += length / 3 + 7) {
        mMovies.folder().addFile("part/" + name, whole.left(length));
        checkAnswers("part/" + name);
    }
}

void MovieBadFilesTest::damagedAnywhere_data()
{
    addMovieRows();
}

void MovieBadFilesTest::damagedAnywhere()
{
    QFETCH(QByteArray, name);
    const QByteArray whole = mMovies.contentsOf(name);
    std::mt19937 random(20); // NOLINT: the same damage every time
    // Headers are hit harder than frames.
    for (int round = 0; round < 40; ++round) {
        QByteArray bytes = whole;
        const qsizetype room = round % 2 == 0 ? std::min<qsizetype>(bytes.size(), 8000) : bytes.size();
        for (int hit = 0; hit < 1 + round; ++hit) {
            bytes[static_cast<qsizetype>(random() % room)] = static_cast<char>(random());
        }
        mMovies.folder().addFile("hit/" + name, bytes);
        checkAnswers("hit/" + name);
    }
}

void MovieBadFilesTest::limitsLeaveTheNearestFrame_data()
{
    QTest::addColumn<int>("packets");
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    constexpr qint64 manyBytes = 1 << 30;
    QTest::newRow("none") << 1'000'000 << manyBytes << 200 << 200;
    QTest::newRow("packets") << 100 << manyBytes << 60 << 105;
    QTest::newRow("one packet") << 1 << manyBytes << 0 << 0;
    QTest::newRow("bytes that wait") << 1'000'000 << qint64(3000) << 1 << 190;
}

void MovieBadFilesTest::limitsLeaveTheNearestFrame()
{
    QFETCH(int, packets);
    QFETCH(qint64, bytes);
    QFETCH(int, from);
    QFETCH(int, to);
    QVERIFY(mMovies.make(
        "long.mp4", MovieFiles::numbers() + " -c:v libx264 -crf 10 -bf 3 -g 1000 -x264-params scenecut=0"));
    const FileDescriptor file = openForDecoding(mMovies.folder().urlOf("long.mp4"));
    DecodeError error = DecodeError::None;
    MovieLimits limits;
    limits.packets = packets;
    limits.bytesInQueue = bytes;
    const auto movie = MovieFile::open(file.number(), "long.mp4", limits, &error);
    QVERIFY(movie);
    const AVStream* const stream = movie->video();
    const double unit = av_q2d(stream->time_base);
    const auto frame = frameAt(*movie, stream, static_cast<int64_t>(8 / unit));
    QVERIFY(frame);
    const int number = qRound(static_cast<double>(frame->pts) * unit * 25);
    QVERIFY2(number >= from && number <= to, qPrintable(QString::number(number)));
}

void MovieBadFilesTest::withoutTimeNothingIsRead()
{
    const FileDescriptor file = openForDecoding(mMovies.folder().urlOf("a.mp4"));
    DecodeError error = DecodeError::None;
    MovieLimits limits;
    limits.processorTime = std::chrono::milliseconds(0);
    QVERIFY(!MovieFile::open(file.number(), "a.mp4", limits, &error));
    QCOMPARE(error, DecodeError::Damaged);
    limits.processorTime = std::chrono::seconds(60);
    limits.wallTime = std::chrono::milliseconds(0);
    QVERIFY(!MovieFile::open(file.number(), "a.mp4", limits, &error));
}

QTEST_GUILESS_MAIN(MovieBadFilesTest)
#include "MovieBadFilesTest.moc"
