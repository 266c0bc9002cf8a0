"""Measures one viewer at a time from outside: keys and the mouse go in, pixels and the kernel's figures come out."""

import contextlib
import os
import shutil
import signal
import statistics
import subprocess
import tempfile
import time
from pathlib import Path

import processes
from photographs import COLOURS, SIZE, SQUARE, STRIPES, number_of
from x_screen import Rect

NEVER = float("inf")
PATIENCE = 60  # seconds until a picture has to be there
POLL = 0.002  # seconds; the harness must not take the time of what it measures
SLIDES = 20  # after which memory is looked at
REST = 1.5  # seconds, in which a viewer may read ahead
SHARP = 0.9  # of the contrast that its picture has in the end
MEBIBYTE = 1024 * 1024


class Trouble(Exception):
    """The viewer does not do what is to be measured."""


class Running:
    """A viewer with a home folder of its own, which is kept for all its runs; ended with the context."""

    def __init__(self, viewer, home, screen):
        self.viewer = viewer
        self.home = Path(home)
        self.screen = screen
        self.mark = f"FRAMEFLOW_PEER={home}".encode()

    def prepare(self):
        for name, text in self.viewer.files:
            path = self.home / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        for name in ("run", ".config", ".cache", ".local/share"):
            (self.home / name).mkdir(parents=True, exist_ok=True, mode=0o700)

    @contextlib.contextmanager
    def started(self, command, folder):
        words = [
            word.replace("%folder", str(folder)).replace("%file", str(folder / "000000.jpg")) for word in command
        ]
        home = str(self.home)
        environment = {
            **os.environ, "HOME": home, "XDG_CONFIG_HOME": home + "/.config", "XDG_CACHE_HOME": home + "/.cache",
            "XDG_DATA_HOME": home + "/.local/share", "XDG_RUNTIME_DIR": home + "/run", "FRAMEFLOW_PEER": home,
        }
        with open(self.home / "output.txt", "ab") as output:
            self.begin = time.monotonic()
            process = subprocess.Popen(
                words, stdin=subprocess.DEVNULL, stdout=output, stderr=output, env=environment, start_new_session=True
            )
        try:
            yield self
        finally:
            self._end(process)

    def family(self):
        """All that was started with it, services of its desktop too."""
        found = []
        for entry in os.listdir("/proc"):
            with contextlib.suppress(OSError):
                if entry.isdigit() and self.mark in Path(f"/proc/{entry}/environ").read_bytes().split(b"\0"):
                    found.append(int(entry))
        return found

    def _end(self, process):
        for sent in (signal.SIGTERM, signal.SIGKILL):
            for one in self.family():
                with contextlib.suppress(ProcessLookupError):
                    os.kill(one, sent)
            until = time.monotonic() + 3
            while time.monotonic() < until and (process.poll() is None or self.family()):
                time.sleep(0.02)
        process.wait()

    # ---- What is on the screen

    def shown(self):
        """The number of the photograph in the middle; None for none."""
        return number_of(self.screen.pixel(*self.screen.rect.centre))

    def await_shown(self, wanted, begin):
        """Seconds since the beginning until that one is in the middle."""
        while time.monotonic() - begin < PATIENCE:
            if self.shown() == wanted:
                return time.monotonic() - begin
            time.sleep(POLL)
        return NEVER

    def contrast(self):
        """Of the fine stripes above the middle."""
        x, y = self.screen.rect.centre
        scale = self.screen.rect.height / SIZE[1]
        above = Rect(x - 60, int(y - (SQUARE[1] / 2 + STRIPES * 0.6) * scale), 120, 8)
        return statistics.pstdev(self.screen.grab(above).data[1::4])

    def check_place(self):
        """The picture is fitted to the screen."""
        x, y = self.screen.rect.centre
        half = SQUARE[0] / 2 * self.screen.rect.height / SIZE[1]
        shown = self.shown()
        inside, outside = (number_of(self.screen.pixel(int(x + half * part), y)) for part in (0.93, 1.07))
        if inside != shown or outside == shown:
            raise Trouble(f"{self.viewer.name} does not fit the picture to the screen")


def start(running, folder):
    """Seconds from the start to the first photograph."""
    with running.started(running.viewer.command, folder):
        taken = running.await_shown(0, running.begin)
        if taken == NEVER:
            raise Trouble(f"{running.viewer.name} shows no picture")
        return taken


def steps(running, folder, count):
    """Figures of one run through the photographs: so many steps after a rest, as many as fast as they come."""
    viewer, screen = running.viewer, running.screen
    result = {"rested": [], "sharp": [], "hurried": []}
    with running.started(viewer.command, folder):
        if running.await_shown(0, running.begin) == NEVER:
            raise Trouble(f"{viewer.name} shows no picture")
        time.sleep(2 * REST)
        running.check_place()
        for _ in range(count):
            taken, sharp = _step(running)
            result["rested"].append(taken)
            result["sharp"].append(sharp)
            time.sleep(REST)
        for _ in range(count):
            result["hurried"].append(_step(running, watches_sharpness=False)[0])
        time.sleep(2 * REST)
        for _ in range(max(0, SLIDES - 2 * count)):
            _step(running, watches_sharpness=False)
            time.sleep(REST)
        time.sleep(3)
        family = running.family()
        result["memory"] = processes.proportional_bytes(family) / MEBIBYTE
        # Frameflow keeps each decoded picture in an area of its own; those of the others cannot be told.
        pictures = max(processes.mapped(one, "/memfd:pixels (deleted)") for one in family)
        result["beyond"] = result["memory"] - pictures * SIZE[0] * SIZE[1] * 4 / MEBIBYTE if pictures else None
        used, begin = processes.processor_seconds(family), time.monotonic()
        time.sleep(10)
        family = running.family()
        result["idle"] = 100 * (processes.processor_seconds(family) - used) / (time.monotonic() - begin)
    screen.move_mouse(screen.rect.width - 1, screen.rect.height - 1)
    return result


def _step(running, watches_sharpness=True):
    """Seconds from the key to the next photograph, and until it is sharp."""
    before = running.shown()
    if before is None:
        raise Trouble(f"{running.viewer.name} shows something else")
    following = (before + 1) % len(COLOURS)
    begin = time.monotonic()
    running.screen.press_key(running.viewer.next_key)
    taken = running.await_shown(following, begin)
    if taken == NEVER:
        raise Trouble(f"{running.viewer.name} does not step")
    if not watches_sharpness:
        return taken, None
    seen = [(time.monotonic() - begin, running.contrast())]
    while seen[-1][0] < taken + 1:
        time.sleep(0.005)
        seen.append((time.monotonic() - begin, running.contrast()))
    final = statistics.median(contrast for _, contrast in seen[-5:])
    blurred = [moment for moment, contrast in seen if contrast < SHARP * final]
    return taken, taken if not blurred else next((moment for moment, _ in seen if moment > blurred[-1]), NEVER)


def thumbnails(running, folder):
    """Thumbnails a second, made afresh: from the key, or from when the window is there, to the last of the folder."""
    viewer, screen = running.viewer, running.screen
    shutil.rmtree(running.home / ".cache", ignore_errors=True)
    (running.home / ".cache").mkdir()
    wanted = set(range(len(COLOURS)))
    with running.started(viewer.thumbnails or viewer.command, folder):
        if viewer.thumbnails:
            known = set()
            while not (windows := screen.windows()):
                time.sleep(0.005)
                if time.monotonic() - running.begin > PATIENCE:
                    raise Trouble(f"{viewer.name} has no window")
            screen.move(windows[-1], screen.rect)
        else:
            if running.await_shown(0, running.begin) == NEVER:
                raise Trouble(f"{viewer.name} shows no picture")
            time.sleep(REST)
            known = {running.shown()}
            screen.press_key(viewer.thumbnails_key)
        begin = time.monotonic()
        seen = set()
        while time.monotonic() - begin < PATIENCE:
            seen = colours_on(screen.grab()) | known
            if seen >= wanted:
                return len(wanted) / (time.monotonic() - begin)
            time.sleep(0.1)
        screen.grab().save(Path(tempfile.gettempdir()) / f"peers-{viewer.name}.ppm")
        raise Trouble(f"{viewer.name} shows {len(seen)} of {len(wanted)} thumbnails")


def colours_on(picture):
    """The photographs of which something is there."""
    rect, data = picture.rect, picture.data
    counts = {}
    for row in range(0, rect.height, 8):
        line = data[row * rect.width * 4 : (row + 1) * rect.width * 4]
        for pixel in zip(line[2::32], line[1::32], line[0::32]):
            counts[pixel] = counts.get(pixel, 0) + 1
    found = {}
    for pixel, count in counts.items():
        number = number_of(pixel)
        if number is not None:
            found[number] = found.get(number, 0) + count
    return {number for number, count in found.items() if count >= 4}
