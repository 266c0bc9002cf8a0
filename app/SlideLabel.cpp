#include "SlideLabel.h"

#include <QEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>

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
    setLayoutDirection(Qt::LeftToRight); // as a path is read everywhere
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
    fit();
    place();
    raise();
    setVisible(!text.isEmpty());
}

QString SlideLabel::shownText() const
{
    return fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width() - 2 * margin());
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
        fit();
        place();
    }
    return QLabel::eventFilter(object, event);
}

void SlideLabel::paintEvent(QPaintEvent* event)
{
    QColor background(Qt::black);
    background.setAlphaF(backgroundOpacity);
    QPainter painter(this);
    painter.fillRect(event->rect(), background);
    const int padding = margin();
    style()->drawItemText(&painter, contentsRect().adjusted(padding, padding, -padding, -padding),
        static_cast<int>(Qt::AlignVCenter | Qt::AlignLeft) | Qt::TextSingleLine, palette(), isEnabled(), shownText(),
        QPalette::WindowText);
}

void SlideLabel::fit()
{
    const QSize whole = sizeHint();
    resize(std::min(whole.width(), parentWidget()->width()), whole.height());
}

void SlideLabel::place()
{
    move(0, parentWidget()->height() - height());
}

} // namespace frameflow
