#pragma once

#include "TestFiles.h"

#include <QImage>
#include <QSize>

namespace frameflow {

// Real movies in a temporary folder, written by the ffmpeg command.
class MovieFiles
{
public:
    // Fails the program (qFatal) when the command is missing.
    MovieFiles();

    const TestFolder& folder() const { return mFolder; }
    QByteArray pathOf(const QByteArray& name) const { return mFolder.pathOf(name); }
    QByteArray contentsOf(const QByteArray& name) const;

    // Runs the command with options in words, to a file of that name; "%folder" stands for the folder. False when it
    // fails, which it tells.
    bool make(const QByteArray& name, const QByteArray& options) const;

    // The options' input of ten seconds of 25 numbered pictures each, and that of ten seconds of sound.
    static QByteArray numbers() { return "-i %folder/numbers.mkv"; }
    static QByteArray sound() { return "-f lavfi -i sine=440:duration=10"; }
    // One that shows quartersPicture() for a second, ten times.
    static QByteArray quarters() { return "-framerate 10 -loop 1 -t 1 -i %folder/quarters.png"; }

private:
    TestFolder mFolder;
};

constexpr QSize numbersSize(128, 96);

// The number of the picture from the stripes in it; negative where these are neither black nor white.
int numberIn(const QImage& image);

// The file with the matrix that its first track is to be shown by, which turns it as an EXIF orientation does.
QByteArray withOrientation(QByteArray mp4, int orientation);

// The file with four bytes replaced by a number, at a distance from a box's name.
QByteArray patched(QByteArray mp4, const char* box, qsizetype distance, quint32 value);

} // namespace frameflow
