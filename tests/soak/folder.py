"""A folder that grows, shrinks and changes, and what each file in it should look like on the screen."""

import contextlib
import os
import shutil
import time
from dataclasses import dataclass, replace
from pathlib import Path

from pictures import Sample, damage

LEAST_PICTURES = 4
MOST_FILES = 150


@dataclass(frozen=True)
class Entry:
    """What the program should make of a file."""

    sample: Sample
    # Whether it may have been no picture, or half of one, at some time: the program then need not show it any more.
    is_doubtful: bool = False
    is_damaged: bool = False  # what it looks like, nobody knows


class Folder:
    """Every name in it is used only once, whatever its suffix: the program tells its slides by them."""

    def __init__(self, path, store, chance, prefix):
        self.path = path
        self.store = store
        self.chance = chance
        self.prefix = prefix
        self.entries = {}  # by path
        self._count = 0
        path.mkdir(parents=True)

    def by_name(self, name):
        """Path and entry of the file of that name; None for one that is not there any more."""
        return next(((path, entry) for path, entry in self.entries.items() if path.name == name), None)

    def reliable(self):
        """The files that the program has to show."""
        return [path for path, entry in self.entries.items() if not entry.is_doubtful and not entry.is_damaged]

    def look(self):
        """Forgets what somebody else, the program's Trash command, has taken away."""
        for path in [path for path in self.entries if not path.exists()]:
            del self.entries[path]

    # ---- Changes; each answers a text for the log

    def change(self):
        ways = {
            self.add: 8, self.burst: 1, self.add_slowly: 1, self.remove: 6, self.shrink: 1, self.rename: 3,
            self.replace: 3, self.rewrite: 2, self.damage: 2, self.rename_folder: 1, self.remove_folder: 1,
            self.touch: 1, self.add_strange: 1,
        }
        if len(self.entries) > MOST_FILES:
            ways = {self.shrink: 1}
        way = self.chance.choices(list(ways), list(ways.values()))[0]
        return f"{self.path.name}: {way.__name__} {way()}"

    def add(self, sample=None, count=None):
        added = []
        for _ in range(count or self.chance.randint(1, 3)):
            chosen = sample or self._any_sample()
            path = self._new_path(chosen)
            if self.chance.random() < 0.5:
                shutil.copyfile(chosen.path, path.with_name("." + path.name + ".part"))
                path.with_name("." + path.name + ".part").rename(path)
            else:
                shutil.copyfile(chosen.path, path)
            self.entries[path] = Entry(chosen)
            added.append(path.name)
        return " ".join(added)

    def burst(self):
        return self.add(count=40)

    def add_slowly(self):
        chosen = self._any_sample()
        path, content = self._new_path(chosen), chosen.path.read_bytes()
        with path.open("wb") as file:
            for part in range(4):
                file.write(content[len(content) * part // 4 : len(content) * (part + 1) // 4])
                file.flush()
                time.sleep(0.05)
        self.entries[path] = Entry(chosen)
        return path.name

    def remove(self):
        path = self._any_removable()
        if path:
            path.unlink(missing_ok=True)
            self.entries.pop(path)
        return path.name if path else "nothing"

    def shrink(self):
        return " ".join(self.remove() for _ in range(len(self.entries) * 2 // 3))

    def rename(self):
        path = self._any()
        entry = self.entries[path]
        to = self._new_path(entry.sample)
        with contextlib.suppress(FileNotFoundError):
            path.rename(to)
            self.entries[to] = replace(entry)
            del self.entries[path]
        return f"{path.name} {to.name}"

    def replace(self):
        """By another picture of the same type, in one step."""
        return self._put_into(self._any(), lambda sample, path: self._put_whole(sample, path), is_doubtful=False)

    def rewrite(self):
        """The same, in place: half of it is there for a while."""
        return self._put_into(self._any(), lambda sample, path: shutil.copyfile(sample.path, path), is_doubtful=True)

    def damage(self):
        path = self._any_removable()
        if not path or not path.exists():
            return "nothing"
        self.entries[path] = replace(self.entries[path], is_doubtful=True, is_damaged=True)
        return f"{path.name} {damage(path, self.chance)}"

    def touch(self):
        path = self._any()
        with contextlib.suppress(FileNotFoundError):
            os.utime(path)
        return path.name

    def rename_folder(self):
        below = self._subfolders()
        if not below:
            return "nothing"
        old, new = self.chance.choice(below), self.path / f"folder {self._next()}"
        old.rename(new)
        for path in [path for path in self.entries if path.parent == old]:
            self.entries[new / path.name] = self.entries.pop(path)
        return f"{old.name} {new.name}"

    def remove_folder(self):
        below = [one for one in self._subfolders() if self._is_enough_without(one)]
        if not below:
            return "nothing"
        gone = self.chance.choice(below)
        shutil.rmtree(gone)
        self.entries = {path: entry for path, entry in self.entries.items() if path.parent != gone}
        return gone.name

    def add_strange(self):
        """What is no slide."""
        path = self.path / f"strange {self._next()}"
        way = self.chance.choice(("text", "hidden", "link to nowhere", "pipe"))
        if way == "text":
            path.with_suffix(".txt").write_text("no slide", encoding="ascii")
        elif way == "hidden":
            path.with_name("." + path.name + ".jpg").write_text("no slide", encoding="ascii")
        elif way == "link to nowhere":
            path.with_suffix(".jpg").symlink_to("/nowhere/at/all.jpg")
        else:
            os.mkfifo(path.with_suffix(".png"))
        return way

    def clear_strange(self):
        for path in list(self.path.iterdir()):
            if "strange" in path.name:
                path.unlink()

    # ---- Which

    def _next(self):
        self._count += 1
        return self._count

    def _new_path(self, sample):
        folder = self.path
        if self.chance.random() < 0.3:
            below = self._subfolders()
            if below and self.chance.random() < 0.8:
                folder = self.chance.choice(below)
            else:
                folder = self.path / f"folder {self._next()}"
                folder.mkdir()
        return folder / f"{self.chance.randrange(1000):03d}-{self.prefix}{self._next()}.{sample.suffix}"

    def _any_sample(self):
        kind = self.chance.choices(("picture", "movie", "sound"), (20, 2, 1))[0]
        return self.store.choose(self.chance, kind=kind)

    def _any(self):
        return self.chance.choice(list(self.entries))

    def _any_removable(self):
        """Enough pictures stay for a show."""
        pictures = self._good_pictures(self.entries)
        spared = set(pictures) if len(pictures) <= LEAST_PICTURES else set()
        free = [path for path in self.entries if path not in spared]
        return self.chance.choice(free) if free else None

    def _good_pictures(self, paths):
        reliable = set(self.reliable())
        return [path for path in paths if path in reliable and self.entries[path].sample.kind == "picture"]

    def _is_enough_without(self, folder):
        return len(self._good_pictures(path for path in self.entries if path.parent != folder)) >= LEAST_PICTURES

    def _subfolders(self):
        return sorted(path for path in self.path.iterdir() if path.is_dir())

    def _put_into(self, path, put, is_doubtful):
        entry = self.entries[path]
        sample = self.store.choose(self.chance, path=entry.sample.path)
        alike = [one for one in self.store.samples if one.suffix == sample.suffix and one != sample]
        if not alike or not path.exists() or (is_doubtful and path not in self._expendable()):
            return "nothing"
        chosen = self.chance.choice(alike)
        put(chosen, path)
        self.entries[path] = Entry(chosen, is_doubtful or entry.is_doubtful)
        return f"{path.name} as {chosen.path.name}"

    def _expendable(self):
        pictures = self._good_pictures(self.entries)
        return set(self.entries) - set(pictures) if len(pictures) <= LEAST_PICTURES else set(self.entries)

    def _put_whole(self, sample, path):
        part = path.with_name("." + path.name + ".part")
        shutil.copyfile(sample.path, part)
        part.rename(path)
