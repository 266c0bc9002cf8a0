#include "DecoderPool.h"
#include "KLImageCache.h"
#include "MovieFiles.h"
#include "PictureFiles.h"
#include "ReadAhead.h"

#include <QtTest>

using namespace frameflow;

// What the decoder programs make of movies: their first frames ahead of the show, their middle ones as thumbnails.
class MoviesAheadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void aMovieBecomesReadyWithItsFirstFrame();
    void itsFirstFrameIsReducedToo();
    void soundIsReadyWithItsCoverOrWithout();
    void whatIsNoMovieIsReadyAsNone_data();
    void whatIsNoMovieIsReadyAsNone();
    void askingTellsWhenTheMovieIsKnown();
    void whatIsNotReadyIsNotTaken();
    void whatIsTakenIsNoLongerHeld();
    void aMovieThatChangedIsLookedAtAgain();
    void aPictureIsNoMovie();
    void thumbnailsComeFromTheMiddle_data();
    void thumbnailsComeFromTheMiddle();
    void thumbnailsStandUprightAndFit();
    void thereIsNoThumbnailWithoutAFrame_data();
    void thereIsNoThumbnailWithoutAFrame();

private:
    FileUrl url(const QByteArray& name) const { return mFiles->folder().urlOf(name); }
    bool becomesReady(const AheadFile& file) const
    {
        return QTest::qWaitFor([&] { return mReadAhead->isReady(file); }, 20000);
    }

    std::unique_ptr<MovieFiles> mFiles;
    std::unique_ptr<ReadAhead> mReadAhead;
};

void MoviesAheadTest::initTestCase()
{
    mFiles = std::make_unique<MovieFiles>();
    QVERIFY(mFiles->make("movie.mp4", MovieFiles::numbers() + ' ' + MovieFiles::sound() + " -c:v libx264 -c:a aac"));
    QVERIFY(mFiles->make("sound.mp3", MovieFiles::sound() + " -t 1"));
    QVERIFY(mFiles->make("cover.mp3",
        MovieFiles::sound() + " -i %folder/quarters.png -map 0 -map 1 -c:v png -disposition:v attached_pic -t 1"));
    mFiles->folder().addFile("text.mp4", "This is no movie.");
    mFiles->folder().addFile("empty.mp4", {});
    mFiles->folder().addFile("cut.mp4", mFiles->contentsOf("movie.mp4").left(300));
}

void MoviesAheadTest::init()
{
    mReadAhead = std::make_unique<ReadAhead>(DecoderPool::instance());
    KLImageCache::purge();
}

void MoviesAheadTest::cleanup()
{
    mReadAhead.reset();
}

void MoviesAheadTest::aMovieBecomesReadyWithItsFirstFrame()
{
    const AheadFile file{url("movie.mp4"), {}};
    QVERIFY(!mReadAhead->isReady(file));
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    const auto movie = mReadAhead->takeMovie(file.url);
    QVERIFY(movie.has_value());
    QCOMPARE(movie->facts.size, numbersSize);
    QVERIFY(movie->facts.hasVideo && movie->facts.hasAudio);
    QVERIFY(qAbs(movie->facts.seconds - 10) < 0.1);
    QVERIFY(movie->picture);
    QCOMPARE(numberIn(movie->picture->getCGImage()), 0);
    QCOMPARE(movie->picture->mURL(), file.url);
}

void MoviesAheadTest::itsFirstFrameIsReducedToo()
{
    const AheadFile file{url("movie.mp4"), {QSizeF(64, 48), 1, FitMode::Stretch}};
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    const auto movie = mReadAhead->takeMovie(file.url);
    QCOMPARE(movie->picture->reduced().size(), QSize(64, 48));
}

void MoviesAheadTest::soundIsReadyWithItsCoverOrWithout()
{
    const AheadFile plain{url("sound.mp3"), {}};
    const AheadFile covered{url("cover.mp3"), {}};
    mReadAhead->setWanted({plain, covered});
    QVERIFY(becomesReady(plain) && becomesReady(covered));
    const auto without = mReadAhead->takeMovie(plain.url);
    QVERIFY(without && without->facts.hasAudio && !without->facts.hasVideo && !without->picture);
    QVERIFY(without->facts.size.isEmpty());
    const auto with = mReadAhead->takeMovie(covered.url);
    QVERIFY(with && with->facts.hasCover && with->picture);
    QCOMPARE(quarters(with->picture->getCGImage(), 8), QByteArray("RGBY"));
}

void MoviesAheadTest::whatIsNoMovieIsReadyAsNone_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* const name : {"text.mp4", "empty.mp4", "cut.mp4", "nowhere.mp4"}) {
        QTest::newRow(name) << QByteArray(name);
    }
}

void MoviesAheadTest::whatIsNoMovieIsReadyAsNone()
{
    QFETCH(QByteArray, name);
    const AheadFile file{url(name), {}};
    bool told = false;
    mReadAhead->ask(file, [&] { told = true; });
    QTRY_VERIFY_WITH_TIMEOUT(told, 20000);
    QVERIFY(!mReadAhead->takeMovie(file.url).has_value());
    QVERIFY(mReadAhead->files().empty());
}

void MoviesAheadTest::askingTellsWhenTheMovieIsKnown()
{
    const AheadFile file{url("movie.mp4"), {}};
    int told = 0;
    mReadAhead->ask(file, [&] {
        ++told;
        QVERIFY(mReadAhead->isReady(file));
        QVERIFY(mReadAhead->takeMovie(file.url).has_value());
    });
    QCOMPARE(told, 0);
    QTRY_COMPARE_WITH_TIMEOUT(told, 1, 20000);
}

void MoviesAheadTest::whatIsNotReadyIsNotTaken()
{
    const AheadFile file{url("movie.mp4"), {}};
    QVERIFY(!mReadAhead->takeMovie(file.url).has_value());
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    QVERIFY(mReadAhead->takeMovie(file.url).has_value());
}

void MoviesAheadTest::whatIsTakenIsNoLongerHeld()
{
    const AheadFile file{url("movie.mp4"), {}};
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    QVERIFY(mReadAhead->takeMovie(file.url).has_value());
    QVERIFY(mReadAhead->files().empty());
    QVERIFY(!mReadAhead->takeMovie(file.url).has_value());
}

void MoviesAheadTest::aMovieThatChangedIsLookedAtAgain()
{
    const AheadFile file{url("changing.mp4"), {}};
    mFiles->folder().addFile("changing.mp4", mFiles->contentsOf("movie.mp4"));
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    mFiles->folder().addFile("changing.mp4", mFiles->contentsOf("sound.mp3"));
    QVERIFY(!mReadAhead->isReady(file));
    bool told = false;
    mReadAhead->ask(file, [&] { told = true; });
    QTRY_VERIFY_WITH_TIMEOUT(told, 20000);
    QVERIFY(!mReadAhead->takeMovie(file.url)->facts.hasVideo);
}

void MoviesAheadTest::aPictureIsNoMovie()
{
    const AheadFile file{url("quarters.png"), {}};
    mReadAhead->setWanted({file});
    QVERIFY(becomesReady(file));
    QVERIFY(!mReadAhead->takeMovie(file.url).has_value());
}

void MoviesAheadTest::thumbnailsComeFromTheMiddle_data()
{
    QTest::addColumn<QByteArray>("options");
    QTest::addColumn<int>("number");
    QTest::newRow("ten seconds") << QByteArray("-c:v ffv1") << 125;
    QTest::newRow("one second") << QByteArray("-c:v ffv1 -t 1") << 12;
    QTest::newRow("between frames that stand by themselves") << QByteArray("-c:v libx264 -g 100") << 125;
    QTest::newRow("one frame") << QByteArray("-c:v ffv1 -frames:v 1") << 0;
}

void MoviesAheadTest::thumbnailsComeFromTheMiddle()
{
    QFETCH(QByteArray, options);
    QFETCH(int, number);
    QVERIFY(mFiles->make("thumb.mkv", MovieFiles::numbers() + ' ' + options));
    QCOMPARE(numberIn(KLImage::videoThumbFromURL(url("thumb.mkv"))), number);
    QCOMPARE(numberIn(KLImage::thumbNailFromURL(url("thumb.mkv"))), number);
}

void MoviesAheadTest::thumbnailsStandUprightAndFit()
{
    const QByteArray large
        = MovieFiles::quarters() + " -vf scale=1600:960:flags=neighbor -c:v libx264 -pix_fmt yuv420p";
    QVERIFY(mFiles->make("large.mp4", large));
    mFiles->folder().addFile("turned.mp4", withOrientation(mFiles->contentsOf("large.mp4"), 6));
    const QImage plain = KLImage::videoThumbFromURL(url("large.mp4"));
    QCOMPARE(plain.size(), QSize(300, 180));
    QCOMPARE(quarters(plain, 80), QByteArray("RGBY"));
    const QImage turned = KLImage::videoThumbFromURL(url("turned.mp4"));
    QCOMPARE(turned.size(), QSize(180, 300));
    QCOMPARE(quarters(turned, 80), uprightQuarters(6));
    // A small one is not enlarged.
    QCOMPARE(KLImage::videoThumbFromURL(url("movie.mp4")).size(), numbersSize);
}

void MoviesAheadTest::thereIsNoThumbnailWithoutAFrame_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* const name : {"sound.mp3", "text.mp4", "empty.mp4", "cut.mp4", "nowhere.mp4"}) {
        QTest::newRow(name) << QByteArray(name);
    }
}

void MoviesAheadTest::thereIsNoThumbnailWithoutAFrame()
{
    QFETCH(QByteArray, name);
    QVERIFY(KLImage::videoThumbFromURL(url(name)).isNull());
}

QTEST_GUILESS_MAIN(MoviesAheadTest)
#include "MoviesAheadTest.moc"
