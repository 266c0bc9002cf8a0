#pragma once

#include "FrameRule.h"

#include <QByteArray>
#include <QImage>
#include <QSize>

#include <optional>

namespace frameflow {

enum class DecodeError
{
    None,
    Unreadable, // cannot be opened or read, or is not a regular file
    NotAPicture, // its contents are of no type that is shown
    Damaged,
    TooLarge, // for the memory of this machine
    NeedsExtraDecoders, // of a type that this decoder leaves to the other kind
    NoThumbnail, // the file holds none, and no other was asked for
    DecoderLost, // it crashed, hung, or broke its limits or the rules of its answers, twice
    Cancelled,
};

enum class Turn
{
    AsStored,
    Upright,
};

enum class Wanted
{
    Picture,
    MovieFrame, // the one in the middle of the movie
    MovieProbe, // what the movie is, and its first frame
};

// What is wanted of a file.
struct DecodeRequest
{
    Wanted wanted = Wanted::Picture;
    QByteArray fileName; // its suffix says what to try first; never opened
    int longestSide = 0; // pixels that neither side may exceed; 0 for full size
    Turn turn = Turn::Upright;
    // A copy as large as it is shown is wanted, too, of an upright picture that is larger.
    FrameRule frame = {};
    // Of a thumbnail: whoever asks can make one without the file, unless there is one stored in that, which goes
    // before. It is made all the same of types where looking for a stored one takes as long.
    bool isHeld = false;
};

// What a movie is. Without a video stream the size is empty.
struct MovieFacts
{
    QSize size; // as displayed: pixel shape and rotation applied
    int rotation = 0; // degrees clockwise that its frames are to be turned by: 0, 90, 180 or 270
    bool isMirrored = false; // its frames are to be mirrored, left to right, before they are turned
    double seconds = 0; // 0 where the file does not tell
    bool hasVideo = false;
    bool hasAudio = false;
    bool hasCover = false; // its picture is a still one that belongs to sound
};

// What became of a file. With an error the picture is null.
struct DecodedPicture
{
    QImage pixels; // sRGB; RGB32 when opaque, else ARGB32_Premultiplied
    QImage reduced; // a copy in a size that was asked for, in the same colours; null where none was made
    QSize size; // of the picture in the file, turned as pixels is; larger than pixels where that is a reduced one
    int orientation = 1; // EXIF orientation still to be applied
    std::optional<MovieFacts> movie; // of a probe; its pixels may be null when there is only sound
    DecodeError error = DecodeError::None;

    static DecodedPicture failed(DecodeError error)
    {
        DecodedPicture picture;
        picture.error = error;
        return picture;
    }
};

} // namespace frameflow
