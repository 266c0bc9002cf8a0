#include "Leftovers.h"

#include "ControllerFixture.h"
#include "DecoderPool.h"
#include "KLThumbnailCache.h"
#include "StaysTrue.h"
#include "ThumbnailLoader.h"

#include <QTest>

#include <unistd.h>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

// Allocators keep some of what they were given back; a leak of one slide in ten would be more.
#if defined(__SANITIZE_ADDRESS__)
constexpr qint64 allowedGrowth = qint64(400) << 20; // the sanitizer keeps what was freed
#else
constexpr qint64 allowedGrowth = qint64(24) << 20;
#endif

// What the process holds when nothing of it has changed for a while: pictures are unmapped in the background.
Belongings settledBelongings()
{
    Belongings last = belongings();
    while (!staysTrueFor(300ms, [&] { return belongings() == last; })) {
        last = belongings();
    }
    return last;
}

// Decoders come and go with the load of the machine, each with its connection and the memory in its hands. What is
// left behind by every tenth slide, or by every hundredth thumbnail, would be far more.
bool isAsBefore(const Belongings& before, const Belongings& after)
{
    constexpr int differenceByLoad = 4;
    const auto isNear = [](auto a, auto b) { return a <= b + differenceByLoad; };
    return isNear(after.descriptors, before.descriptors) && isNear(after.pictures, before.pictures)
        && isNear(after.children.size(), before.children.size()) && isNear(after.threads, before.threads);
}

QByteArray description(const Belongings& before, const Belongings& after)
{
    const auto pair = [](const char* name, auto a, auto b) {
        return QByteArray(name) + ' ' + QByteArray::number(qint64(a)) + " -> " + QByteArray::number(qint64(b)) + "; ";
    };
    return pair("descriptors", before.descriptors, after.descriptors)
        + pair("pictures", before.pictures, after.pictures)
        + pair("children", before.children.size(), after.children.size())
        + pair("threads", before.threads, after.threads);
}

} // namespace

// What a long show leaves behind in the program: nothing.
class LeftoversTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aThousandSlidesLeaveNothing();
    void tenThousandThumbnailsLeaveNothing();
};

void LeftoversTest::aThousandSlidesLeaveNothing()
{
    constexpr int pictures = 20;
    constexpr int slides = 1000;
    ControllerFixture fixture;
    for (int i = 0; i < pictures; ++i) {
        fixture.addPicture(QByteArray::number(100 + i) + ".png", QColor::fromHsv(i * 17, 200, 200), {800, 600});
    }
    auto& controller = fixture.start();
    QVERIFY(fixture.openFolder());
    const auto step = [&](int count) {
        for (int i = 0; i < count; ++i) {
            controller.nextSlide();
            if (!QTest::qWaitFor([&] { return !controller.isWaitingForSlide(); }, 20000)) {
                return false;
            }
        }
        return fixture.rest();
    };
    // Once round, so that all is there that a show needs.
    QVERIFY(step(2 * pictures));
    const Belongings before = settledBelongings();
    const qint64 bytesBefore = residentBytes();
    QVERIFY(step(slides));
    const Belongings after = settledBelongings();
    QVERIFY2(isAsBefore(before, after), description(before, after).constData());
    const qint64 growth = residentBytes() - bytesBefore;
    QVERIFY2(growth < allowedGrowth, QByteArray::number(growth).constData());
}

void LeftoversTest::tenThousandThumbnailsLeaveNothing()
{
    constexpr int files = 10000;
    const TestFolder folder;
    QImage picture(64, 48, QImage::Format_RGB32);
    picture.fill(Qt::red);
    const QByteArray original = folder.pathOf("original.png");
    QVERIFY(picture.save(QString::fromUtf8(original)));
    std::vector<FileUrl> urls;
    for (int i = 0; i < files; ++i) {
        const QByteArray path = folder.pathOf(QByteArray::number(i) + ".png");
        QCOMPARE(link(original.constData(), path.constData()), 0);
        urls.push_back(FileUrl::fromPath(path));
    }
    ThumbnailLoader loader(DecoderPool::instance(), [](const FileUrl&, const QImage&) {});
    const auto makeAll = [&](const std::vector<FileUrl>& wanted) {
        loader.setWanted(wanted);
        return QTest::qWaitFor([&] { return loader.isIdle(); }, 300000);
    };
    QVERIFY(makeAll({urls.begin(), urls.begin() + 500}));
    loader.setWanted({});
    KLThumbnailCache::purge();
    const Belongings before = settledBelongings();
    const qint64 bytesBefore = residentBytes();
    QVERIFY(makeAll(urls));
    QVERIFY(!KLThumbnailCache::imageWithURL(urls.back()).isNull());
    loader.setWanted({});
    KLThumbnailCache::purge();
    const Belongings after = settledBelongings();
    QVERIFY2(isAsBefore(before, after), description(before, after).constData());
    const qint64 growth = residentBytes() - bytesBefore;
    QVERIFY2(growth < allowedGrowth, QByteArray::number(growth).constData());
}

QTEST_MAIN(LeftoversTest)
#include "LeftoversTest.moc"
