"""Shows that the manual page is well written, and says what the program and the guide say.

usage: manual_test.py TREE PAGE [UNITTEST OPTION…]
"""

import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

TREE = PAGE = None
NAMES = {"Comma": ",", "Plus": "+", "Minus": "-", "PageDown": "Page Down", "PageUp": "Page Up", "Escape": "Esc"}


def section(page, name):
    """The lines of a section of the page."""
    return re.search(rf"^\.SH {name}\n(.*?)(?=^\.SH |\Z)", page, re.MULTILINE | re.DOTALL)[1]


def terms(page, name):
    """What a section explains, in its order, as a reader sees it."""
    found = re.findall(r"^\.TP\n\.[BI] (.*)$", section(page, name), re.MULTILINE)
    return [term.replace("\\-", "-").replace("\\(ti", "~") for term in found]


def split(keys):
    return [key for entry in keys for key in re.split(r", (?=\w)", entry)]


class ManualTest(unittest.TestCase):
    def setUp(self):
        self.page = PAGE.read_text(encoding="utf-8")
        self.guide = (TREE / "README.md").read_text(encoding="utf-8")

    def said(self, *command):
        environment = {**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "80", "MANROFFSEQ": ""}
        result = subprocess.run(command, capture_output=True, text=True, check=False, env=environment)
        self.assertEqual((result.returncode, result.stderr), (0, ""), command)
        return result.stdout

    def test_it_is_well_written(self):
        self.assertEqual(self.said("mandoc", "-Tlint", "-Wwarning", PAGE), "")
        shown = self.said("man", "--warnings", "--encoding=UTF-8", "--local-file", PAGE)
        self.assertIn("show pictures and movies as a slideshow", shown)

    def test_it_has_the_keys_of_the_guide(self):
        table = re.search(r"^## Keys\n(.*?)^## ", self.guide, re.MULTILINE | re.DOTALL)[1]
        keys = re.findall(r"^\| (.+?) \| ", table, re.MULTILINE)[1:]
        self.assertGreater(len(keys), 20)
        self.assertEqual(terms(self.page, "KEYS"), keys)

    def test_it_has_the_keys_of_all_commands(self):
        table = (TREE / "app/ActionTable.cpp").read_text(encoding="utf-8")
        explained = split(terms(self.page, "KEYS"))
        keys = re.findall(r"(?:Qt::(CTRL) \| )?(?:Qt::(SHIFT) \| )?Qt::Key_(\w+)", table)
        self.assertGreater(len(keys), 20)
        for control, shift, key in keys:
            name = "Ctrl+" * bool(control) + "Shift+" * bool(shift) + NAMES.get(key, key)
            self.assertIn(name, explained)

    def test_it_has_every_variable_that_the_program_reads(self):
        read = set()
        for folder in ("app", "platform", "images", "display", "sequence", "preferences", "update"):
            for source in (TREE / folder).rglob("*.cpp"):
                text = source.read_text(encoding="utf-8")
                read |= set(re.findall(r'(?:getenv|qEnvironmentVariable\w*)\("(\w+)"\)', text))
        self.assertIn("XDG_RUNTIME_DIR", read)
        for name in read:
            self.assertIn(name, section(self.page, "ENVIRONMENT"))

    def test_it_names_the_file_of_the_settings(self):
        self.assertEqual(terms(self.page, "FILES"), ["~/.config/quillory/frameflow.conf"])
        self.assertIn("~/.config/quillory/frameflow.conf", self.guide)

    def test_there_are_no_options(self):
        self.assertIn("There are no options", section(self.page, "DESCRIPTION"))
        self.assertNotRegex(self.page, r"(?m)(^\.\w+ |[ \[])(\\?-){1,2}[A-Za-z]")


if __name__ == "__main__":
    TREE, PAGE = (Path(argument) for argument in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
