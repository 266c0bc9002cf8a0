#include "KLThumbnailView.h"

#include "KLImage.h"
#include "KLImageGridDelegate.h"
#include "KLImageView.h"
#include "MainThread.h"
#include "ThumbnailButton.h"

#include <QLabel>
#include <QPainter>
#include <QTextDocument>
#include <QThread>

#include <algorithm>
#include <utility>

namespace frameflow {

namespace {

constexpr int labelMargin = 4;

// A name is shown as it is, also one that looks like markup.
QString plainToolTip(const QString& text)
{
    return Qt::mightBeRichText(text) ? text.toHtmlEscaped() : text;
}

QLabel* makeLabel(QWidget* parent)
{
    auto* const label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    label->setContentsMargins(labelMargin, 1, labelMargin, 1);
    label->setAutoFillBackground(true);
    label->setBackgroundRole(QPalette::Window);
    label->setForegroundRole(QPalette::WindowText);
    QPalette colours = label->palette();
    colours.setColor(QPalette::Window, QColor::fromRgbF(0.0F, 0.0F, 0.0F, 0.4F));
    colours.setColor(QPalette::WindowText, Qt::white);
    label->setPalette(colours);
    return label;
}

} // namespace

KLThumbnailView::KLThumbnailView(const QRect& frame) : mButton(new ThumbnailButton(this)), mLabel(makeLabel(mButton))
{
    setGeometry(frame);
    setFocusPolicy(Qt::NoFocus);
    mButton->setGeometry(rect());
    mButton->hide();
    connect(mButton, &QAbstractButton::clicked, this, &KLThumbnailView::buttonClick);
}

const QAbstractButton* KLThumbnailView::button() const
{
    return mButton;
}

void KLThumbnailView::setURL(const FileUrl& url)
{
    mUrl = url;
    if (url.isEmpty()) {
        setAccessibleName({});
    }
    update();
}

void KLThumbnailView::setImage(const QImage& image)
{
    if (QThread::currentThread() == thread()) {
        showImage(image);
        return;
    }
    postToMainThread([this, image, alive = std::weak_ptr(mAlive)] {
        if (alive.lock()) {
            showImage(image);
        }
    });
}

void KLThumbnailView::showImage(const QImage& image)
{
    mButton->setImage(image);
    if (image.isNull()) {
        mButton->hide();
        update();
        return;
    }
    placeButton();
    mButton->show();
    update();
}

bool KLThumbnailView::hasImage() const
{
    return !mButton->image().isNull();
}

void KLThumbnailView::setText(const QString& text)
{
    mText = text;
    mButton->setAccessibleName(text);
    mButton->setToolTip(plainToolTip(text));
    setAccessibleName(text);
    placeLabel();
    update();
}

void KLThumbnailView::setIsMovie(bool isMovie)
{
    mButton->setAccessibleDescription(isMovie ? tr("Movie") : QString());
    if (!isMovie) {
        if (mMovieIcon != nullptr) {
            mMovieIcon->hide();
        }
        return;
    }
    if (mMovieIcon == nullptr) {
        mMovieIcon = new KLImageView(QStringLiteral(":/frameflow/play2.svg"), mButton);
        mMovieIcon->setGeometry(mButton->rect());
        mLabel->raise();
    }
    mMovieIcon->show();
}

void KLThumbnailView::placeButton()
{
    if (!hasImage()) {
        return;
    }
    // Its coordinates have their origin at the other end of y; centred as it is, that makes no difference.
    const QRect place = KLImage::rectToFitSize(mButton->image().size(), size(), false).toRect();
    mButton->setGeometry(QRect(place.topLeft(), place.size().expandedTo(QSize(1, 1))));
    if (mMovieIcon != nullptr && mMovieIcon->hasImage()) {
        mMovieIcon->setGeometry(mButton->rect());
    }
    placeLabel();
}

void KLThumbnailView::placeLabel()
{
    const int room = std::max(0, mButton->width() - 2 * labelMargin);
    // Layout of text is most of what a cell that is scrolled into view costs, and it gets picture and text one by one.
    const auto placed = std::tuple(mText, room, mLabel->font());
    if (std::exchange(mPlaced, placed) != placed) {
        mLabel->setText(mLabel->fontMetrics().elidedText(mText, Qt::ElideMiddle, room));
        mLabel->setVisible(!mLabel->text().isEmpty());
        mLabel->adjustSize();
    }
    const int x = isRightToLeft() ? mButton->width() - mLabel->width() : 0;
    mLabel->move(x, mButton->height() - mLabel->height());
}

void KLThumbnailView::buttonClick()
{
    if (myDelegate != nullptr) {
        myDelegate->gotoImageIndex(mIndex);
    }
}

// A file without a picture, now or for good, has its place and its name all the same.
void KLThumbnailView::paintEvent(QPaintEvent* /*event*/)
{
    if (hasImage() || mUrl.isEmpty()) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor faint = palette().color(QPalette::Text);
    faint.setAlphaF(0.08F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(faint);
    painter.drawRoundedRect(rect(), 6, 6);
    QColor ink = palette().color(QPalette::Text);
    ink.setAlphaF(0.75F);
    painter.setPen(ink);
    const QRect inside = rect().adjusted(2 * labelMargin, 0, -2 * labelMargin, 0);
    painter.drawText(
        inside, Qt::AlignCenter | Qt::TextSingleLine, fontMetrics().elidedText(mText, Qt::ElideMiddle, inside.width()));
}

void KLThumbnailView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    placeButton();
}

} // namespace frameflow
