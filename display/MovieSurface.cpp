#include "MovieSurface.h"

#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QPainter>
#include <QWindow>

#include <algorithm>

namespace frameflow {

namespace {

void* findFunction(void* context, const char* name)
{
    return reinterpret_cast<void*>(static_cast<QOpenGLContext*>(context)->getProcAddress(name));
}

} // namespace

MovieSurface::MovieSurface(std::function<QImage(QSize)> first, QWidget* parent)
    : QOpenGLWidget(parent), mFirst(std::move(first))
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    // A frame stays when there is none to follow it.
    setUpdateBehavior(PartialUpdate);
}

MovieSurface::~MovieSurface()
{
    setDrawing(nullptr);
    makeCurrent();
    for (const auto& old : mOld) {
        old->prepareEnd(functions());
    }
    mOld.clear();
    doneCurrent();
    if (context()) {
        context()->disconnect(this); // Qt ends it when this is no surface any more
    }
}

void MovieSurface::setDrawing(std::unique_ptr<MovieOpenGL> drawing)
{
    if (mDrawing) {
        mDrawing->setWatcher([this] { QMetaObject::invokeMethod(this, &MovieSurface::endOld, Qt::QueuedConnection); });
        mOld.push_back(std::move(mDrawing));
        endOld();
    }
    mDrawing = std::move(drawing);
    mHoldsFrame = false;
    mIsLost = false;
    mLast = QImage();
    update();
}

// As soon as that does not hold up the window.
void MovieSurface::endOld()
{
    if (mOld.empty()) {
        return;
    }
    makeCurrent();
    for (const auto& old : mOld) {
        if (!old->canEnd()) {
            old->passOver(functions());
        }
    }
    mOld.erase(std::remove_if(mOld.begin(), mOld.end(), [](const auto& old) { return old->canEnd(); }), mOld.end());
    doneCurrent();
}

void MovieSurface::noteFrame()
{
    if (!mDrawing || mHasFailed) {
        return;
    }
    // Nor does the movie wait for a paint event to begin.
    if (isValid() && (!isOnScreen() || !mDrawing->hasBegun())) {
        makeCurrent();
        if (mDrawing->passOver(functions()) == MovieOpenGL::Drawn::Failed) {
            fail();
        }
        doneCurrent();
    }
    update();
}

// Whether it will be painted.
bool MovieSurface::isOnScreen() const
{
    const QWindow* const shown = window()->windowHandle();
    return isVisible() && !visibleRegion().isEmpty() && shown != nullptr && shown->isExposed();
}

MovieOpenGL::Functions MovieSurface::functions() const
{
    return {findFunction, context()};
}

QSize MovieSurface::pixels() const
{
    return size() * devicePixelRatio();
}

void MovieSurface::initializeGL()
{
    // Also called again when the widget has got another window, and with it another context.
    connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &MovieSurface::leaveContext);
}

void MovieSurface::resizeGL(int /*width*/, int /*height*/)
{
    mHoldsFrame = false;
}

void MovieSurface::paintGL()
{
    if (mHasFailed) {
        return;
    }
    const auto framebuffer = static_cast<int>(defaultFramebufferObject());
    const auto drawn = mDrawing ? mDrawing->draw(functions(), framebuffer, pixels().width(), pixels().height())
                                : MovieOpenGL::Drawn::Nothing;
    mHoldsFrame = mHoldsFrame || drawn == MovieOpenGL::Drawn::Frame;
    if (!mHoldsFrame) {
        paintFirst();
    }
    if (drawn == MovieOpenGL::Drawn::Failed) {
        fail();
    }
}

void MovieSurface::paintFirst()
{
    QImage first = mLast.isNull() ? mFirst(pixels()) : mLast.scaled(pixels());
    first.setDevicePixelRatio(1);
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.scale(1 / devicePixelRatio(), 1 / devicePixelRatio());
    painter.drawImage(0, 0, first);
}

// The drawing needs its context to end.
void MovieSurface::leaveContext()
{
    makeCurrent();
    mOld.clear();
    if (mDrawing) {
        mLast = lastFrame();
        mDrawing.reset();
        mIsLost = true;
        const auto tell = [this] {
            if (mIsLost) {
                const QImage last = mLast;
                Q_EMIT lost(last);
            }
        };
        QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection);
    }
    doneCurrent();
}

QImage MovieSurface::lastFrame()
{
    if (!mHoldsFrame || pixels().isEmpty()) {
        return {};
    }
    QOpenGLFramebufferObject target(pixels());
    const bool isDrawn = target.isValid()
        && mDrawing->draw(functions(), static_cast<int>(target.handle()), target.width(), target.height())
            == MovieOpenGL::Drawn::Frame;
    return isDrawn ? target.toImage().convertToFormat(QImage::Format_RGB32) : QImage();
}

void MovieSurface::showEvent(QShowEvent* event)
{
    QOpenGLWidget::showEvent(event);
    checkFramebuffer();
}

void MovieSurface::resizeEvent(QResizeEvent* event)
{
    QOpenGLWidget::resizeEvent(event);
    if (isVisible()) {
        checkFramebuffer();
    }
}

// When a widget is shown, Qt has given it a context and something to draw on, and says nothing if it could not.
void MovieSurface::checkFramebuffer()
{
    if (size().isEmpty() || mHasFailed) {
        return;
    }
    makeCurrent();
    if (!isValid() || QOpenGLContext::currentContext() != context() || defaultFramebufferObject() == 0) {
        fail();
    }
    doneCurrent();
}

void MovieSurface::fail()
{
    if (!mHasFailed) {
        mHasFailed = true;
        QMetaObject::invokeMethod(this, &MovieSurface::failed, Qt::QueuedConnection);
    }
}

} // namespace frameflow
