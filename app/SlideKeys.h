#pragma once

#include <QKeyEvent>

#include <optional>

namespace frameflow {

// What a key that no menu item took means to a slideshow.
struct SlideKey
{
    // 1 to 9: the show is to run with that many seconds a slide. Absent: the show is to stop.
    std::optional<int> seconds;
    bool isSpace = false;
};

// Absent for keys that say nothing: modifiers alone, media keys, dead keys, input methods, and all keys pressed with
// Alt or Meta. With Control, a digit or the space bar is a key like any other.
std::optional<SlideKey> slideKey(const QKeyEvent& event);

} // namespace frameflow
