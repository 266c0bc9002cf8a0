#pragma once

#include "Coordinates.h"
#include "Presentation.h"

#include <QOpenGLWidget>

#include <functional>
#include <memory>

namespace frameflow {

class OpenGLRenderer;
class ReducedCopies;

// The widget on which a view draws its layers with OpenGL; a view without one draws them itself. Lets the mouse
// through. To be made only where probeOpenGL() works.
class LayerSurface : public QOpenGLWidget
{
    Q_OBJECT

public:
    struct Frame
    {
        DrawList items;
        ViewArea area;
    };

    // "Frame" is asked when a frame is to be drawn. The copies and what it refers to outlive the surface.
    LayerSurface(const ReducedCopies& copies, std::function<Frame()> frame, QWidget* parent);
    ~LayerSurface() override;

Q_SIGNALS:
    // OpenGL has failed for good: no context, a lost one, or no memory left in it. Comes once, between events.
    void failed();

protected:
    void initializeGL() override;
    void paintGL() override;
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    class SizeWatch;

    void checkFramebuffer();
    void releaseRenderer();
    void fail();

    const ReducedCopies& mCopies;
    std::function<Frame()> mFrame;
    std::unique_ptr<OpenGLRenderer> mRenderer;
    const std::unique_ptr<SizeWatch> mSizeWatch;
    bool mFailed = false;
};

} // namespace frameflow
