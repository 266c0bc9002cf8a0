#include "LayerSurface.h"

#include "OpenGLRenderer.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QOpenGLContext>

#include <xcb/xcb.h>

namespace frameflow {

// The X server keeps the old size until the window manager agrees, and Qt has drawn for the new one by then. OpenGL
// counts from the lower edge, so a picture that was drawn too early stands in the wrong place, for as long as it stays.
class LayerSurface::SizeWatch final : public QAbstractNativeEventFilter
{
public:
    explicit SizeWatch(LayerSurface& surface) : mSurface(surface) { qApp->installNativeEventFilter(this); }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) override
    {
        if (type != "xcb_generic_event_t") {
            return false;
        }
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        if ((event->response_type & 0x7f) == XCB_CONFIGURE_NOTIFY) {
            const auto* change = static_cast<const xcb_configure_notify_event_t*>(message);
            const QSize size(change->width, change->height);
            if (change->window == mSurface.window()->internalWinId() && size != mSize) {
                mSize = size;
                mSurface.update();
            }
        }
        return false;
    }

private:
    LayerSurface& mSurface;
    QSize mSize; // pixels of the server
};

LayerSurface::LayerSurface(const ReducedCopies& copies, std::function<Frame()> frame, QWidget* parent)
    : QOpenGLWidget(parent), mCopies(copies), mFrame(std::move(frame)), mSizeWatch(std::make_unique<SizeWatch>(*this))
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    // Every frame is drawn whole.
    setUpdateBehavior(NoPartialUpdate);
}

LayerSurface::~LayerSurface()
{
    releaseRenderer();
    if (context()) {
        context()->disconnect(this); // Qt ends it when this is no surface any more
    }
}

void LayerSurface::initializeGL()
{
    // Also called again when the widget has got another window, and with it another context.
    connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &LayerSurface::releaseRenderer);
    mRenderer = OpenGLRenderer::create(mCopies);
    if (!mRenderer) {
        fail();
    }
}

void LayerSurface::paintGL()
{
    if (!mRenderer || mFailed) {
        return;
    }
    const Frame frame = mFrame();
    if (!mRenderer->paint(frame.items, frame.area, defaultFramebufferObject())) {
        fail();
    }
}

void LayerSurface::showEvent(QShowEvent* event)
{
    QOpenGLWidget::showEvent(event);
    checkFramebuffer();
}

void LayerSurface::resizeEvent(QResizeEvent* event)
{
    QOpenGLWidget::resizeEvent(event);
    if (isVisible()) {
        checkFramebuffer();
    }
}

// When a widget is shown, Qt has given it a context and something to draw on, and says nothing if it could not.
void LayerSurface::checkFramebuffer()
{
    if (size().isEmpty() || mFailed) {
        return;
    }
    makeCurrent();
    if (!isValid() || QOpenGLContext::currentContext() != context() || defaultFramebufferObject() == 0) {
        fail();
    }
    doneCurrent();
}

void LayerSurface::releaseRenderer()
{
    if (mRenderer) {
        makeCurrent();
        mRenderer.reset();
        doneCurrent();
    }
}

void LayerSurface::fail()
{
    if (!mFailed) {
        mFailed = true;
        QMetaObject::invokeMethod(this, &LayerSurface::failed, Qt::QueuedConnection);
    }
}

} // namespace frameflow
