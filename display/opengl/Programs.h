#pragma once

#include "Filters.h"

#include <QByteArray>
#include <QOpenGLShaderProgram>

#include <array>
#include <memory>

namespace frameflow {

// The shader programs, in the language that OpenGL 2.1 and OpenGL ES 2 share. Their vertices stand in device pixels
// from the upper left of the view; "view" is its size. The context that linked them is current whenever they are used.
class Programs
{
public:
    // The places of the attributes of a vertex.
    enum Attribute
    {
        Position, // two numbers
        TexturePlace, // two numbers
        Edges, // four numbers: the distances inside the edges, as in QuadCorner
    };

    // Whether all of them can be compiled and linked.
    bool link();

    // Draws a picture. Uniforms: "view", "picture" (a texture), "opacity", "opaque" (1 where the picture has no alpha).
    QOpenGLShaderProgram& picture() { return *mPicture; }
    // Mix two textures of the view's pixels. Uniforms: "view", "source", "target", "progress"; those for filters also
    // "size" (of the view, points), "scale" (pixels in a point) and, for a swipe, "extent" (its right edge and width).
    QOpenGLShaderProgram& fade() { return *mFade; }
    QOpenGLShaderProgram& filter(TransitionFilter filter) { return *mFilters[static_cast<size_t>(filter)]; }

private:
    std::unique_ptr<QOpenGLShaderProgram> mPicture;
    std::unique_ptr<QOpenGLShaderProgram> mFade;
    std::array<std::unique_ptr<QOpenGLShaderProgram>, 3> mFilters;
};

} // namespace frameflow
