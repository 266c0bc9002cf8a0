#include "MoviePlayer.h"

#include "MainThread.h"
#include "OpenedFile.h"

#include <algorithm>
#include <cmath>

#include <fcntl.h>

namespace frameflow {

namespace {

// Pictures in a row are told from a single one by the name alone.
QByteArray containerFor(const FileUrl& url)
{
    const QByteArray suffix = url.extension().toByteArray().toLower();
    return suffix == "mjpeg" || suffix == "mjpg" ? QByteArrayLiteral("mjpeg") : QByteArray();
}

int openMovie(const FileUrl& url)
{
    const OpenedFile opened = openFile(url);
    return opened.file.isOpen() ? fcntl(opened.file.number(), F_DUPFD_CLOEXEC, 3) : -1;
}

} // namespace

MoviePlayerPtr MoviePlayer::playerWithURL(const FileUrl& url, const ProbedMovie& movie, MovieOutput output)
{
    if (MovieEngine::isMissing()) {
        return nullptr;
    }
    // The library turns what it draws with OpenGL by itself, but mirrors nothing.
    const bool isDrawnByLibrary = movie.facts.hasVideo && !movie.facts.isMirrored;
    MoviePlayerPtr player(new MoviePlayer(url, movie, isDrawnByLibrary ? output : MovieOutput::Raster));
    player->mLine = std::make_shared<Line>();
    player->mLine->player = player;
    player->open(0);
    return player;
}

MoviePlayer::MoviePlayer(const FileUrl& url, const ProbedMovie& movie, MovieOutput output)
    : mUrl(url), mMovie(movie), mOutput(output)
{
}

MoviePlayer::~MoviePlayer() = default;

void MoviePlayer::open(double start)
{
    MovieEngine::Setup setup;
    setup.open = [url = mUrl] { return openMovie(url); };
    setup.output = mOutput;
    setup.container = containerFor(mUrl);
    setup.turn = {mMovie.facts.rotation, mMovie.facts.isMirrored};
    // One note at a time is on its way: it has the newest looked at.
    setup.start = start;
    setup.changed = [line = mLine] {
        if (!line->isPosted.exchange(true)) {
            postToMainThread([line] {
                line->isPosted = false;
                if (const auto player = line->player.lock()) {
                    player->update();
                }
            });
        }
    };
    mEngine = std::make_unique<MovieEngine>(std::move(setup));
}

void MoviePlayer::play()
{
    if (!mEngine || mLast.hasFailed) {
        return;
    }
    if (mLast.isAtEnd) {
        mEngine->seek(0, MovieEngine::Seek::Exact);
    }
    mEngine->setPaused(mIsScrubbing);
    mIsPlaying = true;
    Q_EMIT stateChanged();
}

void MoviePlayer::pause()
{
    if (!mEngine) {
        return;
    }
    mEngine->setPaused(true);
    mIsPlaying = false;
    Q_EMIT stateChanged();
}

double MoviePlayer::position() const
{
    return mEngine ? mEngine->state().position : 0;
}

double MoviePlayer::duration() const
{
    const double told = mEngine ? mEngine->state().duration : 0;
    return told > 0 ? told : mMovie.facts.seconds;
}

void MoviePlayer::seek(double seconds, MovieEngine::Seek how)
{
    if (mEngine && std::isfinite(seconds)) {
        mEngine->seek(std::max(0.0, seconds), how);
    }
}

void MoviePlayer::beginScrubbing()
{
    mIsScrubbing = true;
    if (mEngine) {
        mEngine->setPaused(true);
    }
}

void MoviePlayer::endScrubbing()
{
    mIsScrubbing = false;
    if (mEngine) {
        mEngine->setPaused(!mIsPlaying);
    }
}

void MoviePlayer::step(bool forward)
{
    if (!mEngine || !hasVideo()) {
        return;
    }
    mEngine->step(forward);
    mIsPlaying = false;
    Q_EMIT stateChanged();
}

void MoviePlayer::setVolume(double volume)
{
    mVolume = std::clamp(volume, 0.0, 1.0);
    if (mEngine) {
        mEngine->setVolume(mVolume);
    }
}

void MoviePlayer::setMuted(bool muted)
{
    mIsMuted = muted;
    if (mEngine) {
        mEngine->setMuted(muted);
    }
}

void MoviePlayer::setTarget(const MovieTarget& target)
{
    mTarget = hasVideo() ? target : MovieTarget();
    if (mEngine) {
        mEngine->setTarget(mTarget);
    }
}

std::unique_ptr<MovieOpenGL> MoviePlayer::drawWithOpenGL()
{
    return mEngine ? mEngine->drawWithOpenGL() : nullptr;
}

QImage MoviePlayer::frame()
{
    const bool isDrawn = mEngine && mOutput == MovieOutput::Raster;
    const FramePicture* const picture = isDrawn ? mEngine->frames().newest() : nullptr;
    return picture != nullptr
        ? QImage(picture->bytes(), picture->width(), picture->height(), picture->bytesPerLine(), QImage::Format_RGB32)
        : mLastFrame;
}

void MoviePlayer::changeOutput(MovieOutput output, const QImage& last)
{
    if (!mEngine) {
        return;
    }
    const MovieState before = mEngine->state();
    mLastFrame = last;
    mOutput = output;
    if (before.hasFailed) {
        return;
    }
    open(before.position);
    mLast = MovieState();
    mFramesTold = 0;
    mEngine->setVolume(mVolume);
    mEngine->setMuted(mIsMuted);
    mEngine->setTarget(mTarget);
    mEngine->setPaused(!mIsPlaying || mIsScrubbing);
}

void MoviePlayer::close()
{
    mEngine.reset();
    mLastFrame = QImage();
    mIsPlaying = false;
}

// Tells what has changed since it told last. Whoever hears it may close the player.
void MoviePlayer::update()
{
    if (!mEngine) {
        return;
    }
    const MovieState before = std::exchange(mLast, mEngine->state());
    const MovieState now = mLast;
    const quint64 frames = mEngine->frameCount();
    if (std::exchange(mFramesTold, frames) != frames) {
        Q_EMIT frameChanged();
    }
    if (now.hasBegun && !std::exchange(mHasBegun, true)) {
        Q_EMIT began();
    }
    // An end that is found by hand is none.
    const bool hasEnded = now.timesEnded != before.timesEnded && mIsPlaying && !mIsScrubbing;
    const bool failsNow = now.hasFailed && !before.hasFailed;
    const bool stops = mIsPlaying && (hasEnded || failsNow);
    mIsPlaying = mIsPlaying && !stops;
    if (stops || now.duration != before.duration || now.isAtEnd != before.isAtEnd) {
        Q_EMIT stateChanged();
    }
    if (hasEnded && mEngine) {
        Q_EMIT didPlayToEnd();
    }
    if (failsNow && mEngine) {
        Q_EMIT failedToPlayToEnd();
    }
}

} // namespace frameflow
