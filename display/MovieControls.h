#pragma once

#include "Clock.h"
#include "MovieControlWidgets.h"
#include "MovieLoudness.h"
#include "MoviePlayer.h"

#include <QWidget>

#include <memory>

class QLabel;
class QVariantAnimation;

namespace frameflow {

// The controls of a movie, floating over the slide view that is their parent: play and pause, one frame back and on,
// where the movie stands, how loud it is. They come when they are revealed, and go by themselves after a moment unless
// the pointer rests on them or something is being dragged. The loudness is kept from movie to movie.
class MovieControls : public QWidget
{
    Q_OBJECT

public:
    // The clock outlives them.
    MovieControls(Clock& clock, QWidget* parent);
    ~MovieControls() override;

    // Kept here what a person sets, and taken from here for each movie. Not null.
    void setLoudness(const std::shared_ptr<MovieLoudness>& loudness);
    // Null for none, which also takes the controls away.
    void setPlayer(const MoviePlayerPtr& player);

    // Shows them, for a moment from now on.
    void reveal();
    void conceal();
    // Also where there is no room for them, until there is.
    bool isRevealed() const { return mIsRevealed; }
    // Reveals them and gives them the keyboard: the first or the last of them.
    void focusFirst();
    void focusLast();
    // What stands over the lower edge of the parent is so high, in points. They never cover it.
    void setBottomInset(int height);
    // At the lower edge of the parent, in its middle.
    void place();

Q_SIGNALS:
    // They have gone by themselves.
    void concealed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void addWidgets();
    void connectWidgets();
    void waitToConceal();
    bool isHeld() const;
    void fade(bool isComing);
    void handKeyboardBack();
    void update();
    void updatePosition();
    void watchPosition();
    void seekTo(int position, MovieEngine::Seek how);
    void step(bool forward);
    void showLoudness();
    void applyLoudness();

    Clock& mClock;
    MoviePlayerPtr mPlayer;
    std::shared_ptr<MovieLoudness> mLoudness = std::make_shared<MovieLoudness>();
    OneShotTimer mConceal;
    OneShotTimer mWatch; // runs while there is a position to be followed
    QVariantAnimation* mFade;
    MovieButton* mBack = nullptr;
    MovieButton* mPlay = nullptr;
    MovieButton* mForward = nullptr;
    QLabel* mElapsed = nullptr;
    MovieSlider* mPosition = nullptr; // in thousandths of a second
    QLabel* mLeft = nullptr;
    MovieButton* mMute = nullptr;
    MovieSlider* mVolume = nullptr; // in hundredths
    int mBottomInset = 0;
    bool mHasRoom = true;
    TimePoint mArrival; // when the movie will be where it was last sent to
    bool mIsRevealed = false;
};

// Minutes and seconds, with hours where there are any.
QString timeText(double seconds);

} // namespace frameflow
