#include "PictureFiles.h"
#include "PlayedMovies.h"
#include "StaysTrue.h"

#include <QFile>
#include <QtTest>

#include <algorithm>
#include <array>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

const MovieTarget atItsOwnSize{numbersSize.width(), numbersSize.height(), false};

QByteArray readLink(const QString& path)
{
    std::array<char, 256> target{};
    const ssize_t length = readlink(QFile::encodeName(path).constData(), target.data(), target.size());
    return {target.data(), std::max<qsizetype>(length, 0)};
}

} // namespace

// One movie, from its file to its frames and its end.
class MoviePlayerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void aMovieBeginsPausedAtItsFirstFrame();
    void everyFrameIsShownAndTheEndIsToldOnce();
    void itsLastFrameStandsAtTheEnd();
    void fromItsEndItPlaysFromTheStart();
    void pausingHoldsItAndPlayingGoesOn();
    void itGoesWhereItIsSent();
    void itStepsFrameByFrame();
    void scrubbingNeverEndsIt();
    void framesHaveTheSizeThatIsWanted();
    void whatIsTooMuchIsCutOffEvenly();
    void turnedMoviesStandUpright_data();
    void turnedMoviesStandUpright();
    void typesThatPlayToTheirEnd_data();
    void typesThatPlayToTheirEnd();
    void soundAloneHasNoPicture();
    void theCoverOfSoundIsNoMovie();
    void whatCannotBePlayedFails_data();
    void whatCannotBePlayedFails();
    void nothingThatAFilePointsToIsOpened_data();
    void nothingThatAFilePointsToIsOpened();
    void thePlayerKnowsTheTypesThatTheDecodersKnow();
    void aMovieGoesOnWhenItsFileIsGone_data();
    void aMovieGoesOnWhenItsFileIsGone();
    void aMovieThatIsCutOffWhileItPlaysEnds();
    void aClosedPlayerSaysNothing();
    void lettingGoOfAPlayerInItsOwnSignal();
    void closingEndsItsThreads();

private:
    MoviePlayerPtr open(const QByteArray& name) const { return playerFor(mFiles->folder().urlOf(name)); }
    bool make(const QByteArray& name, const QByteArray& options) const { return mFiles->make(name, options); }

    std::unique_ptr<MovieFiles> mFiles;
};

void MoviePlayerTest::initTestCase()
{
    mFiles = std::make_unique<MovieFiles>();
    QVERIFY(make("short.mkv", MovieFiles::numbers() + " -t 1 -c:v ffv1"));
    QVERIFY(make("long.mp4", MovieFiles::numbers() + ' ' + MovieFiles::sound() + " -c:v libx264 -g 25 -c:a aac"));
}

void MoviePlayerTest::cleanup()
{
    QVERIFY(MovieEngine::waitForThreads(10s));
}

void MoviePlayerTest::aMovieBeginsPausedAtItsFirstFrame()
{
    const MoviePlayerPtr player = open("long.mp4");
    QVERIFY(player);
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    QCOMPARE(player->naturalSize(), numbersSize);
    QVERIFY(player->hasVideo() && player->hasAudio() && !player->isPlaying());
    QVERIFY(log.waitForNumber(0));
    QVERIFY(staysTrueFor(300ms, [&] { return player->position() < 0.05 && log.numbers.last() == 0; }));
    QTRY_VERIFY(qAbs(player->duration() - 10) < 0.1);
}

void MoviePlayerTest::everyFrameIsShownAndTheEndIsToldOnce()
{
    // So slow that a busy machine, which the tests share, comes round to every frame as well.
    QVERIFY(make("slow.mkv", "-itsscale 4 " + MovieFiles::numbers() + " -t 4 -r 6.25 -c:v ffv1"));
    const MoviePlayerPtr player = open("slow.mkv");
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QVERIFY(player->isPlaying());
    QVERIFY(log.waitForEnd());
    QCOMPARE(log.began, 1);
    QVERIFY(!player->isPlaying());
    // Each in its turn; one may be drawn twice. The first one was there before: it is the decoder's.
    QList<int> different{numberIn(player->picture()->getCGImage())};
    for (const int number : log.numbers) {
        if (different.last() != number) {
            different.append(number);
        }
    }
    QList<int> all(25);
    std::iota(all.begin(), all.end(), 0);
    QCOMPARE(different, all);
    QVERIFY(staysTrueFor(300ms, [&] { return log.ended == 1 && log.failed == 0; }));
}

void MoviePlayerTest::itsLastFrameStandsAtTheEnd()
{
    const MoviePlayerPtr player = open("short.mkv");
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QVERIFY(log.waitForEnd());
    QVERIFY(staysTrueFor(300ms, [&] { return numberIn(player->frame()) == 24; }));
    player->setTarget({64, 48, false});
    QTRY_COMPARE(player->frame().size(), QSize(64, 48));
    QCOMPARE(numberIn(player->frame()), 24);
}

void MoviePlayerTest::fromItsEndItPlaysFromTheStart()
{
    const MoviePlayerPtr player = open("short.mkv");
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QVERIFY(log.waitForEnd());
    log.numbers.clear();
    player->play();
    QTRY_VERIFY(log.numbers.contains(1));
    QTRY_COMPARE_WITH_TIMEOUT(log.ended, 2, 10000);
}

void MoviePlayerTest::pausingHoldsItAndPlayingGoesOn()
{
    const MoviePlayerPtr player = open("long.mp4");
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QTRY_VERIFY(log.numbers.size() > 5);
    player->pause();
    QVERIFY(!player->isPlaying());
    double position = -1;
    QTRY_VERIFY(std::exchange(position, player->position()) == player->position());
    const auto frames = log.numbers.size();
    QVERIFY(staysTrueFor(300ms, [&] { return log.numbers.size() <= frames + 1; }));
    player->play();
    QTRY_VERIFY(log.numbers.size() > frames + 5);
}

void MoviePlayerTest::itGoesWhereItIsSent()
{
    const MoviePlayerPtr player = open("long.mp4");
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    QVERIFY(log.waitForNumber(0));
    player->seek(4, MovieEngine::Seek::Exact);
    QVERIFY(log.waitForNumber(100));
    player->seek(2.3, MovieEngine::Seek::Quick); // to a frame that needs no other one
    QTRY_VERIFY(log.numbers.last() > 24 && log.numbers.last() < 75);
    player->seek(-5, MovieEngine::Seek::Exact);
    QVERIFY(log.waitForNumber(0));
    player->seek(std::numeric_limits<double>::quiet_NaN(), MovieEngine::Seek::Exact);
    player->seek(9.96, MovieEngine::Seek::Exact);
    QVERIFY(log.waitForNumber(249));
}

void MoviePlayerTest::itStepsFrameByFrame()
{
    const MoviePlayerPtr player = open("long.mp4");
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    QVERIFY(log.waitForNumber(0));
    player->seek(4, MovieEngine::Seek::Exact);
    QVERIFY(log.waitForNumber(100));
    player->step(true);
    QVERIFY(log.waitForNumber(101));
    player->step(true);
    QVERIFY(log.waitForNumber(102));
    player->step(false);
    QVERIFY(log.waitForNumber(101));
    player->play();
    player->step(true);
    QVERIFY(!player->isPlaying());
}

void MoviePlayerTest::scrubbingNeverEndsIt()
{
    const MoviePlayerPtr player = open("short.mkv");
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QTRY_VERIFY(!log.numbers.isEmpty());
    player->beginScrubbing();
    QVERIFY(player->isPlaying());
    player->seek(5, MovieEngine::Seek::Quick); // far behind its end
    QVERIFY(staysTrueFor(500ms, [&] { return log.ended == 0 && player->isPlaying(); }));
    player->seek(0.5, MovieEngine::Seek::Exact);
    player->endScrubbing();
    QTRY_COMPARE_WITH_TIMEOUT(log.ended, 1, 10000);
    // Let go of behind the end, it is over.
    player->play();
    player->beginScrubbing();
    player->seek(5, MovieEngine::Seek::Exact);
    player->endScrubbing();
    QTRY_COMPARE_WITH_TIMEOUT(log.ended, 2, 10000);
}

void MoviePlayerTest::framesHaveTheSizeThatIsWanted()
{
    const MoviePlayerPtr player = open("short.mkv");
    PlayerLog log(player);
    QVERIFY(staysTrueFor(300ms, [&] { return player->frame().isNull(); })); // none is wanted yet
    for (const QSize size : {QSize(128, 96), QSize(333, 77), QSize(1, 1), QSize(64, 128), QSize(1280, 960)}) {
        player->setTarget({size.width(), size.height(), false});
        QTRY_COMPARE(player->frame().size(), size);
    }
    QCOMPARE(numberIn(player->frame()), 0);
}

void MoviePlayerTest::whatIsTooMuchIsCutOffEvenly()
{
    QVERIFY(make("q.mkv", MovieFiles::quarters() + " -c:v ffv1 -pix_fmt yuv444p"));
    const MoviePlayerPtr player = open("q.mkv");
    PlayerLog log(player);
    player->setTarget({48, 48, true}); // of 80 by 48
    QTRY_COMPARE(player->frame().size(), QSize(48, 48));
    QTRY_COMPARE(quarters(player->frame(), 40), QByteArray("RGBY"));
    // The middle has not moved, and nothing is squeezed: red and green meet where they met.
    QTRY_VERIFY(isNear(player->frame().pixel(22, 10), qRgb(255, 0, 0), 60));
    QVERIFY(isNear(player->frame().pixel(25, 10), qRgb(0, 255, 0), 60));
    player->setTarget({80, 20, true});
    QTRY_COMPARE(player->frame().size(), QSize(80, 20));
    QTRY_COMPARE(quarters(player->frame(), 40), QByteArray("RGBY"));
}

void MoviePlayerTest::turnedMoviesStandUpright_data()
{
    QTest::addColumn<int>("orientation");
    QTest::newRow("not turned") << 1;
    QTest::newRow("mirrored") << 2;
    QTest::newRow("upside down") << 3;
    QTest::newRow("mirrored, upside down") << 4;
    QTest::newRow("mirrored, turned to the left") << 5;
    QTest::newRow("turned to the right") << 6;
    QTest::newRow("mirrored, turned to the right") << 7;
    QTest::newRow("turned to the left") << 8;
}

void MoviePlayerTest::turnedMoviesStandUpright()
{
    QFETCH(int, orientation);
    QVERIFY(make("plain.mp4", MovieFiles::quarters() + " -c:v libx264 -pix_fmt yuv420p"));
    mFiles->folder().addFile("turned.mp4", withOrientation(mFiles->contentsOf("plain.mp4"), orientation));
    const MoviePlayerPtr player = open("turned.mp4");
    QVERIFY(player);
    const QSize size = orientation > 4 ? quartersSize.transposed() : quartersSize;
    QCOMPARE(player->naturalSize(), size);
    PlayerLog log(player);
    player->setTarget({size.width(), size.height(), false});
    player->play();
    QVERIFY(log.waitForEnd());
    QCOMPARE(log.ended, 1);
    QCOMPARE(player->frame().size(), size);
    QCOMPARE(quarters(player->frame(), 40), uprightQuarters(orientation));
    // As the decoder's first frame, which stands before.
    QCOMPARE(quarters(player->picture()->getCGImage(), 40), uprightQuarters(orientation));
}

void MoviePlayerTest::typesThatPlayToTheirEnd_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("options");
    const auto movie = [](const char* name, const char* options) {
        QTest::newRow(name) << QByteArray(name)
                            << MovieFiles::numbers() + ' ' + MovieFiles::sound() + " -t 0.4 " + options;
    };
    movie("h264.mp4", "-c:v libx264 -c:a aac");
    movie("h265.mp4", "-c:v libx265 -x265-params log-level=none -c:a aac");
    movie("vp9.webm", "-c:v libvpx-vp9 -c:a libopus");
    movie("vp8.webm", "-c:v libvpx -c:a libvorbis");
    movie("av1.mkv", "-c:v libaom-av1 -cpu-used 8 -c:a flac");
    movie("mpeg4.avi", "-c:v mpeg4 -c:a libmp3lame");
    movie("prores.mov", "-c:v prores_ks -c:a pcm_s16le");
    movie("mjpeg.mov", "-c:v mjpeg -pix_fmt yuvj420p -an");
    movie("mpeg2.mpg", "-c:v mpeg2video -c:a mp2");
    movie("stream.ts", "-c:v libx264 -c:a aac");
    movie("stream.m2ts", "-c:v libx264 -c:a ac3");
    movie("theora.ogv", "-c:v libtheora -c:a libvorbis");
    movie("flash.flv", "-c:v flv1 -ar 44100 -c:a libmp3lame");
    movie("windows.wmv", "-c:v wmv2 -c:a wmav2");
    movie("phone.3gp", "-c:v h263 -s 128x96 -an");
    movie("pictures.mjpeg", "-c:v mjpeg -pix_fmt yuvj420p -an");
    movie("names with spaces, 100% and \xE2\x99\xAB;#?.mp4", "-c:v libx264 -an");
    movie("odd.mp4", "-vf scale=127:95,format=yuv444p -c:v libx264 -an");
    movie("tiny.mkv", "-vf scale=1:1 -c:v ffv1 -an");
    movie("wide.mkv", "-vf scale=2000:3 -c:v ffv1 -an");
    movie("one frame.mp4", "-frames:v 1 -c:v libx264 -an");
    movie("ten bits.mkv", "-c:v libx265 -x265-params log-level=none -pix_fmt yuv420p10le -an");
    movie("grey.mkv", "-c:v ffv1 -pix_fmt gray -an");
    movie("two pictures and two sounds.mkv", "-map 0 -map 0 -map 1 -map 1 -c:v ffv1 -c:a flac");
    const auto sound = [](const char* name, const char* options) {
        QTest::newRow(name) << QByteArray(name) << MovieFiles::sound() + " -t 0.4 " + options;
    };
    sound("a.mp3", "-c:a libmp3lame");
    sound("a.ogg", "-c:a libvorbis");
    sound("a.opus", "-c:a libopus");
    sound("a.flac", "-c:a flac");
    sound("a.wav", "-c:a pcm_s16le");
    sound("a.m4a", "-c:a aac");
    sound("a.aac", "-c:a aac");
    sound("a.wma", "-c:a wmav2");
    sound("a.aiff", "-c:a pcm_s16be");
    sound("a.wv", "-c:a wavpack");
}

void MoviePlayerTest::typesThatPlayToTheirEnd()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, options);
    const QByteArray plain = "made" + name.mid(name.lastIndexOf('.'));
    QVERIFY(make(plain, options));
    QVERIFY(QFile::rename(QString::fromUtf8(mFiles->pathOf(plain)), QString::fromUtf8(mFiles->pathOf(name))));
    const MoviePlayerPtr player = open(name);
    QVERIFY(player);
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QVERIFY(log.waitForEnd());
    QCOMPARE(log.ended, 1);
    QCOMPARE(log.failed, 0);
    QCOMPARE(log.began, 1);
    QCOMPARE(player->hasVideo(), !log.numbers.isEmpty());
    QCOMPARE(player->frame().isNull(), !player->hasVideo());
}

void MoviePlayerTest::soundAloneHasNoPicture()
{
    QVERIFY(make("sound.mp3", MovieFiles::sound() + " -t 2"));
    const MoviePlayerPtr player = open("sound.mp3");
    QVERIFY(player && player->hasAudio() && !player->hasVideo() && !player->picture());
    QVERIFY(player->naturalSize().isEmpty());
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QTRY_VERIFY(player->position() > 0.3); // without a sound device too
    player->step(true);
    QVERIFY(player->isPlaying()); // there are no frames to step through
    QVERIFY(player->frame().isNull());
}

void MoviePlayerTest::theCoverOfSoundIsNoMovie()
{
    const QByteArray cover = " -i %folder/quarters.png -map 0 -map 1 -c:v png -disposition:v attached_pic -t 0.4";
    QVERIFY(make("cover.mp3", MovieFiles::sound() + cover));
    const MoviePlayerPtr player = open("cover.mp3");
    QVERIFY(player && !player->hasVideo());
    QVERIFY(player->picture());
    QCOMPARE(quarters(player->picture()->getCGImage(), 10), QByteArray("RGBY"));
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QVERIFY(log.waitForEnd());
    QCOMPARE(log.ended, 1);
    QVERIFY(player->frame().isNull());
}

void MoviePlayerTest::whatCannotBePlayedFails_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("empty") << QByteArray("empty.mp4");
    QTest::newRow("text") << QByteArray("text.mp4");
    QTest::newRow("noise") << QByteArray("noise.mkv");
    QTest::newRow("only the start of a header") << QByteArray("cut.mp4");
    QTest::newRow("a picture") << QByteArray("picture.mp4");
    QTest::newRow("not there") << QByteArray("nowhere.mp4");
    QTest::newRow("a folder") << QByteArray("folder.mp4");
    QTest::newRow("a pipe") << QByteArray("pipe.mp4");
}

void MoviePlayerTest::whatCannotBePlayedFails()
{
    QFETCH(QByteArray, name);
    const TestFolder& folder = mFiles->folder();
    folder.addFile("empty.mp4", {});
    folder.addFile("text.mp4", "This is no movie.\n");
    QByteArray noise(100000, '\0');
    for (qsizetype i = 0; i < noise.size(); ++i) {
        noise[i] = static_cast<char>(i * i * 31 >> 5);
    }
    folder.addFile("noise.mkv", noise);
    folder.addFile("cut.mp4", mFiles->contentsOf("long.mp4").left(200));
    folder.addFile("picture.mp4", encoded(quartersPicture(), "png"));
    folder.addFolder("folder.mp4");
    mkfifo(folder.pathOf("pipe.mp4").constData(), 0600);
    // As if it had been a movie when it was looked at.
    const MoviePlayerPtr player = MoviePlayer::playerWithURL(folder.urlOf(name), probed(folder.urlOf("long.mp4")));
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QVERIFY(log.waitForEnd());
    // Some decoder may find something even in noise.
    QCOMPARE(log.failed, name == "noise.mkv" ? log.failed : 1);
    QCOMPARE(log.failed + log.ended, 1);
    QVERIFY(!player->isPlaying());
    const int ended = log.ended;
    player->play();
    player->pause();
    player->seek(3, MovieEngine::Seek::Exact);
    player->step(true);
    QVERIFY(staysTrueFor(200ms, [&] { return log.ended == ended && log.failed == 1 - ended; }));
}

void MoviePlayerTest::nothingThatAFilePointsToIsOpened_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("a play list") << QByteArray("#EXTM3U\n#EXTINF:1,\nTARGET\n");
    QTest::newRow("a list of segments") << QByteArray(
        "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n#EXTINF:1,\nTARGET\n#EXT-X-ENDLIST\n");
    QTest::newRow("a list of parts") << QByteArray("ffconcat version 1.0\nfile 'TARGET'\n");
    QTest::newRow("an edit list") << QByteArray("# mpv EDL v0\nTARGET\n");
    QTest::newRow("a cue sheet") << QByteArray("FILE \"TARGET\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n");
    QTest::newRow("a session") << QByteArray("v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video "
                                             "5004 RTP/AVP 96\na=rtpmap:96 H264/90000\n");
    QTest::newRow("a manifest") << QByteArray(
        "<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\"><Period><AdaptationSet>"
        "<Representation id=\"1\"><BaseURL>TARGET</BaseURL></Representation></AdaptationSet></Period></MPD>");
}

void MoviePlayerTest::nothingThatAFilePointsToIsOpened()
{
    QFETCH(QByteArray, contents);
    const TestFolder& folder = mFiles->folder();
    folder.addFile("list.mp4", contents.replace("TARGET", folder.pathOf("short.mkv")));
    const MoviePlayerPtr player
        = MoviePlayer::playerWithURL(folder.urlOf("list.mp4"), probed(folder.urlOf("short.mkv")));
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QVERIFY(log.waitForEnd());
    QCOMPARE(log.failed, 1);
    QVERIFY(log.numbers.isEmpty());
}

void MoviePlayerTest::aMovieGoesOnWhenItsFileIsGone_data()
{
    QTest::addColumn<bool>("isReplaced");
    QTest::newRow("deleted") << false;
    QTest::newRow("replaced") << true;
}

void MoviePlayerTest::aMovieGoesOnWhenItsFileIsGone()
{
    QFETCH(bool, isReplaced);
    const TestFolder& folder = mFiles->folder();
    folder.addFile("going.mkv", mFiles->contentsOf("short.mkv"));
    const MoviePlayerPtr player = open("going.mkv");
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    QVERIFY(log.waitForNumber(0));
    if (isReplaced) {
        folder.addFile("other.mkv", "something else");
        QCOMPARE(rename(folder.pathOf("other.mkv").constData(), folder.pathOf("going.mkv").constData()), 0);
    } else {
        QCOMPARE(unlink(folder.pathOf("going.mkv").constData()), 0);
    }
    player->play();
    QVERIFY(log.waitForEnd());
    QCOMPARE(log.ended, 1);
    QCOMPARE(log.numbers.last(), 24);
}

void MoviePlayerTest::aMovieThatIsCutOffWhileItPlaysEnds()
{
    const TestFolder& folder = mFiles->folder();
    QVERIFY(make("big.mkv", MovieFiles::numbers() + " -vf scale=512:384:flags=neighbor -c:v ffv1"));
    const MoviePlayerPtr player = open("big.mkv");
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QTRY_VERIFY(log.numbers.size() > 3);
    QCOMPARE(truncate(folder.pathOf("big.mkv").constData(), 30000), 0);
    QVERIFY(log.waitForEnd());
    QCOMPARE(log.ended + log.failed, 1);
    QVERIFY(!player->frame().isNull());
}

void MoviePlayerTest::aClosedPlayerSaysNothing()
{
    const MoviePlayerPtr player = open("short.mkv");
    PlayerLog log(player);
    player->setTarget(atItsOwnSize);
    player->play();
    QTRY_VERIFY(!log.numbers.isEmpty());
    player->close();
    QVERIFY(player->isClosed() && !player->isPlaying() && player->frame().isNull());
    player->play();
    player->pause();
    player->seek(1, MovieEngine::Seek::Exact);
    player->step(true);
    player->beginScrubbing();
    player->endScrubbing();
    player->setVolume(0.5);
    player->setMuted(true);
    QCOMPARE(player->naturalSize(), numbersSize);
    const auto frames = log.numbers.size();
    QVERIFY(staysTrueFor(1200ms, [&] { return log.ended + log.failed == 0 && log.numbers.size() == frames; }));
}

void MoviePlayerTest::lettingGoOfAPlayerInItsOwnSignal()
{
    MoviePlayerPtr player = open("short.mkv");
    bool ended = false;
    connect(player.get(), &MoviePlayer::didPlayToEnd, this, [&] {
        player.reset();
        ended = true;
    });
    player->setTarget(atItsOwnSize);
    player->play();
    QTRY_VERIFY_WITH_TIMEOUT(ended, 10000);
    player = open("short.mkv");
    bool framed = false;
    connect(player.get(), &MoviePlayer::frameChanged, this, [&] {
        player.reset();
        framed = true;
    });
    player->setTarget(atItsOwnSize);
    QTRY_VERIFY_WITH_TIMEOUT(framed, 10000);
}

void MoviePlayerTest::closingEndsItsThreads()
{
    // Without those of the decoders, more of which may be started at any time.
    const auto threads = [] {
        const QDir all(QStringLiteral("/proc/self/task"));
        return std::ranges::count_if(all.entryList(QDir::Dirs | QDir::NoDotAndDotDot), [&](const QString& thread) {
            QFile file(all.filePath(thread + QStringLiteral("/comm")));
            const QByteArray name = file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
            return !name.isEmpty() && name != "decoding" && name != "opening" && name != "decoders";
        });
    };
    const auto files = [] {
        const QDir all(QStringLiteral("/proc/self/fd"));
        return std::ranges::count_if(all.entryList(QDir::AllEntries | QDir::System), [&](const QString& file) {
            const QByteArray target = readLink(all.filePath(file));
            return !target.startsWith("socket:") && !target.startsWith("anon_inode:");
        });
    };
    const auto threadsBefore = threads();
    const auto filesBefore = files();
    for (int i = 0; i < 5; ++i) {
        const MoviePlayerPtr player = open("long.mp4");
        player->setTarget(atItsOwnSize);
        player->play();
        if (i % 2 == 0) {
            QTRY_VERIFY(!player->frame().isNull());
        }
    }
    QVERIFY(MovieEngine::waitForThreads(10s));
    QTRY_VERIFY(threads() <= threadsBefore);
    QTRY_VERIFY(files() <= filesBefore);
}

void MoviePlayerTest::thePlayerKnowsTheTypesThatTheDecodersKnow()
{
    // Probed above, played above: here only that no list of parts is among them.
    const auto names = MovieEngine::containers().split(',');
    for (const char* const list : {"hls", "concat", "concatf", "dash", "sdp", "rtsp", "image2", "webm_dash_manifest"}) {
        QVERIFY2(!names.contains(list), list);
    }
    QVERIFY(names.contains("mov") && names.contains("matroska"));
}

QTEST_GUILESS_MAIN(MoviePlayerTest)
#include "MoviePlayerTest.moc"
