#pragma once

#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace frameflow::bench {

// Of the usual keyboard of an X server on Linux.
namespace key {
constexpr xcb_keycode_t leftArrow = 113;
constexpr xcb_keycode_t rightArrow = 114;
constexpr xcb_keycode_t control = 37;
constexpr xcb_keycode_t zero = 19;
} // namespace key

// Sends keys as the keyboard itself does, to the display of the environment.
class Keyboard
{
public:
    Keyboard() : mConnection(xcb_connect(nullptr, nullptr)) { }
    ~Keyboard() { xcb_disconnect(mConnection); }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    void press(xcb_keycode_t key) const
    {
        send(XCB_KEY_PRESS, key);
        send(XCB_KEY_RELEASE, key);
        xcb_flush(mConnection);
    }
    void pressWith(xcb_keycode_t modifier, xcb_keycode_t key) const
    {
        send(XCB_KEY_PRESS, modifier);
        press(key);
        send(XCB_KEY_RELEASE, modifier);
        xcb_flush(mConnection);
    }

private:
    void send(uint8_t type, xcb_keycode_t key) const
    {
        xcb_test_fake_input(mConnection, type, key, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }

    xcb_connection_t* mConnection;
};

} // namespace frameflow::bench
