#pragma once

#include "Coordinates.h"
#include "MoviePlayer.h"

#include <QPointer>
#include <QWidget>

namespace frameflow {

class Clock;
class MovieControls;
class MovieSurface;

// How the controls of a movie are offered.
enum class MovieControlsStyle
{
    None,
    Floating, // over the movie, while the pointer moves
};

// Shows what a player plays, in a rectangle of the slide view that is its parent: the player's own frames, and before
// the first of them the one that a decoder made. Music is shown as its cover and its name.
class MoviePlayerView : public QWidget
{
    Q_OBJECT

public:
    // The clock outlives the view. The rectangle is one of the layers of the parent: in points, origin at the lower
    // left.
    MoviePlayerView(const QRectF& frame, Clock& clock, QWidget* parent);
    ~MoviePlayerView() override;

    void setPlayer(const MoviePlayerPtr& player);
    const MoviePlayerPtr& player() const { return mPlayer; }
    void setFrame(const QRectF& frame);
    QRectF frame() const { return mFrame; }
    void setControlsStyle(MovieControlsStyle style);
    // Null without controls.
    MovieControls* controls() const;
    // Below all its siblings, but for its controls, which are above them.
    void lowerBelowSiblings();
    // Its player is closed: nothing draws its frames with OpenGL any more.
    void endDrawing();
    // Whether OpenGL has failed here, which it then always will.
    bool hasOpenGLFailed() const { return mHasOpenGLFailed; }

Q_SIGNALS:
    // The pointer has rested: it may go too.
    void controlsHidden();

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    ViewArea area() const;
    void place();
    void paintMovie(QPainter& painter) const;
    QImage movieAsSeen(QSize pixels) const;
    void useSurface();
    void placeSurface();
    void changeOutput(MovieOutput output, const QImage& last);
    bool keyPressed(const QKeyEvent& event);

    Clock& mClock;
    MoviePlayerPtr mPlayer;
    QRectF mFrame;
    QRect mFramePixels; // of the whole movie, in device pixels of the parent; empty when no screen can show it
    QRect mVisiblePixels; // what of it lies inside the parent
    MovieSurface* mSurface = nullptr; // a child, made for the first movie that is drawn with OpenGL
    bool mHasOpenGLFailed = false;
    QPointer<MovieControls> mControls; // a sibling
    QPoint mPointer; // where it was when it was last seen
};

} // namespace frameflow
