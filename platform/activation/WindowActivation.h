#pragma once

#include "LaunchToken.h"

class QWidget;

namespace frameflow {

// Brings a window that is shown to the front, with the keyboard, as a person wishes who has asked another program for
// it; a minimised one is restored. The desktop has the last word. Main thread.
void bringToFront(QWidget* window, const LaunchToken& token);

} // namespace frameflow
