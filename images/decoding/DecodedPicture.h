#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>

namespace frameflow {

enum class DecodeError
{
    None,
    Unreadable, // cannot be opened or read, or is not a regular file
    NotAPicture, // its contents are of no type that is shown
    Damaged,
    TooLarge, // for the memory of this machine
};

enum class Turn
{
    AsStored,
    Upright,
};

// What is wanted of a file.
struct DecodeRequest
{
    QByteArray fileName; // its suffix says what to try first; never opened
    int longestSide = 0; // pixels that neither side may exceed; 0 for full size
    Turn turn = Turn::Upright;
};

// What became of a file. With an error the picture is null.
struct DecodedPicture
{
    QImage pixels; // sRGB; RGB32 when opaque, else ARGB32_Premultiplied
    QSize size; // of the picture in the file, turned as pixels is; larger than pixels where that is a reduced one
    int orientation = 1; // EXIF orientation still to be applied
    DecodeError error = DecodeError::None;

    static DecodedPicture failed(DecodeError error)
    {
        DecodedPicture picture;
        picture.error = error;
        return picture;
    }
};

} // namespace frameflow
