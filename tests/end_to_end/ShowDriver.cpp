#include "ShowDriver.h"

#include "SettingsKeys.h"

#include <QColor>
#include <QElapsedTimer>
#include <QPainter>
#include <QSet>

#include <cstdio>

namespace frameflow::e2e {

ShowDriver::ShowDriver(const QString& program) : mServer(XServer::open()), mProgram(program)
{
    if (!mServer) {
        qFatal("no display");
    }
    set(keys::hintsShown, true);
    set(keys::autoStart, false);
    set(keys::sort, keys::sortByName);
    set(keys::transition, QStringLiteral("None"));
    // Away from the top edge, where it would reveal the menu bar.
    mServer->moveMouse(mServer->bounds().center());
}

QString ShowDriver::builtProgram()
{
    return QStringLiteral(FRAMEFLOW_PROGRAM);
}

QString ShowDriver::samplesFolder()
{
    return QStringLiteral(FRAMEFLOW_SAMPLES);
}

bool ShowDriver::start(const QList<QByteArray>& arguments)
{
    writeSettingsNow();
    return startAsItIs(arguments);
}

bool ShowDriver::startAsItIs(const QList<QByteArray>& arguments)
{
    QStringList texts;
    for (const QByteArray& argument : arguments) {
        texts.append(QString::fromUtf8(argument));
    }
    return mProgram.start(texts, mVariables);
}

bool ShowDriver::startAndRest()
{
    return startWithFolder() && showWindow() && waitUntilAtRest();
}

bool ShowDriver::waitUntilAtRest(std::chrono::milliseconds quiet) const
{
    qint64 last = -1;
    QElapsedTimer unchanged;
    return waitFor(
        [&] {
            const qint64 now = mProgram.contextSwitches();
            if (now != last) {
                last = now;
                unchanged.restart();
            }
            return std::chrono::milliseconds(unchanged.elapsed()) >= quiet;
        },
        std::chrono::seconds(30));
}

bool ShowDriver::waitForScreen(const QImage& expected, const QString& name, const PictureTolerance& tolerance) const
{
    const bool reached = waitFor([&] {
        const auto difference = comparePictures(screen(), expected);
        return difference.isOfOneSize && difference.largestError <= tolerance.largestError
            && difference.worstTileError <= tolerance.worstTileError;
    });
    return reached || isSamePicture(screen(), expected, name, tolerance);
}

bool ShowDriver::waitForColour(QColor colour) const
{
    QImage expected(mServer->bounds().size(), QImage::Format_RGB32);
    expected.fill(colour);
    return waitForScreen(expected, colour.name().mid(1), {4, 4.0});
}

bool ShowDriver::waitForManyColours() const
{
    return waitFor([this] {
        const QImage now = screen().scaled(64, 40);
        QSet<QRgb> colours;
        for (int y = 0; y < now.height(); ++y) {
            for (int x = 0; x < now.width(); ++x) {
                colours.insert(now.pixel(x, y));
            }
        }
        return colours.size() > 50;
    });
}

void ShowDriver::addColourTo(const TestFolder& other, const QByteArray& name, QColor colour, QSize size) const
{
    QImage picture(size.isEmpty() ? mServer->bounds().size() : size, QImage::Format_RGB32);
    picture.fill(colour);
    // Put there in one step: whoever watches the folder never sees half a picture.
    const QByteArray path = other.addFile(name + ".part", "");
    const QByteArray type = name.mid(name.lastIndexOf('.') + 1);
    if (!picture.save(QString::fromUtf8(path), type.constData(), 95)
        || std::rename(path.constData(), other.pathOf(name).constData()) != 0) {
        qFatal("cannot save %s", path.constData());
    }
}

QImage onBlack(const QImage& picture, const QRectF& rect, QSize area)
{
    QImage result(area, QImage::Format_RGB32);
    result.fill(Qt::black);
    QPainter painter(&result);
    const QRect whole = rect.toAlignedRect();
    painter.drawImage(whole.topLeft(), picture.scaled(whole.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    return result;
}

} // namespace frameflow::e2e
