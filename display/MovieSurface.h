#pragma once

#include "MovieOpenGL.h"

#include <QImage>
#include <QOpenGLWidget>

#include <functional>
#include <memory>
#include <vector>

namespace frameflow {

// The widget on which the frames of a movie are drawn with OpenGL, as large as what is seen of the movie. Lets the
// mouse through. To be made only where the layers too are drawn with OpenGL.
class MovieSurface : public QOpenGLWidget
{
    Q_OBJECT

public:
    // "First" is asked for what is to be seen before the first of those frames: a picture of so many device pixels.
    MovieSurface(std::function<QImage(QSize pixels)> first, QWidget* parent);
    ~MovieSurface() override;

    // Null for none. The one before ends in a moment, of itself, when its engine has gone.
    void setDrawing(std::unique_ptr<MovieOpenGL> drawing);
    // There may be another frame: it is drawn, or passed over where nobody would see it.
    void noteFrame();

Q_SIGNALS:
    // The widget has got another window, and the drawing has ended with the old one. What was seen last; null if
    // nothing was. Comes between events.
    void lost(const QImage& last);
    // OpenGL has failed for good. Comes once, between events.
    void failed();

protected:
    void initializeGL() override;
    void resizeGL(int width, int height) override;
    void paintGL() override;
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    MovieOpenGL::Functions functions() const;
    QSize pixels() const;
    bool isOnScreen() const;
    QImage lastFrame();
    void paintFirst();
    void leaveContext();
    void endOld();
    void checkFramebuffer();
    void fail();

    const std::function<QImage(QSize)> mFirst;
    std::unique_ptr<MovieOpenGL> mDrawing;
    std::vector<std::unique_ptr<MovieOpenGL>> mOld; // they are ending
    bool mHoldsFrame = false; // the framebuffer has one of the drawing
    bool mIsLost = false; // the drawing, and there is no other yet
    QImage mLast; // of what is lost; null for none
    bool mHasFailed = false;
};

} // namespace frameflow
