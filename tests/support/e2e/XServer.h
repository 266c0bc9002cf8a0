#pragma once

#include <QImage>
#include <QList>
#include <QPoint>
#include <QRect>
#include <QString>

#include <memory>
#include <optional>

struct xcb_connection_t;

namespace frameflow::e2e {

// A top-level window of some program, by its number on the X server.
using WindowId = quint32;

enum class MouseButton
{
    Left = 1,
    Middle = 2,
    Right = 3,
};

// The X server of the test as a person has it: what is on screen, the mouse, the keyboard and what a window manager's
// buttons do. Coordinates are pixels from the top left corner of all displays. Questions about a window that is gone
// have empty answers. Requests are carried out by the server and the window manager in their own time: wait for what
// they bring about.
class XServer
{
public:
    // The server that $DISPLAY names; null when there is none.
    static std::unique_ptr<XServer> open();
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    QRect bounds() const;
    bool hasWindowManager() const;

    // The windows that the window manager has, the oldest first; minimised ones too.
    QList<WindowId> windows() const;
    QList<WindowId> windowsOf(qint64 process) const;
    std::optional<WindowId> windowWithTitle(qint64 process, const QString& wanted) const;
    // Waits for a window of the process, with the title if one is given, that is on screen.
    std::optional<WindowId> waitForWindow(qint64 process, const QString& wanted = {}) const;

    qint64 processOf(WindowId window) const;
    QString title(WindowId window) const;
    // The inside of the window, without what the window manager puts around it.
    QRect geometry(WindowId window) const;
    bool isVisible(WindowId window) const; // mapped; it may be covered by others
    bool isFullScreen(WindowId window) const;
    bool isMinimised(WindowId window) const;
    bool isMaximised(WindowId window) const;
    bool isActive(WindowId window) const; // has the keyboard

    // What is on screen there, without the mouse pointer, as Format_RGB32; null where that is outside.
    QImage grab(const QRect& area) const;
    QImage grab(WindowId window) const { return grab(geometry(window)); }
    QRgb pixel(const QPoint& place) const;

    void activate(WindowId window) const; // restores a minimised window
    void close(WindowId window) const;
    void minimise(WindowId window) const;
    void unmaximise(WindowId window) const;
    void moveTo(WindowId window, const QRect& geometry) const;
    // Waits until it is there and has the keyboard.
    bool putInFrontAt(WindowId window, const QRect& geometry) const;

    // Input as from the devices themselves; each call returns when the server has it. Keys are named as in X, with
    // modifiers in front: "Right", "plus", "ctrl+shift+w". Fails the program (qFatal) when the server does not take it.
    void pressKey(const QString& key) const;
    // Held down it repeats after a while, until it is released.
    void holdKey(const QString& key) const;
    void releaseKey(const QString& key) const;
    void type(const QString& text) const;
    void moveMouse(const QPoint& place) const;
    QPoint mousePosition() const;
    void click(const QPoint& place, MouseButton button = MouseButton::Left) const;
    void doubleClick(const QPoint& place) const;
    void drag(const QPoint& from, const QPoint& to, MouseButton button = MouseButton::Left) const;
    // Held down there, until it is released wherever the mouse is by then.
    void holdButton(const QPoint& place, MouseButton button = MouseButton::Left) const;
    void releaseButton(MouseButton button = MouseButton::Left) const;
    // Notches: up is positive.
    void turnWheel(int notches) const;

private:
    explicit XServer(xcb_connection_t* connection);

    quint32 atom(const char* name) const;
    QByteArray property(WindowId window, const char* name) const;
    QList<quint32> numbers(WindowId window, const char* name) const;
    bool hasState(WindowId window, const char* name) const;
    void sendToWindowManager(WindowId window, const char* message, const QList<quint32>& data) const;

    xcb_connection_t* mConnection;
    WindowId mRoot = 0;
};

} // namespace frameflow::e2e
