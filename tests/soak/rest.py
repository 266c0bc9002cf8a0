"""Moments in which nobody does anything: what is on the screen has to be what should be there."""

import os
import time

import clock
from pictures import wrong_blocks
from program import SLIDE, Failure

FITS = {"ShrinkToFit": "FitModeFit", "ZoomToFit": "FitModeZoom", "FillScreen": "FitModeFill", "Stretch": "FitModeStretch"}
PATIENCE = 40  # seconds until everything has to be in its place, on a busy machine too
STEPS_OFF_LOST_FILES = 4
MOST_FILES_OF_A_WALK = 12


class Rest:
    def __init__(self, program, person, folders, chance, log, pictures_folder):
        self.program = program
        self.screen = program.screen
        self.person = person
        self.folders = folders
        self.chance = chance
        self.log = log
        self.pictures_folder = pictures_folder
        self.fit = "FitModeFit"
        self.slides_checked = 0
        self.passed = set()  # titles that were seen in a walk, whatever led to them

    # ---- To a state that is known

    def come_to_rest(self):
        """A show that is stopped and seen as a whole, and no other window."""
        for folder in self.folders:
            folder.look()
        # Opened a second time, even before its first slide is there, the folder would not be watched any more.
        if not self.person.is_watched or self.program.show_window() is None:
            self.open_anew()
        self.reach_show()
        self._await(self._is_show_alone, "other windows stay", pause=0.5)
        for key, command in (("showFilePath", "ShowFilePath"), ("showFileName", "ShowFileName")):
            if self.program.setting(key) == "true":
                self.program.perform(command)
        command = self.chance.choice(list(FITS))
        self.fit = FITS[command]
        for one in (command, "ZoomOff", self.chance.choice(("FullScreen", "FullScreen", "WindowMode"))):
            self.program.perform(one)
        self._activate()
        self._rest_mouse()
        self._await_stop()

    def _is_show_alone(self):
        # Again and again: a panel that has to be answered first keeps the windows behind it from being closed.
        self.person.close_others()
        return len(self.program.windows()) == 1

    def _await_stop(self):
        # A show that a movie interrupts goes on after it: it can only be stopped then.
        def is_still():
            self.screen.press_key("0")
            before = self.screen.grab().data
            time.sleep(0.4)
            return before == self.screen.grab().data

        self._await(is_still, "the show does not come to rest")
        self._await_stillness()

    def open_anew(self):
        """The first folder alone, which is watched from then on."""
        self._end_show()
        self.program.open(self.folders[0].path)
        self.person.is_watched = True

    def leave_show(self):
        """Nothing is shown any more."""
        self._end_show()
        self._await_stillness()

    def _end_show(self):
        # Without any window the program would end where somebody has switched the welcome off.
        self.program.perform("ShowWelcomeScreen")
        self.program.perform("cancel")
        self._await(lambda: self.program.show_window() is None, "the show does not end")

    def reach_show(self):
        self._await(self._has_slide, "there is no show")

    def _has_slide(self):
        window = self.program.show_window()
        return window is not None and SLIDE.fullmatch(self.program.title(window))

    def _activate(self):
        def is_active():
            window = self.program.show_window()
            if window is None or self.screen.is_active(window):
                return window is not None
            self.screen.activate(window)
            return False

        self._await(is_active, "the show does not get the keyboard")

    def _rest_mouse(self):
        area = self.screen.geometry(self.program.show_window())
        if area:
            self.screen.move_mouse(area.x + area.width // 2, area.y + area.height * 5 // 8)

    def _await_stillness(self):
        last = [None]

        def is_still():
            before, last[0] = last[0], self.screen.grab().data
            return before == last[0]

        self._await(is_still, "the screen does not come to rest", pause=0.4)

    # ---- What is there

    def check_slide(self):
        """The slide that the program says it shows is one of the files, and is on the screen."""
        for step in range(STEPS_OFF_LOST_FILES + 1):
            wrong = self._wrong_until(PATIENCE if step == STEPS_OFF_LOST_FILES else 15)
            if wrong is None:
                self.slides_checked += 1
                return
            if wrong != "it is not there any more":
                break
            # What is gone may stay on the screen of a show that stands, until the next step.
            self.screen.press_key("Right")
        self._fail(f"the slide {self._title()} is wrong: {wrong}")

    def check_all(self):
        """Steps lead to all files that are there."""
        folder = self.folders[0]
        while len(folder.entries) > MOST_FILES_OF_A_WALK:
            self.log(f"rest: {folder.shrink()}")
        missing = set()
        for _ in range(4):
            seen, passed = self._walk(len(folder.entries))
            folder.look()
            missing = {path.name for path in folder.reliable()} - seen - passed
            strange = seen - {path.name for one in self.folders[:2] for path in one.entries}
            if not missing and not strange:
                return
            self.log(f"rest: once more, missing {sorted(missing)}, too many {sorted(strange)}")
            time.sleep(5)
        self._fail(f"steps do not lead to {sorted(missing)}, but to {sorted(strange)}")

    def _walk(self, files):
        """The titles that steps have led to, and all that were seen: a movie that ends leads to the next slide by itself."""
        self.screen.press_key("Home")
        self._await_stillness()
        seen, passed, without_news = set(), set(), 0
        self.passed = passed
        for _ in range(3 * files + 20):
            if without_news > 4 + files // 4:
                break
            self._await_quiet(2)
            title = self._step()
            self.log(f"rest: step to {title}")
            without_news = 0 if title not in seen else without_news + 1
            seen.add(title)
            if self.chance.random() < 0.2:
                self._await_stillness()
                self.check_slide()
        return seen, passed

    def _step(self):
        """The title that it leads to; the same where it was none, as in a transition."""
        before = self._title()
        self.passed.add(before)
        self.screen.press_key("Right")
        until = clock.now() + 0.5
        while self._title() == before and clock.now() < until:
            time.sleep(0.03)
        if self._title() == before:
            self._await_quiet(8)  # it may have to be decoded
        return self._title()

    def _await_quiet(self, most):
        """Until the program does nothing, or for so many seconds: a movie plays on."""
        until, last, unchanged = clock.now() + most, None, 0
        while unchanged < 3 and clock.now() < until:
            # The shortest movies last a fifth of a second, and several may follow each other.
            for _ in range(5):
                self.passed.add(self._title())
                time.sleep(0.02)
            now = self.program.wakes()
            unchanged = unchanged + 1 if now is not None and now == last else 0
            last = now

    def _title(self):
        window = self.program.show_window()
        return self.program.title(window) if window is not None else None

    def _wrong_until(self, seconds):
        """None as soon as the slide is right."""
        until = clock.now() + seconds
        while True:
            wrong = self._wrong()
            if wrong is None or clock.now() > until:
                return wrong
            time.sleep(0.2)

    def _wrong(self):
        self.program.check_alive()
        window = self.program.show_window()
        area = self.screen.geometry(window) if window is not None else None
        if not area:
            return "there is no window"
        title = self.program.title(window)
        found = next((hit for hit in (folder.by_name(title) for folder in self.folders) if hit), None)
        if found is None or not found[0].exists():
            return "it is not there any more"
        entry = found[1]
        if entry.is_damaged or entry.sample.kind == "sound":
            return None
        picture = self.screen.grab()
        # In a window the menu bar takes some of the height.
        bars = (0,) if self.screen.has_state(window, "FULLSCREEN") else range(14, 40)
        counts = [self._wrong_blocks(picture, entry, area, bar) for bar in bars]
        return None if 0 in counts or None in counts else f"{min(counts)} blocks of {entry.sample.path.name}"

    def _wrong_blocks(self, picture, entry, area, bar):
        view = area.x, area.y + bar, area.width, area.height - bar
        return wrong_blocks(picture, entry.sample.number, entry.sample.size, view, self.fit)

    # ----

    def _await(self, condition, complaint, pause=0.1):
        until = clock.now() + PATIENCE
        while not condition():
            self.program.check_alive()
            if clock.now() > until:
                self._fail(complaint)
            time.sleep(pause)

    def _fail(self, complaint):
        path = os.path.join(self.pictures_folder, "soak-failure.ppm")
        self.screen.grab().save(path)
        raise Failure(f"{complaint}; the screen is in {path}")
