#include "AboveActiveWindow.h"

#include <QApplication>
#include <QWidget>
#include <QWindow>

namespace frameflow {

void putAboveActiveWindow(QWidget* window)
{
    window->winId(); // there is a handle from here on
    const QWidget* const active = QApplication::activeWindow();
    if (active != nullptr && active != window) {
        window->windowHandle()->setTransientParent(active->windowHandle());
    }
}

} // namespace frameflow
