#include "AboveActiveWindow.h"

#include <QApplication>
#include <QWidget>
#include <QWindow>

namespace frameflow {

void putAboveActiveWindow(QWidget* window)
{
    const QWidget* const active = QApplication::activeWindow();
    if (active != nullptr && active != window) {
        putAbove(window, active);
    }
}

void putAbove(QWidget* window, const QWidget* below)
{
    window->winId(); // there is a handle from here on
    window->windowHandle()->setTransientParent(below->windowHandle());
}

} // namespace frameflow
