#include "WindowPings.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <poll.h>
#include <xcb/xcb.h>

namespace frameflow::e2e {

namespace {

constexpr int shortPause = 5; // milliseconds

qint64 millisecondsSince(std::chrono::steady_clock::time_point begin)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

class WindowPings::Connection
{
public:
    explicit Connection(WindowId window) : mWindow(window), mConnection(xcb_connect(nullptr, nullptr))
    {
        if (xcb_connection_has_error(mConnection) != 0) {
            qFatal("no X server");
        }
        mRoot = xcb_setup_roots_iterator(xcb_get_setup(mConnection)).data->root;
        mProtocols = atom("WM_PROTOCOLS");
        mPing = atom("_NET_WM_PING");
        // The answers are sent to the root window, for whoever looks at it in one way or the other.
        const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(mConnection, mRoot, XCB_CW_EVENT_MASK, &mask);
    }
    ~Connection() { xcb_disconnect(mConnection); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void ask(uint32_t number) const
    {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = mWindow;
        message.type = mProtocols;
        message.data.data32[0] = mPing;
        message.data.data32[1] = number;
        message.data.data32[2] = mWindow;
        xcb_send_event(mConnection, 0, mWindow, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
        xcb_flush(mConnection);
    }

    // Looks at what has come, without waiting.
    bool isAnswered(uint32_t number) const
    {
        bool isAnswered = false;
        while (xcb_generic_event_t* const event = xcb_poll_for_event(mConnection)) {
            xcb_client_message_event_t message{};
            std::memcpy(&message, event, sizeof(message));
            constexpr int sentBySomebody = 0x80;
            isAnswered = isAnswered
                || ((message.response_type & ~sentBySomebody) == XCB_CLIENT_MESSAGE && message.type == mProtocols
                    && message.data.data32[0] == mPing && message.data.data32[1] == number);
            std::free(event);
        }
        return isAnswered;
    }

    void waitForAnything(int milliseconds) const
    {
        pollfd ready{xcb_get_file_descriptor(mConnection), POLLIN, 0};
        poll(&ready, 1, milliseconds);
    }

private:
    xcb_atom_t atom(const char* name) const
    {
        const auto cookie = xcb_intern_atom(mConnection, 0, static_cast<uint16_t>(std::strlen(name)), name);
        const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
            xcb_intern_atom_reply(mConnection, cookie, nullptr), &std::free);
        return reply ? reply->atom : 0;
    }

    const WindowId mWindow;
    xcb_connection_t* mConnection;
    WindowId mRoot = 0;
    xcb_atom_t mProtocols = 0;
    xcb_atom_t mPing = 0;
};

WindowPings::WindowPings(WindowId window)
    : mConnection(std::make_unique<Connection>(window)), mThread([this] { run(); })
{
}

WindowPings::~WindowPings()
{
    mIsEnding = true;
    mThread.join();
}

void WindowPings::run()
{
    for (uint32_t number = 1; !mIsEnding; ++number) {
        const auto asked = std::chrono::steady_clock::now();
        mConnection->ask(number);
        bool isAnswered = false;
        while (!isAnswered && !mIsEnding) {
            mConnection->waitForAnything(shortPause);
            isAnswered = mConnection->isAnswered(number);
            mLongest = std::max<qint64>(mLongest, millisecondsSince(asked));
        }
        mAnswers += isAnswered ? 1 : 0;
        poll(nullptr, 0, shortPause);
    }
}

} // namespace frameflow::e2e
