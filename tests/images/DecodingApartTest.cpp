// The pool with the decoders that are installed with the program.

#include "DecoderPool.h"
#include "PictureFiles.h"
#include "PoolFixture.h"

#include <QFile>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <memory>

#include <unistd.h>

using namespace frameflow;

class DecodingApartTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void programItselfLoadsNoDecoders();
    void decodersStandBesideTheProgram();
    void commonTypesAreDecodedByTheFirstProcess();
    void cameraRawIsDecodedByTheExtraOne();
    void picturesComeUprightAndReduced();
    void badFileIsBadAtOnce();
    void fileTruncatedMeanwhileLosesNoDecoder();
    void manyAreDecodedAtOnce();
    void killedProgramLeavesNoDecoder();
    void moduleDecodesWhereNoProgramIs();

private:
    DecodeJob picture(const QByteArray& name, const QByteArray& contents) const { return mFiles->job(name, contents); }

    std::unique_ptr<PoolFixture> mFiles;
    Belongings mBefore;
};

void DecodingApartTest::init()
{
    mFiles = std::make_unique<PoolFixture>();
    mBefore = belongings();
}

void DecodingApartTest::cleanup()
{
    mFiles.reset();
    QTRY_COMPARE(belongings().children, mBefore.children);
    QTRY_COMPARE(belongings().pictures, mBefore.pictures);
}

// First: what the other tests make their pictures with brings libraries along.
void DecodingApartTest::programItselfLoadsNoDecoders()
{
    DecoderPool pool(DecoderPool::installed());
    const DecodedFile file
        = pool.decodeAndWait(picture("a.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='7'/>"));
    QCOMPARE(file.picture.pixels.size(), QSize(9, 7));
    QFile maps(QStringLiteral("/proc/self/maps"));
    QVERIFY(maps.open(QIODevice::ReadOnly));
    const QByteArray text = maps.readAll();
    for (const char* const library : {"libexiv2", "liblcms2", "libvips", "libraw", "libavformat", "libQt6Svg"}) {
        QVERIFY2(!text.contains(library), library);
    }
}

void DecodingApartTest::decodersStandBesideTheProgram()
{
    const DecoderPool::Options options = DecoderPool::installed();
    for (const QByteArray& path : {options.commonDecoder, options.extraDecoder}) {
        QVERIFY2(access(path.constData(), X_OK) == 0, path.constData());
    }
    QVERIFY2(access(options.module.constData(), R_OK) == 0, options.module.constData());
}

void DecodingApartTest::commonTypesAreDecodedByTheFirstProcess()
{
    DecoderPool pool(DecoderPool::installed());
    pool.warmUp();
    const QList<pid_t> first = pool.processes();
    for (const char* const format : {"jpeg", "png", "bmp", "webp"}) {
        const DecodedFile file
            = pool.decodeAndWait(picture(QByteArray("a.") + format, encoded(quartersPicture(), format)));
        QCOMPARE(file.picture.error, DecodeError::None);
        QCOMPARE(file.picture.size, quartersSize);
        QCOMPARE(quarters(file.picture.pixels, 30), QByteArray("RGBY"));
    }
    QTRY_COMPARE(pool.processes(), first);
}

void DecodingApartTest::cameraRawIsDecodedByTheExtraOne()
{
    DecoderPool pool(DecoderPool::installed());
    const QByteArray preview = encoded(quartersPicture(QSize(800, 480)), "jpeg");
    const DecodedFile file = pool.decodeAndWait(picture("a.dng", cameraRaw(QSize(800, 480), 6, preview)));
    QCOMPARE(file.picture.error, DecodeError::None);
    QCOMPARE(quarters(file.picture.pixels, 30), uprightQuarters(6));
    QTRY_COMPARE(pool.processes().size(), 1);
}

void DecodingApartTest::picturesComeUprightAndReduced()
{
    DecoderPool pool(DecoderPool::installed());
    const QByteArray jpeg = encoded(quartersPicture(QSize(1600, 960)), "jpeg");
    DecodeJob job = picture("a.jpg", withExif(jpeg, exifBlock(6)));
    job.request.longestSide = 300;
    const DecodedFile file = pool.decodeAndWait(job);
    QCOMPARE(file.picture.error, DecodeError::None);
    QCOMPARE(file.picture.pixels.size(), QSize(180, 300));
    QCOMPARE(quarters(file.picture.pixels, 30), uprightQuarters(6));
}

void DecodingApartTest::badFileIsBadAtOnce()
{
    DecoderPool pool(DecoderPool::installed());
    pool.warmUp();
    const QList<pid_t> first = pool.processes();
    const QByteArray png = encoded(quartersPicture(), "png");
    QCOMPARE(pool.decodeAndWait(picture("a.png", png.left(png.size() / 2))).picture.error, DecodeError::Damaged);
    QCOMPARE(pool.decodeAndWait(picture("b.jpg", "no picture at all")).picture.error, DecodeError::NotAPicture);
    QCOMPARE(pool.decodeAndWait(picture("c.jpg", "")).picture.error, DecodeError::NotAPicture);
    QVERIFY(pool.processes().contains(first.first()));
}

void DecodingApartTest::fileTruncatedMeanwhileLosesNoDecoder()
{
    DecoderPool pool(DecoderPool::installed());
    pool.warmUp();
    const pid_t decoder = pool.processes().first();
    const DecodeJob job = picture("a.jpg", encoded(quartersPicture(QSize(2000, 1200)), "jpeg"));
    kill(decoder, SIGSTOP);
    mFiles->start(pool, job);
    QCOMPARE(truncate(job.url.path().constData(), 1000), 0);
    kill(decoder, SIGCONT);
    QTRY_VERIFY(mFiles->isDone("a.jpg"));
    QVERIFY(mFiles->error("a.jpg") != DecodeError::DecoderLost);
    QTRY_COMPARE(pool.processes(), QList<pid_t>{decoder});
}

void DecodingApartTest::manyAreDecodedAtOnce()
{
    DecoderPool pool(DecoderPool::installed());
    constexpr int count = 40;
    const QByteArray jpeg = encoded(quartersPicture(QSize(640, 480)), "jpeg");
    const auto name = [](int i) { return QByteArray::number(i) + ".jpg"; };
    for (int i = 0; i < count; ++i) {
        DecodeJob job = picture(name(i), jpeg);
        job.urgency = Urgency(i % 3);
        mFiles->start(pool, job);
    }
    for (int i = 0; i < count; ++i) {
        QTRY_VERIFY(mFiles->isDone(name(i)));
        QCOMPARE(quarters(mFiles->result(name(i)).picture.pixels, 30), QByteArray("RGBY"));
    }
}

void DecodingApartTest::killedProgramLeavesNoDecoder()
{
    QProcess owner;
    const DecodeJob job = picture("a.jpg", encoded(quartersPicture(), "jpeg"));
    owner.start(QStringLiteral(DECODER_OWNER),
        {QFile::decodeName(DecoderPool::installed().commonDecoder), QFile::decodeName(job.url.path())});
    QTRY_VERIFY(owner.bytesAvailable() > 0);
    const pid_t decoder = owner.readAllStandardOutput().simplified().split(' ').first().toInt();
    QVERIFY(exists(decoder));
    kill(decoder, SIGSTOP);
    owner.kill();
    QVERIFY(owner.waitForFinished());
    QTRY_VERIFY(!exists(decoder));
}

// Last: from then on the decoders' libraries are in this process.
void DecodingApartTest::moduleDecodesWhereNoProgramIs()
{
    DecoderPool::Options options;
    options.module = DecoderPool::installed().module;
    DecoderPool pool(options);
    const DecodedFile file = pool.decodeAndWait(picture("a.jpg", encoded(quartersPicture(), "jpeg")));
    QCOMPARE(file.picture.error, DecodeError::None);
    QCOMPARE(quarters(file.picture.pixels, 30), QByteArray("RGBY"));
    const QByteArray preview = encoded(quartersPicture(QSize(800, 480)), "jpeg");
    const DecodedFile raw = pool.decodeAndWait(picture("a.dng", cameraRaw(QSize(800, 480), 6, preview)));
    QCOMPARE(quarters(raw.picture.pixels, 30), uprightQuarters(6));
    QCOMPARE(pool.decodeAndWait(picture("b.jpg", "nothing")).picture.error, DecodeError::NotAPicture);
    QVERIFY(pool.processes().isEmpty());
}

QTEST_GUILESS_MAIN(DecodingApartTest)
#include "DecodingApartTest.moc"
