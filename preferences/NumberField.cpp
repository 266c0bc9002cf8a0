#include "NumberField.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace frameflow {

NumberField::NumberField(QWidget* parent) : QLineEdit(parent)
{
    connect(this, &QLineEdit::textEdited, this, &NumberField::settled);
}

double NumberField::numberIn(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^\s*([-+]?\d+)(?:[.,](\d+))?)"));
    const auto match = pattern.match(text);
    const double number = (match.captured(1) + QLatin1Char('.') + match.captured(2)).toDouble();
    return match.hasMatch() && std::isfinite(number) ? number : 0.0;
}

qint64 NumberField::integerIn(const QString& text)
{
    return static_cast<qint64>(std::clamp(numberIn(text), -9.0e18, 9.0e18));
}

void NumberField::setValue(double value)
{
    mValue = value;
    if (!isModified() || !hasFocus()) {
        showValue();
    }
}

void NumberField::showValue()
{
    setText(QString::number(mValue, 'g', 9));
    setCursorPosition(0);
}

bool NumberField::endEdit()
{
    if (!isModified()) {
        return true;
    }
    if (mRule && !mRule(text())) {
        selectAll();
        Q_EMIT refused(text());
        return false;
    }
    mValue = numberIn(text());
    showValue();
    Q_EMIT settled();
    Q_EMIT valueEdited(mValue);
    return true;
}

void NumberField::step(int by)
{
    const QString next = QString::number(std::floor(numberIn(text())) + by, 'f', 0);
    if (next.size() <= maxLength() && (!mRule || mRule(next))) {
        setText(next);
        setModified(true);
        endEdit();
    }
}

QSize NumberField::sizeHint() const
{
    return {fontMetrics().averageCharWidth() * (maxLength() + 4), QLineEdit::sizeHint().height()};
}

bool NumberField::focusNextPrevChild(bool next)
{
    return !endEdit() || QLineEdit::focusNextPrevChild(next);
}

void NumberField::focusOutEvent(QFocusEvent* event)
{
    QLineEdit::focusOutEvent(event);
    // Another window, or a menu, is no end of the edit.
    const bool isLeft = event->reason() != Qt::ActiveWindowFocusReason && event->reason() != Qt::PopupFocusReason;
    if (isLeft && isVisible() && !endEdit()) {
        // Later: the one that takes the focus is about to be told.
        QTimer::singleShot(0, this, [this] { setFocus(Qt::OtherFocusReason); });
    }
}

void NumberField::hideEvent(QHideEvent* event)
{
    // A window that is minimised is not left.
    if (!event->spontaneous() && isModified()) {
        showValue();
        Q_EMIT settled();
    }
    QLineEdit::hideEvent(event);
}

void NumberField::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (endEdit()) {
            selectAll();
        }
        event->accept();
        break;
    case Qt::Key_Up:
        step(1);
        break;
    case Qt::Key_Down:
        step(-1);
        break;
    default:
        QLineEdit::keyPressEvent(event);
    }
}

} // namespace frameflow
