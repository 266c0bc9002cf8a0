#include "MovieFolder.h"

#include <QProcess>
#include <QStringList>

namespace frameflow {

namespace {

bool ffmpeg(const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral("ffmpeg"),
        QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-nostdin"), QStringLiteral("-y")}
            + arguments);
    return process.waitForFinished(300000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace

bool writeCountedMovie(const QString& samples, const QString& path)
{
    const QString pan = QStringLiteral(
        "[0]scale=2500:1400:force_original_aspect_ratio=increase,crop=1920:1080:'(iw-1920)*t/10':'(ih-1080)*t/10',"
        "noise=alls=7:allf=t,format=yuv420p[picture];");
    const QString strip = QStringLiteral("[1]format=gray,geq=lum='if(mod(floor(N/pow(2,floor(X*%1/W))),2),235,16)',"
                                         "format=yuv420p[strip];[picture][strip]overlay=0:0")
                              .arg(movieBits);
    return ffmpeg({QStringLiteral("-framerate"), QStringLiteral("30"), QStringLiteral("-loop"), QStringLiteral("1"),
        QStringLiteral("-i"), samples + QStringLiteral("/07 Mountain Lake.jpg"), QStringLiteral("-f"),
        QStringLiteral("lavfi"), QStringLiteral("-i"),
        QStringLiteral("color=black:s=1920x%1:r=30").arg(movieStripHeight), QStringLiteral("-filter_complex"),
        pan + strip, QStringLiteral("-frames:v"), QString::number(movieFrames), QStringLiteral("-c:v"),
        QStringLiteral("libx264"), QStringLiteral("-preset"), QStringLiteral("veryfast"), QStringLiteral("-b:v"),
        QStringLiteral("8M"), QStringLiteral("-maxrate"), QStringLiteral("8M"), QStringLiteral("-minrate"),
        QStringLiteral("8M"), QStringLiteral("-bufsize"), QStringLiteral("8M"), path});
}

bool writeShortMovie(const QString& path)
{
    return ffmpeg({QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
        QStringLiteral("testsrc2=s=1280x720:r=30:d=0.4"), QStringLiteral("-f"), QStringLiteral("lavfi"),
        QStringLiteral("-i"), QStringLiteral("sine=440:d=0.4"), QStringLiteral("-c:v"), QStringLiteral("libx264"),
        QStringLiteral("-c:a"), QStringLiteral("aac"), path});
}

int numberInStrip(const QImage& strip)
{
    int number = 0;
    for (int i = 0; i < movieBits && !strip.isNull(); ++i) {
        const int x = (2 * i + 1) * strip.width() / (2 * movieBits);
        const int grey = qGray(strip.pixel(x, strip.height() / 2));
        if (grey > 64 && grey < 192) {
            return -1;
        }
        number |= grey >= 192 ? 1 << i : 0;
    }
    return strip.isNull() ? -1 : number;
}

} // namespace frameflow
