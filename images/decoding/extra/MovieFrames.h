#pragma once

#include "MovieFile.h"

namespace frameflow {

// Each decodes in the calling thread, as far as the movie's limits allow; null when no frame could be had. The streams
// are those of the movie.

// The frame that is shown at a time in the stream's units; where it cannot be had, the last one before that can, or
// else the first one behind.
FfmpegPtr<AVFrame> frameAt(MovieFile& movie, const AVStream* stream, int64_t time);

// The first frame from where the movie is read now.
FfmpegPtr<AVFrame> nextFrame(MovieFile& movie, const AVStream* stream);

// The still picture that belongs to sound.
FfmpegPtr<AVFrame> coverFrame(const MovieFile& movie);

// Whether any of the sound can be decoded.
bool hasPlayableSound(MovieFile& movie);

} // namespace frameflow
