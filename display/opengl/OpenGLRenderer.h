#pragma once

#include "PictureQuads.h"

#include <QOpenGLFunctions>

#include <memory>
#include <vector>

class QOpenGLFramebufferObject;

namespace frameflow {

class Programs;
class ReducedCopies;
class Textures;

// Draws a presentation with OpenGL 2.1 or OpenGL ES 2, over black: the same picture as RasterRenderer. Main thread,
// with one and the same context current in all calls, the destructor included.
class OpenGLRenderer
{
public:
    // Absent where the context lacks what is needed. The copies outlive the renderer.
    static std::unique_ptr<OpenGLRenderer> create(const ReducedCopies& copies);
    ~OpenGLRenderer();
    OpenGLRenderer(const OpenGLRenderer&) = delete;
    OpenGLRenderer& operator=(const OpenGLRenderer&) = delete;

    // Draws into a framebuffer of the area's pixels. False when that failed, now or once before: the context was lost,
    // or its memory is used up. Then nothing is to be expected of this renderer any more.
    bool paint(const DrawList& items, const ViewArea& area, GLuint framebuffer);

    // Lets textures be no larger than that on a side, for tests; the context's own limit holds all the same.
    void limitTextures(int pixels) { mLargestTexture = std::min(mLargestTexture, pixels); }
    int texturesHeld() const;

private:
    // A drawing of the view's pixels; null for an empty one.
    using Drawing = std::unique_ptr<QOpenGLFramebufferObject>;

    OpenGLRenderer(const ReducedCopies& copies, QOpenGLFunctions& functions);
    bool hasFailed();
    void paintInto(GLuint framebuffer, const QColor& background, const DrawList& items, const ViewArea& area);
    void paintItem(GLuint framebuffer, const DrawItem& item, const ViewArea& area);
    void paintPicture(const DrawItem& item, const ViewArea& area);
    void paintMix(GLuint framebuffer, const MixDraw& mix, const ViewArea& area);
    void paintMixture(const MixDraw& mix, const Drawing& source, const Drawing& target, const ViewArea& area);
    void drawStrip(const std::array<QuadCorner, 4>& corners);
    void bindDrawing(const Drawing& drawing);
    void aimAt(GLuint framebuffer, const ViewArea& area);
    Drawing drawn(const DrawList& items, const ViewArea& area);
    Drawing takeBuffer(QSize pixels);
    void giveBack(Drawing drawing);

    const ReducedCopies& mCopies;
    QOpenGLFunctions& mFunctions;
    std::unique_ptr<Programs> mPrograms;
    std::unique_ptr<Textures> mTextures;
    int mLargestTexture = 0;
    // Buffers for mixtures, kept from frame to frame while there are mixtures.
    std::vector<Drawing> mSpareBuffers;
    bool mMixed = false;
    bool mFailed = false;
};

} // namespace frameflow
