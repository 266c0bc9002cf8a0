#pragma once

class QWidget;

namespace frameflow {

// Has the window stand above the program's active one, a full-screen one too. Called before it is shown. It is no child
// of that window, which may go before it does.
void putAboveActiveWindow(QWidget* window);

// Has it stand above that one, which has been shown; at any time.
void putAbove(QWidget* window, const QWidget* below);

} // namespace frameflow
