#include "SharedBitmap.h"

#include "Limits.h"
#include "PictureFiles.h"

#include <QFile>
#include <QTest>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace frameflow;

namespace {

constexpr unsigned allSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;
constexpr QSize size(100, 50);
constexpr qint64 line = 400;

FileDescriptor memoryWith(qint64 bytes, unsigned seals)
{
    FileDescriptor memory(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!memory.isOpen() || ftruncate(memory.number(), bytes) != 0
        || (seals != 0 && fcntl(memory.number(), F_ADD_SEALS, seals) != 0)) {
        qFatal("no memory to test with");
    }
    return memory;
}

BitmapLayout layoutOf(QSize bitmap, qint64 bytesPerLine, QImage::Format format = QImage::Format_RGB32)
{
    return {bitmap.width(), bitmap.height(), bytesPerLine, qint32(format)};
}

// The line about the mapping at that address in this process's own list; empty when nothing is mapped there.
QByteArray mappingAt(const void* address)
{
    QFile maps(QStringLiteral("/proc/self/maps"));
    maps.open(QIODevice::ReadOnly);
    const auto wanted = reinterpret_cast<quintptr>(address);
    for (const QByteArray& text : maps.readAll().split('\n')) {
        const QByteArray range = text.left(text.indexOf(' '));
        const QList<QByteArray> ends = range.split('-');
        if (ends.size() == 2 && ends.at(0).toULongLong(nullptr, 16) <= wanted
            && wanted < ends.at(1).toULongLong(nullptr, 16)) {
            return text;
        }
    }
    return {};
}

} // namespace

class SharedBitmapTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pixelsArriveAsTheyWere_data();
    void pixelsArriveAsTheyWere();
    void aCopyComesAlong();
    void copiesThatAreNotThereAreRefused();
    void memoryHasPagesWhereItHasBeenWritten();
    void whatIsSealedCannotBeChanged();
    void otherFormatsAreNotSealed();
    void mappedPixelsAreTheMemoryItself();
    void changingAnImageLeavesTheMemoryAlone();
    void memoryIsUnmappedWithTheLastImage_data();
    void memoryIsUnmappedWithTheLastImage();
    void memoryWithoutEverySealIsRefused_data();
    void memoryWithoutEverySealIsRefused();
    void layoutsThatMakeNoSenseAreRefused_data();
    void layoutsThatMakeNoSenseAreRefused();
    void layoutsAtTheLimitAreAccepted();
    void whatIsNoMemoryIsRefused();
    void memoryOfLargePagesIsRefused();
};

void SharedBitmapTest::pixelsArriveAsTheyWere_data()
{
    QTest::addColumn<QSize>("bitmap");
    QTest::addColumn<QImage::Format>("format");
    QTest::newRow("one pixel") << QSize(1, 1) << QImage::Format_RGB32;
    QTest::newRow("opaque") << QSize(301, 203) << QImage::Format_RGB32;
    QTest::newRow("with alpha") << QSize(301, 203) << QImage::Format_ARGB32_Premultiplied;
    QTest::newRow("a photograph's size") << QSize(3000, 2000) << QImage::Format_RGB32;
}

void SharedBitmapTest::pixelsArriveAsTheyWere()
{
    QFETCH(QSize, bitmap);
    QFETCH(QImage::Format, format);
    QImage image = quartersPicture(bitmap).convertToFormat(format);
    if (format == QImage::Format_ARGB32_Premultiplied) {
        image.fill(qRgba(10, 20, 30, 40));
    }
    const auto shared = sealed(image);
    QVERIFY(shared);
    const auto mapped = mapSealed(shared->memory, shared->layout);
    QVERIFY(mapped);
    QCOMPARE(mapped->format(), format);
    QCOMPARE(*mapped, image);
}

void SharedBitmapTest::aCopyComesAlong()
{
    const QImage image = quartersPicture(QSize(301, 203));
    const QImage copy = quartersPicture(QSize(31, 21));
    const auto shared = sealed(image, copy);
    QVERIFY(shared);
    auto mapped = mapSealedWithCopy(shared->memory, shared->layout, copy.size());
    QVERIFY(mapped);
    QCOMPARE(mapped->pixels, image);
    mapped->pixels = QImage(); // each holds the memory
    QCOMPARE(mapped->copy, copy);
    const auto alone = mapSealedWithCopy(shared->memory, shared->layout, QSize());
    QVERIFY(alone && alone->copy.isNull());
    QCOMPARE(alone->pixels, image);
}

void SharedBitmapTest::copiesThatAreNotThereAreRefused()
{
    const auto shared = sealed(quartersPicture(QSize(301, 203)), quartersPicture(QSize(31, 21)));
    QVERIFY(shared);
    for (const QSize copy : {QSize(31, 22), QSize(1'000'000, 1'000'000), QSize(8001, 8000)}) {
        QVERIFY(!mapSealedWithCopy(shared->memory, shared->layout, copy));
    }
}

void SharedBitmapTest::memoryHasPagesWhereItHasBeenWritten()
{
    const FileDescriptor memory = emptySharedMemory();
    constexpr qint64 bytes = qint64(1) << 20;
    QCOMPARE(ftruncate(memory.number(), bytes), 0);
    QVERIFY(!hasPages(memory.number(), bytes));
    const QByteArray half(bytes / 2, 'x');
    QVERIFY(writeBytes(reinterpret_cast<const uchar*>(half.constData()), half.size(), memory.number(), 0));
    QVERIFY(hasPages(memory.number(), bytes / 2));
    QVERIFY(!hasPages(memory.number(), bytes));
    QVERIFY(!hasPages(-1, 1));
}

void SharedBitmapTest::whatIsSealedCannotBeChanged()
{
    const auto shared = sealed(quartersPicture());
    QVERIFY(shared);
    const int memory = shared->memory.number();
    QCOMPARE(unsigned(fcntl(memory, F_GET_SEALS)) & allSeals, allSeals);
    QCOMPARE(pwrite(memory, "x", 1, 0), ssize_t(-1));
    QCOMPARE(ftruncate(memory, 0), -1);
    QCOMPARE(mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0), MAP_FAILED);
}

void SharedBitmapTest::otherFormatsAreNotSealed()
{
    QVERIFY(!sealed(QImage()));
    QVERIFY(!sealed(QImage(size, QImage::Format_RGB888)));
    QVERIFY(!sealed(QImage(size, QImage::Format_ARGB32)));
}

void SharedBitmapTest::mappedPixelsAreTheMemoryItself()
{
    const auto shared = sealed(quartersPicture());
    QVERIFY(shared);
    const auto mapped = mapSealed(shared->memory, shared->layout);
    QVERIFY(mapped);
    struct stat status = {};
    QCOMPARE(fstat(shared->memory.number(), &status), 0);
    const QByteArray mapping = mappingAt(mapped->constBits());
    QVERIFY2(mapping.contains(" r--p "), mapping.constData());
    QVERIFY2(mapping.contains(' ' + QByteArray::number(qint64(status.st_ino)) + ' '), mapping.constData());
}

void SharedBitmapTest::changingAnImageLeavesTheMemoryAlone()
{
    const auto shared = sealed(quartersPicture());
    auto mapped = mapSealed(shared->memory, shared->layout);
    QVERIFY(mapped);
    const uchar* const memory = mapped->constBits();
    mapped->fill(Qt::black);
    QVERIFY(mapped->constBits() != memory);
    QCOMPARE(mapSealed(shared->memory, shared->layout).value(), quartersPicture());
}

void SharedBitmapTest::memoryIsUnmappedWithTheLastImage_data()
{
    QTest::addColumn<QSize>("bitmap");
    QTest::newRow("small") << QSize(100, 50);
    QTest::newRow("large") << QSize(3000, 2000);
}

void SharedBitmapTest::memoryIsUnmappedWithTheLastImage()
{
    QFETCH(QSize, bitmap);
    auto shared = sealed(QImage(bitmap, QImage::Format_RGB32));
    auto mapped = mapSealed(shared->memory, shared->layout);
    QVERIFY(mapped);
    struct stat status = {};
    QCOMPARE(fstat(shared->memory.number(), &status), 0);
    const QByteArray inode = ' ' + QByteArray::number(qint64(status.st_ino)) + ' ';
    const uchar* const start = mapped->constBits();
    const uchar* const end = start + mapped->sizeInBytes() - 1;
    QImage copy = *mapped;
    mapped.reset();
    shared.reset();
    QVERIFY(mappingAt(start).contains(inode));
    QCOMPARE(copy.pixel(bitmap.width() - 1, 0), copy.pixel(bitmap.width() - 1, 0));
    copy = QImage();
    QTRY_VERIFY(!mappingAt(start).contains(inode) && !mappingAt(end).contains(inode));
}

void SharedBitmapTest::memoryWithoutEverySealIsRefused_data()
{
    QTest::addColumn<unsigned>("seals");
    QTest::newRow("none") << 0U;
    for (const unsigned missing : {F_SEAL_SHRINK, F_SEAL_GROW, F_SEAL_WRITE, F_SEAL_SEAL}) {
        QTest::addRow("all but %u", missing) << (allSeals & ~missing);
    }
}

void SharedBitmapTest::memoryWithoutEverySealIsRefused()
{
    QFETCH(unsigned, seals);
    const auto memory = memoryWith(line * size.height(), seals);
    QVERIFY(!mapSealed(memory, layoutOf(size, line)));
    QVERIFY(mapSealed(memoryWith(line * size.height(), allSeals), layoutOf(size, line)));
}

void SharedBitmapTest::layoutsThatMakeNoSenseAreRefused_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<qint64>("bytesPerLine");
    QTest::addColumn<int>("format");
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int rgb = QImage::Format_RGB32;
    QTest::newRow("no width") << 0 << 50 << line << rgb;
    QTest::newRow("no height") << 100 << 0 << line << rgb;
    QTest::newRow("negative width") << -100 << 50 << line << rgb;
    QTest::newRow("negative height") << 100 << -50 << line << rgb;
    QTest::newRow("both negative") << -100 << -50 << line << rgb;
    QTest::newRow("one line more than there is") << 100 << 51 << line << rgb;
    QTest::newRow("lines shorter than their pixels") << 100 << 50 << qint64(396) << rgb;
    QTest::newRow("lines longer than the memory") << 100 << 50 << qint64(404) << rgb;
    QTest::newRow("lines that end within a pixel") << 99 << 50 << qint64(398) << rgb;
    QTest::newRow("no lines") << 100 << 50 << qint64(0) << rgb;
    QTest::newRow("negative lines") << 100 << 50 << qint64(-400) << rgb;
    QTest::newRow("lines whose sum overflows") << 1 << 4 << (qint64(1) << 62) << rgb;
    QTest::newRow("lines of more than 31 bits") << 1 << 1 << (qint64(1) << 31) << rgb;
    QTest::newRow("pixels whose number overflows") << most << most << qint64(most) * 4 << rgb;
    QTest::newRow("more pixels than are held") << 8000 << 8001 << qint64(32000) << rgb;
    QTest::newRow("fewer pixels, but more bytes than are held") << 1 << 200 << qint64(1) * (2 << 20) << rgb;
    QTest::newRow("no format") << 100 << 50 << line << int(QImage::Format_Invalid);
    QTest::newRow("another format of 32 bits") << 100 << 50 << line << int(QImage::Format_ARGB32);
    QTest::newRow("a format with a table of colours") << 100 << 50 << line << int(QImage::Format_Indexed8);
    QTest::newRow("no format that there is") << 100 << 50 << line << 1000;
    QTest::newRow("a negative format") << 100 << 50 << line << -4;
}

void SharedBitmapTest::layoutsThatMakeNoSenseAreRefused()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(qint64, bytesPerLine);
    QFETCH(int, format);
    const auto memory = memoryWith(line * size.height(), allSeals);
    QVERIFY(mapSealed(memory, layoutOf(size, line)));
    QVERIFY(!mapSealed(memory, {width, height, bytesPerLine, format}));
}

void SharedBitmapTest::layoutsAtTheLimitAreAccepted()
{
    const auto padded = memoryWith(2 * line * size.height(), allSeals);
    QVERIFY(mapSealed(padded, layoutOf(size, 2 * line)));
    QVERIFY(mapSealed(padded, layoutOf(size, line)));
    // Not populated here, but by the mapping.
    constexpr qint64 longest = 32000;
    const auto most = memoryWith(mostPixelsHeld * 4, allSeals);
    QVERIFY(mapSealed(most, layoutOf(QSize(8000, 8000), longest)));
    QVERIFY(!mapSealed(memoryWith(mostPixelsHeld * 4 - 1, allSeals), layoutOf(QSize(8000, 8000), longest)));
}

void SharedBitmapTest::whatIsNoMemoryIsRefused()
{
    const TestFolder folder;
    const QByteArray path = folder.addFile("a", QByteArray(line * size.height(), 'x'));
    const FileDescriptor file(open(path.constData(), O_RDWR | O_CLOEXEC));
    QVERIFY(file.isOpen());
    QVERIFY(!mapSealed(file, layoutOf(size, line)));
    int ends[2] = {-1, -1};
    QCOMPARE(pipe(ends), 0);
    const FileDescriptor reading(ends[0]);
    const FileDescriptor writing(ends[1]);
    QVERIFY(!mapSealed(reading, layoutOf(size, line)));
    QVERIFY(!mapSealed(FileDescriptor(), layoutOf(size, line)));
}

void SharedBitmapTest::memoryOfLargePagesIsRefused()
{
    constexpr qint64 largePage = qint64(2) << 20;
    const FileDescriptor memory(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING | MFD_HUGETLB));
    if (memory.isOpen()) { // some kernels have none at all
        QCOMPARE(ftruncate(memory.number(), largePage), 0);
        QCOMPARE(fcntl(memory.number(), F_ADD_SEALS, allSeals), 0);
        QVERIFY(!mapSealed(memory, layoutOf(size, line)));
    }
}

QTEST_GUILESS_MAIN(SharedBitmapTest)
#include "SharedBitmapTest.moc"
