"""Shows that the version stands in one place: a tree in which that place is changed is of the other version throughout.

usage: version_test.py TREE CMAKE
"""

import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TREE = CMAKE = None
OTHER = "7.18.29"
# The list of changes names each version, and does not follow it.
TOLD = "CHANGELOG.md"


def texts():
    """Every file of the tree that is text, by its name."""
    for path in sorted(TREE.rglob("*")):
        name = path.relative_to(TREE)
        if name.parts[0] in ("build", ".git", ".cache") or "__pycache__" in name.parts or not path.is_file():
            continue
        try:
            yield name.as_posix(), path.read_text(encoding="utf-8")
        except UnicodeDecodeError:
            pass


class VersionTest(unittest.TestCase):
    def setUp(self):
        self.version = re.search(r"^project\(frameflow VERSION ([\d.]+) ", (TREE / "CMakeLists.txt").read_text(),
                                 re.MULTILINE)[1]

    def test_it_stands_in_one_place(self):
        found = [name for name, text in texts() if re.search(rf"(?<![\d.]){re.escape(self.version)}(?![\d.])", text)]
        self.assertEqual([name for name in found if name != TOLD], ["CMakeLists.txt"])

    def test_the_newest_changes_are_those_of_this_version(self):
        changes = re.findall(r"^## \[(.+?)\]", (TREE / TOLD).read_text(encoding="utf-8"), re.MULTILINE)
        self.assertEqual(changes[0], self.version)

    def test_all_that_names_it_follows_it(self):
        with tempfile.TemporaryDirectory() as folder:
            copy, build = Path(folder) / "tree", Path(folder) / "build"
            shutil.copytree(TREE, copy, ignore=shutil.ignore_patterns("build", ".git", ".cache"))
            place = copy / "CMakeLists.txt"
            place.write_text(place.read_text().replace(f"frameflow VERSION {self.version}", f"frameflow VERSION {OTHER}"))
            subprocess.run([CMAKE, "-S", copy, "-B", build, "-G", "Ninja", "-DBUILD_TESTING=OFF"],
                           check=True, stdout=subprocess.DEVNULL)
            for name, sign in (
                ("packaging/com.quillory.Frameflow.metainfo.xml", f'<release version="{OTHER}"'),
                ("packaging/frameflow.1", f'"Frameflow {OTHER}"'),
                ("CPackConfig.cmake", f'set(CPACK_PACKAGE_VERSION "{OTHER}")'),
                ("build.ninja", f'-DFRAMEFLOW_VERSION=\\"{OTHER}\\"'),
            ):
                text = (build / name).read_text(encoding="utf-8").replace("\\\\", "\\")
                self.assertIn(sign, text, name)
                self.assertNotRegex(text, rf"[ \"]{re.escape(self.version)}[\" ]", name)


if __name__ == "__main__":
    TREE, CMAKE = Path(sys.argv[1]), sys.argv[2]
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
