#include "SlideKeys.h"

namespace frameflow {

namespace {

bool isSilent(int key)
{
    switch (key) {
    case 0:
    case Qt::Key_unknown:
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_Direction_L:
    case Qt::Key_Direction_R:
        return true;
    default:
        // Media and browser keys, then input-method and dead keys, are blocks of Qt's table.
        return (key >= Qt::Key_Back && key <= Qt::Key_MediaLast)
            || (key >= Qt::Key_Multi_key && key <= Qt::Key_Dead_Longsolidusoverlay);
    }
}

// The leading digits of a text as a number, 0 when there are none; more than one digit comes from an input method only.
int leadingNumber(const QString& text)
{
    int value = 0;
    for (const QChar character : text) {
        const int digit = character.unicode() - u'0';
        if (digit < 0 || digit > 9 || value > 99) {
            break;
        }
        value = value * 10 + digit;
    }
    return value;
}

} // namespace

std::optional<SlideKey> slideKey(const QKeyEvent& event)
{
    // Keys with Alt or the desktop's own modifier belong to menus and to the desktop.
    if (isSilent(event.key()) || event.modifiers().testAnyFlags(Qt::AltModifier | Qt::MetaModifier)) {
        return std::nullopt;
    }
    SlideKey key;
    if (event.modifiers().testFlag(Qt::ControlModifier)) {
        return key; // a key like any other: it stops the show
    }
    const int number = leadingNumber(event.text());
    if (number >= 1) {
        key.seconds = number;
    }
    key.isSpace = event.key() == Qt::Key_Space;
    return key;
}

} // namespace frameflow
