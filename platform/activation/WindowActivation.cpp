#include "WindowActivation.h"

#include <QGuiApplication>
#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <xcb/xcb.h>

namespace frameflow {

namespace {

class Desktop
{
public:
    explicit Desktop(xcb_connection_t* connection)
        : mConnection(connection), mRoot(xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root)
    {
    }

    void activate(xcb_window_t window, const LaunchToken& token) const
    {
        // A window manager may refuse a program that does not know when the person wished it; one that was started from
        // a terminal does not.
        constexpr uint32_t byProgram = 1;
        constexpr uint32_t byPerson = 2;
        const auto time = token.time();
        auto event = message(window, "_NET_ACTIVE_WINDOW", 32);
        event.data.data32[0] = time ? byProgram : byPerson;
        event.data.data32[1] = time.value_or(uint32_t(XCB_CURRENT_TIME));
        send(event, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT);
    }

    // Whoever started the program need not show any longer that it is starting.
    void endStart(xcb_window_t window, const QByteArray& startupId) const
    {
        QByteArray escaped = startupId;
        escaped.replace('\\', "\\\\").replace('"', "\\\"");
        const QByteArray text = "remove: ID=\"" + escaped + "\"" + '\0';
        auto event = message(window, "_NET_STARTUP_INFO_BEGIN", 8);
        for (qsizetype i = 0; i < text.size(); i += pieceSize) {
            const auto piece = text.mid(i, pieceSize);
            std::fill(std::begin(event.data.data8), std::end(event.data.data8), 0);
            std::copy(piece.begin(), piece.end(), std::begin(event.data.data8));
            send(event, XCB_EVENT_MASK_PROPERTY_CHANGE);
            event.type = atom("_NET_STARTUP_INFO");
        }
    }

private:
    static constexpr qsizetype pieceSize = 20;

    xcb_atom_t atom(const QByteArray& name) const
    {
        const auto cookie = xcb_intern_atom(mConnection, 0, static_cast<uint16_t>(name.size()), name.constData());
        const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
            xcb_intern_atom_reply(mConnection, cookie, nullptr), &std::free);
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }

    xcb_client_message_event_t message(xcb_window_t window, const QByteArray& type, uint8_t format) const
    {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = format;
        event.window = window;
        event.type = atom(type);
        return event;
    }

    void send(const xcb_client_message_event_t& event, uint32_t mask) const
    {
        // The request is as long as the largest event.
        std::array<char, 32> bytes{};
        static_assert(sizeof event == bytes.size());
        std::memcpy(bytes.data(), &event, sizeof event);
        xcb_send_event(mConnection, 0, mRoot, mask, bytes.data());
        xcb_flush(mConnection);
    }

    xcb_connection_t* mConnection;
    xcb_window_t mRoot;
};

} // namespace

void bringToFront(QWidget* window, const LaunchToken& token)
{
    window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    window->raise();
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland")) && !token.activationToken.isEmpty()) {
        // The toolkit takes it from there for the next activation.
        qputenv("XDG_ACTIVATION_TOKEN", token.activationToken);
    }
    window->activateWindow();
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (xcb_connection_t* const connection = x11 != nullptr ? x11->connection() : nullptr) {
        const Desktop desktop(connection);
        const auto id = static_cast<xcb_window_t>(window->winId());
        desktop.activate(id, token);
        if (!token.startupId.isEmpty()) {
            desktop.endStart(id, token.startupId);
        }
    }
}

} // namespace frameflow
