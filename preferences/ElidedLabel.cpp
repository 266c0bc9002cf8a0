#include "ElidedLabel.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>
#include <QToolTip>

#include <algorithm>

namespace frameflow {

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QString ElidedLabel::shownText() const
{
    return fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width());
}

QSize ElidedLabel::minimumSizeHint() const
{
    return {fontMetrics().averageCharWidth() * 12, QLabel::minimumSizeHint().height()};
}

QSize ElidedLabel::sizeHint() const
{
    const QSize whole = QLabel::sizeHint();
    return {std::min(whole.width(), fontMetrics().averageCharWidth() * 30), whole.height()};
}

bool ElidedLabel::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty() && shownText() != text()) {
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), text().toHtmlEscaped(), this);
        return true;
    }
    return QLabel::event(event);
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    QStyleOption option;
    option.initFrom(this);
    const int alignment = static_cast<int>(Qt::AlignVCenter | Qt::TextSingleLine)
        | (layoutDirection() == Qt::RightToLeft ? int(Qt::AlignRight) : int(Qt::AlignLeft));
    style()->drawItemText(
        &painter, contentsRect(), alignment, option.palette, isEnabled(), shownText(), foregroundRole());
}

} // namespace frameflow
