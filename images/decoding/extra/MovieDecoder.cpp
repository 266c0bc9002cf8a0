#include "MovieDecoder.h"

#include "Limits.h"
#include "MovieFrames.h"
#include "MoviePicture.h"
#include "Orientation.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace frameflow {

namespace {

// The middle of a movie is given in these parts of a second.
constexpr int timeScale = 600;

// Puts the frame into the answer, as it is shown.
void setPixels(DecodedPicture& picture, MovieFile& movie, AVStream* stream, AVFrame& frame, int longestSide)
{
    const AVRational pixelShape = av_guess_sample_aspect_ratio(movie.format(), stream, &frame);
    const int orientation = orientationOf(stream);
    const QSize shown = squareSize({frame.width, frame.height}, pixelShape);
    QImage pixels = pictureOf(frame, heldSize(shown, longestSide));
    if (orientation != 1 && !pixels.isNull()) {
        pixels = turnedUpright(pixels, orientationTransform(pixels.size(), orientation));
    }
    picture.size = turnedSize(shown, orientation);
    picture.pixels = std::move(pixels);
}

// The time in a stream's units of the frame in the middle.
int64_t middleOf(MovieFile& movie, const AVStream* stream)
{
    const double middle = std::round(movie.seconds() / 2 * timeScale) / timeScale;
    // Containers with coarse units round the times of their frames.
    const double unit = av_q2d(stream->time_base);
    const double rounding = std::min(unit, 1.0 / timeScale) / 2;
    return av_sat_add64(movie.startIn(stream), unitsOf(middle + rounding, stream));
}

bool isTooLarge(const AVStream* stream)
{
    return !canDecodeFrame(stream->codecpar->width, stream->codecpar->height);
}

DecodedPicture decodeMiddle(int descriptor, const DecodeRequest& request, const MovieLimits& limits)
{
    DecodeError error = DecodeError::Damaged;
    auto movie = MovieFile::open(descriptor, request.fileName, limits, &error);
    if (!movie) {
        return DecodedPicture::failed(error);
    }
    if (movie->video() == nullptr) {
        return DecodedPicture::failed(DecodeError::NotAPicture);
    }
    if (isTooLarge(movie->video())) {
        return DecodedPicture::failed(DecodeError::TooLarge);
    }
    auto frame = frameAt(*movie, movie->video(), middleOf(*movie, movie->video()));
    if (!frame) {
        // From where the search has led there may be no way back.
        movie = MovieFile::open(descriptor, request.fileName, limits, &error);
        frame = movie && movie->video() != nullptr ? nextFrame(*movie, movie->video()) : nullptr;
    }
    if (!frame) {
        return DecodedPicture::failed(DecodeError::Damaged);
    }
    DecodedPicture picture;
    setPixels(picture, *movie, movie->video(), *frame, request.longestSide);
    return picture.pixels.isNull() ? DecodedPicture::failed(DecodeError::TooLarge) : picture;
}

// False when nothing of it can be played.
bool probeSound(MovieFile& movie, const DecodeRequest& request, DecodedPicture& picture)
{
    MovieFacts& facts = *picture.movie;
    facts.hasAudio = hasPlayableSound(movie);
    if (!facts.hasAudio) {
        return false;
    }
    const auto cover = coverFrame(movie);
    if (cover) {
        setPixels(picture, movie, movie.cover(), *cover, request.longestSide);
    }
    facts.hasCover = !picture.pixels.isNull();
    return true;
}

DecodedPicture probe(int descriptor, const DecodeRequest& request, const MovieLimits& limits)
{
    DecodeError error = DecodeError::Damaged;
    const auto movie = MovieFile::open(descriptor, request.fileName, limits, &error);
    if (!movie) {
        return DecodedPicture::failed(error);
    }
    AVStream* const video = movie->video();
    DecodedPicture picture;
    picture.movie.emplace();
    const auto frame = video != nullptr && !isTooLarge(video) ? nextFrame(*movie, video) : nullptr;
    if (frame) {
        setPixels(picture, *movie, video, *frame, request.longestSide);
        if (picture.pixels.isNull()) {
            return DecodedPicture::failed(DecodeError::TooLarge);
        }
        picture.movie->hasVideo = true;
        picture.movie->hasAudio = movie->audio() != nullptr;
        picture.movie->size = picture.size;
        picture.movie->rotation = rotationOf(orientationOf(video));
        picture.movie->isMirrored = isMirrored(orientationOf(video));
    } else if (!probeSound(*movie, request, picture)) {
        return DecodedPicture::failed(
            video != nullptr && isTooLarge(video) ? DecodeError::TooLarge : DecodeError::Damaged);
    }
    picture.movie->seconds = movie->seconds();
    return picture;
}

template <typename Function>
DecodedPicture withinMemory(Function function)
{
    try {
        return function();
    } catch (const std::bad_alloc&) {
        return DecodedPicture::failed(DecodeError::TooLarge);
    }
}

} // namespace

DecodedPicture decodeMovieFrame(int descriptor, const DecodeRequest& request)
{
    return withinMemory([&] { return decodeMiddle(descriptor, request, {}); });
}

DecodedPicture probeMovie(int descriptor, const DecodeRequest& request)
{
    return withinMemory([&] { return probe(descriptor, request, {}); });
}

} // namespace frameflow
