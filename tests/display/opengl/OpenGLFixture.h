#pragma once

#include "OpenGLRenderer.h"
#include "RasterRenderer.h"
#include "ReducedCopies.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QPainter>

namespace frameflow {

// A context without a window, in software where there is nothing else.
struct OpenGLFixture
{
    explicit OpenGLFixture(QSurfaceFormat::RenderableType type = QSurfaceFormat::OpenGL)
    {
        QSurfaceFormat format;
        format.setRenderableType(type);
        format.setVersion(2, type == QSurfaceFormat::OpenGLES ? 0 : 1);
        context.setFormat(format);
        surface.setFormat(format);
        surface.create();
        if (!context.create() || !context.makeCurrent(&surface)) {
            qFatal("no OpenGL, not even in software");
        }
        renderer = OpenGLRenderer::create(copies);
        if (!renderer) {
            qFatal("no renderer for %s", reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER)));
        }
    }
    ~OpenGLFixture()
    {
        renderer.reset();
        context.doneCurrent();
    }
    OpenGLFixture(const OpenGLFixture&) = delete;
    OpenGLFixture& operator=(const OpenGLFixture&) = delete;

    // Null when it failed.
    QImage draw(const DrawList& items, const ViewArea& area) const
    {
        QOpenGLFramebufferObject target(area.pixels());
        if (!renderer->paint(items, area, target.handle())) {
            return {};
        }
        return target.toImage().convertToFormat(QImage::Format_RGB32);
    }

    QImage drawRaster(const DrawList& items, const ViewArea& area) const
    {
        QImage image(area.pixels(), QImage::Format_RGB32);
        image.setDevicePixelRatio(area.pixelsPerPoint);
        QPainter painter(&image);
        RasterRenderer(copies).paint(painter, items, area);
        painter.end();
        image.setDevicePixelRatio(1);
        return image;
    }

    QOpenGLContext context;
    QOffscreenSurface surface;
    ReducedCopies copies{[] {}};
    std::unique_ptr<OpenGLRenderer> renderer;
};

} // namespace frameflow
