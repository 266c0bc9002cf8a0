#pragma once

#include "PreviewPictures.h"
#include "UserDefaults.h"

#include <QWidget>

namespace frameflow {

class Clock;
class KLLayerView;

// A small slide view with two pictures of its own, in which a person sees what a transition looks like. It has its own
// settings, and its own round of "All", so that playing there changes nothing in a show.
class TransitionPreview : public QWidget
{
    Q_OBJECT

public:
    // The clock outlives it.
    explicit TransitionPreview(Clock& clock, QWidget* parent = nullptr);
    ~TransitionPreview() override;

    // Goes over to the other picture with the transition of that title, in place of one that still runs.
    void play(const QString& title);

    const KLLayerView& view() const { return *mView; }
    PreviewPicture shown() const { return mShown; }
    // What was played last; for "All" the one whose turn it was. Empty before.
    const QString& played() const { return mPlayed; }

Q_SIGNALS:
    void clicked();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void begin();
    void present();

    Clock& mClock;
    UserDefaults mSettings{QString()}; // its registered values alone: nothing is ever stored
    KLLayerView* mView = nullptr; // a child
    PreviewPicture mShown = PreviewPicture::Day;
    QString mPlayed;
    size_t mTurn = 0;
};

} // namespace frameflow
