#include "MovieDecoder.h"

#include "FileContents.h"
#include "MovieFiles.h"
#include "PictureFiles.h"

#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

#include <unistd.h>

using namespace frameflow;

namespace {

DecodeRequest requestFor(const QByteArray& name, int longestSide = 0)
{
    DecodeRequest request;
    request.fileName = name;
    request.longestSide = longestSide;
    return request;
}

} // namespace

// Which frame of a movie is shown, and how it looks.
class MovieDecoderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCodecAndContainer_data();
    void everyCodecAndContainer();
    void frameInTheMiddleIsTheOneShownThen_data();
    void frameInTheMiddleIsTheOneShownThen();
    void frameThatStandsForLongIsTheOneShown_data();
    void frameThatStandsForLongIsTheOneShown();
    void soundThatGoesOnMovesTheMiddle();
    void soundThatBeginsEarlierMovesTheStart();
    void partsThatAreCutOutDoNotCount();
    void singleFrame();
    void frameIsNoLargerThanWanted_data();
    void frameIsNoLargerThanWanted();
    void turnedByItsTrack_data();
    void turnedByItsTrack();
    void pixelShapes_data();
    void pixelShapes();
    void displayedSizeHasBothShapeAndTurn();
    void probeTellsWhatItIs();
    void probeOfAMovieWithoutSound();
    void descriptorIsLeftAsItWas();
    void largeFrames();
    void manyThreadsAtOnce();

private:
    DecodedPicture frameOf(const QByteArray& name, int longestSide = 0) const
    {
        const FileDescriptor file = openForDecoding(mMovies.folder().urlOf(name));
        return decodeMovieFrame(file.number(), requestFor(name, longestSide));
    }

    DecodedPicture probeOf(const QByteArray& name, int longestSide = 0) const
    {
        const FileDescriptor file = openForDecoding(mMovies.folder().urlOf(name));
        return probeMovie(file.number(), requestFor(name, longestSide));
    }

    MovieFiles mMovies;
};

void MovieDecoderTest::everyCodecAndContainer_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("options");
    QTest::addColumn<int>("number");
    const auto row = [](const char* tag, const char* name, const char* options, int number = 125) {
        QTest::newRow(tag) << QByteArray(name) << QByteArray(options) << number;
    };
    // Where containers tell only when frames are decoded, the first is held to be shown one frame late.
    constexpr int late = 124;
    row("h264 mp4", "a.mp4", "-c:v libx264 -bf 3");
    row("h264 mov", "a.mov", "-c:v libx264 -bf 3");
    row("h264 mkv", "a.mkv", "-c:v libx264 -bf 3");
    row("h264 ts", "a.ts", "-c:v libx264 -bf 3");
    row("h264 m2ts", "a.m2ts", "-c:v libx264 -bf 3");
    row("h264 avi, without the order of its frames", "h264.avi", "-c:v libx264 -bf 0");
    row("h264 flv", "h264.flv", "-c:v libx264 -bf 0");
    row("h264, one key frame", "long.mp4", "-c:v libx264 -bf 3 -g 1000");
    row("h264, one key frame, ts", "long.ts", "-c:v libx264 -bf 3 -g 1000");
    row("h264, key frames only", "intra.mp4", "-c:v libx264 -g 1");
    row("h264, open groups", "open.mkv", "-c:v libx264 -bf 3 -g 30 -x264-params open-gop=1");
    row("h264, fields", "fields.ts", "-c:v libx264 -bf 3 -flags +ilme+ildct");
    row("h264, gradual refresh", "refresh.mp4", "-c:v libx264 -bf 0 -x264-params intra-refresh=1:keyint=50");
    row("h264 in fragments", "fragments.mp4", "-c:v libx264 -g 25 -movflags frag_keyframe+empty_moov");
    row("h264, index first", "start.mp4", "-c:v libx264 -movflags faststart");
    row("hevc mp4", "hevc.mp4", "-c:v libx265 -x265-params log-level=none");
    row("hevc mkv, open groups", "hevc.mkv", "-c:v libx265 -x265-params log-level=none:keyint=30:open-gop=1");
    row("vp8 webm", "vp8.webm", "-c:v libvpx -deadline realtime -cpu-used 8 -b:v 1M");
    row("vp9 webm", "vp9.webm", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8");
    row("vp9, hidden frames", "hidden.webm", "-c:v libvpx-vp9 -deadline good -cpu-used 5 -auto-alt-ref 1");
    row("av1 mp4", "av1.mp4", "-c:v libsvtav1 -preset 12");
    row("av1 webm", "av1.webm", "-c:v libaom-av1 -cpu-used 8 -usage realtime");
    row("mpeg4 avi", "mpeg4.avi", "-c:v mpeg4 -bf 0 -q:v 3");
    row("mpeg4 avi, frames out of order", "mpeg4b.avi", "-c:v mpeg4 -bf 2 -q:v 3", late);
    row("mpeg4 mp4", "mpeg4.mp4", "-c:v mpeg4 -bf 2 -q:v 3");
    row("mjpeg mov", "mjpeg.mov", "-c:v mjpeg -q:v 3");
    row("mjpeg avi", "mjpeg.avi", "-c:v mjpeg -q:v 3");
    row("mjpeg alone", "a.mjpeg", "-c:v mjpeg -q:v 3");
    row("mpeg1 mpg", "mpeg1.mpg", "-c:v mpeg1video -bf 2 -q:v 3", late);
    row("mpeg2 mpg", "mpeg2.mpg", "-c:v mpeg2video -bf 2 -q:v 3", late);
    row("mpeg2 vob", "mpeg2.vob", "-c:v mpeg2video -bf 2 -q:v 3 -f vob", late);
    row("mpeg2 ts", "mpeg2.ts", "-c:v mpeg2video -bf 2 -q:v 3");
    row("wmv", "a.wmv", "-c:v wmv2 -q:v 3");
    row("flv", "a.flv", "-c:v flv -q:v 3");
    row("theora ogv", "a.ogv", "-c:v libtheora -q:v 8");
    row("theora ogm", "a.ogm", "-c:v libtheora -q:v 8 -f ogg");
    row("h263 3gp", "a.3gp", "-c:v h263 -q:v 3");
    row("mpeg4 3g2", "a.3g2", "-c:v mpeg4 -q:v 3");
    row("rv10 rm", "a.rm", "-c:v rv10 -q:v 3");
    row("prores mov", "prores.mov", "-c:v prores");
    row("dv", "a.dv", "-vf scale=720:576:flags=neighbor -c:v dvvideo -pix_fmt yuv420p");
    row("ffv1 mkv", "ffv1.mkv", "-c:v ffv1");
    row("png mov", "png.mov", "-c:v png");
    row("qtrle mov", "qtrle.mov", "-c:v qtrle");
    row("raw avi", "raw.avi", "-c:v rawvideo");
    row("4:4:4", "yuv444.mp4", "-c:v libx264 -pix_fmt yuv444p");
    row("4:2:2 of 10 bits", "yuv422.mp4", "-c:v libx264 -pix_fmt yuv422p10");
    row("10 bits", "deep.mp4", "-c:v libx264 -pix_fmt yuv420p10");
    row("hevc of 10 bits", "deephevc.mp4", "-c:v libx265 -x265-params log-level=none -pix_fmt yuv420p10");
    row("vp9 of 10 bits", "deepvp9.webm", "-c:v libvpx-vp9 -cpu-used 8 -deadline realtime -pix_fmt yuv420p10");
    row("hevc of 12 bits", "deeper.mp4", "-c:v libx265 -x265-params log-level=none -pix_fmt yuv444p12");
    row("grey", "grey.mkv", "-c:v ffv1 -pix_fmt gray");
    row("grey of 16 bits", "grey16.mkv", "-c:v ffv1 -pix_fmt gray16");
    row("red, green and blue", "gbr.mkv", "-c:v ffv1 -pix_fmt gbrp16");
    row("odd sides", "odd.webm", "-vf crop=127:95:0:0 -c:v libvpx-vp9 -deadline realtime -cpu-used 8");
    row("odd sides, 4:4:4", "odd.mp4", "-vf crop=127:87:0:0,format=yuv444p -c:v libx264");
}

void MovieDecoderTest::everyCodecAndContainer()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, options);
    QVERIFY(mMovies.make(name, MovieFiles::numbers() + " " + options));
    for (const int side : {0, 100}) {
        const DecodedPicture frame = frameOf(name, side);
        QCOMPARE(frame.error, DecodeError::None);
        QCOMPARE(frame.pixels.format(), QImage::Format_RGB32);
        QTEST(numberIn(frame.pixels), "number");
    }
    const DecodedPicture probe = probeOf(name);
    QCOMPARE(probe.error, DecodeError::None);
    QCOMPARE(numberIn(probe.pixels), 0);
    QCOMPARE(probe.pixels.size(), probe.size);
    QVERIFY(probe.movie);
    QVERIFY(probe.movie->hasVideo);
    QCOMPARE(probe.movie->size, probe.size);
    QVERIFY2(qAbs(probe.movie->seconds - 10) < 0.1, qPrintable(QString::number(probe.movie->seconds)));
}

void MovieDecoderTest::frameInTheMiddleIsTheOneShownThen_data()
{
    QTest::addColumn<QByteArray>("options");
    QTest::addColumn<int>("number");
    // The middle lies at the beginning of one frame, or within it.
    QTest::newRow("10 s") << QByteArray("-t 10") << 125;
    QTest::newRow("9.96 s") << QByteArray("-frames:v 249") << 124;
    QTest::newRow("4 s") << QByteArray("-t 4") << 50;
    QTest::newRow("0.2 s") << QByteArray("-frames:v 5") << 2;
    // The middle is a whole number of six-hundredths of a second, which for this one lies a little before the frame.
    QTest::newRow("240 frames of 29.97 a second")
        << QByteArray("-vf setpts=N*1001/30000/TB -r 30000/1001 -frames:v 240") << 119;
    QTest::newRow("240 frames of 23.976 a second")
        << QByteArray("-vf setpts=N*1001/24000/TB -r 24000/1001 -frames:v 240") << 120;
    QTest::newRow("200 frames of 60 a second") << QByteArray("-vf setpts=N/60/TB -r 60 -frames:v 200") << 100;
}

void MovieDecoderTest::frameInTheMiddleIsTheOneShownThen()
{
    QFETCH(QByteArray, options);
    QFETCH(int, number);
    for (const QByteArray name : {"a.mp4", "a.mkv", "a.ts"}) {
        QVERIFY(mMovies.make(name, MovieFiles::numbers() + " " + options + " -c:v libx264 -bf 3 -g 60"));
        QCOMPARE(numberIn(frameOf(name).pixels), number);
    }
}

void MovieDecoderTest::frameThatStandsForLongIsTheOneShown_data()
{
    QTest::addColumn<QByteArray>("options");
    QTest::newRow("only key frames") << QByteArray("-c:v libx264 -g 1");
    QTest::newRow("with frames that no other needs")
        << QByteArray("-c:v libx264 -bf 4 -x264-params b-adapt=0:scenecut=0");
    QTest::newRow("without") << QByteArray("-c:v libx264 -bf 0");
    QTest::newRow("mpeg4") << QByteArray("-c:v mpeg4 -bf 0 -q:v 3");
    QTest::newRow("vp9") << QByteArray("-c:v libvpx-vp9 -deadline realtime -cpu-used 8");
}

void MovieDecoderTest::frameThatStandsForLongIsTheOneShown()
{
    QFETCH(QByteArray, options);
    for (const int number : {5, 6, 7, 8, 9}) {
        const auto times = QByteArray("-vf setpts='if(lte(N,%1),N*0.04,9+(N-%1)*0.04)/TB' -frames:v 20 -vsync vfr ")
                               .replace("%1", QByteArray::number(number));
        for (const QByteArray name : {"a.mkv", "a.mp4"}) {
            QVERIFY(mMovies.make(name, MovieFiles::numbers() + " " + times + options));
            QCOMPARE(numberIn(frameOf(name).pixels), number);
        }
    }
}

// The length of a movie is that of its longest stream.
void MovieDecoderTest::soundThatGoesOnMovesTheMiddle()
{
    QVERIFY(mMovies.make(
        "a.mkv", MovieFiles::numbers() + " -f lavfi -i sine=440:duration=16 -c:v libx264 -bf 3 -c:a flac"));
    QCOMPARE(numberIn(frameOf("a.mkv").pixels), 200);
    QVERIFY(mMovies.make(
        "b.mkv", MovieFiles::numbers() + " -f lavfi -i sine=440:duration=40 -c:v libx264 -bf 3 -c:a flac"));
    QCOMPARE(numberIn(frameOf("b.mkv").pixels), 249);
}

void MovieDecoderTest::soundThatBeginsEarlierMovesTheStart()
{
    QVERIFY(mMovies.make("a.mkv",
        MovieFiles::sound() + " -itsoffset 2 " + MovieFiles::numbers() + " -map 0 -map 1 -c:v libx264 -c:a flac"));
    // Twelve seconds, of which the first two show nothing.
    QCOMPARE(numberIn(frameOf("a.mkv").pixels), 100);
    QCOMPARE(numberIn(probeOf("a.mkv").pixels), 0);
    QVERIFY(mMovies.make("b.mkv",
        MovieFiles::sound() + " -itsoffset 9 " + MovieFiles::numbers()
            + " -map 0 -map 1 -t 10 -c:v libx264 -c:a flac"));
    QCOMPARE(numberIn(frameOf("b.mkv").pixels), 0);
}

// A copy that begins between key frames holds the frames before its beginning, and an instruction to leave them out.
void MovieDecoderTest::partsThatAreCutOutDoNotCount()
{
    QVERIFY(mMovies.make("whole.mp4", MovieFiles::numbers() + " -c:v libx264 -bf 3 -g 100 -x264-params scenecut=0"));
    QVERIFY(mMovies.make("a.mp4", "-ss 6 -i %folder/whole.mp4 -c copy"));
    QCOMPARE(numberIn(probeOf("a.mp4").pixels), 150);
    QVERIFY(qAbs(probeOf("a.mp4").movie->seconds - 4) < 0.1);
    QCOMPARE(numberIn(frameOf("a.mp4").pixels), 200);
}

void MovieDecoderTest::singleFrame()
{
    for (const QByteArray name : {"one.mp4", "one.mkv", "one.ts", "one.avi"}) {
        QVERIFY(
            mMovies.make(name, MovieFiles::numbers() + " -vf trim=start_frame=77,setpts=0 -frames:v 1 -c:v libx264"));
        QCOMPARE(numberIn(frameOf(name).pixels), 77);
        QCOMPARE(numberIn(probeOf(name).pixels), 77);
    }
}

void MovieDecoderTest::frameIsNoLargerThanWanted_data()
{
    QTest::addColumn<QByteArray>("filter");
    QTest::addColumn<int>("longestSide");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QSize>("pixels");
    QTest::newRow("full size") << QByteArray("scale=640:360,setsar=1") << 0 << QSize(640, 360) << QSize(640, 360);
    QTest::newRow("wide") << QByteArray("scale=640:360,setsar=1") << 300 << QSize(640, 360) << QSize(300, 169);
    QTest::newRow("high") << QByteArray("scale=360:640,setsar=1") << 300 << QSize(360, 640) << QSize(169, 300);
    QTest::newRow("already small") << QByteArray("scale=200:100,setsar=1") << 300 << QSize(200, 100) << QSize(200, 100);
    QTest::newRow("reduced very much") << QByteArray("scale=1920:1080,setsar=1") << 10 << QSize(1920, 1080)
                                       << QSize(10, 6);
    QTest::newRow("to a line") << QByteArray("scale=2000:16,setsar=1") << 20 << QSize(2000, 16) << QSize(20, 1);
}

void MovieDecoderTest::frameIsNoLargerThanWanted()
{
    QFETCH(QByteArray, filter);
    QFETCH(int, longestSide);
    QVERIFY(mMovies.make("a.mp4", MovieFiles::quarters() + " -vf " + filter + " -c:v libx264 -pix_fmt yuv420p"));
    for (const DecodedPicture& picture : {frameOf("a.mp4", longestSide), probeOf("a.mp4", longestSide)}) {
        QTEST(picture.size, "size");
        QTEST(picture.pixels.size(), "pixels");
        if (picture.pixels.height() > 4) {
            QCOMPARE(quarters(picture.pixels, 60), uprightQuarters(1));
        }
    }
}

void MovieDecoderTest::turnedByItsTrack_data()
{
    QTest::addColumn<int>("orientation");
    QTest::addColumn<int>("rotation");
    QTest::addColumn<bool>("isMirrored");
    // What is turned, is turned after it was mirrored.
    const int rotations[] = {0, 0, 180, 180, 270, 90, 90, 270};
    const bool mirrored[] = {false, true, false, true, true, false, true, false};
    for (int orientation = 1; orientation <= 8; ++orientation) {
        QTest::addRow("like orientation %d", orientation)
            << orientation << rotations[orientation - 1] << mirrored[orientation - 1];
    }
}

void MovieDecoderTest::turnedByItsTrack()
{
    QFETCH(int, orientation);
    QVERIFY(mMovies.make("stored.mp4", MovieFiles::quarters() + " -c:v libx264 -pix_fmt yuv420p"));
    mMovies.folder().addFile("a.mp4", withOrientation(mMovies.contentsOf("stored.mp4"), orientation));
    const QSize size = orientation >= 5 ? quartersSize.transposed() : quartersSize;
    for (const DecodedPicture& picture : {frameOf("a.mp4"), probeOf("a.mp4")}) {
        QCOMPARE(quarters(picture.pixels, 40), uprightQuarters(orientation));
        QCOMPARE(picture.pixels.size(), size);
        QCOMPARE(picture.size, size);
        QCOMPARE(picture.orientation, 1);
    }
    QCOMPARE(probeOf("a.mp4").movie->size, size);
    QTEST(probeOf("a.mp4").movie->rotation, "rotation");
    QTEST(probeOf("a.mp4").movie->isMirrored, "isMirrored");
}

void MovieDecoderTest::pixelShapes_data()
{
    QTest::addColumn<QByteArray>("shape");
    QTest::addColumn<QSize>("size");
    QTest::newRow("square") << QByteArray("1/1") << QSize(80, 48);
    QTest::newRow("wide") << QByteArray("2/1") << QSize(160, 48);
    QTest::newRow("high") << QByteArray("1/2") << QSize(80, 96);
    QTest::newRow("16:15") << QByteArray("16/15") << QSize(85, 48);
    QTest::newRow("unknown") << QByteArray("0/1") << QSize(80, 48);
}

void MovieDecoderTest::pixelShapes()
{
    QFETCH(QByteArray, shape);
    for (const QByteArray name : {"a.mp4", "a.mkv", "a.ts"}) {
        QVERIFY(mMovies.make(name, MovieFiles::quarters() + " -vf setsar=" + shape + " -c:v libx264 -pix_fmt yuv420p"));
        const DecodedPicture frame = frameOf(name);
        QTEST(frame.size, "size");
        QTEST(frame.pixels.size(), "size");
        QCOMPARE(quarters(frame.pixels, 40), uprightQuarters(1));
        QTEST(probeOf(name).movie->size, "size");
        QVERIFY(frameOf(name, 40).pixels.width() == 40 || frameOf(name, 40).pixels.height() == 40);
    }
}

void MovieDecoderTest::displayedSizeHasBothShapeAndTurn()
{
    QVERIFY(mMovies.make("stored.mp4", MovieFiles::quarters() + " -vf setsar=2/1 -c:v libx264 -pix_fmt yuv420p"));
    mMovies.folder().addFile("a.mp4", withOrientation(mMovies.contentsOf("stored.mp4"), 6));
    QCOMPARE(frameOf("a.mp4").size, QSize(48, 160));
    QCOMPARE(frameOf("a.mp4", 80).pixels.size(), QSize(24, 80));
    QCOMPARE(probeOf("a.mp4").movie->size, QSize(48, 160));
}

void MovieDecoderTest::probeTellsWhatItIs()
{
    QVERIFY(mMovies.make("a.mp4", MovieFiles::numbers() + " " + MovieFiles::sound() + " -c:v libx264 -c:a aac"));
    const DecodedPicture probe = probeOf("a.mp4");
    QVERIFY(probe.movie);
    QCOMPARE(probe.movie->size, numbersSize);
    QCOMPARE(probe.movie->rotation, 0);
    QVERIFY(qAbs(probe.movie->seconds - 10) < 0.05);
    QVERIFY(probe.movie->hasVideo);
    QVERIFY(probe.movie->hasAudio);
    QVERIFY(!probe.movie->hasCover);
    QVERIFY(!frameOf("a.mp4").movie);
}

void MovieDecoderTest::probeOfAMovieWithoutSound()
{
    QVERIFY(mMovies.make("a.mp4", MovieFiles::numbers() + " -c:v libx264"));
    QVERIFY(probeOf("a.mp4").movie->hasVideo);
    QVERIFY(!probeOf("a.mp4").movie->hasAudio);
}

void MovieDecoderTest::descriptorIsLeftAsItWas()
{
    QVERIFY(mMovies.make("a.mp4", MovieFiles::numbers() + " -c:v libx264"));
    const FileDescriptor file = openForDecoding(mMovies.folder().urlOf("a.mp4"));
    QCOMPARE(lseek(file.number(), 33, SEEK_SET), 33);
    for (int round = 0; round < 2; ++round) {
        QCOMPARE(numberIn(decodeMovieFrame(file.number(), requestFor("a.mp4")).pixels), 125);
        QCOMPARE(numberIn(probeMovie(file.number(), requestFor("a.mp4")).pixels), 0);
    }
    QCOMPARE(lseek(file.number(), 0, SEEK_CUR), 33);
}

// Held in large pages, and above 64 megapixels reduced to that.
void MovieDecoderTest::largeFrames()
{
    QVERIFY(mMovies.make("a.mp4",
        "-framerate 1 -loop 1 -t 1 -i %folder/quarters.png -vf scale=7680:4320,setsar=1 -c:v mjpeg -pix_fmt yuvj420p"));
    QCOMPARE(frameOf("a.mp4").pixels.size(), QSize(7680, 4320));
    QCOMPARE(quarters(frameOf("a.mp4").pixels, 40), uprightQuarters(1));
    QCOMPARE(quarters(frameOf("a.mp4", 300).pixels, 40), uprightQuarters(1));
    QVERIFY(mMovies.make("b.mp4",
        "-framerate 1 -loop 1 -t 1 -i %folder/quarters.png -vf scale=12000:8000,setsar=1 -c:v mjpeg -pix_fmt "
        "yuvj420p"));
    const DecodedPicture frame = frameOf("b.mp4");
    QCOMPARE(frame.size, QSize(12000, 8000));
    QVERIFY(frame.pixels.width() < 9800 && frame.pixels.width() > 9790);
    QCOMPARE(quarters(frame.pixels, 40), uprightQuarters(1));
}

void MovieDecoderTest::manyThreadsAtOnce()
{
    QVERIFY(mMovies.make("a.mp4", MovieFiles::numbers() + " -c:v libx264 -bf 3"));
    QVERIFY(mMovies.make("a.webm", MovieFiles::numbers() + " -c:v libvpx-vp9 -deadline realtime -cpu-used 8"));
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, name = i % 2 == 0 ? QByteArray("a.mp4") : QByteArray("a.webm")] {
            for (int round = 0; round < 3; ++round) {
                wrong += numberIn(frameOf(name).pixels) != 125;
                wrong += numberIn(probeOf(name).pixels) != 0;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    QCOMPARE(wrong.load(), 0);
}

QTEST_GUILESS_MAIN(MovieDecoderTest)
#include "MovieDecoderTest.moc"
