#include "PrintableText.h"
#include "ReadAhead.h"
#include "SlideController.h"

#include <algorithm>
#include <utility>

namespace frameflow {

namespace {

// A show in which every slide fails makes another round no sooner than this.
constexpr Duration timeBeforeRetry = std::chrono::seconds(1);

} // namespace

// The show pauses for the length of the movie.
bool SlideController::showMovie(const Candidate& candidate)
{
    const auto movie = ReadAhead::instance().takeMovie(candidate.url);
    const MoviePlayerPtr player
        = movie ? MoviePlayer::playerWithURL(candidate.url, *movie, mFullScreenView->movieOutput()) : nullptr;
    if (!player) {
        return false;
    }
    // One that is shown anew, as after a change of its file, holds up the show that the first one has held up.
    const bool heldUp = mMovie && mWasPlaying;
    forgetMovie();
    watchMovie(player);
    const std::weak_ptr<MoviePlayer> observed = player;
    connect(
        player.get(), &MoviePlayer::stateChanged, mFullScreenView, [this, observed] { movieWentOn(observed.lock()); });
    mScreenWindow->setWindowTitle(printable(QString::fromUtf8(candidate.url.fileName()).simplified()));
    mFullScreenView->showMovie(player, candidate.forward);
    mMovieIsPlaying = true;
    mWasPlaying = mTimerExists || heldUp;
    Stop();
    return true;
}

void SlideController::watchMovie(const MoviePlayerPtr& player)
{
    mMovie = player;
    const std::weak_ptr<MoviePlayer> observed = player;
    connect(player.get(), &MoviePlayer::didPlayToEnd, this, [this, observed] {
        mFailedMovies.clear();
        movieDidEnd(observed.lock());
    });
    connect(player.get(), &MoviePlayer::failedToPlayToEnd, this, [this, observed] { movieDidFail(observed.lock()); });
    connect(player.get(), &MoviePlayer::stateChanged, this,
        [this, observed] { mMovieIsPlaying = mMovie && mMovie == observed.lock() && mMovie->isPlaying(); });
}

// One that has ended at the end of the show stays on screen, and its controls may have it played again.
void SlideController::movieWentOn(const MoviePlayerPtr& player)
{
    const bool isShown = player && mFullScreenView->isMovieActive() && mFullScreenView->moviePlayer() == player;
    if (isShown && !mMovie && !isWaiting() && mEndedMovie.lock() == player && player->isPlaying()) {
        watchMovie(player);
        mMovieIsPlaying = true;
        mWasPlaying = mTimerExists;
        Stop();
    }
}

void SlideController::movieDidEnd(const MoviePlayerPtr& player)
{
    if (!player || player != mMovie) {
        return; // another one has taken its place
    }
    mMovieIsPlaying = false;
    mEndedMovie = player;
    if (mFullScreenView != nullptr && mFullScreenView->isBusy()) {
        mEndedWhileBusy = player;
        return;
    }
    inTurn([this, player] {
        if (player == mMovie) {
            stepForward();
        }
    });
}

// A movie that cannot be played has come to its end, but for this: a show of nothing else would never rest.
void SlideController::movieDidFail(const MoviePlayerPtr& player)
{
    if (!player || player != mMovie) {
        return;
    }
    const FileUrl& url = player->url();
    if (std::find(mFailedMovies.begin(), mFailedMovies.end(), url) == mFailedMovies.end()) {
        mFailedMovies.push_back(url);
        movieDidEnd(player);
        return;
    }
    mFailedMovies.clear();
    mMovieIsPlaying = false;
    mRetry.start(mClock.now() + timeBeforeRetry, [this, player] { movieDidEnd(player); });
}

bool SlideController::checkMovie()
{
    if (!mMovie) {
        return false;
    }
    mMovie->pause();
    afterMovie();
    return true;
}

void SlideController::afterMovie()
{
    if (mWasPlaying) {
        Start();
    }
    forgetMovie();
}

// The view keeps showing where it stands until another slide comes.
void SlideController::forgetMovie()
{
    if (mMovie) {
        mMovie->disconnect(this);
    }
    mMovie = nullptr;
    mEndedWhileBusy = nullptr;
    mMovieIsPlaying = false;
    mRetry.stop();
}

} // namespace frameflow
