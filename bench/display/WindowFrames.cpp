#include "WindowFrames.h"

#include <QGuiApplication>

#include <cstdlib>
#include <utility>

#include <xcb/xcb.h>

namespace frameflow {

namespace {

constexpr int stripHeight = 4;
constexpr int stripDistance = 48;
constexpr uint8_t depth = 24;

} // namespace

WindowFrames::Picture::~Picture()
{
    if (mConnection) {
        xcb_free_pixmap(mConnection, mPixmap);
    }
}

void WindowFrames::Picture::swap(Picture& other)
{
    std::swap(mConnection, other.mConnection);
    std::swap(mPixmap, other.mPixmap);
    std::swap(mSize, other.mSize);
}

QImage WindowFrames::Picture::image() const
{
    if (!mConnection) {
        return {};
    }
    const auto cookie = xcb_get_image(mConnection, XCB_IMAGE_FORMAT_Z_PIXMAP, mPixmap, 0, 0,
        static_cast<uint16_t>(mSize.width()), static_cast<uint16_t>(mSize.height()), ~0U);
    auto* const reply = xcb_get_image_reply(mConnection, cookie, nullptr);
    if (!reply) {
        return {};
    }
    const QImage image(
        xcb_get_image_data(reply), mSize.width(), mSize.height(), qsizetype(mSize.width()) * 4, QImage::Format_RGB32);
    QImage copy = image.copy();
    std::free(reply);
    return copy;
}

WindowFrames::WindowFrames(quint32 window, QSize size)
    : mConnection(qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection()), mWindow(window),
      mSize(size)
{
    mContext = xcb_generate_id(mConnection);
    const uint32_t withoutEvents = 0;
    xcb_create_gc(mConnection, mContext, window, XCB_GC_GRAPHICS_EXPOSURES, &withoutEvents);
}

WindowFrames::~WindowFrames()
{
    xcb_free_gc(mConnection, mContext);
}

std::vector<QRect> WindowFrames::strips(QSize size)
{
    std::vector<QRect> result;
    for (int y = stripDistance / 2; y + stripHeight <= size.height(); y += stripDistance) {
        result.emplace_back(0, y, size.width(), stripHeight);
    }
    return result;
}

WindowFrames::Picture WindowFrames::copy()
{
    const std::vector<QRect> parts = strips(mSize);
    Picture picture;
    picture.mConnection = mConnection;
    picture.mPixmap = xcb_generate_id(mConnection);
    picture.mSize = QSize(mSize.width(), stripHeight * static_cast<int>(parts.size()));
    xcb_create_pixmap(mConnection, depth, picture.mPixmap, mWindow, static_cast<uint16_t>(picture.mSize.width()),
        static_cast<uint16_t>(picture.mSize.height()));
    int16_t to = 0;
    for (const QRect& part : parts) {
        xcb_copy_area(mConnection, mWindow, picture.mPixmap, mContext, 0, static_cast<int16_t>(part.y()), 0, to,
            static_cast<uint16_t>(part.width()), stripHeight);
        to = static_cast<int16_t>(to + stripHeight);
    }
    return picture;
}

void WindowFrames::awaitServer()
{
    const auto cookie = xcb_get_input_focus(mConnection);
    std::free(xcb_get_input_focus_reply(mConnection, cookie, nullptr));
}

QImage WindowFrames::pictureOf(const std::function<QImage(const QRect& part)>& draw, QSize size)
{
    const std::vector<QRect> parts = strips(size);
    QImage result(size.width(), stripHeight * static_cast<int>(parts.size()), QImage::Format_RGB32);
    int to = 0;
    for (const QRect& part : parts) {
        const QImage drawn = draw(part);
        for (int y = 0; y < part.height(); ++y, ++to) {
            std::copy_n(reinterpret_cast<const QRgb*>(drawn.constScanLine(y)), drawn.width(),
                reinterpret_cast<QRgb*>(result.scanLine(to)));
        }
    }
    return result;
}

} // namespace frameflow
