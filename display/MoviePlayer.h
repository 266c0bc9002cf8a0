#pragma once

#include "FileUrl.h"
#include "MovieEngine.h"
#include "ReadAhead.h"

#include <QImage>
#include <QObject>

#include <atomic>
#include <memory>

namespace frameflow {

class MoviePlayer;
using MoviePlayerPtr = std::shared_ptr<MoviePlayer>;

// Plays one movie, or piece of music. It begins paused at the start. Main thread. Its signals come from the event loop;
// whoever hears one may let go of the player.
class MoviePlayer final : public QObject
{
    Q_OBJECT

public:
    // Null when no movie can be played on this machine.
    static MoviePlayerPtr playerWithURL(
        const FileUrl& url, const ProbedMovie& movie, MovieOutput output = MovieOutput::Raster);
    ~MoviePlayer() override;

    const FileUrl& url() const { return mUrl; }
    bool hasVideo() const { return mMovie.facts.hasVideo; }
    bool hasAudio() const { return mMovie.facts.hasAudio; }
    // As displayed, rotation and the shape of the pixels applied; empty without a picture.
    QSize naturalSize() const { return hasVideo() ? mMovie.facts.size : QSize(); }
    // The first frame, or the cover of a piece of music; null without one.
    const KLImagePtr& picture() const { return mMovie.picture; }

    // From its end, it plays from the start again.
    void play();
    void pause();
    // Whether it was told to play and has not come to its end.
    bool isPlaying() const { return mIsPlaying; }
    // Seconds.
    double position() const;
    double duration() const; // 0 where it is not known
    void seek(double seconds, MovieEngine::Seek how);
    // While somebody looks for a place in it, it stands still without being paused.
    void beginScrubbing();
    void endScrubbing();
    // One frame on or back, pausing.
    void step(bool forward);
    // 0 to 1.
    void setVolume(double volume);
    void setMuted(bool muted);

    // For its view: how large the frames are to be.
    void setTarget(const MovieTarget& target);
    // Who draws its frames. A piece of music has none.
    MovieOutput output() const { return mOutput; }
    // Of MovieOutput::OpenGL; it plays only when drawing has begun. To be asked once for each such output; null when
    // closed.
    std::unique_ptr<MovieOpenGL> drawWithOpenGL();
    // The newest frame of its own, in the size of some target; valid until the next call. Null before the first one,
    // and for MovieOutput::OpenGL.
    QImage frame();
    // Goes on from where it stands with another output, or a new one of the same. "Last" is its frame until there is a
    // new one; null if none was seen.
    void changeOutput(MovieOutput output, const QImage& last);

    // Gives up what playing takes. The last frame is gone, and there are no signals any more.
    void close();
    bool isClosed() const { return mEngine == nullptr; }

Q_SIGNALS:
    void didPlayToEnd();
    // It cannot be played, or not to its end. Comes once.
    void failedToPlayToEnd();
    // Its first frame or sound is there.
    void began();
    void frameChanged();
    // Whether it plays, or its duration.
    void stateChanged();

private:
    // How the engine's threads reach the player.
    struct Line
    {
        std::weak_ptr<MoviePlayer> player;
        std::atomic<bool> isPosted = false;
    };

    MoviePlayer(const FileUrl& url, const ProbedMovie& movie, MovieOutput output);
    void open(double start);
    void update();

    const FileUrl mUrl;
    const ProbedMovie mMovie;
    MovieOutput mOutput;
    std::shared_ptr<Line> mLine;
    std::unique_ptr<MovieEngine> mEngine; // null when closed
    MovieTarget mTarget;
    double mVolume = 1;
    bool mIsMuted = false;
    QImage mLastFrame; // of the output before; null for none
    MovieState mLast; // told already
    bool mHasBegun = false; // has been told
    quint64 mFramesTold = 0;
    bool mIsPlaying = false;
    bool mIsScrubbing = false;
};

} // namespace frameflow
