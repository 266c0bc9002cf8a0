#include "XServer.h"

#include "Program.h"

#include <QProcess>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <xcb/xcb.h>

namespace frameflow::e2e {

namespace {

template <typename Reply>
using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

template <typename Reply>
Owned<Reply> owned(Reply* reply)
{
    return Owned<Reply>(reply, &std::free);
}

void useDevices(const QStringList& arguments)
{
    const int status = QProcess::execute(QStringLiteral("xdotool"), arguments);
    if (status != 0) {
        qFatal("xdotool %s: %d", qPrintable(arguments.join(QLatin1Char(' '))), status);
    }
}

QStringList moveTo(const QPoint& place)
{
    return {QStringLiteral("mousemove"), QString::number(place.x()), QString::number(place.y())};
}

QString numberOf(MouseButton button)
{
    return QString::number(static_cast<int>(button));
}

} // namespace

std::unique_ptr<XServer> XServer::open()
{
    auto* const connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection) != 0) {
        xcb_disconnect(connection);
        return nullptr;
    }
    return std::unique_ptr<XServer>(new XServer(connection));
}

XServer::XServer(xcb_connection_t* connection)
    : mConnection(connection), mRoot(xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root)
{
}

XServer::~XServer()
{
    xcb_disconnect(mConnection);
}

quint32 XServer::atom(const char* name) const
{
    const auto cookie = xcb_intern_atom(mConnection, 0, static_cast<uint16_t>(std::strlen(name)), name);
    const auto reply = owned(xcb_intern_atom_reply(mConnection, cookie, nullptr));
    return reply ? reply->atom : 0;
}

QByteArray XServer::property(WindowId window, const char* name) const
{
    constexpr uint32_t longest = 1 << 16;
    const auto cookie = xcb_get_property(mConnection, 0, window, atom(name), XCB_ATOM_ANY, 0, longest);
    const auto reply = owned(xcb_get_property_reply(mConnection, cookie, nullptr));
    if (!reply) {
        return {};
    }
    const auto* const bytes = static_cast<const char*>(xcb_get_property_value(reply.get()));
    return {bytes, xcb_get_property_value_length(reply.get())};
}

QList<quint32> XServer::numbers(WindowId window, const char* name) const
{
    const QByteArray bytes = property(window, name);
    QList<quint32> values(bytes.size() / qsizetype(sizeof(quint32)));
    if (!values.isEmpty()) {
        std::memcpy(values.data(), bytes.constData(), values.size() * sizeof(quint32));
    }
    return values;
}

bool XServer::hasState(WindowId window, const char* name) const
{
    return numbers(window, "_NET_WM_STATE").contains(atom(name));
}

QRect XServer::bounds() const
{
    return geometry(mRoot);
}

bool XServer::hasWindowManager() const
{
    return !numbers(mRoot, "_NET_SUPPORTING_WM_CHECK").isEmpty();
}

QList<WindowId> XServer::windows() const
{
    return numbers(mRoot, "_NET_CLIENT_LIST");
}

QList<WindowId> XServer::windowsOf(qint64 process) const
{
    QList<WindowId> found;
    const auto all = windows();
    for (const WindowId window : all) {
        if (processOf(window) == process) {
            found.append(window);
        }
    }
    return found;
}

std::optional<WindowId> XServer::windowWithTitle(qint64 process, const QString& wanted) const
{
    const auto all = windowsOf(process);
    for (const WindowId window : all) {
        if (title(window) == wanted) {
            return window;
        }
    }
    return std::nullopt;
}

std::optional<WindowId> XServer::waitForWindow(qint64 process, const QString& wanted) const
{
    std::optional<WindowId> found;
    waitFor([&] {
        const auto all = windowsOf(process);
        for (const WindowId window : all) {
            if (isVisible(window) && (wanted.isEmpty() || title(window) == wanted)) {
                found = window;
            }
        }
        return found.has_value();
    });
    return found;
}

qint64 XServer::processOf(WindowId window) const
{
    const auto values = numbers(window, "_NET_WM_PID");
    return values.isEmpty() ? 0 : values.front();
}

QString XServer::title(WindowId window) const
{
    return QString::fromUtf8(property(window, "_NET_WM_NAME"));
}

QRect XServer::geometry(WindowId window) const
{
    const auto sizeCookie = xcb_get_geometry(mConnection, window);
    const auto placeCookie = xcb_translate_coordinates(mConnection, window, mRoot, 0, 0);
    const auto size = owned(xcb_get_geometry_reply(mConnection, sizeCookie, nullptr));
    const auto place = owned(xcb_translate_coordinates_reply(mConnection, placeCookie, nullptr));
    return size && place ? QRect(place->dst_x, place->dst_y, size->width, size->height) : QRect();
}

bool XServer::isVisible(WindowId window) const
{
    const auto cookie = xcb_get_window_attributes(mConnection, window);
    const auto reply = owned(xcb_get_window_attributes_reply(mConnection, cookie, nullptr));
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
}

bool XServer::isFullScreen(WindowId window) const
{
    return hasState(window, "_NET_WM_STATE_FULLSCREEN");
}

bool XServer::isMaximised(WindowId window) const
{
    return hasState(window, "_NET_WM_STATE_MAXIMIZED_VERT") && hasState(window, "_NET_WM_STATE_MAXIMIZED_HORZ");
}

bool XServer::isMinimised(WindowId window) const
{
    return hasState(window, "_NET_WM_STATE_HIDDEN");
}

bool XServer::isActive(WindowId window) const
{
    return isVisible(window) && numbers(mRoot, "_NET_ACTIVE_WINDOW").value(0) == window;
}

QImage XServer::grab(const QRect& area) const
{
    if (area.isEmpty() || !bounds().contains(area)) {
        return {};
    }
    const auto cookie = xcb_get_image(mConnection, XCB_IMAGE_FORMAT_Z_PIXMAP, mRoot, static_cast<int16_t>(area.x()),
        static_cast<int16_t>(area.y()), static_cast<uint16_t>(area.width()), static_cast<uint16_t>(area.height()), ~0U);
    const auto reply = owned(xcb_get_image_reply(mConnection, cookie, nullptr));
    if (!reply || xcb_get_image_data_length(reply.get()) != area.width() * area.height() * 4) {
        return {};
    }
    QImage image(xcb_get_image_data(reply.get()), area.width(), area.height(), qsizetype(area.width()) * 4,
        QImage::Format_RGB32);
    return image.copy();
}

QRgb XServer::pixel(const QPoint& place) const
{
    const QImage image = grab(QRect(place, QSize(1, 1)));
    return image.isNull() ? 0 : image.pixel(0, 0) | 0xFF000000;
}

void XServer::sendToWindowManager(WindowId window, const char* message, const QList<quint32>& data) const
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(message);
    std::copy(data.cbegin(), data.cend(), event.data.data32);
    xcb_send_event(mConnection, 0, mRoot, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
        reinterpret_cast<const char*>(&event));
    xcb_flush(mConnection);
}

void XServer::activate(WindowId window) const
{
    constexpr quint32 fromPager = 2; // which the window manager obeys; a program's own wish it may refuse
    sendToWindowManager(window, "_NET_ACTIVE_WINDOW", {fromPager, XCB_CURRENT_TIME});
}

void XServer::close(WindowId window) const
{
    sendToWindowManager(window, "_NET_CLOSE_WINDOW", {XCB_CURRENT_TIME, 2});
}

void XServer::minimise(WindowId window) const
{
    constexpr quint32 iconic = 3;
    sendToWindowManager(window, "WM_CHANGE_STATE", {iconic});
}

void XServer::unmaximise(WindowId window) const
{
    constexpr quint32 remove = 0;
    constexpr quint32 fromPager = 2;
    sendToWindowManager(window, "_NET_WM_STATE",
        {remove, atom("_NET_WM_STATE_MAXIMIZED_VERT"), atom("_NET_WM_STATE_MAXIMIZED_HORZ"), fromPager});
}

void XServer::moveTo(WindowId window, const QRect& geometry) const
{
    // Gravity static (10): the numbers are those of the inside; then all four numbers, from a pager.
    constexpr quint32 flags = 10 | 0xF00 | (2 << 12);
    sendToWindowManager(window, "_NET_MOVERESIZE_WINDOW",
        {flags, static_cast<quint32>(geometry.x()), static_cast<quint32>(geometry.y()),
            static_cast<quint32>(geometry.width()), static_cast<quint32>(geometry.height())});
}

bool XServer::putInFrontAt(WindowId window, const QRect& geometry) const
{
    return waitFor([&] {
        // A window manager that is still busy with the window forgets what it is asked.
        moveTo(window, geometry);
        activate(window);
        return this->geometry(window) == geometry && isActive(window);
    });
}

void XServer::pressKey(const QString& key) const
{
    useDevices({QStringLiteral("key"), QStringLiteral("--clearmodifiers"), key});
}

void XServer::holdKey(const QString& key) const
{
    useDevices({QStringLiteral("keydown"), key});
}

void XServer::releaseKey(const QString& key) const
{
    useDevices({QStringLiteral("keyup"), key});
}

void XServer::type(const QString& text) const
{
    useDevices({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("5"), QStringLiteral("--"), text});
}

void XServer::moveMouse(const QPoint& place) const
{
    useDevices(e2e::moveTo(place));
}

QPoint XServer::mousePosition() const
{
    const auto reply = owned(xcb_query_pointer_reply(mConnection, xcb_query_pointer(mConnection, mRoot), nullptr));
    return reply ? QPoint(reply->root_x, reply->root_y) : QPoint();
}

void XServer::click(const QPoint& place, MouseButton button) const
{
    useDevices(e2e::moveTo(place) + QStringList{QStringLiteral("click"), numberOf(button)});
}

void XServer::doubleClick(const QPoint& place) const
{
    useDevices(e2e::moveTo(place)
        + QStringList{QStringLiteral("click"), QStringLiteral("--repeat"), QStringLiteral("2"),
            QStringLiteral("--delay"), QStringLiteral("50"), QStringLiteral("1")});
}

void XServer::drag(const QPoint& from, const QPoint& to, MouseButton button) const
{
    useDevices(e2e::moveTo(from) + QStringList{QStringLiteral("mousedown"), numberOf(button)});
    useDevices(e2e::moveTo((from + to) / 2));
    useDevices(e2e::moveTo(to) + QStringList{QStringLiteral("mouseup"), numberOf(button)});
}

void XServer::holdButton(const QPoint& place, MouseButton button) const
{
    useDevices(e2e::moveTo(place) + QStringList{QStringLiteral("mousedown"), numberOf(button)});
}

void XServer::releaseButton(MouseButton button) const
{
    useDevices({QStringLiteral("mouseup"), numberOf(button)});
}

void XServer::turnWheel(int notches) const
{
    useDevices({QStringLiteral("click"), QStringLiteral("--repeat"), QString::number(std::abs(notches)),
        QStringLiteral("--delay"), QStringLiteral("10"), notches > 0 ? QStringLiteral("4") : QStringLiteral("5")});
}

} // namespace frameflow::e2e
