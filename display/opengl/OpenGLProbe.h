#pragma once

#include <QByteArray>

namespace frameflow {

// What OpenGL there is.
struct OpenGLProbe
{
    bool works = false; // contexts can be made, with shaders and framebuffers
    QByteArray renderer; // as the driver calls itself
};

// Makes a context and asks it; takes a tenth of a second where drivers have to be loaded. Main thread, with a
// QGuiApplication. Never use an OpenGL widget where this does not work: Qt's end the program there.
OpenGLProbe probeOpenGL();

// Whether a renderer of that name draws on the processor.
bool isSoftwareRenderer(const QByteArray& renderer);

// Whether there is an OpenGL that draws on a graphics processor. Loads no driver where the machine has no such device.
// Asks once in the life of the program. Main thread, with a QGuiApplication.
bool hasHardwareOpenGL();

} // namespace frameflow
