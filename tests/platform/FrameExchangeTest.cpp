#include "FrameExchange.h"

#include <QTest>

#include <atomic>
#include <thread>

using namespace frameflow;

namespace {

constexpr quint32 mark = 0x102030;

// Every pixel tells its place.
void fill(FramePicture& picture)
{
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            picture.line(y)[x] = static_cast<quint32>(y * 1000 + x);
        }
    }
}

void fillAll(FramePicture& picture, quint32 value)
{
    for (int y = 0; y < picture.height(); ++y) {
        std::fill(picture.line(y), picture.line(y) + picture.width(), value);
    }
}

bool isAll(const FramePicture& picture, quint32 value)
{
    for (int y = 0; y < picture.height(); ++y) {
        if (std::any_of(picture.line(y), picture.line(y) + picture.width(),
                [value](quint32 pixel) { return pixel != value; })) {
            return false;
        }
    }
    return true;
}

} // namespace

// Frames on their way from the thread that draws them to the one that shows them.
class FrameExchangeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesBeginOn64Bytes();
    void sizesOfNothingAndOfTooMuchAreRefused_data();
    void sizesOfNothingAndOfTooMuchAreRefused();
    void turning_data();
    void turning();
    void thereIsNoneBeforeTheFirst();
    void theNewestWins();
    void whatIsShownStaysWhileTheNextIsDrawn();
    void aFrameThatIsBeingDrawnIsNotShown();
    void bothSidesAtOnce();
};

void FrameExchangeTest::linesBeginOn64Bytes()
{
    FramePicture picture;
    for (const int width : {1, 15, 16, 17, 1920}) {
        QVERIFY(picture.resize(width, 3));
        for (int y = 0; y < 3; ++y) {
            QCOMPARE(reinterpret_cast<quintptr>(picture.line(y)) % FramePicture::alignment, quintptr(0));
        }
        QVERIFY(picture.bytesPerLine() >= 4 * width);
    }
}

void FrameExchangeTest::sizesOfNothingAndOfTooMuchAreRefused_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("no width") << QSize(0, 10);
    QTest::newRow("no height") << QSize(10, 0);
    QTest::newRow("negative") << QSize(-5, 10);
    QTest::newRow("wider than any screen") << QSize(40000, 1);
    QTest::newRow("all the memory") << QSize(1000000, 1000000);
}

void FrameExchangeTest::sizesOfNothingAndOfTooMuchAreRefused()
{
    QFETCH(QSize, size);
    FramePicture picture;
    QVERIFY(!picture.resize(size.width(), size.height()));
    FrameExchange frames;
    QVERIFY(frames.begin(size.width(), size.height()) == nullptr);
    QVERIFY(frames.newest() == nullptr);
}

void FrameExchangeTest::turning_data()
{
    QTest::addColumn<int>("degrees");
    QTest::addColumn<bool>("isMirrored");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QPoint>("upperLeft"); // of the picture before, that is at the upper left afterwards
    QTest::addColumn<QPoint>("upperRight");
    const QSize odd(71, 45); // several tiles, none of them whole at the edges
    QTest::newRow("90") << 90 << false << odd << QPoint(0, 44) << QPoint(0, 0);
    QTest::newRow("180") << 180 << false << odd << QPoint(70, 44) << QPoint(0, 44);
    QTest::newRow("270") << 270 << false << odd << QPoint(70, 0) << QPoint(70, 44);
    QTest::newRow("mirrored") << 0 << true << odd << QPoint(70, 0) << QPoint(0, 0);
    QTest::newRow("mirrored, 90") << 90 << true << odd << QPoint(70, 44) << QPoint(70, 0);
    QTest::newRow("mirrored, 180") << 180 << true << odd << QPoint(0, 44) << QPoint(70, 44);
    QTest::newRow("mirrored, 270") << 270 << true << odd << QPoint(0, 0) << QPoint(0, 44);
    QTest::newRow("a single pixel") << 90 << false << QSize(1, 1) << QPoint(0, 0) << QPoint(0, 0);
    QTest::newRow("a line") << 270 << false << QSize(100, 1) << QPoint(99, 0) << QPoint(99, 0);
    QTest::newRow("a line, mirrored") << 90 << true << QSize(100, 1) << QPoint(99, 0) << QPoint(99, 0);
}

void FrameExchangeTest::turning()
{
    QFETCH(int, degrees);
    QFETCH(bool, isMirrored);
    QFETCH(QSize, size);
    QFETCH(QPoint, upperLeft);
    QFETCH(QPoint, upperRight);
    FramePicture from;
    FramePicture to;
    const FrameTurn turn{degrees, isMirrored};
    const QSize turned = turn.isOnItsSide() ? size.transposed() : size;
    QVERIFY(from.resize(size.width(), size.height()) && to.resize(turned.width(), turned.height()));
    fill(from);
    drawTurned(from, turn, to);
    const auto at = [](QPoint point) { return static_cast<quint32>(point.y() * 1000 + point.x()); };
    QCOMPARE(to.line(0)[0], at(upperLeft));
    QCOMPARE(to.line(0)[turned.width() - 1], at(upperRight));
    // Turned back, it is what it was. What is mirrored comes back by the same turn.
    FramePicture back;
    QVERIFY(back.resize(size.width(), size.height()));
    drawTurned(to, {isMirrored ? degrees : 360 - degrees, isMirrored}, back);
    for (int y = 0; y < size.height(); ++y) {
        QVERIFY(std::equal(back.line(y), back.line(y) + size.width(), from.line(y)));
    }
}

void FrameExchangeTest::thereIsNoneBeforeTheFirst()
{
    FrameExchange frames;
    QVERIFY(frames.newest() == nullptr);
    QVERIFY(frames.begin(4, 4) != nullptr);
    QVERIFY(frames.newest() == nullptr);
    QCOMPARE(frames.count(), quint64(0));
}

void FrameExchangeTest::theNewestWins()
{
    FrameExchange frames;
    for (quint32 i = 1; i <= 3; ++i) {
        fillAll(*frames.begin(8, 8), i);
        frames.publish();
    }
    QCOMPARE(frames.newest()->line(0)[0], 3U);
    QCOMPARE(frames.newest()->line(0)[0], 3U);
    QCOMPARE(frames.count(), quint64(3));
}

void FrameExchangeTest::whatIsShownStaysWhileTheNextIsDrawn()
{
    FrameExchange frames;
    fillAll(*frames.begin(8, 8), mark);
    frames.publish();
    const FramePicture* const shown = frames.newest();
    fillAll(*frames.begin(4, 4), 7);
    frames.publish();
    fillAll(*frames.begin(16, 16), 8);
    QCOMPARE(shown->width(), 8);
    QVERIFY(isAll(*shown, mark));
}

void FrameExchangeTest::aFrameThatIsBeingDrawnIsNotShown()
{
    FrameExchange frames;
    fillAll(*frames.begin(8, 8), mark);
    frames.publish();
    QVERIFY(isAll(*frames.newest(), mark));
    fillAll(*frames.begin(8, 8), 7);
    frames.publish();
    fillAll(*frames.begin(8, 8), 8); // before anybody has looked at the one that was published
    QVERIFY(isAll(*frames.newest(), mark));
    frames.publish();
    QVERIFY(isAll(*frames.newest(), 8));
}

void FrameExchangeTest::bothSidesAtOnce()
{
    FrameExchange frames;
    std::atomic<bool> isOver = false;
    std::thread drawing([&] {
        for (quint32 i = 1; i <= 3000; ++i) {
            const int side = 8 + static_cast<int>(i % 3) * 8;
            fillAll(*frames.begin(side, side), i);
            frames.publish();
        }
        isOver = true;
    });
    bool wasWhole = true;
    quint32 last = 0;
    bool wentBack = false;
    while (!isOver) {
        if (const FramePicture* const picture = frames.newest()) {
            const quint32 number = picture->line(0)[0];
            wasWhole = wasWhole && isAll(*picture, number);
            wentBack = wentBack || number < last;
            last = number;
        }
    }
    drawing.join();
    QVERIFY(wasWhole);
    QVERIFY(!wentBack);
    QVERIFY(isAll(*frames.newest(), 3000));
}

QTEST_GUILESS_MAIN(FrameExchangeTest)
#include "FrameExchangeTest.moc"
