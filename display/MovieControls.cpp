#include "MovieControls.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QVariantAnimation>

#include <algorithm>
#include <cmath>
#include <limits>

namespace frameflow {

namespace {

constexpr Duration timeToRest = std::chrono::seconds(3);
constexpr Duration timeBetweenLooks = std::chrono::milliseconds(200);
// Where it was sent to, it is a moment later. Until then its position is no place to go on from.
constexpr Duration timeToArrive = std::chrono::milliseconds(400);
constexpr int fadeTime = 150; // milliseconds
constexpr int widest = 720;
constexpr int heightOfAll = 56;
constexpr int lowest = 44; // still has all of the buttons
// A movie is never sought to its very end: it would be over while somebody still looks for a place in it.
constexpr double secondsBeforeEnd = 0.05;

int thousandths(double seconds)
{
    return static_cast<int>(std::clamp(seconds * 1000, 0.0, double(std::numeric_limits<int>::max())));
}

QLabel* timeLabel(const QString& name, QWidget* parent)
{
    auto* const label = new QLabel(parent);
    label->setAccessibleName(name);
    label->setAlignment(Qt::AlignCenter);
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    QFont font = label->font();
    font.setPixelSize(13);
    label->setFont(font);
    return label;
}

} // namespace

QString timeText(double seconds)
{
    const auto whole = static_cast<qint64>(std::floor(std::max(0.0, seconds)));
    const auto two = [](qint64 number) { return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0')); };
    const QString rest = two(whole % 60);
    return whole < 3600 ? QStringLiteral("%1:%2").arg(whole / 60).arg(rest)
                        : QStringLiteral("%1:%2:%3").arg(whole / 3600).arg(two(whole / 60 % 60), rest);
}

MovieControls::MovieControls(Clock& clock, QWidget* parent)
    : QWidget(parent), mClock(clock), mConceal(clock), mWatch(clock), mFade(new QVariantAnimation(this))
{
    setObjectName(QStringLiteral("MovieControls"));
    setAccessibleName(tr("Movie Controls"));
    setLayoutDirection(Qt::LeftToRight);
    setCursor(Qt::ArrowCursor);
    setMouseTracking(true);
    addWidgets();
    connectWidgets();
    setProperty(fadeProperty, 0.0);
    mFade->setDuration(fadeTime);
    mFade->setStartValue(0.0);
    mFade->setEndValue(1.0);
    connect(mFade, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        setProperty(fadeProperty, value);
        const QString colour = QStringLiteral("color: rgba(255, 255, 255, %1)").arg(qRound(value.toDouble() * 220));
        mElapsed->setStyleSheet(colour);
        mLeft->setStyleSheet(colour);
        QWidget::update();
    });
    connect(mFade, &QVariantAnimation::finished, this, [this] { setVisible(mIsRevealed && mHasRoom); });
    hide();
}

MovieControls::~MovieControls() = default;

void MovieControls::addWidgets()
{
    mBack = new MovieButton(MovieGlyph::StepBack, tr("One Frame Back"), this);
    mPlay = new MovieButton(MovieGlyph::Play, tr("Play"), this);
    mForward = new MovieButton(MovieGlyph::StepForward, tr("One Frame On"), this);
    mElapsed = timeLabel(tr("Elapsed Time"), this);
    mPosition = new MovieSlider(tr("Position"), this);
    mLeft = timeLabel(tr("Time Left"), this);
    mMute = new MovieButton(MovieGlyph::Sound, tr("Mute"), this);
    mVolume = new MovieSlider(tr("Volume"), this);
    mBack->setAutoRepeat(true);
    mForward->setAutoRepeat(true);
    mPosition->setSingleStep(5000);
    mPosition->setPageStep(30000);
    mVolume->setRange(0, 100);
    mVolume->setSingleStep(5);
    mVolume->setPageStep(20);
    mVolume->setValue(100);
    mVolume->setMaximumWidth(96);
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(12, 4, 12, 4);
    row->setSpacing(2);
    for (QWidget* widget :
        std::initializer_list<QWidget*>{mBack, mPlay, mForward, mElapsed, mPosition, mLeft, mMute, mVolume}) {
        row->addWidget(widget, widget == mPosition ? 1 : 0);
        widget->installEventFilter(this);
    }
}

void MovieControls::connectWidgets()
{
    connect(mPlay, &QToolButton::clicked, this, [this] {
        if (mPlayer && mPlayer->isPlaying()) {
            mPlayer->pause();
        } else if (mPlayer) {
            mPlayer->play();
        }
    });
    connect(mBack, &QToolButton::clicked, this, [this] { step(false); });
    connect(mForward, &QToolButton::clicked, this, [this] { step(true); });
    connect(mPosition, &QSlider::sliderPressed, this, [this] { mPlayer ? mPlayer->beginScrubbing() : void(); });
    connect(mPosition, &QSlider::sliderMoved, this, [this](int to) { seekTo(to, MovieEngine::Seek::Quick); });
    connect(mPosition, &QSlider::sliderReleased, this, [this] {
        seekTo(mPosition->sliderPosition(), MovieEngine::Seek::Exact);
        mPlayer ? mPlayer->endScrubbing() : void();
        waitToConceal();
    });
    connect(mPosition, &QSlider::actionTriggered, this, [this](int action) {
        // By the keyboard or the wheel; the wheel's is told from a dragged handle's only by that nothing is held.
        if (action != QAbstractSlider::SliderMove || !mPosition->isSliderDown()) {
            seekTo(mPosition->sliderPosition(), MovieEngine::Seek::Exact);
        }
    });
    connect(mMute, &QToolButton::clicked, this, [this] {
        mLoudness->isMuted = !mLoudness->isMuted;
        applyLoudness();
    });
    connect(mVolume, &QSlider::valueChanged, this, [this](int volume) {
        *mLoudness = {volume, false};
        applyLoudness();
    });
}

void MovieControls::setLoudness(const std::shared_ptr<MovieLoudness>& loudness)
{
    mLoudness = loudness;
    showLoudness();
}

void MovieControls::setPlayer(const MoviePlayerPtr& player)
{
    if (mPlayer) {
        mPlayer->disconnect(this);
    }
    mPlayer = player;
    mPosition->setSliderDown(false);
    mArrival = TimePoint();
    if (!mPlayer) {
        conceal();
        return;
    }
    connect(mPlayer.get(), &MoviePlayer::stateChanged, this, &MovieControls::update);
    connect(mPlayer.get(), &MoviePlayer::frameChanged, this, [this] {
        if (mIsRevealed && !mPlayer->isPlaying()) {
            updatePosition(); // one frame further, or sought
        }
    });
    for (QWidget* widget : {mBack, mForward}) {
        widget->setVisible(mPlayer->hasVideo());
    }
    showLoudness();
    update();
    place();
}

// ---- Coming and going

void MovieControls::reveal()
{
    if (!mPlayer) {
        return;
    }
    if (!mIsRevealed) {
        mIsRevealed = true;
        place();
        raise();
        setVisible(mHasRoom);
        fade(true);
        update();
    }
    waitToConceal();
}

void MovieControls::conceal()
{
    if (!mIsRevealed) {
        return;
    }
    mIsRevealed = false;
    mConceal.stop();
    mWatch.stop();
    handKeyboardBack();
    fade(false);
}

void MovieControls::handKeyboardBack()
{
    if (isAncestorOf(focusWidget() != nullptr ? focusWidget() : this)) {
        parentWidget()->setFocus();
    }
}

void MovieControls::waitToConceal()
{
    mConceal.start(mClock.now() + timeToRest, [this] {
        if (isHeld()) {
            waitToConceal();
        } else {
            conceal();
            Q_EMIT concealed();
        }
    });
}

bool MovieControls::isHeld() const
{
    return underMouse() || mPosition->isSliderDown() || mVolume->isSliderDown();
}

void MovieControls::fade(bool isComing)
{
    mFade->setDirection(isComing ? QAbstractAnimation::Forward : QAbstractAnimation::Backward);
    if (mFade->state() != QAbstractAnimation::Running) {
        mFade->start();
    }
}

void MovieControls::focusFirst()
{
    reveal();
    if (!mHasRoom) {
        return;
    }
    (mBack->isVisibleTo(this) ? mBack : mPlay)->setFocus(Qt::TabFocusReason);
}

void MovieControls::focusLast()
{
    reveal();
    if (!mHasRoom) {
        return;
    }
    (mVolume->isVisibleTo(this) ? static_cast<QWidget*>(mVolume) : mPosition)->setFocus(Qt::BacktabFocusReason);
}

void MovieControls::setBottomInset(int height)
{
    mBottomInset = height;
    place();
}

void MovieControls::place()
{
    const QSize area = parentWidget()->size();
    const int margin = std::clamp(area.width() / 40, 4, 24);
    const int width = std::min(widest, area.width() - 2 * margin);
    // What there is no room for is left out.
    const bool hasAudio = mPlayer && mPlayer->hasAudio();
    mMute->setVisible(hasAudio && width >= 220);
    mVolume->setVisible(hasAudio && width >= 460);
    mLeft->setVisible(width >= 300);
    mElapsed->setVisible(width >= 380);
    const int bottom = area.height() - mBottomInset - margin;
    const int height = std::clamp(bottom, lowest, heightOfAll);
    setGeometry((area.width() - width) / 2, bottom - height, std::max(width, 1), height);
    mHasRoom = bottom >= lowest;
    if (!mHasRoom) {
        handKeyboardBack();
    }
    if (mIsRevealed || !mHasRoom) { // others are fading away
        setVisible(mHasRoom);
    }
}

void MovieControls::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(property(fadeProperty).toDouble());
    painter.setPen(QPen(QColor(255, 255, 255, 36), 1));
    painter.setBrush(QColor(26, 27, 30, 205));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 14, 14);
}

// The keyboard goes back to the slide.
void MovieControls::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        conceal();
    } else {
        QWidget::keyPressEvent(event);
    }
}

// Whoever presses between two controls does not mean the slide.
void MovieControls::mousePressEvent(QMouseEvent* event)
{
    event->accept();
}

bool MovieControls::eventFilter(QObject* object, QEvent* event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::FocusIn:
    case QEvent::MouseButtonPress:
    case QEvent::Wheel:
        if (mIsRevealed) {
            waitToConceal();
        }
        break;
    default:
        break;
    }
    return QWidget::eventFilter(object, event);
}

// ---- What they show

void MovieControls::update()
{
    if (!mPlayer) {
        return;
    }
    const bool isPlaying = mPlayer->isPlaying();
    mPlay->setMeaning(isPlaying ? MovieGlyph::Pause : MovieGlyph::Play, isPlaying ? tr("Pause") : tr("Play"));
    const QSignalBlocker silent(mPosition);
    mPosition->setRange(0, thousandths(mPlayer->duration()));
    mPosition->setEnabled(mPosition->maximum() > 0);
    // So wide that nothing moves while the figures change.
    const QString longest = QStringLiteral("\u2212")
        + timeText(mPlayer->duration()).replace(QRegularExpression(QStringLiteral("\\d")), QStringLiteral("0"));
    for (QLabel* label : {mElapsed, mLeft}) {
        label->setFixedWidth(label->fontMetrics().horizontalAdvance(longest) + 10);
    }
    updatePosition();
    watchPosition();
}

void MovieControls::updatePosition()
{
    if (mPosition->isSliderDown() || mClock.now() < mArrival) {
        return;
    }
    const double position = mPlayer->position();
    const QSignalBlocker silent(mPosition);
    mPosition->setValue(thousandths(position));
    mPosition->QWidget::update();
    mElapsed->setText(timeText(position));
    const double left = mPlayer->duration() - position;
    mLeft->setText(mPlayer->duration() > 0 ? QStringLiteral("\u2212") + timeText(std::ceil(left)) : QString());
}

void MovieControls::watchPosition()
{
    if (!mIsRevealed || !mPlayer->isPlaying()) {
        mWatch.stop();
        return;
    }
    mWatch.start(mClock.now() + timeBetweenLooks, [this] {
        updatePosition();
        watchPosition();
    });
}

void MovieControls::seekTo(int position, MovieEngine::Seek how)
{
    if (!mPlayer) {
        return;
    }
    const double last = std::max(0.0, mPlayer->duration() - secondsBeforeEnd);
    const double seconds = std::min(position / 1000.0, last);
    mPlayer->seek(seconds, how);
    mArrival = mClock.now() + timeToArrive;
    mElapsed->setText(timeText(seconds));
    mLeft->setText(QStringLiteral("\u2212") + timeText(std::ceil(mPlayer->duration() - seconds)));
}

void MovieControls::step(bool forward)
{
    mArrival = TimePoint();
    if (mPlayer) {
        mPlayer->step(forward);
    }
}

void MovieControls::showLoudness()
{
    const QSignalBlocker silent(mVolume);
    mVolume->setValue(mLoudness->volume);
    applyLoudness();
}

void MovieControls::applyLoudness()
{
    const bool isMuted = mLoudness->isMuted;
    const bool isSilent = isMuted || mLoudness->volume == 0;
    mMute->setMeaning(isSilent ? MovieGlyph::Silence : MovieGlyph::Sound, isMuted ? tr("Turn Sound On") : tr("Mute"));
    if (mPlayer) {
        mPlayer->setVolume(mLoudness->volume / 100.0);
        mPlayer->setMuted(isMuted);
    }
}

} // namespace frameflow
