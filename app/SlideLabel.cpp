#include "SlideLabel.h"

#include <QEvent>
#include <QPaintEvent>
#include <QPainter>

namespace frameflow {

namespace {

constexpr int textHeight = 24; // pixels
constexpr double backgroundOpacity = 0.4;

} // namespace

SlideLabel::SlideLabel(QWidget* parent) : QLabel(parent)
{
    setObjectName(QStringLiteral("mLabel"));
    setTextFormat(Qt::PlainText); // a file's name is no markup
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    QFont large = font();
    large.setPixelSize(textHeight);
    setFont(large);
    QPalette white = palette();
    white.setColor(QPalette::WindowText, Qt::white);
    setPalette(white);
    setMargin(2);
    hide();
    parent->installEventFilter(this);
}

void SlideLabel::showText(const QString& text)
{
    setText(text);
    adjustSize();
    place();
    raise();
    show();
}

bool SlideLabel::event(QEvent* event)
{
    const bool isDone = QLabel::event(event);
    switch (event->type()) {
    case QEvent::Resize:
        place();
        [[fallthrough]];
    case QEvent::ShowToParent:
    case QEvent::HideToParent:
        Q_EMIT heightTaken(isHidden() ? 0 : height());
        break;
    default:
        break;
    }
    return isDone;
}

bool SlideLabel::eventFilter(QObject* object, QEvent* event)
{
    if (event->type() == QEvent::Resize) {
        place();
    }
    return QLabel::eventFilter(object, event);
}

void SlideLabel::paintEvent(QPaintEvent* event)
{
    QColor background(Qt::black);
    background.setAlphaF(backgroundOpacity);
    QPainter(this).fillRect(event->rect(), background);
    QLabel::paintEvent(event);
}

void SlideLabel::place()
{
    move(0, parentWidget()->height() - height());
}

} // namespace frameflow
