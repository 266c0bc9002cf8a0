#include "HeldPictures.h"

#include "DecoderPool.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QImage>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

void HeldPictures::useDecoder()
{
    DecoderPool::Options options = DecoderPool::installed();
    options.commonDecoder = QFile::encodeName(QCoreApplication::applicationDirPath()) + "/held_decoder";
    DecoderPool::configure(options);
}

void HeldPictures::addTo(const TestFolder& folder, const QByteArray& name, QColor colour)
{
    const QByteArray pipe = mPipes.pathOf(name);
    if (mkfifo(pipe.constData(), 0600) != 0) {
        qFatal("cannot make %s", pipe.constData());
    }
    QImage picture(40, 30, QImage::Format_RGB32);
    picture.fill(colour);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "png");
    folder.addFile(name, "held " + pipe + '\n' + bytes);
}

QList<qint64> HeldPictures::decodersOf(const QByteArray& name) const
{
    QFile notes(QFile::decodeName(mPipes.pathOf(name) + ".decoders"));
    const QByteArray text = notes.open(QIODevice::ReadOnly) ? notes.readAll().simplified() : QByteArray();
    QList<qint64> processes;
    for (const QByteArray& process : text.isEmpty() ? QList<QByteArray>() : text.split(' ')) {
        processes.append(process.toLongLong());
    }
    return processes;
}

void HeldPictures::answer(const QByteArray& name, char word)
{
    const QByteArray pipe = mPipes.pathOf(name);
    int descriptor = -1;
    // It opens for writing as soon as the decoder is there to read.
    const bool opened = QTest::qWaitFor(
        [&] {
            descriptor = open(pipe.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            return descriptor >= 0;
        },
        1000);
    if (opened) {
        static_cast<void>(write(descriptor, &word, 1));
        close(descriptor);
    }
}

} // namespace frameflow
