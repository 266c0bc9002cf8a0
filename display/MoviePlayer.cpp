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

MoviePlayerPtr MoviePlayer::playerWithURL(const FileUrl& url, const ProbedMovie& movie)
{
    if (MovieEngine::isMissing()) {
        return nullptr;
    }
    MoviePlayerPtr player(new MoviePlayer(url, movie));
    const auto line = std::make_shared<Line>();
    line->player = player;
    player->open(line);
    return player;
}

MoviePlayer::MoviePlayer(const FileUrl& url, const ProbedMovie& movie) : mUrl(url), mMovie(movie) { }

MoviePlayer::~MoviePlayer() = default;

void MoviePlayer::open(const std::shared_ptr<Line>& line)
{
    MovieEngine::Setup setup;
    setup.open = [url = mUrl] { return openMovie(url); };
    setup.container = containerFor(mUrl);
    setup.turn = {mMovie.facts.rotation, mMovie.facts.isMirrored};
    // One note at a time is on its way: it has the newest looked at.
    setup.changed = [line] {
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
    if (mEngine) {
        mEngine->setVolume(std::clamp(volume, 0.0, 1.0));
    }
}

void MoviePlayer::setMuted(bool muted)
{
    if (mEngine) {
        mEngine->setMuted(muted);
    }
}

void MoviePlayer::setTarget(const MovieTarget& target)
{
    if (mEngine) {
        mEngine->setTarget(hasVideo() ? target : MovieTarget());
    }
}

QImage MoviePlayer::frame()
{
    const FramePicture* const picture = mEngine ? mEngine->frames().newest() : nullptr;
    return picture != nullptr
        ? QImage(picture->bytes(), picture->width(), picture->height(), picture->bytesPerLine(), QImage::Format_RGB32)
        : QImage();
}

void MoviePlayer::close()
{
    mEngine.reset();
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
    const quint64 frames = mEngine->frames().count();
    if (std::exchange(mFramesTold, frames) != frames) {
        Q_EMIT frameChanged();
    }
    if (now.hasBegun && !before.hasBegun) {
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
