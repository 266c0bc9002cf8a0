"""Shows that the manifest for Flatpak is one, asks for no more than it should, and belongs to this program.

usage: flatpak_test.py TREE [UNITTEST OPTION…]
"""

import sys
import unittest
from pathlib import Path

import yaml

TREE = None
ID = "com.quillory.Frameflow"
PERMISSIONS = {
    "--socket=wayland", "--socket=fallback-x11", "--share=ipc", "--device=dri", "--socket=pulseaudio",
    "--filesystem=host", "--talk-name=org.freedesktop.ScreenSaver",
}


class FlatpakTest(unittest.TestCase):
    def setUp(self):
        path = TREE / "packaging" / f"{ID}.yml"
        self.text = path.read_text(encoding="utf-8")
        self.manifest = yaml.safe_load(self.text)

    def test_it_has_the_name_under_which_desktops_know_the_program(self):
        self.assertEqual(self.manifest["id"], ID)
        for name in (f"{ID}.desktop.in", f"{ID}.service.in", f"{ID}.metainfo.xml.in", f"icons/{ID}.svg"):
            self.assertTrue((TREE / "packaging" / name).is_file(), name)
        self.assertEqual(self.manifest["command"], "frameflow")

    def test_it_asks_for_what_the_program_needs_and_not_for_the_network(self):
        self.assertEqual(set(self.manifest["finish-args"]), PERMISSIONS)
        self.assertNotIn("--share=network", self.text)

    def test_nothing_is_fetched_while_it_is_built(self):
        for module in self.manifest["modules"]:
            self.assertNotIn("build-options", module, module["name"])
            for source in module["sources"]:
                self.assertIn(source["type"], ("dir", "shell"), module["name"])

    def test_every_source_is_one_that_the_script_fetches_or_the_tree(self):
        *libraries, program = self.manifest["modules"]
        for module in libraries:
            self.assertEqual(module["sources"][0]["path"], f"../build/flatpak/sources/{module['name']}")
        self.assertEqual(program["sources"][0]["path"], "..")
        self.assertEqual((TREE / "packaging" / program["sources"][0]["path"]).resolve(), TREE.resolve())


if __name__ == "__main__":
    TREE = Path(sys.argv[1])
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
