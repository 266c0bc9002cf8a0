#include "OneProgram.h"

#include "BusRequest.h"
#include "MainThread.h"
#include "SessionBusAddress.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include <gio/gio.h>
#include <pthread.h>

namespace frameflow {

namespace {

constexpr auto answerTime = std::chrono::seconds(3);
// Between two programs that begin and end, the name may be gone when it is asked for.
constexpr int mostTries = 3;

using Connection = std::unique_ptr<GDBusConnection, decltype(&g_object_unref)>;
using Reply = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

enum class HandOver
{
    Done,
    NobodyThere, // any more
    Failed,
};

HandOver failure(GError* error)
{
    const bool isGone = g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) != FALSE
        || g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) != FALSE
        || g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY) != FALSE; // it went without answering
    g_clear_error(&error);
    return isGone ? HandOver::NobodyThere : HandOver::Failed;
}

} // namespace

// Shared by the program and the thread.
class OneProgram::Session : public std::enable_shared_from_this<OneProgram::Session>
{
public:
    Session(Purpose purpose, const QString& busAddress);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void start();
    void stop();
    std::optional<Place> wait(std::chrono::milliseconds patience);
    void serve(Requests requests);

private:
    // The thread's.
    void run();
    Connection connect() const;
    Place takePlace(GDBusConnection* bus);
    std::optional<bool> takeName(GDBusConnection* bus) const;
    HandOver handOver(GDBusConnection* bus) const;
    void setPlace(Place place);
    static void called(GDBusConnection* bus, const char* sender, const char* path, const char* interface,
        const char* method, GVariant* parameters, GDBusMethodInvocation* invocation, void* session);
    void arrived(BusRequest request);

    // The main thread's.
    void answerNext();
    void tellPlace();

    const Purpose mPurpose;
    const QByteArray mAddress;
    GMainContext* const mContext;
    GMainLoop* const mLoop;
    GCancellable* const mEnd;
    std::thread mThread;
    std::optional<Requests> mRequests; // the main thread's; none until they are served, and at the end
    bool mIsAnswered = false; // by wait()

    std::mutex mMutex; // of what follows
    std::condition_variable mProgress;
    std::deque<BusRequest> mArrived;
    std::optional<Place> mPlace;
    bool mIsHandingOver = false;
    bool mIsServed = false;
};

OneProgram::Session::Session(Purpose purpose, const QString& busAddress)
    : mPurpose(std::move(purpose)), mAddress((busAddress.isEmpty() ? sessionBusAddress() : busAddress).toUtf8()),
      mContext(g_main_context_new()), mLoop(g_main_loop_new(mContext, FALSE)), mEnd(g_cancellable_new())
{
}

OneProgram::Session::~Session()
{
    g_object_unref(mEnd);
    g_main_loop_unref(mLoop);
    g_main_context_unref(mContext);
}

void OneProgram::Session::start()
{
    mThread = std::thread([this] { run(); });
    pthread_setname_np(mThread.native_handle(), "session bus");
}

void OneProgram::Session::stop()
{
    mRequests.reset();
    g_cancellable_cancel(mEnd);
    // The loop may not run yet: what is attached to its context is done when it does.
    GSource* const quit = g_idle_source_new();
    g_source_set_callback(
        quit,
        [](void* loop) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
            return G_SOURCE_REMOVE;
        },
        mLoop, nullptr);
    g_source_attach(quit, mContext);
    g_source_unref(quit);
    mThread.join(); // everything in it that waits has been cancelled
    const std::lock_guard lock(mMutex);
    mArrived.clear();
}

std::optional<OneProgram::Place> OneProgram::Session::wait(std::chrono::milliseconds patience)
{
    std::unique_lock lock(mMutex);
    mProgress.wait_for(lock, patience, [this] { return mPlace || mIsHandingOver; });
    // No longer than the call itself may take.
    mProgress.wait_for(lock, mostTries * answerTime, [this] { return mPlace || !mIsHandingOver; });
    mIsAnswered = mPlace.has_value();
    return mPlace;
}

void OneProgram::Session::serve(Requests requests)
{
    mRequests = std::move(requests);
    const std::lock_guard lock(mMutex);
    mIsServed = true;
    if (mPlace && !mIsAnswered) {
        postToMainThread([self = shared_from_this()] { self->tellPlace(); });
    }
    for (size_t i = 0; i < mArrived.size(); ++i) {
        postToMainThread([self = shared_from_this()] { self->answerNext(); });
    }
}

// ---- On the main thread

void OneProgram::Session::answerNext()
{
    std::optional<BusRequest> request;
    {
        const std::lock_guard lock(mMutex);
        if (!mRequests || mArrived.empty()) {
            return;
        }
        request.emplace(std::move(mArrived.front()));
        mArrived.pop_front();
    }
    bool isKnown = true;
    switch (request->kind()) {
    case BusRequest::Kind::Activate:
        mRequests->activate(request->token());
        break;
    case BusRequest::Kind::Open:
        mRequests->open(request->files(), request->token());
        break;
    case BusRequest::Kind::Perform:
        isKnown = mRequests->perform(request->command(), request->token());
        break;
    }
    request->answer(isKnown);
}

void OneProgram::Session::tellPlace()
{
    if (!mIsAnswered && mRequests) {
        mIsAnswered = true;
        mRequests->placeIsKnown(*mPlace); // never changes any more
    }
}

// ---- On the thread

void OneProgram::Session::run()
{
    g_main_context_push_thread_default(mContext);
    const Connection bus = connect();
    if (!bus) {
        setPlace(Place::Alone);
    } else {
        // Before the name: whoever sees that may call at once.
        const BusObject object(bus.get(), &Session::called, this);
        const Place place = takePlace(bus.get());
        setPlace(place);
        if (place == Place::First) {
            g_main_loop_run(mLoop);
        }
        // Letting go is not enough: a message on its way holds the connection, and with it the name, and nobody here
        // takes it any more.
        g_dbus_connection_close(bus.get(), nullptr, nullptr, nullptr);
    }
    // What GIO still owes to this thread.
    while (g_main_context_iteration(mContext, FALSE) != FALSE) { }
    g_main_context_pop_thread_default(mContext);
}

Connection OneProgram::Session::connect() const
{
    constexpr auto flags = static_cast<GDBusConnectionFlags>(
        G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    return {mAddress.isEmpty()
            ? nullptr
            : g_dbus_connection_new_for_address_sync(mAddress.constData(), flags, nullptr, mEnd, nullptr),
        &g_object_unref};
}

OneProgram::Place OneProgram::Session::takePlace(GDBusConnection* bus)
{
    for (int i = 0; i < mostTries; ++i) {
        const std::optional<bool> isOurs = takeName(bus);
        if (!isOurs) {
            return Place::Alone;
        }
        if (*isOurs) {
            return Place::First;
        }
        if (mPurpose.isService) {
            return Place::Second;
        }
        {
            const std::lock_guard lock(mMutex);
            mIsHandingOver = true;
        }
        mProgress.notify_all();
        const HandOver result = handOver(bus);
        if (result != HandOver::NobodyThere) {
            return result == HandOver::Done ? Place::Second : Place::Alone;
        }
    }
    return Place::Alone;
}

// Absent when the bus does not say, or not what a bus says.
std::optional<bool> OneProgram::Session::takeName(GDBusConnection* bus) const
{
    constexpr guint32 doNotQueue = 4;
    constexpr guint32 primaryOwner = 1;
    constexpr guint32 exists = 3;
    const Reply reply(g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                          "org.freedesktop.DBus", "RequestName", g_variant_new("(su)", busName, doNotQueue),
                          G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, G_MAXINT, mEnd, nullptr),
        &g_variant_unref);
    if (!reply) {
        return std::nullopt;
    }
    guint32 answer = 0;
    g_variant_get(reply.get(), "(u)", &answer);
    return answer == primaryOwner || answer == exists ? std::optional(answer == primaryOwner) : std::nullopt;
}

HandOver OneProgram::Session::handOver(GDBusConnection* bus) const
{
    const char* const method = mPurpose.files.isEmpty() ? "Activate" : "Open";
    const auto patience = static_cast<int>(std::chrono::milliseconds(answerTime).count());
    GError* error = nullptr;
    const Reply reply(g_dbus_connection_call_sync(bus, busName, BusObject::path, BusObject::interface, method,
                          BusRequest::parameters(mPurpose.files, mPurpose.token), G_VARIANT_TYPE_UNIT,
                          G_DBUS_CALL_FLAGS_NO_AUTO_START, patience, mEnd, &error),
        &g_variant_unref);
    return reply ? HandOver::Done : failure(error);
}

void OneProgram::Session::setPlace(Place place)
{
    {
        const std::lock_guard lock(mMutex);
        mPlace = place;
        mIsHandingOver = false;
        if (mIsServed) {
            postToMainThread([self = shared_from_this()] { self->tellPlace(); });
        }
    }
    mProgress.notify_all();
}

void OneProgram::Session::called(GDBusConnection*, const char*, const char*, const char*, const char* method,
    GVariant* parameters, GDBusMethodInvocation* invocation, void* session)
{
    if (auto request = BusRequest::from(method, parameters, invocation)) {
        static_cast<Session*>(session)->arrived(std::move(*request));
    }
}

void OneProgram::Session::arrived(BusRequest request)
{
    const std::lock_guard lock(mMutex);
    mArrived.push_back(std::move(request));
    if (mIsServed) {
        postToMainThread([self = shared_from_this()] { self->answerNext(); });
    }
}

OneProgram::OneProgram(Purpose purpose, const QString& busAddress)
    : mSession(std::make_shared<Session>(std::move(purpose), busAddress))
{
    mSession->start();
}

OneProgram::~OneProgram()
{
    mSession->stop();
}

std::optional<OneProgram::Place> OneProgram::wait(std::chrono::milliseconds patience)
{
    return mSession->wait(patience);
}

void OneProgram::serve(Requests requests)
{
    mSession->serve(std::move(requests));
}

} // namespace frameflow
