#include "PictureMemory.h"

#include "Limits.h"
#include "TargetMemory.h"

#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace frameflow;
using namespace std::chrono_literals;

namespace {

constexpr QSize photograph(3072, 2048);
constexpr qint64 photographBytes = qint64(3072) * 2048 * 4; // whole pages
constexpr BitmapLayout photographLayout{3072, 2048, 12288, QImage::Format_RGB32};

ino_t inodeOf(const PictureMemory& memory)
{
    struct stat status = {};
    return fstat(memory.descriptor(), &status) == 0 ? status.st_ino : 0;
}

qint64 bytesHeld(int descriptor)
{
    struct stat status = {};
    constexpr qint64 block = 512;
    return fstat(descriptor, &status) == 0 ? status.st_blocks * block : -1;
}

void put(const PictureMemory& memory, qint64 place, QRgb colour)
{
    if (pwrite(memory.descriptor(), &colour, sizeof(colour), place) != ssize_t(sizeof(colour))) {
        qFatal("the memory cannot be written to");
    }
}

TimePoint now()
{
    return std::chrono::steady_clock::now();
}

} // namespace

class PictureMemoryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void itsSizeNeverChanges();
    void noMemoryOfNoSize();
    void imagesAreTheMemoryItself();
    void changingAnImageLeavesTheMemoryAlone();
    void aCopyLiesBehindThePicture();
    void layoutsBeyondTheMemoryAreRefused();
    void pagesAreGivenBackThoughADecoderKnowsTheMemory();
    void nothingIsTakenBeforeALargePictureCame_data();
    void nothingIsTakenBeforeALargePictureCame();
    void thereIsRoomForTheLargestOfTheLastFew();
    void memoryIsUsedAgainWhenItsLastImageIsGone();
    void memoryThatIsAboutToComeBackIsWaitedFor();
    void memoryThatDoesNotComeBackIsMadeAnew();
    void closingEndsTheWait();
    void onlySomeIsKept();
    void whatIsNotWantedSoonIsGivenBack();
    void memoryOfAnotherSizeIsNotUsed();
    void memoryTwiceAsLargeIsUsed();
    void aClosedStoreKeepsNothing();
    void imagesOutliveTheStore();
    void anyThreadMayDropImages();

private:
    // How large the memory is that is handed out when the last pictures had one size and those before them another.
    static qint64 sizeTakenAfter(qint64 before, qint64 last)
    {
        const auto store = std::make_shared<PictureMemoryStore>([] {});
        store->noteSize(before);
        store->take(); // and back at once
        for (int i = 0; i < 4; ++i) {
            store->noteSize(last);
        }
        return store->take()->size();
    }

    std::shared_ptr<PictureMemoryStore> mStore;
    std::atomic<int> mChanges = 0;
};

void PictureMemoryTest::init()
{
    mChanges = 0;
    mStore = std::make_shared<PictureMemoryStore>([this] { ++mChanges; });
}

void PictureMemoryTest::itsSizeNeverChanges()
{
    const auto memory = PictureMemory::create(photographBytes);
    QVERIFY(memory);
    QCOMPARE(memory->size(), photographBytes);
    QCOMPARE(ftruncate(memory->descriptor(), 1), -1);
    QCOMPARE(ftruncate(memory->descriptor(), photographBytes + 1), -1);
    QCOMPARE(fcntl(memory->descriptor(), F_ADD_SEALS, F_SEAL_WRITE), -1); // nor may anybody else stop its use
}

void PictureMemoryTest::noMemoryOfNoSize()
{
    QVERIFY(!PictureMemory::create(0));
    QVERIFY(!PictureMemory::create(-100'000));
}

void PictureMemoryTest::imagesAreTheMemoryItself()
{
    const std::shared_ptr<PictureMemory> memory = PictureMemory::create(photographBytes);
    const auto image = PictureMemory::image(memory, photographLayout);
    QVERIFY(image);
    QCOMPARE(image->size(), photograph);
    put(*memory, photographBytes - 4, qRgb(1, 2, 3));
    QCOMPARE(image->pixel(3071, 2047), qRgb(1, 2, 3));
    QCOMPARE(memory.use_count(), 2);
}

void PictureMemoryTest::changingAnImageLeavesTheMemoryAlone()
{
    const std::shared_ptr<PictureMemory> memory = PictureMemory::create(photographBytes);
    auto image = PictureMemory::image(memory, photographLayout);
    image->fill(Qt::red);
    QCOMPARE(PictureMemory::image(memory, photographLayout)->pixel(0, 0), qRgb(0, 0, 0));
}

void PictureMemoryTest::aCopyLiesBehindThePicture()
{
    constexpr QSize small(30, 20);
    constexpr qint64 smallBytes = qint64(30) * 20 * 4;
    // A picture whose end is not at a round number.
    constexpr BitmapLayout odd{1, 3, 4, QImage::Format_RGB32};
    const std::shared_ptr<PictureMemory> memory = PictureMemory::create(placeBehind(12) + smallBytes);
    QVERIFY(placeBehind(12) >= 12);
    QCOMPARE(placeBehind(placeBehind(12)), placeBehind(12));
    const auto copy = PictureMemory::imageBehind(memory, odd, small);
    QVERIFY(copy);
    QCOMPARE(copy->size(), small);
    put(*memory, placeBehind(12), qRgb(9, 8, 7));
    QCOMPARE(copy->pixel(0, 0), qRgb(9, 8, 7));
    QVERIFY(!PictureMemory::imageBehind(memory, odd, QSize(30, 2000)));
    QVERIFY(!PictureMemory::imageBehind(memory, odd, QSize(0, 0)));
    QVERIFY(!PictureMemory::imageBehind(memory, odd, QSize(-30, -20)));
}

void PictureMemoryTest::layoutsBeyondTheMemoryAreRefused()
{
    const std::shared_ptr<PictureMemory> memory = PictureMemory::create(photographBytes);
    QVERIFY(PictureMemory::image(memory, photographLayout));
    QVERIFY(!PictureMemory::image(memory, {3072, 2049, 12288, QImage::Format_RGB32}));
    QVERIFY(!PictureMemory::image(memory, {3073, 2048, 12292, QImage::Format_RGB32}));
    QVERIFY(!PictureMemory::image(memory, {3072, 2048, 12284, QImage::Format_RGB32}));
    QVERIFY(!PictureMemory::image(memory, {3072, -2048, 12288, QImage::Format_RGB32}));
    QVERIFY(!PictureMemory::image(memory, {3072, 2048, 12288, QImage::Format_RGB888}));
    QCOMPARE(memory.use_count(), 1);
}

void PictureMemoryTest::pagesAreGivenBackThoughADecoderKnowsTheMemory()
{
    auto memory = PictureMemory::create(photographBytes);
    const FileDescriptor decoders(dup(memory->descriptor()));
    void* const mapped = mmap(nullptr, photographBytes, PROT_READ | PROT_WRITE, MAP_SHARED, decoders.number(), 0);
    QVERIFY(mapped != MAP_FAILED);
    static_cast<char*>(mapped)[photographBytes - 1] = 'x';
    QVERIFY(bytesHeld(decoders.number()) > 0);
    memory.reset();
    QCOMPARE(bytesHeld(decoders.number()), 0);
    munmap(mapped, photographBytes);
}

void PictureMemoryTest::nothingIsTakenBeforeALargePictureCame_data()
{
    QTest::addColumn<QList<qint64>>("sizes");
    QTest::addColumn<bool>("expected");
    QTest::newRow("none yet") << QList<qint64>{} << false;
    QTest::newRow("a small one") << QList<qint64>{1'000'000} << false;
    QTest::newRow("a large one") << QList<qint64>{photographBytes} << true;
    QTest::newRow("a large one before small ones") << QList<qint64>{photographBytes, 1, 1, 1} << true;
    QTest::newRow("small ones since") << QList<qint64>{photographBytes, 1, 1, 1, 1} << false;
}

void PictureMemoryTest::nothingIsTakenBeforeALargePictureCame()
{
    QFETCH(QList<qint64>, sizes);
    for (const qint64 size : sizes) {
        mStore->noteSize(size);
    }
    QTEST(mStore->take() != nullptr, "expected");
}

void PictureMemoryTest::thereIsRoomForTheLargestOfTheLastFew()
{
    for (const qint64 size : {photographBytes, 2 * photographBytes, photographBytes}) {
        mStore->noteSize(size);
    }
    QCOMPARE(mStore->take()->size(), 2 * photographBytes);
    // More than can be held is not set aside, whatever a decoder says.
    mStore->noteSize(std::numeric_limits<qint64>::max());
    QCOMPARE(mStore->take()->size(), 2 * mostPixelsHeld * 4);
}

void PictureMemoryTest::memoryIsUsedAgainWhenItsLastImageIsGone()
{
    mStore->noteSize(photographBytes);
    auto memory = mStore->take();
    const ino_t inode = inodeOf(*memory);
    auto image = PictureMemory::image(memory, photographLayout);
    memory.reset();
    QVERIFY(inodeOf(*mStore->take()) != inode);
    QImage copy = *image;
    image.reset();
    QVERIFY(inodeOf(*mStore->take()) != inode);
    copy = QImage();
    QCOMPARE(inodeOf(*mStore->take()), inode);
}

void PictureMemoryTest::memoryThatIsAboutToComeBackIsWaitedFor()
{
    mStore->noteSize(photographBytes);
    mStore->take(); // and back at once
    auto memory = mStore->take();
    const ino_t inode = inodeOf(*memory);
    std::atomic<bool> isWaiting = false;
    ino_t taken = 0;
    std::thread taker([&] {
        isWaiting = true;
        taken = inodeOf(*mStore->take(1min));
    });
    QTRY_VERIFY(isWaiting);
    memory.reset();
    taker.join();
    QCOMPARE(taken, inode);
}

void PictureMemoryTest::memoryThatDoesNotComeBackIsMadeAnew()
{
    mStore->noteSize(photographBytes);
    // Before any has come back none is waited for.
    const auto first = mStore->take(24h);
    auto second = mStore->take(24h);
    second.reset();
    const auto third = mStore->take(24h);
    const auto fourth = mStore->take(1ms);
    QVERIFY(fourth);
    QVERIFY(inodeOf(*fourth) != inodeOf(*first) && inodeOf(*fourth) != inodeOf(*third));
}

void PictureMemoryTest::closingEndsTheWait()
{
    mStore->noteSize(photographBytes);
    mStore->take();
    const auto memory = mStore->take();
    std::thread taker([&] { mStore->take(24h); });
    mStore->close();
    taker.join();
}

void PictureMemoryTest::onlySomeIsKept()
{
    mStore->noteSize(photographBytes);
    std::vector<FileDescriptor> descriptors;
    {
        std::vector<std::shared_ptr<PictureMemory>> memories;
        for (int i = 0; i < 4; ++i) {
            memories.push_back(mStore->take());
            put(*memories.back(), 0, 1);
            descriptors.emplace_back(dup(memories.back()->descriptor()));
        }
    }
    QCOMPARE(mChanges, 4);
    // Those that came back first are given back, on a thread of their own.
    QTRY_COMPARE(bytesHeld(descriptors[0].number()) + bytesHeld(descriptors[1].number()), 0);
    QVERIFY(bytesHeld(descriptors[2].number()) > 0);
    QVERIFY(bytesHeld(descriptors[3].number()) > 0);
}

void PictureMemoryTest::whatIsNotWantedSoonIsGivenBack()
{
    QVERIFY(!mStore->nextEnd());
    mStore->noteSize(photographBytes);
    auto memory = mStore->take();
    put(*memory, 0, 1);
    const FileDescriptor descriptor(dup(memory->descriptor()));
    QVERIFY(!mStore->nextEnd());
    memory.reset();
    const auto end = mStore->nextEnd();
    QVERIFY(end && *end > now());
    mStore->endIdle(*end - 1ns);
    QVERIFY(mStore->nextEnd());
    QVERIFY(bytesHeld(descriptor.number()) > 0);
    mStore->endIdle(*end);
    QVERIFY(!mStore->nextEnd());
    QTRY_COMPARE(bytesHeld(descriptor.number()), 0);
}

void PictureMemoryTest::memoryOfAnotherSizeIsNotUsed()
{
    mStore->noteSize(photographBytes);
    const ino_t inode = inodeOf(*mStore->take()); // and back at once
    mStore->noteSize(photographBytes + 1);
    const auto larger = mStore->take();
    QVERIFY(larger->size() > photographBytes);
    QVERIFY(inodeOf(*larger) != inode);
    QVERIFY(!mStore->nextEnd());
    // Nor is one that would be nearly empty.
    QCOMPARE(sizeTakenAfter(4 * photographBytes, photographBytes), photographBytes);
}

// Pictures of a camera and of a telephone, in turn.
void PictureMemoryTest::memoryTwiceAsLargeIsUsed()
{
    QCOMPARE(sizeTakenAfter(2 * photographBytes, photographBytes), 2 * photographBytes);
}

void PictureMemoryTest::aClosedStoreKeepsNothing()
{
    mStore->noteSize(photographBytes);
    auto memory = mStore->take();
    put(*memory, 0, 1);
    const FileDescriptor descriptor(dup(memory->descriptor()));
    mStore->close();
    QVERIFY(!mStore->take());
    memory.reset();
    QVERIFY(!mStore->nextEnd());
    QTRY_COMPARE(bytesHeld(descriptor.number()), 0);
}

void PictureMemoryTest::imagesOutliveTheStore()
{
    mStore->noteSize(photographBytes);
    auto memory = mStore->take();
    put(*memory, 0, qRgb(1, 2, 3));
    const FileDescriptor descriptor(dup(memory->descriptor()));
    auto image = PictureMemory::image(memory, photographLayout);
    memory.reset();
    mStore.reset();
    QCOMPARE(image->pixel(0, 0), qRgb(1, 2, 3));
    image.reset();
    QTRY_COMPARE(bytesHeld(descriptor.number()), 0);
}

void PictureMemoryTest::anyThreadMayDropImages()
{
    mStore->noteSize(photographBytes);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int k = 0; k < 50; ++k) {
                const auto image = PictureMemory::image(mStore->take(), {100, 10, 400, QImage::Format_RGB32});
                QVERIFY(image);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(mChanges, 200);
    QVERIFY(mStore->nextEnd());
}

QTEST_GUILESS_MAIN(PictureMemoryTest)
#include "PictureMemoryTest.moc"
