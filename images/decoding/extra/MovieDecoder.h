#pragma once

#include "DecodedPicture.h"

namespace frameflow {

// Reads a movie through the descriptor, which must be a regular file, and leaves it open; opens nothing that the movie
// names. Frames come upright in sRGB, reduced to the longest side that is wanted.

// The frame that is shown at half the movie's length, or the nearest that can be had. Sound alone is NotAPicture, cover
// or not.
DecodedPicture decodeMovieFrame(int descriptor, const DecodeRequest& request);

// What the movie is, with its first frame; for sound alone its cover or no pixels. What cannot be played is Damaged, a
// list of other files or anything else NotAPicture.
DecodedPicture probeMovie(int descriptor, const DecodeRequest& request);

} // namespace frameflow
