#include "PixelWriter.h"

#include "SharedBitmap.h"

#include <QTest>

#include <fcntl.h>
#include <unistd.h>

using namespace frameflow;

namespace {

QImage bitmap()
{
    QImage image(100, 1000, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            image.setPixel(x, y, qRgb(x, y % 256, (x + y) % 256));
        }
    }
    return image;
}

QByteArray contents(const FileDescriptor& memory, qsizetype count)
{
    QByteArray bytes(count, '\0');
    const ssize_t length = pread(memory.number(), bytes.data(), count, 0);
    return bytes.left(std::max<ssize_t>(length, 0));
}

QByteArray bytesOf(const QImage& image, int lines)
{
    return {reinterpret_cast<const char*>(image.constBits()), qsizetype(lines * image.bytesPerLine())};
}

} // namespace

// Lines on their way to the memory that they are handed over in.
class PixelWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesAreWrittenAsTheyCome();
    void allAtOnceAreWrittenToo();
    void aBitmapThatIsNotDoneIsNotWhole();
    void memoryThatCannotBeWrittenToIsTold();
    void itKnowsItsBitmap();
    void endingItWaitsForTheLinesThatWereTold();
};

void PixelWriterTest::linesAreWrittenAsTheyCome()
{
    const QImage image = bitmap();
    const FileDescriptor memory = emptySharedMemory();
    const auto writer = PixelWriter::start(memory.number(), image);
    writer->advance(500);
    QTRY_COMPARE(contents(memory, image.sizeInBytes()), bytesOf(image, 500));
    writer->advance(1000);
    QVERIFY(writer->finish());
    QCOMPARE(contents(memory, image.sizeInBytes()), bytesOf(image, 1000));
}

void PixelWriterTest::allAtOnceAreWrittenToo()
{
    const QImage image = bitmap();
    const FileDescriptor memory = emptySharedMemory();
    const auto writer = PixelWriter::start(memory.number(), image);
    for (int lines = 1; lines <= image.height(); ++lines) {
        writer->advance(lines);
    }
    QVERIFY(writer->finish());
    QCOMPARE(contents(memory, image.sizeInBytes()), bytesOf(image, 1000));
}

void PixelWriterTest::aBitmapThatIsNotDoneIsNotWhole()
{
    const QImage image = bitmap();
    const FileDescriptor memory = emptySharedMemory();
    const auto writer = PixelWriter::start(memory.number(), image);
    writer->advance(999);
    QVERIFY(!writer->finish());
    const auto idle = PixelWriter::start(memory.number(), image);
    QVERIFY(!idle->finish());
}

void PixelWriterTest::memoryThatCannotBeWrittenToIsTold()
{
    const QImage image = bitmap();
    const FileDescriptor reading(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const auto writer = PixelWriter::start(reading.number(), image);
    writer->advance(500);
    writer->advance(1000);
    QVERIFY(!writer->finish());
}

void PixelWriterTest::itKnowsItsBitmap()
{
    const QImage image = bitmap();
    const FileDescriptor memory = emptySharedMemory();
    const auto writer = PixelWriter::start(memory.number(), image);
    QVERIFY(writer->isOf(image));
    QVERIFY(!writer->isOf(image.copy()));
    QVERIFY(!writer->isOf(QImage()));
}

void PixelWriterTest::endingItWaitsForTheLinesThatWereTold()
{
    const QImage image = bitmap();
    const FileDescriptor memory = emptySharedMemory();
    {
        const auto writer = PixelWriter::start(memory.number(), image);
        writer->advance(700);
    }
    QCOMPARE(contents(memory, image.sizeInBytes()), bytesOf(image, 700));
}

QTEST_GUILESS_MAIN(PixelWriterTest)
#include "PixelWriterTest.moc"
