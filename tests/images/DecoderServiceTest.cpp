// The decoder programs as they are, driven over their socket.

#include "DecoderDriver.h"
#include "PictureFiles.h"
#include "PictureMemory.h"
#include "SharedBitmap.h"
#include "TypeSamples.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <algorithm>
#include <array>
#include <csignal>
#include <memory>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace frameflow;

namespace {

constexpr const char* common = FRAMEFLOW_COMMON_DECODER;
constexpr const char* extra = FRAMEFLOW_EXTRA_DECODER;

// Left to the other kind, by type or because Qt finds them damaged.
constexpr std::array extraSuffixes{"tiled.tif", "pyramid.tif", ".tga", ".heic", ".avif", ".jxl", ".jp2", ".psd", ".exr",
    ".hdr", ".fits", ".dds", ".pcx", ".sgi", ".rgb", ".dng"};

bool isExtraType(const QByteArray& name)
{
    return std::any_of(
        extraSuffixes.begin(), extraSuffixes.end(), [&](const char* suffix) { return name.endsWith(suffix); });
}

QByteArray svg(const QByteArray& contents, int side = 100)
{
    const QByteArray length = QByteArray::number(side);
    return "<svg xmlns='http://www.w3.org/2000/svg' width='" + length + "' height='" + length + "'>" + contents
        + "</svg>";
}

// A drawing that takes minutes.
QByteArray longDrawing()
{
    return svg(QByteArray("<rect width='2000' height='2000' opacity='.5'/>").repeated(100'000), 2000);
}

QByteArray line(const QByteArray& path, const QByteArray& start)
{
    QFile file(QString::fromUtf8(path));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    for (const QByteArray& text : file.readAll().split('\n')) {
        if (text.startsWith(start)) {
            return text.mid(start.size()).trimmed();
        }
    }
    return {};
}

qint64 millisecondsWorked(pid_t process)
{
    clockid_t clock = {};
    timespec time = {};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        return -1;
    }
    return qint64(time.tv_sec) * 1000 + time.tv_nsec / 1'000'000;
}

bool endsSoon(int lifeline)
{
    constexpr int milliseconds = 20'000;
    pollfd ended{lifeline, POLLIN, 0};
    return poll(&ended, 1, milliseconds) == 1;
}

} // namespace

class DecoderServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyTypeIsDecodedByItsKind_data();
    void everyTypeIsDecodedByItsKind();
    void whatNeedsTheOtherKindIsLeftToIt_data();
    void whatNeedsTheOtherKindIsLeftToIt();
    void thumbnailsAreReducedAndTurned();
    void largePicturesComeInTheMemoryGiven();
    void otherPicturesComeInMemoryOfTheirOwn_data();
    void otherPicturesComeInMemoryOfTheirOwn();
    void moreMemoriesThanAreRemembered();
    void textIsDrawnInConfinement();
    void brokenFilesAreAnswered_data();
    void brokenFilesAreAnswered();
    void manyFilesOneAfterAnother();
    void bothAreConfined_data();
    void bothAreConfined();
    void theCommonOneLoadsNoLargeLibraries();
    void settingsOfTheUserAreIgnored();
    void endsWithItsSocket_data();
    void endsWithItsSocket();
    void endsWithItsSocketDuringADecoding();
    void endsWithItsStarter();
    void needsASocketAndItsStarter();
    void messagesThatMakeNoSenseEndIt();
    void processorTimeHasALimit();
    void memoryHasALimit();

private:
    TestFolder mFolder;
};

void DecoderServiceTest::initTestCase()
{
    const QByteArray in = mFolder.addFile("in.png", encoded(quartersPicture(), "png"));
    for (const TypeSample& sample : typeSamples()) {
        QVERIFY2(makeTypeSample(sample, in, mFolder.pathOf(sample.name)), sample.name);
    }
    QVERIFY(runTool(QStringLiteral("convert"),
        {QString::fromUtf8(in), QStringLiteral("-colorspace"), QStringLiteral("CMYK"),
            QString::fromUtf8(mFolder.pathOf("inks.jpg"))}));
    mFolder.addFile("a.dng", cameraRaw(QSize(128, 96), 1));
    mFolder.addFile("turned.jpg", withExif(encoded(quartersPicture(QSize(800, 480)), "jpeg"), exifBlock(6)));
    mFolder.addFile("a.svg", svg("<rect width='100' height='100' fill='#f00'/>"));
    mFolder.addFile("none.mkv", "no movie");
    mFolder.addFile("long.svg", longDrawing());
    mFolder.addFile("photo.jpg", encoded(quartersPicture(QSize(6000, 4000)), "jpeg"));
}

void DecoderServiceTest::everyTypeIsDecodedByItsKind_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("tolerance");
    for (const TypeSample& sample : typeSamples()) {
        QTest::addRow("%s", sample.name) << QByteArray(sample.name) << sample.tolerance;
    }
}

void DecoderServiceTest::everyTypeIsDecodedByItsKind()
{
    QFETCH(QByteArray, name);
    QFETCH(int, tolerance);
    const QByteArray path = mFolder.pathOf(name);
    for (const char* const program : {common, extra}) {
        DecoderDriver decoder(program);
        const auto picture = decoder.decode(path);
        QVERIFY(picture);
        if (program == common && isExtraType(name)) {
            QCOMPARE(picture->error, DecodeError::NeedsExtraDecoders);
            continue;
        }
        QCOMPARE(picture->error, DecodeError::None);
        QCOMPARE(picture->size, quartersSize);
        QCOMPARE(quarters(picture->pixels, tolerance), QByteArray("RGBY"));
    }
}

void DecoderServiceTest::whatNeedsTheOtherKindIsLeftToIt_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("wanted");
    QTest::newRow("camera raw") << QByteArray("a.dng") << QByteArray("a.dng") << int(Wanted::Picture);
    QTest::newRow("named like camera raw") << QByteArray("a.jpg") << QByteArray("a.CR2") << int(Wanted::Picture);
    QTest::newRow("printing inks") << QByteArray("inks.jpg") << QByteArray("inks.jpg") << int(Wanted::Picture);
    QTest::newRow("named like another type") << QByteArray("a.heic") << QByteArray("a.jpg") << int(Wanted::Picture);
    QTest::newRow("frame of a movie") << QByteArray("none.mkv") << QByteArray("none.mkv") << int(Wanted::MovieFrame);
    QTest::newRow("look at a movie") << QByteArray("none.mkv") << QByteArray("none.mkv") << int(Wanted::MovieProbe);
}

void DecoderServiceTest::whatNeedsTheOtherKindIsLeftToIt()
{
    QFETCH(QByteArray, file);
    QFETCH(QByteArray, name);
    QFETCH(int, wanted);
    const QByteArray path = mFolder.pathOf(file);
    const DecodeRequest request{Wanted(wanted), name, 0, Turn::Upright};
    DecoderDriver first(common);
    const auto refusal = first.decode(path, request);
    QVERIFY(refusal);
    QCOMPARE(refusal->error, DecodeError::NeedsExtraDecoders);
    DecoderDriver second(extra);
    const auto picture = second.decode(path, request);
    QVERIFY(picture);
    QVERIFY(picture->error != DecodeError::NeedsExtraDecoders);
    QCOMPARE(picture->error == DecodeError::None, Wanted(wanted) == Wanted::Picture);
}

void DecoderServiceTest::thumbnailsAreReducedAndTurned()
{
    DecoderDriver decoder(common);
    DecodeRequest request{Wanted::Picture, "turned.jpg", 300, Turn::Upright};
    const auto upright = decoder.decode(mFolder.pathOf("turned.jpg"), request);
    QVERIFY(upright);
    QCOMPARE(upright->pixels.size(), QSize(180, 300));
    QCOMPARE(upright->size, QSize(480, 800));
    QCOMPARE(upright->orientation, 1);
    QCOMPARE(quarters(upright->pixels, 40), uprightQuarters(6));
    request.turn = Turn::AsStored;
    const auto stored = decoder.decode(mFolder.pathOf("turned.jpg"), request);
    QVERIFY(stored);
    QCOMPARE(stored->pixels.size(), QSize(300, 180));
    QCOMPARE(stored->orientation, 6);
    QCOMPARE(quarters(stored->pixels, 40), QByteArray("RGBY"));
}

void DecoderServiceTest::largePicturesComeInTheMemoryGiven()
{
    constexpr QSize whole(6000, 4000);
    constexpr QSize copy(1620, 1080);
    DecoderDriver decoder(common);
    DecodeRequest request;
    request.fileName = "photo.jpg";
    request.frame = {QSizeF(1920, 1080), 1, FitMode::Shrink};
    const auto memory = std::shared_ptr(PictureMemory::create(qint64(6000) * 4000 * 4 + qint64(1620) * 1080 * 4));
    const QImage expected = decoder.decode(mFolder.pathOf("photo.jpg"))->pixels;
    // Fresh memory is written to; the next time it is decoded into.
    for (int time = 0; time < 3; ++time) {
        QVERIFY(decoder.ask(mFolder.pathOf("photo.jpg"), request, memory->descriptor()));
        const auto answer = decoder.message();
        QVERIFY(answer && answer->pixels);
        QVERIFY(!answer->pixels->memory.isOpen());
        QCOMPARE(PictureMemory::image(memory, answer->pixels->layout).value(), expected);
        QCOMPARE(answer->reducedSize, copy);
        const auto reduced = PictureMemory::imageBehind(memory, answer->pixels->layout, copy);
        QVERIFY(reduced);
        QVERIFY(isNear(reduced->pixel(10, 10), expected.pixel(40, 40), 2));
        QVERIFY(isNear(reduced->pixel(1610, 1070), expected.pixel(5960, 3960), 2));
    }
}

void DecoderServiceTest::otherPicturesComeInMemoryOfTheirOwn_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<qint64>("room");
    QTest::newRow("small") << QByteArray("a.dng") << qint64(6000) * 4000 * 4;
    QTest::newRow("too large") << QByteArray("photo.jpg") << qint64(6000) * 4000 * 4 - 4096;
    QTest::newRow("much smaller than the memory") << QByteArray("photo.jpg") << qint64(6000) * 4000 * 12 + 4096;
}

void DecoderServiceTest::otherPicturesComeInMemoryOfTheirOwn()
{
    QFETCH(QByteArray, name);
    QFETCH(qint64, room);
    DecoderDriver decoder(extra);
    const auto memory = PictureMemory::create(room);
    DecodeRequest request;
    request.fileName = name;
    QVERIFY(decoder.ask(mFolder.pathOf(name), request, memory->descriptor()));
    const auto answer = decoder.message();
    QVERIFY(answer && answer->pixels);
    QVERIFY(mapSealed(answer->pixels->memory, answer->pixels->layout));
}

void DecoderServiceTest::moreMemoriesThanAreRemembered()
{
    constexpr qint64 room = qint64(800) * 480 * 4;
    DecoderDriver decoder(common);
    DecodeRequest request;
    request.fileName = "turned.jpg";
    std::vector<std::shared_ptr<PictureMemory>> memories;
    for (int i = 0; i < 20; ++i) {
        memories.push_back(PictureMemory::create(room));
    }
    for (int round = 0; round < 3; ++round) {
        for (const auto& memory : memories) {
            QVERIFY(decoder.ask(mFolder.pathOf("turned.jpg"), request, memory->descriptor()));
            const auto answer = decoder.message();
            QVERIFY(answer && answer->pixels && !answer->pixels->memory.isOpen());
            QCOMPARE(quarters(PictureMemory::image(memory, answer->pixels->layout).value(), 24), uprightQuarters(6));
        }
    }
}

void DecoderServiceTest::textIsDrawnInConfinement()
{
    mFolder.addFile("text.svg", svg("<text x='2' y='80' font-size='90' fill='#fff'>M</text>"));
    DecoderDriver decoder(common);
    const auto picture = decoder.decode(mFolder.pathOf("text.svg"));
    QVERIFY(picture);
    const QImage pixels = picture->pixels.convertToFormat(QImage::Format_RGB32);
    int lit = 0;
    for (int x = 0; x < pixels.width(); ++x) {
        lit += qGray(pixels.pixel(x, 60)) > 128 ? 1 : 0;
    }
    QVERIFY2(lit > 5, qPrintable(QString::number(lit)));
}

void DecoderServiceTest::brokenFilesAreAnswered_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<int>("error");
    const QByteArray png = encoded(quartersPicture(), "png");
    QTest::newRow("empty") << QByteArray("b.jpg") << QByteArray() << int(DecodeError::NotAPicture);
    QTest::newRow("text") << QByteArray("b.jpg") << QByteArray("not a picture") << int(DecodeError::NotAPicture);
    QTest::newRow("cut") << QByteArray("b.png") << png.left(60) << int(DecodeError::Damaged);
    QTest::newRow("no drawing") << QByteArray("b.svg") << QByteArray("<svg") << int(DecodeError::Damaged);
    QTest::newRow("cut JPEG XL") << QByteArray("b.jxl") << QByteArray("\xff\x0a\x01", 3) << int(DecodeError::Damaged);
    QTest::newRow("raw that is none") << QByteArray("b.nef") << QByteArray("II*\0\x10\0\0\0CR", 10)
                                      << int(DecodeError::Damaged);
}

void DecoderServiceTest::brokenFilesAreAnswered()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, contents);
    QFETCH(int, error);
    const QByteArray path = mFolder.addFile(name, contents);
    DecoderDriver decoder(extra);
    const auto broken = decoder.decode(path);
    QVERIFY(broken);
    QCOMPARE(int(broken->error), error);
    QVERIFY(broken->pixels.isNull());
    const auto whole = decoder.decode(mFolder.pathOf("a.jpg"));
    QVERIFY(whole);
    QCOMPARE(whole->error, DecodeError::None);
}

void DecoderServiceTest::manyFilesOneAfterAnother()
{
    DecoderDriver decoder(common);
    const QByteArray names[] = {"a.jpg", "a.png", "a.gif", "a.webp", "a.bmp", "a.tif", "a.ico", "a.svg"};
    // More than descriptors are allowed: each is closed again.
    for (int i = 0; i < 100; ++i) {
        const auto picture = decoder.decode(mFolder.pathOf(names[i % std::size(names)]), i % 2 == 0 ? 0 : 20);
        QVERIFY(picture);
        QCOMPARE(picture->error, DecodeError::None);
    }
}

void DecoderServiceTest::bothAreConfined_data()
{
    QTest::addColumn<QByteArray>("program");
    QTest::newRow("common") << QByteArray(common);
    QTest::newRow("extra") << QByteArray(extra);
}

void DecoderServiceTest::bothAreConfined()
{
    QFETCH(QByteArray, program);
    DecoderDriver decoder(program.constData());
    QVERIFY(decoder.decode(mFolder.pathOf("a.jpg")));
    const QByteArray tasks = "/proc/" + QByteArray::number(decoder.processId()) + "/task";
    const QStringList threads = QDir(QString::fromUtf8(tasks)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    QVERIFY(threads.size() >= 2);
    for (const QString& thread : threads) {
        const QByteArray status = tasks + '/' + thread.toUtf8() + "/status";
        QCOMPARE(line(status, "NoNewPrivs:"), QByteArray("1"));
        QCOMPARE(line(status, "Seccomp:"), QByteArray("2"));
    }
    const QByteArray limits = "/proc/" + QByteArray::number(decoder.processId()) + "/limits";
    QVERIFY(line(limits, "Max core file size").startsWith('0'));
    QVERIFY(line(limits, "Max open files").startsWith("64 "));
}

void DecoderServiceTest::theCommonOneLoadsNoLargeLibraries()
{
    const auto names = [](const char* program, const char* library) {
        QFile file(QString::fromUtf8(program));
        return file.open(QIODevice::ReadOnly) && file.readAll().contains(library);
    };
    for (const char* const library : {"libvips.so", "libraw_r.so"}) {
        QVERIFY2(!names(common, library), library);
        QVERIFY2(names(extra, library), library);
    }
}

void DecoderServiceTest::settingsOfTheUserAreIgnored()
{
    DecoderDriver::Settings settings;
    settings.environment = {"QT_QPA_PLATFORM=nonsense", "QT_PLUGIN_PATH=/nonsense", "QT_DEBUG_PLUGINS=1",
        "VIPS_CONCURRENCY=nonsense", "MAGICK_CONFIGURE_PATH=/nonsense", "LC_ALL=nonsense", "HOME=/nonsense"};
#if defined(__SANITIZE_ADDRESS__)
    settings.environment.append("ASAN_OPTIONS=" + qgetenv("ASAN_OPTIONS"));
#endif
    for (const char* const program : {common, extra}) {
        DecoderDriver decoder(program, settings);
        const auto picture = decoder.decode(mFolder.pathOf("a.webp"));
        QVERIFY(picture);
        QCOMPARE(picture->error, DecodeError::None);
    }
}

void DecoderServiceTest::endsWithItsSocket_data()
{
    bothAreConfined_data();
}

void DecoderServiceTest::endsWithItsSocket()
{
    QFETCH(QByteArray, program);
    DecoderDriver decoder(program.constData());
    QVERIFY(decoder.decode(mFolder.pathOf("a.jpg")));
    QVERIFY(!decoder.hasEnded());
    decoder.closeSocket();
    QCOMPARE(decoder.waitForEnd(), 0);
}

void DecoderServiceTest::endsWithItsSocketDuringADecoding()
{
    DecoderDriver decoder(common);
    QVERIFY(decoder.decode(mFolder.pathOf("a.svg")));
    QVERIFY(decoder.ask(mFolder.pathOf("long.svg"), {Wanted::Picture, "long.svg", 0, Turn::Upright}));
    const qint64 before = millisecondsWorked(decoder.processId());
    QTRY_VERIFY(millisecondsWorked(decoder.processId()) > before + 100);
    decoder.closeSocket();
    QTRY_VERIFY(decoder.hasEnded());
}

void DecoderServiceTest::endsWithItsStarter()
{
    int ends[2] = {-1, -1};
    QCOMPARE(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
    const FileDescriptor near(ends[0]);
    const FileDescriptor far(ends[1]);
    // A starter that is killed, while somebody else keeps the socket open.
    const pid_t starter = fork();
    if (starter == 0) {
        const pid_t decoder = fork();
        if (decoder == 0) {
            const QByteArray self = QByteArray::number(getppid());
            dup2(far.number(), 3);
            execl(common, common, "0", "0", self.constData(), nullptr);
            _exit(1);
        }
        sendRequest(near.number(), quint64(decoder), {}, far.number());
        pause();
        _exit(0);
    }
    RequestMessage told;
    QCOMPARE(receiveRequest(far.number(), told), MessageStatus::Received);
    const FileDescriptor lifeline(int(syscall(SYS_pidfd_open, pid_t(told.id), 0)));
    QVERIFY(lifeline.isOpen());
    const FileDescriptor file = openForDecoding(mFolder.urlOf("a.jpg"));
    QVERIFY(sendRequest(near.number(), 1, {}, file.number()));
    AnswerMessage answer;
    QCOMPARE(receiveAnswer(near.number(), answer), MessageStatus::Received);
    kill(starter, SIGKILL);
    waitpid(starter, nullptr, 0);
    QVERIFY(endsSoon(lifeline.number()));
}

void DecoderServiceTest::needsASocketAndItsStarter()
{
    DecoderDriver::Settings settings;
    settings.hasSocket = false;
    DecoderDriver lonely(common, settings);
    QVERIFY(lonely.waitForEnd() != 0);
    settings.hasSocket = true;
    settings.starter = 1;
    DecoderDriver orphan(common, settings);
    QVERIFY(orphan.waitForEnd() != 0);
}

void DecoderServiceTest::messagesThatMakeNoSenseEndIt()
{
    DecoderDriver decoder(common);
    QCOMPARE(::send(decoder.socket(), "nonsense", 8, MSG_NOSIGNAL), ssize_t(8));
    QVERIFY(!decoder.answer());
    QCOMPARE(decoder.waitForEnd(), 0);
}

void DecoderServiceTest::processorTimeHasALimit()
{
    DecoderDriver::Settings settings;
    settings.processorSeconds = 1;
    DecoderDriver decoder(common, settings);
    // Each file has the whole of it.
    QVERIFY(decoder.decode(mFolder.pathOf("photo.jpg")));
    QVERIFY(decoder.decode(mFolder.pathOf("photo.jpg")));
    QVERIFY(!decoder.decode(mFolder.pathOf("long.svg")));
    const int status = decoder.waitForEnd();
    QVERIFY(WIFSIGNALED(status));
    QCOMPARE(WTERMSIG(status), SIGPROF);
}

void DecoderServiceTest::memoryHasALimit()
{
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    constexpr qint64 lessThanAPhoto = qint64(60) << 20;
    DecoderDriver unlimited(common);
    QVERIFY(unlimited.decode(mFolder.pathOf("a.jpg")));
    const QByteArray status = "/proc/" + QByteArray::number(unlimited.processId()) + "/status";
    const qint64 usual = line(status, "VmPeak:").split(' ').first().toLongLong() << 10;
    QVERIFY(usual > 0);
    DecoderDriver::Settings settings;
    settings.memory = usual + lessThanAPhoto;
    DecoderDriver decoder(common, settings);
    const auto small = decoder.decode(mFolder.pathOf("a.jpg"));
    QVERIFY(small);
    QCOMPARE(small->error, DecodeError::None);
    // Either way is fine; what must not be is a picture, or a process beyond its limit.
    const auto large = decoder.decode(mFolder.pathOf("photo.jpg"));
    QVERIFY(!large || large->error != DecodeError::None);
    QVERIFY(large || decoder.waitForEnd() != 0);
#endif
}

QTEST_GUILESS_MAIN(DecoderServiceTest)
#include "DecoderServiceTest.moc"
