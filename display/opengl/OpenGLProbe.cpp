#include "OpenGLProbe.h"

#include "GraphicsDevice.h"

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <algorithm>
#include <array>

namespace frameflow {

namespace {

constexpr std::array softwareRenderers{
    "llvmpipe", "softpipe", "swrast", "swiftshader", "software rasterizer", "lavapipe"};

bool canDraw(QOpenGLFunctions& functions)
{
    return functions.hasOpenGLFeature(QOpenGLFunctions::Shaders)
        && functions.hasOpenGLFeature(QOpenGLFunctions::Framebuffers)
        && functions.hasOpenGLFeature(QOpenGLFunctions::NPOTTextures);
}

} // namespace

OpenGLProbe probeOpenGL()
{
    OpenGLProbe probe;
    const QString platform = QGuiApplication::platformName();
    if (platform == QLatin1String("offscreen") || platform == QLatin1String("minimal")) {
        return probe;
    }
    QOpenGLContext context;
    QOffscreenSurface surface;
    if (!context.create()) {
        return probe;
    }
    surface.setFormat(context.format());
    surface.create();
    if (!surface.isValid() || !context.makeCurrent(&surface)) {
        return probe;
    }
    QOpenGLFunctions& functions = *context.functions();
    probe.renderer = QByteArray(reinterpret_cast<const char*>(functions.glGetString(GL_RENDERER)));
    probe.works = canDraw(functions);
    context.doneCurrent();
    return probe;
}

bool isSoftwareRenderer(const QByteArray& renderer)
{
    const QByteArray name = renderer.toLower();
    // A renderer without a name is none to rely on.
    return name.isEmpty() || std::any_of(softwareRenderers.begin(), softwareRenderers.end(), [&](const char* software) {
        return name.contains(software);
    });
}

bool hasHardwareOpenGL()
{
    static const bool has = [] {
        if (!hasGraphicsDevice()) {
            return false;
        }
        const OpenGLProbe probe = probeOpenGL();
        return probe.works && !isSoftwareRenderer(probe.renderer);
    }();
    return has;
}

} // namespace frameflow
