"""Somebody who presses keys, moves windows and changes files without any aim."""

import subprocess
import time

from x_screen import Rect

SLIDE_KEYS = {
    "Right": 20, "Left": 8, "Home": 2, "Next": 3, "Prior": 3, "space": 6, "1": 2, "2": 1, "0": 2, "plus": 4, "minus": 3,
    "ctrl+0": 2, "ctrl+1": 1, "ctrl+2": 1, "ctrl+3": 1, "ctrl+4": 1, "ctrl+p": 8, "ctrl+r": 1, "ctrl+shift+p": 1,
    "ctrl+shift+n": 1, "ctrl+c": 1, "Tab": 1, "F11": 1, "Delete": 1, "Escape": 1, "x": 1,
}
COMMANDS = {
    "nextSlide": 6, "previousSlide": 4, "firstSlide": 2, "Play": 4, "shuffle": 1, "ShrinkToFit": 1, "ZoomToFit": 1,
    "FillScreen": 1, "Stretch": 1, "ZoomIn": 3, "ZoomOne": 2, "ZoomOff": 2, "ShowFilePath": 1, "ShowFileName": 1,
    "WindowMode": 3, "FullScreen": 3, "CopyFilePath": 1, "ShowControls": 1,
}
PASSING_WINDOWS = ("ShowPreferences", "openMenu", "AboutFrameflow", "ShowChooseScreen", "ShowWelcomeScreen")
GRID_KEYS = ("Down", "Up", "Left", "Right", "Next", "Prior", "Home", "End", "Return", "space", "Right", "Down")


class Person:
    """What is done depends on the chance alone, how it comes out on the program."""

    def __init__(self, program, folders, chance, log):
        self.program = program
        self.screen = program.screen
        self.folders = folders  # the one that is watched, the ads, and others
        self.chance = chance
        self.log = log
        self.is_watched = True  # the first folder, and it alone

    def act(self):
        ways = {
            self.press: 30, self.command: 10, self.change_files: 25, self.use_thumbnails: 4, self.look_at_window: 3,
            self.move_window: 4, self.use_mouse: 6, self.hold_key: 2, self.start_again: 1, self.open_other: 1,
            self.drop_other: 1, self.open_menu: 1, self.minimise: 1,
        }
        way = self.chance.choices(list(ways), list(ways.values()))[0]
        self.log(f"{way.__name__}: {way()}")
        if self.chance.random() < 0.7:
            self.pause(self.chance.uniform(0.0, 0.3))

    def pause(self, seconds):
        time.sleep(seconds)

    # ---- Files

    def change_files(self):
        folder = self.chance.choices(self.folders[:2], (9, 1))[0]
        folder.look()
        return folder.change()

    # ---- Keys and commands

    def press(self):
        key = self._any_of(SLIDE_KEYS)
        if not self.activate_show():
            return "nothing"
        times = self.chance.choice((1, 1, 1, 2, 5)) if key in ("Right", "Left", "plus", "space") else 1
        for _ in range(times):
            self.screen.press_key(key)
        return f"{key} {times}"

    def hold_key(self):
        key, seconds = self.chance.choice(("Right", "Left", "plus")), self.chance.uniform(0.3, 2)
        if not self.activate_show():
            return "nothing"
        self.screen.hold_key(key)
        self.pause(seconds)
        self.screen.release_key(key)
        return f"{key} {seconds:.1f}"

    def command(self):
        command = self._any_of(COMMANDS)
        self.program.perform(command)
        return command

    def open_menu(self):
        letter = self.chance.choice("fesvwh")
        if not self.activate_show():
            return "nothing"
        self.screen.press_key("alt+" + letter)
        self.pause(0.2)
        self.screen.press_key("Escape")
        return letter

    # ---- Windows

    def activate_show(self):
        """Whether it is there, to take keys: in another window they would change settings."""
        window = self.program.show_window()
        if window and not self.screen.is_active(window):
            self.screen.activate(window)
            self.pause(0.1)
        return window is not None

    def close_others(self):
        """All but that of the show."""
        show = self.program.show_window()
        for window in self.program.windows():
            if show is None or window.id != show.id:
                self.screen.close(window)

    def look_at_window(self):
        command = self.chance.choice(PASSING_WINDOWS)
        self.program.perform(command)
        self.pause(self.chance.uniform(0.1, 0.8))
        if command == "ShowPreferences":
            for _ in range(self.chance.randint(0, 4)):
                self.screen.press_key(self.chance.choice(("Down", "Up")))  # among the transitions
                self.pause(0.1)
        if self.program.show_window():
            self.close_others()
        return command

    def use_thumbnails(self):
        self.program.perform("ShowGridScreen")
        self.pause(self.chance.uniform(0.1, 1.0))
        pressed = [self.chance.choice(GRID_KEYS) for _ in range(self.chance.randint(0, 12))]
        window = self._window("Thumbnails")
        if window:
            rect = self.screen.geometry(window)
            self.screen.activate(window)
            if rect and self.chance.random() < 0.3:
                size = self.chance.randint(300, 1200), self.chance.randint(250, 760)
                self.screen.move(window, Rect(rect.x, rect.y, *size))
            for key in pressed:
                self.screen.press_key(key)
                self.pause(0.02)
            if rect and self.chance.random() < 0.5:
                self.screen.move_mouse(*rect.centre)
                for _ in range(self.chance.randint(1, 15)):
                    self._button(self.chance.choice((4, 5, 5)))
            if rect and self.chance.random() < 0.4:
                self.screen.click(
                    rect.x + self.chance.randrange(rect.width), rect.y + self.chance.randrange(rect.height)
                )
            if self.chance.random() < 0.7:
                self.screen.close(window)
        return " ".join(pressed)

    def move_window(self):
        window = self.program.show_window()
        if not window:
            return "nothing"
        if self.screen.has_state(window, "FULLSCREEN"):
            self.program.perform("WindowMode")
        rect = Rect(
            self.chance.randint(0, 500), self.chance.randint(30, 300), self.chance.randint(160, 900),
            self.chance.randint(120, 600),
        )
        self.screen.move(window, rect)
        return str(rect)

    def minimise(self):
        window = self.program.show_window()
        if window:
            self.screen.minimise(window)
            self.pause(self.chance.uniform(0.1, 0.6))
            self.screen.activate(window)
        return "and back"

    # ---- The mouse

    def use_mouse(self):
        window = self.program.show_window()
        rect = window and self.screen.geometry(window)
        if not rect:
            return "nothing"
        way = self.chance.choice(("press", "wheel", "pan", "wander", "menus"))
        self.activate_show()
        places = [
            (rect.x + self.chance.randrange(rect.width), rect.y + self.chance.randrange(rect.height)) for _ in range(6)
        ]
        if way == "menus":
            self.screen.move_mouse(rect.centre[0], rect.y)
            self.pause(0.3)
            self.screen.move_mouse(*rect.centre)
            return way
        if way != "wander":
            # Not pulled out of the menu bar: a menu has Quit.
            places[0] = places[0][0], max(places[0][1], rect.y + 40)
        self.screen.move_mouse(*places[0])
        if way == "pan":
            self.screen.hold_key("Control_L")
        if way != "wander":
            self.screen.hold_button()
        for place in places:
            self.screen.move_mouse(*place)
            if way == "wheel":
                self._button(self.chance.choice((4, 5)))
            self.pause(0.01)
        if way != "wander":
            self.screen.release_button()
        if way == "pan":
            self.screen.release_key("Control_L")
        return way

    # ---- Other files

    def start_again(self):
        files = self.chance.choice(([], [self.folders[0].path], [self._any_file()]))
        if files:
            self.is_watched = False
        self.program.start_second(files)
        return " ".join(str(file) for file in files)

    def open_other(self):
        other = self.chance.choice(self.folders[2:])
        self.is_watched = False
        self.program.open(other.path)
        return other.path.name

    def drop_other(self):
        """On the show, from another program's window."""
        helper = self.program.path.with_name("stand_in")
        other = self.chance.choice(self.folders[2:])
        show = self.program.show_window()
        if not helper.exists() or not show:
            return "nothing"
        self.is_watched = False
        with subprocess.Popen(
            [helper, "other", other.path.as_uri(), "text/uri-list"], stdout=subprocess.DEVNULL
        ) as source:
            self._carry(source, show)
            source.kill()
        return other.path.name

    def _carry(self, source, show):
        for _ in range(100):
            windows = self.screen.windows(source.pid)
            if windows and self.screen.is_visible(windows[0]):
                break
            self.pause(0.05)
        else:
            return
        self.screen.activate(windows[0])
        self.pause(0.3)
        begin, end = self.screen.geometry(windows[0]), self.screen.geometry(show)
        if begin and end:
            self.screen.move_mouse(*begin.centre)
            self.screen.hold_button()
            for part in range(1, 6):
                to = (end.x + end.width - 20, end.y + end.height - 20)
                self.screen.move_mouse(*(one + (other - one) * part // 5 for one, other in zip(begin.centre, to)))
                self.pause(0.05)
            self.pause(0.2)
            self.screen.release_button()
            self.pause(0.3)

    # ---- Which

    def _any_of(self, weights):
        return self.chance.choices(list(weights), list(weights.values()))[0]

    def _any_file(self):
        folder = self.chance.choice(self.folders)
        folder.look()
        return self.chance.choice(list(folder.entries))

    def _window(self, title):
        return next((one for one in self.program.windows() if self.program.title(one) == title), None)

    def _button(self, number):
        self.screen.hold_button(number)
        self.screen.release_button(number)
