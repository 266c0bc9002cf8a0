"""The program under the soak: its start and end, the bus on which it answers, its windows and what it holds."""

import os
import re
import signal
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path

import clock
import processes

BUS_NAME = "com.quillory.Frameflow"
BUS_CALL = (
    "gdbus", "call", "--session", "--timeout", "60", "--dest", BUS_NAME, "--object-path", "/com/quillory/Frameflow",
    "--method",
)
SLIDE = re.compile(r"\d{3}-[a-z]+\d+\.\w+")
MEBIBYTE = 1024 * 1024


class Failure(Exception):
    """An invariant does not hold."""


@dataclass
class Figures:
    """What the program and its helper processes hold."""

    memory: float  # MiB, shared memory by shares
    own: float  # that of the program itself
    files: int
    threads: int
    mappings: int
    helpers: int

    def __str__(self):
        return (
            f"{self.memory:.0f} MiB ({self.own:.0f} its own), {self.files} open files, {self.threads} threads, {self.mappings} mappings,"
            f" {self.helpers} helper processes"
        )


class Program:
    """Settings and temporary files are in the home that the environment names."""

    def __init__(self, path, screen):
        self.path = path
        self.screen = screen
        self._process = None
        self.temporary = Path(os.environ["HOME"]) / "temporary"
        self.runtime = Path(os.environ["XDG_RUNTIME_DIR"])
        self.output = Path(os.environ["HOME"]) / "output.txt"
        self.slowest_answer = 0.0

    @property
    def id(self):
        return self._process.pid

    # ---- Start and end

    def start(self, settings, files):
        folder = Path(os.environ["XDG_CONFIG_HOME"]) / "quillory"
        folder.mkdir(parents=True, exist_ok=True)
        lines = "".join(f"{key}={value}\n" for key, value in settings.items())
        (folder / "frameflow.conf").write_text("[General]\n" + lines, encoding="utf-8")
        self.temporary.mkdir(exist_ok=True)
        self._left_before = self._left_over()
        with self.output.open("ab") as output:
            self._process = subprocess.Popen(
                [self.path, *files], stdin=subprocess.DEVNULL, stdout=output, stderr=output, env=self._environment()
            )

    def start_second(self, files):
        """It hands its files over, and leaves."""
        second = subprocess.run(
            [self.path, *files], stdin=subprocess.DEVNULL, capture_output=True, env=self._environment(), timeout=60,
            check=False,
        )
        if second.returncode != 0:
            raise Failure(f"a second start ended with status {second.returncode}: {second.stderr!r}")

    def end(self):
        """As a person does; nothing may be left."""
        family = processes.family(self.id)
        self.perform("quit")
        try:
            status = self._process.wait(30)
        except subprocess.TimeoutExpired:
            raise Failure("the program does not quit") from None
        if status != 0:
            raise Failure(f"the program ended with status {status}")
        self._await(lambda: not any(processes.state(one) not in ("", "Z") for one in family), "its helpers stay")
        left = self._left_over() - self._left_before
        if left:
            raise Failure(f"files are left behind: {sorted(map(str, left))}")

    def kill(self):
        if self._process and self._process.poll() is None:
            self._process.send_signal(signal.SIGKILL)
            self._process.wait()

    def _environment(self):
        return {**os.environ, "TMPDIR": str(self.temporary)}

    def _left_over(self):
        found = {path for folder in (self.temporary, self.runtime) for path in folder.rglob("*")}
        return {path for path in found if "pulse" not in path.parts}  # which is the sound library's

    # ---- Whether it is well

    def check_alive(self):
        if self._process.poll() is not None:
            raise Failure(f"the program has ended, status {self._process.returncode}")

    def check_answer(self, limit):
        """How long its main thread takes; times in which the machine let nobody run do not count."""
        self.check_alive()
        begin, queued = clock.now(), processes.seconds_in_queue(self.id)
        if not self._refusal("ActivateAction", "no such command", "@av []", "@a{sv} {}"):
            raise Failure("the program has a command that it should not know")
        taken = clock.now() - begin - (processes.seconds_in_queue(self.id) - queued)
        self.check_alive()
        self.slowest_answer = max(self.slowest_answer, taken)
        if taken > limit:
            raise Failure(f"the program took {taken:.1f} s to answer")

    def wakes(self):
        """Unchanged for as long as the program does nothing; None while it is at work."""
        return processes.wakes(processes.family(self.id))

    def figures(self):
        family = processes.family(self.id)
        return Figures(
            processes.proportional_bytes(family) / MEBIBYTE, processes.proportional_bytes([self.id]) / MEBIBYTE,
            processes.open_files(self.id), processes.threads(self.id), processes.mappings(self.id), len(family) - 1,
        )

    # ---- What it is told over the bus

    def perform(self, command):
        self._call("ActivateAction", command, "@av []", "@a{sv} {}")

    def open(self, path):
        self._call("Open", f"['{path.as_uri()}']", "@a{sv} {}")

    def _call(self, method, *parameters):
        refusal = self._refusal(method, *parameters)
        if refusal:
            if "NoReply" in refusal:
                self._await(lambda: self._process.poll() is not None, f"no answer to {method} {parameters}")
            self.check_alive()
            raise Failure(f"the program refuses {method} {parameters}: {refusal}")

    def _refusal(self, method, *parameters):
        """What the bus says then; empty when it was done."""
        done = subprocess.run(
            [*BUS_CALL, f"org.freedesktop.Application.{method}", *parameters], stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, check=False,
        )
        return done.stderr.strip() or "no reason" if done.returncode else ""

    # ---- Its windows

    def windows(self):
        return self.screen.windows(self.id)

    def title(self, window):
        return self.screen.title(window).removesuffix(" — Frameflow")

    def show_window(self):
        """The window of the show; None while there is none that shows a slide."""
        for window in self.windows():
            if SLIDE.fullmatch(self.title(window)) or self.screen.has_state(window, "FULLSCREEN"):
                return window
        return None

    def setting(self, key):
        """As it stands in the file; None for an absent one."""
        path = Path(os.environ["XDG_CONFIG_HOME"]) / "quillory" / "frameflow.conf"
        for line in path.read_text(encoding="utf-8").splitlines():
            name, _, value = line.partition("=")
            if name == key:
                return value
        return None

    def _await(self, condition, complaint, seconds=20):
        until = clock.now() + seconds
        while not condition():
            if clock.now() > until:
                raise Failure(complaint)
            time.sleep(0.05)
