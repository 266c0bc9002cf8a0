#include "TransitionPreview.h"

#include "KLLayerView.h"
#include "SettingsKeys.h"

#include <QMouseEvent>

#include <array>

namespace frameflow {

namespace {

constexpr std::array round{"Cross Fade", "Flip", "Rotate Left Right", "Rotate Left", "Fast Cross Fade", "Shrink",
    "Expand", "Bar Swipe", "Mod", "Swipe", "Slide"};

constexpr QSize usualSize(256, 150);

} // namespace

TransitionPreview::TransitionPreview(Clock& clock, QWidget* parent) : QWidget(parent), mClock(clock)
{
    setFixedSize(usualSize);
    begin();
}

TransitionPreview::~TransitionPreview() = default;

// With a new view, because a transition that runs in the old one would have to be waited for.
void TransitionPreview::begin()
{
    delete mView;
    mView = new KLLayerView(mSettings, mClock, this, LayerDrawing::Raster);
    mView->setAttribute(Qt::WA_TransparentForMouseEvents);
    mView->setGeometry(rect());
    present();
    mView->show();
}

void TransitionPreview::present()
{
    const QSize pixels = (QSizeF(size()) * devicePixelRatioF()).toSize();
    mView->setImage(KLImage::imageWithImage(previewPicture(mShown, pixels)), true);
}

void TransitionPreview::play(const QString& title)
{
    const bool isRound = title == QLatin1String("All");
    mPlayed = isRound ? QString::fromLatin1(round[mTurn++ % round.size()]) : title;
    mSettings.registerDefaults({{keys::transition, mPlayed}, {keys::imageFitMode, keys::fitModeStretch}});
    begin();
    mShown = mShown == PreviewPicture::Day ? PreviewPicture::Night : PreviewPicture::Day;
    present();
}

void TransitionPreview::resizeEvent(QResizeEvent* /*event*/)
{
    mView->setGeometry(rect());
    mView->updateFitMode();
}

void TransitionPreview::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->pos())) {
        Q_EMIT clicked();
    }
}

} // namespace frameflow
