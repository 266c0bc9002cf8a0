"""Photographs of 24 megapixels, each known on a screen by the colour in its middle, and sharp where fine stripes are."""

import itertools
import os
import subprocess
from pathlib import Path

LEVELS = (30, 128, 226)
COLOURS = [colour for colour in itertools.product(LEVELS, repeat=3) if len(set(colour)) > 1]
TOLERANCE = 24
SIZE = (6000, 4000)
SQUARE = (1000, 700)  # of one colour, in the very middle
STRIPES = 300  # rows of them above and below it
STRIPE = 5  # pixels: fewer than two on a screen, so that they do not outlive a coarser copy


def number_of(colour):
    """Of the photograph with that colour in its middle; None for any other."""
    if colour is None:
        return None
    for number, wanted in enumerate(COLOURS):
        if all(abs(one - other) <= TOLERANCE for one, other in zip(colour, wanted)):
            return number
    return None


def _run(*words):
    subprocess.run([str(word) for word in words], check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)


def _write_middle(path, colour):
    width, height = SQUARE
    stripes = (b"\x08\x08\x08" * STRIPE + b"\xf4\xf4\xf4" * STRIPE) * (width // STRIPE // 2) * STRIPES
    with open(path, "wb") as file:
        file.write(b"P6 %d %d 255\n" % (width, height + 2 * STRIPES))
        file.write(stripes + bytes(colour) * (width * height) + stripes)


class Photographs:
    """One file for each colour, in a folder; the same without stored thumbnails in another one."""

    def __init__(self, folder, sample):
        self.folder = Path(folder)
        self.plain = self.folder / "plain"
        self.stored = self.folder / "stored"
        for one in (self.plain, self.stored):
            one.mkdir(parents=True)
        base, grain, middle = (self.folder / name for name in ("base.v", "grain.v", "middle.ppm"))
        _run("vips", "thumbnail", sample, base, SIZE[0], "--height", SIZE[1], "--crop", "centre", "--size", "both")
        _run("vips", "gaussnoise", grain, *SIZE, "--mean", 0, "--sigma", 6, "--seed", 7)
        _run("vips", "add", base, grain, self.folder / "sum.v")
        _run("vips", "cast", self.folder / "sum.v", base, "uchar")
        left, top = (SIZE[0] - SQUARE[0]) // 2, (SIZE[1] - SQUARE[1]) // 2 - STRIPES
        for number, colour in enumerate(COLOURS):
            _write_middle(middle, colour)
            path = self._name(self.plain, number)
            _run("vips", "insert", base, middle, f"{path}[Q=90,subsample-mode=on,strip]", left, top)
            self._with_thumbnail(path, self._name(self.stored, number))
        for path in self.folder.glob("*.*"):
            path.unlink()

    @staticmethod
    def _name(folder, number):
        return folder / f"{number:06d}.jpg"

    def _with_thumbnail(self, path, to):
        """As cameras write it."""
        thumbnail = self.folder / "thumbnail.jpg"
        _run("vips", "thumbnail", path, f"{thumbnail}[Q=80,strip]", 160)
        _run("exiftool", "-q", f"-ThumbnailImage<={thumbnail}", "-o", to, path)

    def fill(self, name, count):
        """A folder of so many links to them: the first has the first colour, the others follow in turn."""
        folder = self.folder / name
        folder.mkdir()
        for number in range(count):
            os.link(self._name(self.stored, number % len(COLOURS)), self._name(folder, number))
        return folder
