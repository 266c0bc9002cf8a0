#pragma once

#include "Animation.h"
#include "Compositor.h"
#include "KLImage.h"
#include "Layer.h"
#include "MovieLoudness.h"
#include "MoviePlayer.h"
#include "RasterRenderer.h"
#include "ReducedCopies.h"

#include <QWidget>

namespace frameflow {

class CursorOverlay;
class CursorPicture;
class LayerSurface;
class MoviePlayerView;
class UserDefaults;

// Who draws the layers of a view.
enum class LayerDrawing
{
    ByProbe, // the graphics processor, where there is one
    Raster, // this program
    OpenGL, // only where probeOpenGL() works
};

// What the slide view tells its controller.
class KLImageDisplayDelegate
{
public:
    virtual ~KLImageDisplayDelegate() = default;
    virtual void delayNextImage() = 0;
};

// The view that fills the slideshow window and shows the current slide: two image layers that change roles at every
// slide, a view above them for a slide that is a movie, and a layer for the custom cursor. Rectangles of layers are in
// points, origin at the lower left of the view, y up. Main thread only. Settings are read whenever they are needed.
class KLLayerView : public QWidget, public AnimationDelegate
{
    Q_OBJECT

public:
    // Settings and clock outlive the view. Where OpenGL fails later, the view goes on without.
    KLLayerView(
        UserDefaults& defaults, Clock& clock, QWidget* parent = nullptr, LayerDrawing drawing = LayerDrawing::ByProbe);
    ~KLLayerView() override;

    // Not owned; null for none.
    void setDelegate(KLImageDisplayDelegate* delegate) { mDelegate = delegate; }

    // Loads through the image cache, waiting for it, and presents. What was decoded ahead is there at once. Dropped
    // while the view is busy; a file without a picture makes ImageOK() false and changes nothing else.
    void setImageWithURL(const FileUrl& url, bool forward);
    // Presents a picture, with a transition where there is a slide before it and no animation runs. Not null.
    void setImage(const KLImagePtr& image, bool forward);
    // Whether an animation is running. Begins and ends between events, not within a call.
    bool isBusy() const { return mTransitionInProgress; }
    bool ImageOK() const { return mImageOK; }
    void clearImage();
    // Re-places the slide for the view's size and the fit mode, and loads its picture again if the file has changed.
    void refresh();
    void updateFitMode();

    // Shows a movie, without a transition, in place of the picture, and plays it. Without one the picture is hidden and
    // nothing else is shown. A picture that is shown afterwards takes its place, likewise without a transition.
    void showMovie(const MoviePlayerPtr& player, bool forward);
    // How the frames of a movie are to be drawn that is to be shown here: as the layers are.
    MovieOutput movieOutput() const;
    bool isMovieActive() const { return mMovieActive; }
    // Whether the movie's view is to be hidden, once more, at the next end of an animation.
    bool removesMovieLayer() const { return mRemoveMovieLayer; }
    const MoviePlayerPtr& moviePlayer() const { return mAVPlayer; }
    // For the controls of movies, before the first one: shared with other views, what a person sets stays when the view
    // goes. Not null.
    void setMovieLoudness(const std::shared_ptr<MovieLoudness>& loudness) { mMovieLoudness = loudness; }
    // What stands over the lower edge of the view is so high, in points: the controls of movies stay above it.
    void setBottomInset(int height);
    // Made for the first movie; null before.
    MoviePlayerView* moviePlayerView() const { return mAVPlayerView; }

    // These do nothing while a movie is shown, but for the drift. Enlarge the slide by half, show it at one point a
    // pixel, and return to the fitted frame, each in a second during which the view is busy.
    void zoomIn();
    void zoomOne();
    void zoomOff();
    void zoomToHeight(double height, double width);
    void moveToPosition(double x, double y);
    // Moves an enlarged slide, on the axes on which it is larger than the view, without uncovering its edges. In
    // points; dx to the right, panY downwards.
    void panX(double dx, double panY);
    bool isZoomed() const { return mZoom; }
    // Lets the slide drift to the right for half a minute, without making the view busy.
    void driftEffect();

    // The pointer: while the left button is held, the picture that the settings name is drawn with its upper left
    // corner at the mouse, in place of the system's pointer. With Control or Meta held, dragging moves an enlarged
    // slide instead. The wheel scales the picture. Loads the picture, if it is another one than before.
    void updateCursor();
    // The picture's own size times the scale, in whole points; the zero rectangle without one.
    QRectF cursorRect() const;
    // Puts the picture at the mouse.
    void positionCursor();
    // The system's pointer, for all views as one: hiding it twice hides it once.
    static void hideMouse();
    static void showMouse();
    // Tells the delegate that somebody looks, but for a second after it was told, by whichever view.
    void delaySlideShow();
    double cursorZoom() const { return mCursorZoom; }

    // The frame that a layer should have. Anything but the two image layers is an AssertionFailure.
    QRectF rectForLayer(const LayerPtr& layer) const;
    // By the fit mode; for no image the zero rectangle, or the view's bounds where the mode stretches.
    QRectF rectForImage(const KLImagePtr& image) const;

    // By the fit mode; the view's bounds for what has no picture.
    QRectF rectForMovie(const MoviePlayerPtr& player) const;

    // On which device pixels a picture would be shown now. The rule stays as it is when view or settings change.
    FrameRule frameRule() const;
    // The same for a view of that area that does not exist yet.
    static FrameRule frameRuleFor(const ViewArea& area, const UserDefaults& defaults);

    void resetLayer(const LayerPtr& layer);
    void currentOnTop() { put(mCurrentLayer, mPreviousLayer); }
    void previousOnTop() { put(mPreviousLayer, mCurrentLayer); }
    // Moves the layer directly above the other.
    void put(const LayerPtr& layer, const LayerPtr& above);
    void swapImageLayers();
    // Gives the layer its contents.
    void displayLayer(const LayerPtr& layer);

    const LayerPtr& backgroundLayer() const { return mBackgroundLayer; }
    const LayerPtr& currentLayer() const { return mCurrentLayer; }
    const LayerPtr& previousLayer() const { return mPreviousLayer; }
    const LayerPtr& cursorLayer() const { return mCursorLayer; }
    const KLImagePtr& currentImage() const { return mCurrentImage; }
    const KLImagePtr& previousImage() const { return mPreviousImage; }
    Compositor& compositor() const { return *mCompositor; }
    // Null where the view draws its layers itself.
    LayerSurface* layerSurface() const { return mLayerSurface; }
    // Whether a sharper picture than the one drawn is being made.
    bool isSharpening() const { return mCopies.isReducing(); }

    // Runs the transition that the settings name, from the layer of the old slide to that of the new one. A name that
    // is not in the table changes nothing.
    void transition(const LayerPtr& from, const LayerPtr& to, bool forward);
    void transitionNone(const LayerPtr& from, const LayerPtr& to);
    void transitionCrossFade(const LayerPtr& from, const LayerPtr& to);
    void transitionFastCross(const LayerPtr& from, const LayerPtr& to);
    void transitionHorizontalFlip(const LayerPtr& from, const LayerPtr& to);
    void transitionHorizontalFlipBack(const LayerPtr& from, const LayerPtr& to);
    // Stored under no title.
    void transitionPush_BuildIn(const LayerPtr& from, const LayerPtr& to);
    void transitionRotate(const LayerPtr& from, const LayerPtr& to);
    void transitionRotateLeft(const LayerPtr& from, const LayerPtr& to);
    void transitionRotateRight(const LayerPtr& from, const LayerPtr& to);
    void transitionShrink(const LayerPtr& from, const LayerPtr& to);
    void transitionExpand(const LayerPtr& from, const LayerPtr& to);
    void transitionSlide(const LayerPtr& from, const LayerPtr& to);
    void transitionSlideBack(const LayerPtr& from, const LayerPtr& to);
    void transitionBarSwipe(const LayerPtr& from, const LayerPtr& to);
    void transitionMod(const LayerPtr& from, const LayerPtr& to);
    void transitionSwipe(const LayerPtr& from, const LayerPtr& to);
    void transitionTest(const LayerPtr& from, const LayerPtr& to);
    // The next of eleven transitions in turn; the turn is one for all views of the process.
    void transitionAll(const LayerPtr& from, const LayerPtr& to);

    void animationDidStart(const AnimationPtr& animation) override;
    void animationDidStop(const AnimationPtr& animation, bool finished) override;

Q_SIGNALS:
    // The view is not busy any more.
    void animationEnded();
    // The pointer has not been moved over a movie for a while.
    void pointerRested();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    LayerPtr addLayer();
    void useOpenGL();
    void redraw();
    // What is to be drawn now; has everything ready for that.
    DrawList prepareFrame();
    KLImagePtr imageOfLayer(const LayerPtr& layer) const;
    ViewArea area() const;
    QRectF frameFor(QSizeF picture) const;
    // Gives the root layer the view's bounds. A view that is not shown yet is told late of its size.
    void fitRootLayer();
    // Has the pictures of both image layers ready in the size of their frames.
    void prepareCopies();
    void removeMovie();
    void hideMovieView();
    void prepareZoom();
    void mouseDown(const QMouseEvent& event);
    void mouseDragged(const QMouseEvent& event);
    void mouseUp();
    void mouseExited();
    // Turns of the wheel, away from the person.
    void scrollWheel(double turns);
    QPointF layerPoint(const QMouseEvent& event) const;
    void concealCursor();
    void displayCursor();
    bool isCovered(const QRect& part) const;
    void animate(KeyPath keyPath, double from, double to, const QString& key);
    void fade(const LayerPtr& from, const LayerPtr& to, Duration duration);
    AnimationPtr filter(const char* name, Duration duration, const QRectF& extent = {});
    // Puts the first directly above the second, both at z-position 0.
    void putFlat(const LayerPtr& layer, const LayerPtr& above);
    AnimationPtr change(KeyPath keyPath, double from, double to, Duration duration, Curve curve);
    // Both layers half a turn about their lower left corners: from to that angle, to from that angle.
    void rotate(const LayerPtr& from, const LayerPtr& to, float fromAngle, float toAngle, const QString& key);

    UserDefaults& mDefaults;
    Clock& mClock;
    std::shared_ptr<Compositor> mCompositor;
    ReducedCopies mCopies;
    RasterRenderer mRenderer;
    LayerSurface* mLayerSurface = nullptr; // a child of the view

    LayerPtr mBackgroundLayer;
    LayerPtr mCurrentLayer;
    KLImagePtr mCurrentImage;
    bool mImageOK = false;
    LayerPtr mPreviousLayer;
    KLImagePtr mPreviousImage;
    bool mMovieActive = false;
    bool mRemoveMovieLayer = false;
    MoviePlayerPtr mAVPlayer; // closed once its movie has been left
    MoviePlayerView* mAVPlayerView = nullptr; // a child
    int mBottomInset = 0;
    std::shared_ptr<MovieLoudness> mMovieLoudness = std::make_shared<MovieLoudness>();
    LayerPtr mCursorLayer;
    std::shared_ptr<const CursorPicture> mCursorImage; // null for none
    CursorOverlay* mCursorOverlay = nullptr; // a child; shows the picture where widgets stand on the layers
    bool mZoom = false;
    double mCursorZoom = 1.0;
    // Points from the lower left of the view, which is that of its window.
    QPointF mCursorPoint;
    QPointF mMouseDownPoint;
    QPointF mLastMousePoint; // of the last press or drag, on the desktop
    bool mIsPointing = false; // from a press until the release, or until the view is left
    bool mTransitionInProgress = false;
    AnimationPtr mDriftAnimation; // while it runs
    KLImageDisplayDelegate* mDelegate = nullptr;
};

} // namespace frameflow
