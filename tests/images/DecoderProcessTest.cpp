#include "DecoderProcess.h"

#include "Confinement.h"
#include "Leftovers.h"
#include "PictureMemory.h"
#include "TestFiles.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <future>
#include <thread>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

DecoderLimits shortLimits()
{
    return {1s, 2s, qint64(16) << 30};
}

std::unique_ptr<DecoderProcess> obedient(const DecoderLimits& limits = {})
{
    return DecoderProcess::start(OBEDIENT_DECODER, limits);
}

constexpr qint64 memoryBytes = qint64(4000) * 3000 * 4; // whole pages

} // namespace

class DecoderProcessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void pictureIsMappedNotCopied();
    void pictureOutlivesItsDecoder();
    void decodersOwnWordLeavesItUsable();
    void misbehaviourCostsTheProcess_data();
    void misbehaviourCostsTheProcess();
    void picturesLieInTheMemoryGiven();
    void wrongUseOfMemoryCostsTheProcess_data();
    void wrongUseOfMemoryCostsTheProcess();
    void memoryOfALostDecoderIsHeldUntilItHasEnded();
    void pixelsThatChangeAreOnlyPixels();
    void surplusAnswerMakesItUnusable();
    void endIsSeenThoughItsSocketIsStillHeld();
    void processKilledWhileIdleIsNotUsable();
    void interruptionEndsADecode();
    void interruptionBeforehandEndsItToo();
    void timeSuspendedDoesNotCount();
    void confinedDecoderReachesNothing_data();
    void confinedDecoderReachesNothing();
    void confinedDecoderHasNoMoreThanItsShare();
    void programThatIsNotThere();
    void childInheritsNothing();

private:
    FileDescriptor order(const QByteArray& text)
    {
        return openForDecoding(FileUrl::fromPath(mFolder->addFile("order", text)));
    }

    std::optional<TestFolder> mFolder;
    Belongings mBefore;
};

void DecoderProcessTest::init()
{
    mFolder.emplace();
    mBefore = belongings();
}

void DecoderProcessTest::cleanup()
{
    QTRY_COMPARE(belongings().children, mBefore.children);
    QTRY_COMPARE(belongings().descriptors, mBefore.descriptors);
    QTRY_COMPARE(belongings().pictures, mBefore.pictures);
}

void DecoderProcessTest::pictureIsMappedNotCopied()
{
    const auto process = obedient();
    QVERIFY(process);
    DecodedPicture picture = process->decode(order("picture 2000 1500 ff8000"), {});
    QCOMPARE(picture.error, DecodeError::None);
    QCOMPARE(picture.size, QSize(2000, 1500));
    QCOMPARE(picture.pixels.size(), QSize(2000, 1500));
    QCOMPARE(picture.pixels.pixel(1999, 1499), qRgb(0xff, 0x80, 0));
    QCOMPARE(belongings().pictures, mBefore.pictures + 1);
    QVERIFY(process->isUsable());
    picture = {};
    QTRY_COMPARE(belongings().pictures, mBefore.pictures);
}

void DecoderProcessTest::pictureOutlivesItsDecoder()
{
    auto process = obedient();
    const DecodedPicture picture = process->decode(order("picture 300 200 102030"), {});
    process.reset();
    QCOMPARE(belongings().children, mBefore.children);
    QCOMPARE(picture.pixels.pixel(299, 199), qRgb(0x10, 0x20, 0x30));
}

void DecoderProcessTest::decodersOwnWordLeavesItUsable()
{
    const auto process = obedient();
    QCOMPARE(process->decode(order("damaged"), {}).error, DecodeError::Damaged);
    QCOMPARE(process->decode(order("no order at all"), {}).error, DecodeError::NotAPicture);
    QVERIFY(process->isUsable());
    QCOMPARE(process->decode(order("picture 3 2 0"), {}).size, QSize(3, 2));
}

void DecoderProcessTest::misbehaviourCostsTheProcess_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* const text : {"crash", "hang", "sleep", "eat", "wrong-size", "too-large", "unsealed", "shrinkable",
             "wrong-id", "half", "too-long", "two-descriptors", "no-descriptor", "nothing", "hang-up", "own-word"}) {
        QTest::newRow(text) << QByteArray(text);
    }
}

void DecoderProcessTest::misbehaviourCostsTheProcess()
{
    QFETCH(const QByteArray, text);
    const auto process = obedient(shortLimits());
    DecodeRequest request;
    request.longestSide = 50;
    const DecodedPicture picture = process->decode(order(text), request);
    QCOMPARE(picture.error, DecodeError::DecoderLost);
    QVERIFY(picture.pixels.isNull());
    QVERIFY(!process->isUsable());
    QCOMPARE(process->decode(order("picture 3 2 0"), request).error, DecodeError::DecoderLost);
    QCOMPARE(obedient(shortLimits())->decode(order("picture 3 2 0"), request).error, DecodeError::None);
}

void DecoderProcessTest::picturesLieInTheMemoryGiven()
{
    const auto process = obedient();
    std::shared_ptr<PictureMemory> memory = PictureMemory::create(memoryBytes);
    DecodedPicture picture = process->decode(order("in-memory 4000 3000 ff8000"), {}, memory);
    QCOMPARE(picture.error, DecodeError::None);
    QCOMPARE(picture.pixels.size(), QSize(4000, 3000));
    QCOMPARE(picture.pixels.pixel(3999, 2999), qRgb(0xff, 0x80, 0));
    QCOMPARE(memory.use_count(), 2); // the image's and this one
    // Memory that is not used is let go as well.
    QCOMPARE(process->decode(order("picture 3 2 0"), {}, memory).error, DecodeError::None);
    QCOMPARE(process->decode(order("damaged"), {}, memory).error, DecodeError::Damaged);
    QCOMPARE(memory.use_count(), 2);
    picture = {};
    QCOMPARE(memory.use_count(), 1);
    QVERIFY(process->isUsable());
}

void DecoderProcessTest::wrongUseOfMemoryCostsTheProcess_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("hasMemory");
    QTest::newRow("a picture larger than the memory") << QByteArray("beyond-memory") << true;
    QTest::newRow("a copy that nobody wants") << QByteArray("strange-copy") << true;
    QTest::newRow("a copy behind the end of the memory") << QByteArray("copy-beyond-memory") << true;
    QTest::newRow("memory that was not given") << QByteArray("in-memory-of-nobody") << false;
}

void DecoderProcessTest::wrongUseOfMemoryCostsTheProcess()
{
    QFETCH(const QByteArray, text);
    QFETCH(const bool, hasMemory);
    const auto process = obedient(shortLimits());
    DecodeRequest request;
    request.frame = {QSizeF(400, 300), 1, FitMode::Shrink};
    const std::shared_ptr<PictureMemory> memory = hasMemory ? PictureMemory::create(memoryBytes) : nullptr;
    const DecodedPicture picture = process->decode(order(text), request, memory);
    QCOMPARE(picture.error, DecodeError::DecoderLost);
    QVERIFY(picture.pixels.isNull());
    QVERIFY(!process->isUsable());
}

void DecoderProcessTest::memoryOfALostDecoderIsHeldUntilItHasEnded()
{
    auto process = obedient(shortLimits());
    const std::shared_ptr<PictureMemory> memory = PictureMemory::create(memoryBytes);
    QCOMPARE(process->decode(order("crash"), {}, memory).error, DecodeError::DecoderLost);
    QCOMPARE(memory.use_count(), 2);
    process.reset();
    QCOMPARE(memory.use_count(), 1);
}

void DecoderProcessTest::pixelsThatChangeAreOnlyPixels()
{
    const auto process = obedient();
    const std::shared_ptr<PictureMemory> memory = PictureMemory::create(memoryBytes);
    const DecodedPicture picture = process->decode(order("in-memory-that-changes"), {}, memory);
    QCOMPARE(picture.error, DecodeError::None);
    QCOMPARE(picture.pixels.copy().size(), QSize(4000, 3000));
    QTRY_COMPARE(picture.pixels.pixel(3999, 2999), qRgb('x', 'x', 'x'));
}

void DecoderProcessTest::surplusAnswerMakesItUnusable()
{
    const auto process = obedient();
    QCOMPARE(process->decode(order("twice"), {}).error, DecodeError::None);
    QTRY_VERIFY(!process->isUsable());
    QCOMPARE(process->decode(order("picture 3 2 0"), {}).error, DecodeError::DecoderLost);
}

void DecoderProcessTest::endIsSeenThoughItsSocketIsStillHeld()
{
    const auto process = obedient();
    QCOMPARE(process->decode(order("leave-process " + mFolder->pathOf("end")), {}).error, DecodeError::DecoderLost);
    mFolder->addFile("end");
}

void DecoderProcessTest::processKilledWhileIdleIsNotUsable()
{
    const auto process = obedient();
    QVERIFY(process->isUsable());
    kill(process->processId(), SIGKILL);
    QTRY_VERIFY(!process->isUsable());
}

void DecoderProcessTest::interruptionEndsADecode()
{
    const auto process = obedient();
    const FileDescriptor file = order("gate " + mFolder->pathOf("gate"));
    auto picture = std::async(std::launch::async, [&] { return process->decode(file, {}); });
    QTRY_VERIFY(QFile::exists(QFile::decodeName(mFolder->pathOf("gate.begun"))));
    process->interrupt();
    QCOMPARE(picture.get().error, DecodeError::Cancelled);
    QVERIFY(!process->isUsable());
}

void DecoderProcessTest::interruptionBeforehandEndsItToo()
{
    const auto process = obedient();
    process->interrupt();
    QCOMPARE(process->decode(order("sleep"), {}).error, DecodeError::Cancelled);
    QCOMPARE(process->decode(order("sleep"), {}).error, DecodeError::Cancelled);
}

void DecoderProcessTest::timeSuspendedDoesNotCount()
{
    constexpr auto wallTime = 400ms;
    const auto process = obedient({20s, wallTime, 0});
    QCOMPARE(process->decode(order("picture 3 2 0"), {}).error, DecodeError::None);
    const FileDescriptor file = order("gate " + mFolder->pathOf("gate"));
    process->pause();
    auto picture = std::async(std::launch::async, [&] { return process->decode(file, {}); });
    QCOMPARE(picture.wait_for(2 * wallTime), std::future_status::timeout);
    QVERIFY(!QFile::exists(QFile::decodeName(mFolder->pathOf("gate.begun"))));
    mFolder->addFile("gate");
    process->resume();
    QCOMPARE(picture.get().error, DecodeError::None);
}

void DecoderProcessTest::confinedDecoderReachesNothing_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("isOffered");
    const ConfinementOffer offer = kernelOffer();
    QTest::newRow("files") << QByteArray("open /etc/passwd") << (offer.fileAccessVersion > 0);
    QTest::newRow("writing") << QByteArray("write WRITTEN") << (offer.fileAccessVersion > 0 || offer.systemCalls);
    QTest::newRow("network") << QByteArray("connect /run/nobody") << offer.systemCalls;
    QTest::newRow("processes") << QByteArray("fork") << offer.systemCalls;
    QTest::newRow("programs") << QByteArray("exec /bin/true") << offer.systemCalls;
}

void DecoderProcessTest::confinedDecoderReachesNothing()
{
    QFETCH(const QByteArray, text);
    QFETCH(const bool, isOffered);
    const QByteArray written = mFolder->pathOf("written");
    const auto process = obedient();
    const DecodedPicture picture
        = process->decode(order("confined " + QByteArray(text).replace("WRITTEN", written)), {});
    if (isOffered) {
        QCOMPARE(picture.error, DecodeError::None);
        const int error = picture.size.width() - 1;
        QVERIFY2(error == EPERM || error == EACCES, std::strerror(error));
        QVERIFY(!QFile::exists(QFile::decodeName(written)));
        QCOMPARE(process->decode(order("picture 3 2 0"), {}).error, DecodeError::None);
    }
}

void DecoderProcessTest::confinedDecoderHasNoMoreThanItsShare()
{
    DecoderLimits limits;
    limits.memory = qint64(1) << 30;
    const auto process = obedient(limits);
    const auto error = [&](const QByteArray& text) {
        const DecodedPicture picture = process->decode(order("confined " + text), {});
        return picture.error == DecodeError::None ? picture.size.width() - 1 : -1;
    };
    QCOMPARE(error("allocate 10"), 0);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    QCOMPARE(error("allocate 1100"), ENOMEM);
#endif
    QCOMPARE(error("open-many 1000"), EMFILE);
    QCOMPARE(error("allocate-in-a-file 1000"), 0);
    QCOMPARE(process->decode(order("picture 3 2 0"), {}).error, DecodeError::None);
    // The kernel ends who writes more than that into a file.
    QCOMPARE(process->decode(order("allocate-in-a-file 1100"), {}).error, DecodeError::DecoderLost);
    QVERIFY(!process->isUsable());
    QCOMPARE(obedient(limits)->decode(order("picture 3 2 0"), {}).error, DecodeError::None);
}

void DecoderProcessTest::programThatIsNotThere()
{
    QVERIFY(!DecoderProcess::start(mFolder->pathOf("no such program"), {}));
    QVERIFY(!DecoderProcess::start({}, {}));
    QVERIFY(!DecoderProcess::start(mFolder->addFile("no program"), {}));
}

void DecoderProcessTest::childInheritsNothing()
{
    // A descriptor that a library has left open to whoever is started.
    const FileDescriptor leaked(dup(STDIN_FILENO));
    sigset_t term;
    sigset_t before;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &term, &before);
    const auto handler = std::signal(SIGHUP, SIG_IGN);
    const auto process = obedient();
    QCOMPARE(process->decode(order("picture 3 2 0"), {}).error, DecodeError::None);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    std::signal(SIGHUP, handler);

    const QString folder = QStringLiteral("/proc/%1/").arg(process->processId());
    QFile status(folder + QStringLiteral("status"));
    QVERIFY(status.open(QIODevice::ReadOnly));
    const QByteArray text = status.readAll();
    QVERIFY2(text.contains("SigBlk:\t0000000000000000\n"), text.constData());
    // Two signals of its own the C library leaves ignored.
    QVERIFY2(
        text.contains("SigIgn:\t0000000000000000\n") || text.contains("SigIgn:\t0000000180000000\n"), text.constData());
    const QDir descriptors(folder + QStringLiteral("fd"));
    const auto open = [&] { return descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot); };
    // What came with the request it has until a moment after its answer.
    QTRY_COMPARE(open().join(QLatin1Char(' ')), QStringLiteral("0 1 2 3"));
    QCOMPARE(getpgid(process->processId()), process->processId());
}

QTEST_GUILESS_MAIN(DecoderProcessTest)
#include "DecoderProcessTest.moc"
