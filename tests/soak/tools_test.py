"""Shows that the soak knows pictures on a screen, and what becomes of the files of a folder."""

import random
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support" / "desktop"))

from folder import LEAST_PICTURES, Folder
from pictures import Sample, Store, colours_of, is_near, lines_of, placed, write_png, wrong_blocks
from x_screen import Picture, Rect

FITS = ("FitModeFit", "FitModeZoom", "FitModeFill", "FitModeStretch")
VIEW = (40, 30, 320, 200)


def screen_with(number, size, fit, scale=1.0):
    """A black screen on which the picture stands, whole or cut off by the view."""
    width, height = 400, 260
    left, top, drawn_width, drawn_height = placed(size, VIEW, fit)
    colours, pixels = colours_of(number), bytearray()
    for y in range(height):
        for x in range(width):
            column, row = (x - left) / drawn_width / scale, (y - top) / drawn_height / scale
            inside = 0 <= x - VIEW[0] < VIEW[2] and 0 <= y - VIEW[1] < VIEW[3] and 0 <= column < 1 and 0 <= row < 1
            red, green, blue = colours[int(row * 4) * 4 + int(column * 4)] if inside else (0, 0, 0)
            pixels += bytes((blue, green, red, 0))
    return Picture(Rect(0, 0, width, height), bytes(pixels))


class PicturesTest(unittest.TestCase):
    def test_a_picture_is_known_in_every_fit(self):
        for size in ((96, 64), (640, 480), (480, 1200), (2400, 1600)):
            for fit in FITS:
                with self.subTest(size=size, fit=fit):
                    self.assertEqual(wrong_blocks(screen_with(5, size, fit), 5, size, VIEW, fit), 0)

    def test_another_picture_is_noticed(self):
        screen = screen_with(5, (640, 480), "FitModeFit")
        for number in range(60):
            if number != 5:
                self.assertGreater(wrong_blocks(screen, number, (640, 480), VIEW, "FitModeFit"), 3)

    def test_an_empty_screen_is_noticed(self):
        screen = Picture(Rect(0, 0, 400, 260), bytes(400 * 260 * 4))
        self.assertEqual(wrong_blocks(screen, 5, (640, 480), VIEW, "FitModeFit"), 16)

    def test_another_size_or_fit_is_noticed(self):
        for screen in (
            screen_with(5, (640, 480), "FitModeFit", scale=0.6), screen_with(5, (640, 480), "FitModeStretch")
        ):
            self.assertGreater(wrong_blocks(screen, 5, (480, 1200), VIEW, "FitModeFit"), 0)

    def test_files_hold_the_blocks(self):
        for size in ((96, 64), (641, 479)):
            lines = list(lines_of(9, size))
            self.assertEqual(len(lines), size[1])
            for place, wanted in enumerate(colours_of(9)):
                x, y = size[0] * (place % 4 * 2 + 1) // 8, size[1] * (place // 4 * 2 + 1) // 8
                self.assertTrue(is_near(lines[y][x * 3 : x * 3 + 3], wanted))


class FolderTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.top = Path(temporary.name)
        self.store = Store(self.top / "store")
        self.store.folder.mkdir()
        for number in range(6):
            path = self.store.folder / f"{number}.png"
            write_png(path, number, (8, 8))
            self.store.samples.append(Sample(path, "picture", number, (8, 8)))
        for suffix, kind in (("mp4", "movie"), ("wav", "sound")):
            path = self.store.folder / f"0.{suffix}"
            path.write_text(kind, encoding="ascii")
            self.store.samples.append(Sample(path, kind))

    def changed(self, name, seed, changes):
        folder = Folder(self.top / name / "files", self.store, random.Random(seed), "f")
        folder.add(count=10)
        return folder, [folder.change() for _ in range(changes)]

    def test_what_it_says_is_what_is_there(self):
        for seed in range(8):
            folder, _ = self.changed(str(seed), seed, 150)
            there = {path for path in folder.path.rglob("*") if path.is_file() and "strange" not in path.name}
            self.assertEqual(there, set(folder.entries))
            for path in folder.reliable():
                self.assertEqual(path.read_bytes(), folder.entries[path].sample.path.read_bytes())
            pictures = [path for path in folder.reliable() if path.suffix == ".png"]
            self.assertGreaterEqual(len(pictures), min(LEAST_PICTURES, len(folder.entries)))

    def test_no_name_is_used_twice(self):
        folder, _ = self.changed("names", 3, 200)
        stems = [path.stem for path in folder.entries]
        self.assertEqual(len(stems), len(set(stems)))

    def test_one_seed_leads_to_the_same_changes(self):
        self.assertEqual(self.changed("one", 11, 100)[1], self.changed("two", 11, 100)[1])
        self.assertNotEqual(self.changed("three", 11, 100)[1], self.changed("four", 12, 100)[1])

    def test_files_that_are_taken_away_are_forgotten(self):
        folder, _ = self.changed("gone", 1, 0)
        gone = next(iter(folder.entries))
        gone.unlink()
        folder.look()
        self.assertIsNone(folder.by_name(gone.name))


if __name__ == "__main__":
    unittest.main()
