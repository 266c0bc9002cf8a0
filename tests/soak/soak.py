"""usage: soak.py PROGRAM MINUTES [--seed NUMBER] [--log FILE]

Plays a folder that grows and shrinks, with somebody at the keyboard who does whatever chance says, and looks whether the
program stays as it should be. To be run by run-isolated, on a display and a bus of its own. The seed is printed first; the
same one leads to the same files and commands. Every command is written to the log.
"""

import argparse
import faulthandler
import os
import random
import signal
import statistics
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support" / "desktop"))

import clock
from folder import Folder
from person import PASSING_WINDOWS, Person
from pictures import Store
from program import Failure, Program
from rest import Rest
from x_screen import Screen

SESSION_MINUTES = 20
ANSWER_SECONDS = 2
BETWEEN_LOOKS = 4
BETWEEN_RESTS = 12
RESTS_TO_A_WALK = 3
RESTS_TO_AN_END = 2  # of the show: what the program holds without one is compared

# While it is at work; memory in MiB.
CEILINGS = {"memory": 900, "own": 700, "files": 200, "threads": 60, "mappings": 2500, "helpers": 12}
# Without a show, against the first time. Helpers come and go as there is work for them.
GROWTH = {"memory": 200, "own": 40, "files": 10, "threads": 4, "mappings": 120, "helpers": 4}

TRANSITIONS = ("None", "All", "Cross Fade", "Fast Cross Fade", "Flip", "Slide", "Rotate Left", "Shrink", "Bar Swipe", "Mod")


class Log:
    def __init__(self, path):
        self.path = path
        self._file = open(path, "w", encoding="utf-8")
        self._begin = clock.now()

    def __call__(self, text):
        self._file.write(f"{clock.now() - self._begin:9.2f} {text}\n")
        self._file.flush()

    def say(self, text):
        print(text, flush=True)
        self(text)


class Session:
    """One run of the program."""

    def __init__(self, arguments, chance, store, folders, screen, log):
        self.chance = chance
        self.log = log
        self.store = store
        self.folders = folders
        self.program = Program(arguments.program, screen)
        self.person = Person(self.program, folders, chance, log)
        self.rest = Rest(self.program, self.person, folders, chance, log, arguments.log.parent)
        self.at_work, self.without_show = [], []

    def run(self, until):
        try:
            self.program.start(self._settings(), [self.folders[0].path])
            self.rest.reach_show()
            self._warm_up()
            self._play(until)
            self.program.end()
        finally:
            self.program.kill()
        self._check_trend()

    def _warm_up(self):
        """Has all libraries loaded and every window made, so that what comes afterwards can be compared."""
        for command in (*PASSING_WINDOWS, "ShowGridScreen"):
            self.program.perform(command)
            time.sleep(1)
            self.person.close_others()
        for kind in ("movie", "sound"):
            self.rest.leave_show()  # or its turn would come later
            self.program.open(self.store.choose(self.chance, kind=kind).path)
            time.sleep(2)
        self.rest.open_anew()
        self.rest.reach_show()

    def _settings(self):
        settings = {
            "HintsShown": "true", "AutoCheckNewVersion": "false", "slideInterval": "0.3", "autoStart": "true",
            "transition": self.chance.choice(TRANSITIONS),
            "sort": self.chance.choice(("name", "url", "date", "random")),
            "EndMode": "EndModeRewind", "showNewItemsASAP": self.chance.choice(("true", "false")),
            "ShowAdds": "true", "AddInterval": str(self.chance.randint(3, 8)),
        }
        # A bookmark that knows no more of the folder than its path.
        settings["KLAddFolder"] = f'"@ByteArray(frameflow bookmark 1\\n0\\n0\\n0\\n{self.folders[1].path})"'
        self.log(f"settings: {settings}")
        return settings

    def _play(self, until):
        rests, looked, rested = 0, clock.now(), clock.now()
        while clock.now() < until:
            self.program.check_alive()
            self.person.act()
            if clock.now() - looked > BETWEEN_LOOKS:
                self._look()
                looked = clock.now()
            if clock.now() - rested > BETWEEN_RESTS:
                rests += 1
                self._rest(rests)
                rested = clock.now()

    def _look(self):
        self.program.check_answer(ANSWER_SECONDS)
        figures = self.program.figures()
        self.log(f"figures: {figures}")
        self.at_work.append(figures)
        for name, ceiling in CEILINGS.items():
            if getattr(figures, name) > ceiling:
                raise Failure(f"more than {ceiling} {name}: {figures}")

    def _rest(self, number):
        self.log("rest: begins")
        self.rest.come_to_rest()
        self.rest.check_slide()
        if number % RESTS_TO_A_WALK == 0:
            self.rest.check_all()
        if number % RESTS_TO_AN_END == 0:
            self._look_without_show()
        self.program.perform("Play")
        self.log("rest: ends")

    def _look_without_show(self):
        self.rest.leave_show()
        figures = self._figures_at_rest()
        self.log.say(f"without a show: {figures}")
        self.without_show.append(figures)
        # What the heap keeps differs from one time to the next: the first alone would be a matter of luck.
        first = self.without_show[:3]
        for name, growth in GROWTH.items():
            before = max(getattr(one, name) for one in first)
            if getattr(figures, name) > before + growth:
                raise Failure(f"{name} grow: {figures}; the first times: {before:.0f}")
        for folder in self.folders:
            folder.clear_strange()
        self.rest.open_anew()

    def _figures_at_rest(self):
        """The least of some seconds: helpers and threads end a while after their work."""
        figures = []
        for _ in range(12):
            figures.append(self.program.figures())
            time.sleep(0.5)
        return min(figures, key=lambda one: (one.threads, one.memory))

    def _check_trend(self):
        """Of the memory at work: the last third against the first."""
        third = len(self.at_work) // 3
        if third < 10:
            return
        first, last = (statistics.median(one.memory for one in part) for part in (self.at_work[:third], self.at_work[-third:]))
        self.log.say(f"memory at work: {first:.0f} MiB in the first third, {last:.0f} MiB in the last")
        if last > first * 1.3 + 30:
            raise Failure("the memory at work grows")


def play(arguments, log):
    chance = random.Random(arguments.seed)
    top = Path(tempfile.mkdtemp(prefix="soak.", dir=os.environ["HOME"]))
    store = Store(top / "store")
    store.fill(chance)
    folders = [Folder(top / name, store, chance, prefix) for name, prefix in
               (("watched", "f"), ("ads", "ad"), ("other one", "o"), ("other two", "p"))]
    for folder, count in zip(folders, (20, 4, 5, 7)):
        folder.add(store.choose(chance, kind="picture"), 4)
        folder.add(count=count)
    screen = Screen()
    end = clock.now() + arguments.minutes * 60
    sessions = 0
    while sessions == 0 or end - clock.now() > 60:
        sessions += 1
        log.say(f"session {sessions}")
        session = Session(arguments, chance, store, folders, screen, log)
        try:
            session.run(min(end, clock.now() + SESSION_MINUTES * 60))
        finally:
            said = session.program.output.read_text(encoding="utf-8", errors="replace")
            for line in sorted(set(said.splitlines()))[:20]:
                log.say(f"the program said: {line}")
        log.say(
            f"session {sessions}: {session.rest.slides_checked} slides right,"
            f" slowest answer {session.program.slowest_answer:.2f} s,"
            f" at most {max((one.memory for one in session.at_work), default=0):.0f} MiB"
        )


def main():
    faulthandler.register(signal.SIGUSR1)
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=Path)
    parser.add_argument("minutes", type=float)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1_000_000))
    parser.add_argument("--log", type=Path, default=Path("soak.log"))
    arguments = parser.parse_args()
    arguments.log.parent.mkdir(parents=True, exist_ok=True)
    log = Log(arguments.log)
    log.say(f"seed {arguments.seed}, {arguments.minutes:g} minutes, commands in {arguments.log}")
    try:
        play(arguments, log)
    except Failure as failure:
        log.say(f"FAILED: {failure}")
        log.say(f"To see it again: scripts/soak {arguments.minutes:g} --seed {arguments.seed}")
        return 1
    log.say("clean")
    return 0


if __name__ == "__main__":
    sys.exit(main())
