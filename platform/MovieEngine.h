#pragma once

#include "FrameExchange.h"
#include "MovieOpenGL.h"

#include <QByteArray>

#include <chrono>
#include <functional>
#include <memory>

namespace frameflow {

// How large a movie is to be drawn, in device pixels as it is looked at; nothing is drawn for a size of nothing. What
// is cut off of it, so that its shape is kept, is cut off evenly on both sides.
struct MovieTarget
{
    int width = 0;
    int height = 0;
    bool crops = false; // else it is stretched to the size

    friend bool operator==(const MovieTarget& a, const MovieTarget& b)
    {
        return a.width == b.width && a.height == b.height && a.crops == b.crops;
    }
};

// Who draws its frames.
enum class MovieOutput
{
    Raster, // a thread of the engine, into FrameExchange
    OpenGL, // who asks drawWithOpenGL()
};

// What is known of a movie that plays.
struct MovieState
{
    bool hasBegun = false; // its first frame or sound was decoded
    bool isAtEnd = false; // its last frame stands
    bool hasFailed = false; // for good
    int timesEnded = 0; // how often its end was reached
    double position = 0; // seconds
    double duration = 0; // seconds; 0 where the file does not tell
};

// Plays one movie file, beginning paused. Two threads of its own do the work, by the player library: one talks to it,
// the other draws, where nobody else does. For the main thread; no call waits for anything.
class MovieEngine
{
public:
    struct Setup
    {
        // Opens the file: a descriptor that the engine will close, or a negative number. Called on one of its threads.
        std::function<int()> open;
        MovieOutput output = MovieOutput::Raster;
        QByteArray container; // to be taken for this type of file; empty to find out
        FrameTurn turn; // of its frames
        double start = 0; // seconds from which it begins
        // The state has changed in more than its position, or there is a new frame. Called on any thread, even for a
        // moment after the engine is gone.
        std::function<void()> changed;
    };

    enum class Seek
    {
        Exact,
        Quick, // to a frame nearby that can be decoded by itself
    };

    explicit MovieEngine(Setup setup);
    // What plays falls silent; the threads end by themselves.
    ~MovieEngine();
    MovieEngine(const MovieEngine&) = delete;
    MovieEngine& operator=(const MovieEngine&) = delete;

    void setPaused(bool paused);
    void seek(double seconds, Seek how);
    // One frame on or back, pausing.
    void step(bool forward);
    // 0 to 1.
    void setVolume(double volume);
    void setMuted(bool muted);
    void setTarget(const MovieTarget& target);

    MovieState state() const;
    // Of MovieOutput::Raster.
    FrameExchange& frames();
    // Of MovieOutput::OpenGL, which loads the movie only when drawing has begun. To be asked once.
    std::unique_ptr<MovieOpenGL> drawWithOpenGL();
    // How many frames there have been to show, of either.
    quint64 frameCount() const;

    // The names of the types of files that are played, between commas.
    static QByteArray containers();
    // Loads the player library in the background, ahead of the first movie.
    static void prepare();
    // Whether no movie can be played, as far as is known.
    static bool isMissing();
    // Waits until the threads of engines that are gone have ended, for so long at most; false when some have not.
    static bool waitForThreads(std::chrono::milliseconds atMost);

private:
    class State;
    std::shared_ptr<State> mState;
};

} // namespace frameflow
