#pragma once

#include <QImage>
#include <QRect>

#include <functional>
#include <vector>

struct xcb_connection_t;

namespace frameflow {

// Keeps what stands in a window of this program, as the X server has it: strips of it, so that the server has little to
// copy. Uses Qt's own connection, so that a copy comes after all that Qt has asked for before.
class WindowFrames
{
public:
    // The strips of a window, one below the other.
    class Picture
    {
    public:
        Picture() = default;
        ~Picture();
        Picture(Picture&& other) noexcept { swap(other); }
        Picture& operator=(Picture&& other) noexcept
        {
            swap(other);
            return *this;
        }
        Picture(const Picture&) = delete;
        Picture& operator=(const Picture&) = delete;

        // Fetches it from the server. RGB32; null if it was never taken. Main thread.
        QImage image() const;

    private:
        friend class WindowFrames;
        void swap(Picture& other);

        xcb_connection_t* mConnection = nullptr;
        quint32 mPixmap = 0;
        QSize mSize;
    };

    WindowFrames(quint32 window, QSize size);
    ~WindowFrames();
    WindowFrames(const WindowFrames&) = delete;
    WindowFrames& operator=(const WindowFrames&) = delete;

    // Has the server copy what now stands in the window; returns at once.
    Picture copy();
    // Waits until the server has carried out all that it was asked for.
    void awaitServer();

    // The same strips of a drawing of so many pixels.
    static QImage pictureOf(const std::function<QImage(const QRect& part)>& draw, QSize size);

private:
    static std::vector<QRect> strips(QSize size);

    xcb_connection_t* mConnection;
    quint32 mWindow;
    quint32 mContext = 0;
    QSize mSize;
};

} // namespace frameflow
