#include "LayerSurface.h"

#include "OpenGLRenderer.h"

#include <QOpenGLContext>

namespace frameflow {

LayerSurface::LayerSurface(const ReducedCopies& copies, std::function<Frame()> frame, QWidget* parent)
    : QOpenGLWidget(parent), mCopies(copies), mFrame(std::move(frame))
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
