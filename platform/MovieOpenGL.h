#pragma once

#include <functional>
#include <memory>

struct mpv_render_context;

namespace frameflow {

class OpenGLHandover;

// Draws the frames of a movie with OpenGL; made by its engine, which may go first. All of it, its end included, belongs
// to one thread, with one OpenGL context current.
class MovieOpenGL
{
public:
    // Finds a function of OpenGL by its name, in the current context.
    struct Functions
    {
        void* (*find)(void* argument, const char* name);
        void* argument;
    };

    enum class Drawn
    {
        Nothing, // there is no frame yet
        Frame,
        Kept, // there is none any more: what was drawn last is to stay
        Failed, // it cannot draw, and never will
    };

    explicit MovieOpenGL(std::shared_ptr<OpenGLHandover> handover);
    ~MovieOpenGL();
    MovieOpenGL(const MovieOpenGL&) = delete;
    MovieOpenGL& operator=(const MovieOpenGL&) = delete;

    // Draws the frame that is due, or the last one again, into a framebuffer of so many pixels.
    Drawn draw(const Functions& functions, int framebuffer, int width, int height);
    // Lets the movie go on where nobody sees it. Nothing is drawn.
    Drawn passOver(const Functions& functions);
    // Whether either has been asked since the engine had something to draw, so that the movie plays.
    bool hasBegun() const { return mContext != nullptr; }

    // Whether ending it waits for nothing. It does soon after its engine has gone, as long as frames are passed over.
    bool canEnd() const;
    // Called on any thread when there may be something to pass over, or it can end; it must not call back.
    void setWatcher(std::function<void()> watcher);
    // Waits until it can end, passing over; not for long.
    void prepareEnd(const Functions& functions);

private:
    Drawn prepare(const Functions& functions);
    bool render(int framebuffer, bool skips);

    std::shared_ptr<OpenGLHandover> mHandover;
    mpv_render_context* mContext = nullptr; // the handover's
    int mWidth = 1; // of the framebuffer that was drawn into last
    int mHeight = 1;
    bool mHasFrame = false;
    bool mIsDue = false; // and has not been drawn
};

} // namespace frameflow
