#include "MovieEngine.h"

#include "MovieDrawing.h"
#include "MpvLibrary.h"
#include "OpenGLHandover.h"

#include <array>
#include <clocale>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <malloc.h>
#include <pthread.h>
#include <unistd.h>

namespace frameflow {

namespace {

// What is played, as the decoders know it. No play list is among them, and nothing that asks a network.
constexpr char knownContainers[]
    = "aac,ac3,aiff,amr,ape,asf,au,avi,bink,dsf,dts,dtshd,dv,eac3,flac,flic,flv,gsm,iff,m4v,matroska,mjpeg,mov,mp3,mpc,"
      "mpc8,mpeg,mpegts,mpegvideo,mv,nsv,ogg,rm,smk,tta,vivo,voc,w64,wav,wv";

using Option = std::pair<const char*, const char*>;

// The file is all that is read: nothing that it points to, nothing that lies beside it, no settings of the library's
// own. Its last frame stands when it is over.
constexpr std::array options{
    Option{"config", "no"},
    Option{"load-scripts", "no"},
    Option{"ytdl", "no"},
    Option{"access-references", "no"},
    Option{"load-unsafe-playlists", "no"},
    Option{"autoload-files", "no"},
    Option{"ordered-chapters", "no"},
    Option{"demuxer", "lavf"}, // not the readers of play lists
    Option{"demuxer-lavf-probescore", "1"}, // what kind of file it is has been found out before
    Option{"demuxer-max-bytes", "32MiB"},
    Option{"demuxer-max-back-bytes", "8MiB"},
    Option{"save-position-on-quit", "no"},
    Option{"resume-playback", "no"},
    Option{"stop-screensaver", "no"},
    Option{"terminal", "no"},
    Option{"input-default-bindings", "no"},
    Option{"input-vo-keyboard", "no"},
    Option{"osc", "no"},
    Option{"osd-level", "0"},
    Option{"sid", "no"},
    Option{"embeddedfonts", "no"},
    Option{"audio-display", "no"}, // the cover of a piece of music is drawn elsewhere
    Option{"ao", "pulse,alsa"},
    Option{"audio-fallback-to-null", "yes"},
    Option{"audio-client-name", "Frameflow"},
    Option{"volume-max", "100"},
    Option{"vo", "libmpv"},
    Option{"hwdec", "no"},
    Option{"video-rotate", "no"}, // its software drawing ends the process on rotated movies
    Option{"keepaspect", "no"},
    Option{"keep-open", "yes"},
    Option{"idle", "yes"},
    Option{"hr-seek", "yes"},
    Option{"pause", "yes"},
};

// OpenGL turns the movie by itself. Its frames are shown as soon as they are there; what shines through them is black;
// those that are made much smaller stay smooth.
constexpr std::array openGLOptions{
    Option{"video-rotate", "0"}, Option{"video-timing-offset", "0"}, Option{"alpha", "blend"},
    Option{"background", "#000000"}, Option{"correct-downscaling", "yes"},
    Option{"gpu-hwdec-interop", "no"}, // would look for all there are, loading libraries
};

enum Property : uint64_t
{
    Position = 1,
    Duration,
    AtEnd,
};

// The threads of all engines, counted, so that the program's end can wait for them.
struct Threads
{
    std::mutex mutex;
    std::condition_variable ended;
    int running = 0;

    // Two movies at once take twice the memory, and may be heard together: a new one lets the one before end, unless
    // that takes its time.
    void waitForOlder()
    {
        std::unique_lock lock(mutex);
        ended.wait_for(lock, std::chrono::milliseconds(300), [this] { return running <= 1; });
    }

    static Threads& instance()
    {
        static auto* const threads = new Threads; // outlives every thread
        return *threads;
    }
};

double numberIn(const mpv_event_property& property)
{
    return property.format == MPV_FORMAT_DOUBLE ? *static_cast<double*>(property.data) : 0;
}

bool flagIn(const mpv_event_property& property)
{
    return property.format == MPV_FORMAT_FLAG && *static_cast<int*>(property.data) != 0;
}

} // namespace

// Shared by the engine and its threads.
class MovieEngine::State
{
public:
    using Command = std::function<void(const MpvLibrary& mpv, mpv_handle* handle)>;

    explicit State(Setup setup)
        : mSetup(std::move(setup)), mDrawing(mFrames, mSetup.turn, mSetup.changed),
          mHandover(mSetup.output == MovieOutput::OpenGL ? std::make_shared<OpenGLHandover>(mSetup.changed) : nullptr)
    {
        mState.position = mSetup.start;
    }

    void work();
    void post(Command command);
    void end();
    void fail();
    MovieState state() const;
    FrameExchange& frames() { return mFrames; }
    MovieDrawing& drawing() { return mDrawing; }
    const std::shared_ptr<OpenGLHandover>& handover() const { return mHandover; }

private:
    void rest(const MpvLibrary& mpv, mpv_handle* handle);
    bool startDrawing(const MpvLibrary& mpv, mpv_handle* handle);
    void stopDrawing();
    void freezeDrawing();
    void play(const MpvLibrary& mpv);
    mpv_handle* begin(const MpvLibrary& mpv) const;
    bool serve(const MpvLibrary& mpv, mpv_handle* handle);
    bool obey(const MpvLibrary& mpv, mpv_handle* handle);
    void handle(const mpv_event& event);
    void handle(uint64_t which, const mpv_event_property& property);
    template <typename Change>
    void change(Change change);

    const Setup mSetup;
    FrameExchange mFrames;
    MovieDrawing mDrawing; // of MovieOutput::Raster
    const std::shared_ptr<OpenGLHandover> mHandover; // null but for MovieOutput::OpenGL

    bool mIsResting = false; // plays nothing, and has no output; for the engine's own thread alone

    mutable std::mutex mMutex; // for what follows
    MovieState mState;
    std::vector<Command> mCommands;
    const MpvLibrary* mLibrary = nullptr; // while there is a handle; changed by the engine's own thread alone
    mpv_handle* mHandle = nullptr;
    bool mIsUnwanted = false;
};

template <typename Change>
void MovieEngine::State::change(Change change)
{
    {
        const std::lock_guard lock(mMutex);
        change(mState);
    }
    mSetup.changed();
}

MovieState MovieEngine::State::state() const
{
    const std::lock_guard lock(mMutex);
    return mState;
}

void MovieEngine::State::post(Command command)
{
    const std::lock_guard lock(mMutex);
    mCommands.push_back(std::move(command));
    if (mHandle != nullptr) {
        mLibrary->wakeup(mHandle);
    }
}

void MovieEngine::State::end()
{
    if (mHandover) {
        mHandover->withdraw();
    }
    const std::lock_guard lock(mMutex);
    mIsUnwanted = true;
    if (mHandle != nullptr) {
        mLibrary->wakeup(mHandle);
    }
}

void MovieEngine::State::fail()
{
    change([](MovieState& state) { state.hasFailed = true; });
}

void MovieEngine::State::work()
{
    const MpvLibrary* const mpv = MpvLibrary::instance();
    if (mpv == nullptr) {
        fail();
        return;
    }
    play(*mpv);
}

void MovieEngine::State::play(const MpvLibrary& mpv)
{
    const int file = mSetup.open();
    mpv_handle* const handle = file >= 0 ? begin(mpv) : nullptr;
    const bool isDrawn = handle != nullptr && startDrawing(mpv, handle);
    if (isDrawn) {
        {
            const std::lock_guard lock(mMutex);
            mLibrary = &mpv;
            mHandle = handle;
        }
        // Whether it plays or is paused is to be known when it is loaded.
        obey(mpv, handle);
        const QByteArray url = "fd://" + QByteArray::number(file);
        std::array<const char*, 3> load{"loadfile", url.constData(), nullptr};
        mpv.command(handle, load.data());
        while (serve(mpv, handle)) { }
        if (mHandover) {
            rest(mpv, handle);
        }
        const std::lock_guard lock(mMutex);
        mHandle = nullptr;
    } else if (handle == nullptr || !mHandover) {
        fail(); // else who draws it knows
    }
    stopDrawing();
    if (handle != nullptr) {
        mpv.terminateDestroy(handle);
    }
    if (file >= 0) {
        close(file);
    }
}

// Has the player put its output away while who draws still passes over what is due: it would wait for that.
void MovieEngine::State::rest(const MpvLibrary& mpv, mpv_handle* handle)
{
    std::array<const char*, 2> stop{"stop", nullptr};
    mpv.command(handle, stop.data());
    using Clock = std::chrono::steady_clock;
    const auto latest = Clock::now() + std::chrono::seconds(2);
    for (auto now = Clock::now(); !mIsResting && now < latest; now = Clock::now()) {
        const mpv_event* const event = mpv.waitEvent(handle, std::chrono::duration<double>(latest - now).count());
        mIsResting = event->event_id == MPV_EVENT_IDLE || event->event_id == MPV_EVENT_SHUTDOWN;
    }
}

bool MovieEngine::State::startDrawing(const MpvLibrary& mpv, mpv_handle* handle)
{
    return mHandover ? mHandover->offer(mpv, handle) : mDrawing.start(mpv, handle);
}

void MovieEngine::State::stopDrawing()
{
    if (mHandover) {
        mHandover->takeBack();
    } else {
        mDrawing.stop();
    }
}

void MovieEngine::State::freezeDrawing()
{
    if (mHandover) {
        mHandover->freeze();
    } else {
        mDrawing.freeze();
    }
}

// Null when it cannot be had.
mpv_handle* MovieEngine::State::begin(const MpvLibrary& mpv) const
{
    mpv_handle* const handle = mpv.create();
    if (handle == nullptr) {
        return nullptr;
    }
    for (const auto& [name, value] : options) {
        mpv.setOptionString(handle, name, value);
    }
    if (mHandover) {
        for (const auto& [name, value] : openGLOptions) {
            mpv.setOptionString(handle, name, value);
        }
    }
    // The length keeps its commas from being taken for the ends of settings.
    const QByteArray containers(knownContainers);
    const QByteArray only = "format_whitelist=%" + QByteArray::number(containers.size()) + '%' + containers;
    mpv.setOptionString(handle, "demuxer-lavf-o", only.constData());
    if (!mSetup.container.isEmpty()) {
        mpv.setOptionString(handle, "demuxer-lavf-format", mSetup.container.constData());
    }
    if (mSetup.start > 0) {
        mpv.setOptionString(handle, "start", QByteArray::number(mSetup.start, 'f', 3).constData());
    }
    if (mpv.initialize(handle) < 0) {
        mpv.terminateDestroy(handle);
        return nullptr;
    }
    mpv.observeProperty(handle, Property::Position, "time-pos", MPV_FORMAT_DOUBLE);
    mpv.observeProperty(handle, Property::Duration, "duration", MPV_FORMAT_DOUBLE);
    mpv.observeProperty(handle, Property::AtEnd, "eof-reached", MPV_FORMAT_FLAG);
    return handle;
}

// Waits for the next thing to do, and does it. False when there is nothing more to do.
bool MovieEngine::State::serve(const MpvLibrary& mpv, mpv_handle* handle)
{
    const mpv_event* const event = mpv.waitEvent(handle, -1);
    if (event->event_id != MPV_EVENT_NONE) {
        this->handle(*event);
    }
    return event->event_id != MPV_EVENT_SHUTDOWN && obey(mpv, handle);
}

// Carries out what was asked for meanwhile. False when nobody wants it any more.
bool MovieEngine::State::obey(const MpvLibrary& mpv, mpv_handle* handle)
{
    std::vector<Command> commands;
    {
        const std::lock_guard lock(mMutex);
        if (mIsUnwanted) {
            return false;
        }
        commands.swap(mCommands);
    }
    for (const Command& command : commands) {
        command(mpv, handle);
    }
    return true;
}

void MovieEngine::State::handle(const mpv_event& event)
{
    switch (event.event_id) {
    case MPV_EVENT_PROPERTY_CHANGE:
        handle(event.reply_userdata, *static_cast<mpv_event_property*>(event.data));
        break;
    case MPV_EVENT_PLAYBACK_RESTART: {
        // It may have been sought from one end to another.
        int isAtEnd = 0;
        mLibrary->getProperty(mHandle, "eof-reached", MPV_FORMAT_FLAG, &isAtEnd);
        change([&](MovieState& state) {
            state.hasBegun = true;
            state.isAtEnd = isAtEnd != 0;
            state.timesEnded += isAtEnd;
        });
        break;
    }
    case MPV_EVENT_START_FILE:
        mIsResting = false;
        break;
    case MPV_EVENT_IDLE:
        mIsResting = true;
        break;
    case MPV_EVENT_END_FILE:
        freezeDrawing();
        // As its last frame is kept, a movie that is whole does not get here.
        change([](MovieState& state) { state.hasFailed = true; });
        break;
    default:
        break;
    }
}

void MovieEngine::State::handle(uint64_t which, const mpv_event_property& property)
{
    switch (which) {
    case Property::Position: {
        const std::lock_guard lock(mMutex);
        mState.position = property.format == MPV_FORMAT_DOUBLE ? numberIn(property) : mState.position;
        break;
    }
    case Property::Duration:
        change([&](MovieState& state) { state.duration = numberIn(property); });
        break;
    case Property::AtEnd:
        change([&](MovieState& state) {
            const bool isAtEnd = flagIn(property);
            state.timesEnded += isAtEnd && !state.isAtEnd ? 1 : 0;
            state.isAtEnd = isAtEnd;
        });
        break;
    default:
        break;
    }
}

MovieEngine::MovieEngine(Setup setup) : mState(std::make_shared<State>(std::move(setup)))
{
    // The library refuses to start where numbers may be written with commas; the toolkit has set that by now.
    std::setlocale(LC_NUMERIC, "C");
    Threads& threads = Threads::instance();
    {
        const std::lock_guard lock(threads.mutex);
        ++threads.running;
    }
    const auto work = [state = mState, &threads]() mutable {
        pthread_setname_np(pthread_self(), "movie");
        threads.waitForOlder();
        state->work();
        state.reset();
        // What it leaves free lies between what stays: it would be kept.
        malloc_trim(0);
        const std::lock_guard lock(threads.mutex);
        --threads.running;
        threads.ended.notify_all();
    };
    try {
        std::thread(work).detach();
    } catch (const std::system_error&) {
        mState->fail();
        const std::lock_guard lock(threads.mutex);
        --threads.running;
    }
}

MovieEngine::~MovieEngine()
{
    mState->end();
}

void MovieEngine::setPaused(bool paused)
{
    mState->post([paused](const MpvLibrary& mpv, mpv_handle* handle) {
        int flag = paused ? 1 : 0;
        mpv.setProperty(handle, "pause", MPV_FORMAT_FLAG, &flag);
    });
}

void MovieEngine::seek(double seconds, Seek how)
{
    mState->post([seconds, how](const MpvLibrary& mpv, mpv_handle* handle) {
        const QByteArray time = QByteArray::number(seconds, 'f', 3);
        const char* const flags = how == Seek::Quick ? "absolute+keyframes" : "absolute+exact";
        std::array<const char*, 4> command{"seek", time.constData(), flags, nullptr};
        mpv.command(handle, command.data());
    });
}

void MovieEngine::step(bool forward)
{
    mState->post([forward](const MpvLibrary& mpv, mpv_handle* handle) {
        std::array<const char*, 2> command{forward ? "frame-step" : "frame-back-step", nullptr};
        mpv.command(handle, command.data());
    });
}

void MovieEngine::setVolume(double volume)
{
    mState->post([volume](const MpvLibrary& mpv, mpv_handle* handle) {
        double percent = volume * 100;
        mpv.setProperty(handle, "volume", MPV_FORMAT_DOUBLE, &percent);
    });
}

void MovieEngine::setMuted(bool muted)
{
    mState->post([muted](const MpvLibrary& mpv, mpv_handle* handle) {
        int flag = muted ? 1 : 0;
        mpv.setProperty(handle, "mute", MPV_FORMAT_FLAG, &flag);
    });
}

void MovieEngine::setTarget(const MovieTarget& target)
{
    if (mState->drawing().setTarget(target)) {
        mState->post([crops = target.crops](const MpvLibrary& mpv, mpv_handle* handle) {
            int keepsShape = crops ? 1 : 0;
            double cropping = crops ? 1 : 0;
            mpv.setProperty(handle, "keepaspect", MPV_FORMAT_FLAG, &keepsShape);
            mpv.setProperty(handle, "panscan", MPV_FORMAT_DOUBLE, &cropping);
        });
    }
}

QByteArray MovieEngine::containers()
{
    return knownContainers;
}

MovieState MovieEngine::state() const
{
    return mState->state();
}

std::unique_ptr<MovieOpenGL> MovieEngine::drawWithOpenGL()
{
    return mState->handover() ? std::make_unique<MovieOpenGL>(mState->handover()) : nullptr;
}

quint64 MovieEngine::frameCount() const
{
    return mState->handover() ? mState->handover()->count() : mState->frames().count();
}

FrameExchange& MovieEngine::frames()
{
    return mState->frames();
}

void MovieEngine::prepare()
{
    static std::once_flag once;
    std::call_once(once, [] {
        try {
            std::thread([] { MpvLibrary::instance(); }).detach();
        } catch (const std::system_error&) {
            // The first movie loads it.
        }
    });
}

bool MovieEngine::isMissing()
{
    return MpvLibrary::isMissing();
}

bool MovieEngine::waitForThreads(std::chrono::milliseconds atMost)
{
    Threads& threads = Threads::instance();
    std::unique_lock lock(threads.mutex);
    return threads.ended.wait_for(lock, atMost, [&] { return threads.running == 0; });
}

} // namespace frameflow
