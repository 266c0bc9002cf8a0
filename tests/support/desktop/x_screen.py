"""The X server as a person has it: what is on screen, the windows, keyboard and mouse."""

import contextlib
from dataclasses import dataclass

from Xlib import X, XK, Xatom, Xutil, display, error
from Xlib.ext import xtest
from Xlib.protocol import event

MODIFIERS = {"ctrl": "Control_L", "shift": "Shift_L", "alt": "Alt_L"}
FROM_PAGER = 2


@dataclass(frozen=True)
class Rect:
    """In pixels, from the top left corner of the screen."""

    x: int
    y: int
    width: int
    height: int

    @property
    def centre(self):
        return self.x + self.width // 2, self.y + self.height // 2


class Picture:
    """Pixels of a part of the screen."""

    def __init__(self, rect, data):
        self.rect = rect
        self.data = data

    def at(self, x, y):
        """Red, green and blue of a place on the screen; None outside."""
        column, row = x - self.rect.x, y - self.rect.y
        if not (0 <= column < self.rect.width and 0 <= row < self.rect.height):
            return None
        place = (row * self.rect.width + column) * 4
        blue, green, red = self.data[place : place + 3]
        return red, green, blue

    def save(self, path):
        """As a PPM file."""
        data = bytearray(len(self.data) // 4 * 3)
        data[0::3], data[1::3], data[2::3] = self.data[2::4], self.data[1::4], self.data[0::4]
        with open(path, "wb") as file:
            file.write(b"P6 %d %d 255\n" % (self.rect.width, self.rect.height))
            file.write(data)


class Screen:
    """Questions about windows that are gone have empty answers."""

    def __init__(self):
        self._display = display.Display()
        self._root = self._display.screen().root
        self._display.set_error_handler(lambda *_: None)
        size = self._root.get_geometry()
        self.rect = Rect(0, 0, size.width, size.height)

    # ---- What is on screen

    def grab(self, rect=None):
        """None where that is outside."""
        rect = rect or self.rect
        with contextlib.suppress(error.XError):
            image = self._root.get_image(rect.x, rect.y, rect.width, rect.height, X.ZPixmap, 0xFFFFFFFF)
            return Picture(rect, image.data)
        return None

    def pixel(self, x, y):
        picture = self.grab(Rect(x, y, 1, 1))
        return picture.at(x, y) if picture else None

    # ---- Windows

    def _property(self, window, name, kind=X.AnyPropertyType):
        with contextlib.suppress(error.XError):
            found = window.get_full_property(self._display.intern_atom(name), kind)
            return found.value if found is not None else None
        return None

    def windows(self, process=None):
        """Those that the window manager has, the oldest first; of one process where it is given."""
        numbers = self._property(self._root, "_NET_CLIENT_LIST", Xatom.WINDOW)
        found = [self._display.create_resource_object("window", number) for number in numbers or []]
        if process is None:
            return found
        return [window for window in found if list(self._property(window, "_NET_WM_PID") or []) == [process]]

    def title(self, window):
        text = self._property(window, "_NET_WM_NAME") or self._property(window, "WM_NAME") or b""
        return text.decode("utf-8", "replace") if isinstance(text, bytes) else str(text)

    def geometry(self, window):
        """The inside of the window; None when it is gone."""
        with contextlib.suppress(error.XError):
            size = window.get_geometry()
            place = window.translate_coords(self._root, 0, 0)
            return Rect(-place.x, -place.y, size.width, size.height)
        return None

    def is_visible(self, window):
        with contextlib.suppress(error.XError):
            return window.get_attributes().map_state == X.IsViewable
        return False

    def has_state(self, window, name):
        states = self._property(window, "_NET_WM_STATE", Xatom.ATOM)
        return self._display.intern_atom("_NET_WM_STATE_" + name) in list(states or [])

    def is_active(self, window):
        active = self._property(self._root, "_NET_ACTIVE_WINDOW", Xatom.WINDOW)
        return bool(active) and active[0] == window.id

    def _ask(self, window, message, data):
        kind = self._display.intern_atom(message)
        asked = event.ClientMessage(window=window, client_type=kind, data=(32, (list(data) + [0] * 5)[:5]))
        self._root.send_event(asked, event_mask=X.SubstructureRedirectMask | X.SubstructureNotifyMask)
        self._display.sync()

    def activate(self, window):
        self._ask(window, "_NET_ACTIVE_WINDOW", [FROM_PAGER, X.CurrentTime])

    def close(self, window):
        self._ask(window, "_NET_CLOSE_WINDOW", [X.CurrentTime, FROM_PAGER])

    def minimise(self, window):
        self._ask(window, "WM_CHANGE_STATE", [Xutil.IconicState])

    def move(self, window, rect):
        given = 10 | 0xF00 | (FROM_PAGER << 12)  # static gravity: the numbers are those of the inside
        self._ask(window, "_NET_MOVERESIZE_WINDOW", [given, rect.x, rect.y, rect.width, rect.height])

    # ---- Keyboard and mouse, as from the devices themselves

    def _key_codes(self, text):
        *modifiers, name = text.split("+") if text != "+" else ["plus"]
        symbol = XK.string_to_keysym(name)
        code = self._display.keysym_to_keycode(symbol)
        if not code:
            raise ValueError(f"no key {text}")
        codes = [self._display.keysym_to_keycode(XK.string_to_keysym(MODIFIERS[one])) for one in modifiers]
        if self._display.keycode_to_keysym(code, 0) != symbol:
            codes.append(self._display.keysym_to_keycode(XK.string_to_keysym("Shift_L")))
        return [*codes, code]

    def hold_key(self, text):
        for code in self._key_codes(text):
            xtest.fake_input(self._display, X.KeyPress, code)
        self._display.sync()

    def release_key(self, text):
        for code in reversed(self._key_codes(text)):
            xtest.fake_input(self._display, X.KeyRelease, code)
        self._display.sync()

    def press_key(self, text):
        """A name as X has it, with modifiers in front: "Right", "ctrl+shift+w"."""
        self.hold_key(text)
        self.release_key(text)

    def move_mouse(self, x, y):
        xtest.fake_input(self._display, X.MotionNotify, x=x, y=y)
        self._display.sync()

    def hold_button(self, number=1):
        xtest.fake_input(self._display, X.ButtonPress, number)
        self._display.sync()

    def release_button(self, number=1):
        xtest.fake_input(self._display, X.ButtonRelease, number)
        self._display.sync()

    def click(self, x, y, number=1):
        self.move_mouse(x, y)
        self.hold_button(number)
        self.release_button(number)
