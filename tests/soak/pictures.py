"""Files whose pictures are told apart on a screen: four by four plain blocks, coloured by the file's number."""

import hashlib
import random
import shutil
import struct
import subprocess
import zlib
from dataclasses import dataclass, field
from pathlib import Path

COLOURS = ((220, 40, 40), (40, 170, 60), (50, 60, 220), (230, 215, 50))
BLOCKS = 4
TOLERANCE = 70  # of one channel: movies and lossy types mix their colours
SIZES = ((96, 64), (640, 480), (1280, 800), (480, 1200), (1600, 1000), (2400, 1600), (3600, 2400))
SIZES_OF_SLOW_TYPES = SIZES[:4]
VIPS_TYPES = {
    "jpg": "[Q=88]", "jpeg": "[Q=70,interlace]", "png": "", "webp": "[Q=85]", "tif": "[compression=lzw]", "gif": "",
    "jxl": "", "jp2": "", "heic": "", "avif": "[effort=1]",
}
MOVIES = {
    "mp4": ("-c:v", "libx264", "-c:a", "aac"),
    "webm": ("-c:v", "libvpx", "-c:a", "libopus"),
    "mkv": ("-c:v", "mpeg4", "-q:v", "3", "-c:a", "libmp3lame"),
}
SOUNDS = {"mp3": ("-c:a", "libmp3lame"), "wav": ()}


def colours_of(number):
    """Of the blocks, line by line."""
    digest = hashlib.sha256(str(number).encode()).digest()
    return [COLOURS[digest[place] % len(COLOURS)] for place in range(BLOCKS * BLOCKS)]


def is_near(seen, wanted):
    return seen is not None and all(abs(one - other) <= TOLERANCE for one, other in zip(seen, wanted))


def placed(size, area, fit):
    """Where a picture of that size stands in the area (x, y, width, height), by the way in which it is fitted."""
    x, y, width, height = area
    if fit == "FitModeStretch":
        return area
    scales = width / size[0], height / size[1]
    scale = max(scales) if fit == "FitModeFill" else min(scales)
    if fit == "FitModeFit":
        scale = min(scale, 1)
    drawn = size[0] * scale, size[1] * scale
    return x + (width - drawn[0]) / 2, y + (height - drawn[1]) / 2, *drawn


def wrong_blocks(picture, number, size, area, fit):
    """How many blocks that are inside the area do not look as they should; None when none is inside."""
    left, top, width, height = placed(size, area, fit)
    wrong, seen = 0, 0
    for place, wanted in enumerate(colours_of(number)):
        x = left + width * (place % BLOCKS + 0.5) / BLOCKS
        y = top + height * (place // BLOCKS + 0.5) / BLOCKS
        if not (area[0] <= x < area[0] + area[2] and area[1] <= y < area[1] + area[3]):
            continue
        seen += 1
        wrong += not is_near(picture.at(int(x), int(y)), wanted)
    return wrong if seen else None


@dataclass(frozen=True)
class Sample:
    """A file that copies are made of."""

    path: Path
    kind: str  # picture, movie or sound
    number: int = 0
    size: tuple = (0, 0)

    @property
    def suffix(self):
        return self.path.suffix[1:]


def lines_of(number, size):
    """The picture's rows, three bytes a pixel."""
    width, height = size
    colours = colours_of(number)
    for row in range(height):
        blocks = colours[row * BLOCKS // height * BLOCKS :][:BLOCKS]
        edges = [width * block // BLOCKS for block in range(BLOCKS + 1)]
        yield b"".join(bytes(colour) * (edges[i + 1] - edges[i]) for i, colour in enumerate(blocks))


def write_png(path, number, size):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    pixels = zlib.compress(b"".join(b"\0" + line for line in lines_of(number, size)), 1)
    header = struct.pack(">IIBBBBB", *size, 8, 2, 0, 0, 0)
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", pixels) + chunk(b"IEND", b""))


def write_svg(path, number, size):
    width, height = size[0] / BLOCKS, size[1] / BLOCKS
    blocks = "".join(
        f'<rect x="{place % BLOCKS * width}" y="{place // BLOCKS * height}" width="{width}" height="{height}"'
        f' fill="#{red:02x}{green:02x}{blue:02x}"/>'
        for place, (red, green, blue) in enumerate(colours_of(number))
    )
    shape = f'width="{size[0]}" height="{size[1]}" viewBox="0 0 {size[0]} {size[1]}"'
    path.write_text(f'<svg xmlns="http://www.w3.org/2000/svg" {shape}>{blocks}</svg>', encoding="ascii")


def _run(*words):
    subprocess.run([str(word) for word in words], check=True, stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL)


@dataclass
class Store:
    """Samples of every type, made once in a folder of their own; each has its own number."""

    folder: Path
    samples: list = field(default_factory=list)

    def fill(self, chance):
        self.folder.mkdir(parents=True)
        for size in SIZES:
            for suffix in ("jpg", "jpg", "jpeg", "png"):
                self._picture(suffix, size)
        for suffix in ("webp", "tif", "gif", "jxl", "jp2", "heic", "avif", "svg"):
            for size in chance.sample(SIZES_OF_SLOW_TYPES, 2):
                self._picture(suffix, size)
        for suffix, options in MOVIES.items():
            for length in (0.2, 0.7):
                self._movie(suffix, options, length)
        for suffix, options in SOUNDS.items():
            path = self._next(suffix)
            _run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=330:d=0.4", *options, path)
            self.samples.append(Sample(path, "sound"))

    def choose(self, chance, **wanted):
        """Any sample with these attributes."""
        fitting = [one for one in self.samples if all(getattr(one, name) == value for name, value in wanted.items())]
        return chance.choice(fitting)

    def _next(self, suffix):
        return self.folder / f"{len(self.samples)}.{suffix}"

    def _picture(self, suffix, size):
        number, path = len(self.samples), self._next(suffix)
        if suffix == "svg":
            write_svg(path, number, size)
        else:
            plain = self.folder / "plain.png"
            write_png(plain, number, size)
            if suffix == "png":
                shutil.move(plain, path)
            else:
                _run("vips", "copy", plain, f"{path}{VIPS_TYPES[suffix]}")
                plain.unlink()
        self.samples.append(Sample(path, "picture", number, size))

    def _movie(self, suffix, options, length):
        number, path, size = len(self.samples), self._next(suffix), (640, 400)
        plain = self.folder / "plain.png"
        write_png(plain, number, size)
        sound = ("-f", "lavfi", "-i", f"sine=440:d={length}")
        _run(
            "ffmpeg", "-v", "error", "-framerate", "25", "-loop", "1", "-t", length, "-i", plain, *sound,
            "-pix_fmt", "yuv420p", *options, path,
        )
        plain.unlink()
        self.samples.append(Sample(path, "movie", number, size))


def damage(path, chance):
    """Leaves something that is no whole picture."""
    content = path.read_bytes()
    way = chance.choice(("cut", "empty", "noise", "holes", "text"))
    if way == "cut":
        content = content[: chance.randrange(len(content) + 1)]
    elif way == "empty":
        content = b""
    elif way == "noise":
        content = chance.randbytes(chance.randrange(1, 20000))
    elif way == "holes":
        changed = bytearray(content)
        for _ in range(min(50, len(changed))):
            changed[chance.randrange(len(changed))] = chance.randrange(256)
        content = bytes(changed)
    else:
        content = b"This is no picture.\n" * 20
    path.write_bytes(content)
    return way


if __name__ == "__main__":
    import sys

    Store(Path(sys.argv[1])).fill(random.Random(1))
