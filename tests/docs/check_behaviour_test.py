"""Shows that check-behaviour.py, named as the argument, accepts what belongs together and refuses all else."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = None
SOURCE = """
class Other { private: void noSlot(); };
class ShowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void slidesFollow_data();
    void slidesFollow();
    void init() { reset(); }
    void theEndIsKept();

private:
    void reset();
};
"""
HEAD = "# Behaviour\n\n| behaviour | tests |\n|---|---|\n"
FIRST = "| Slides follow each other. | `show::slidesFollow`, `show::theEndIsKept` |\n"
BUILD = "| The program is built. | `build` |\n"


class CheckBehaviourTest(unittest.TestCase):
    def check(self, document, listing="show {source}\nbuild \n", source=SOURCE):
        with tempfile.TemporaryDirectory() as folder:
            folder = Path(folder)
            (folder / "ShowTest.cpp").write_text(source)
            (folder / "tests").write_text(listing.format(source=folder / "ShowTest.cpp"))
            (folder / "behaviour.md").write_text(document)
            result = subprocess.run([sys.executable, CHECK, folder / "tests", folder / "behaviour.md"],
                                    capture_output=True, text=True, check=False)
            self.assertEqual(result.stderr, "")
            self.assertIn(result.returncode, (0, 1))
            self.assertEqual(result.returncode == 0, result.stdout == "", result.stdout)
            return result.stdout

    def test_what_belongs_together_is_accepted(self):
        self.assertEqual(self.check(HEAD + FIRST + BUILD), "")

    def test_rows_may_be_in_several_tables(self):
        self.assertEqual(self.check(HEAD + FIRST + "\n## Building\n\n| behaviour | tests |\n|---|---|\n" + BUILD), "")

    def test_a_program_that_does_not_exist_is_refused(self):
        self.assertIn("there is no test shew", self.check(HEAD + FIRST + BUILD + "| More. | `shew::slidesFollow` |\n"))

    def test_a_function_that_does_not_exist_is_refused(self):
        for name in ("slidesFollw", "slidesFollow_data", "initTestCase", "init", "reset", "noSlot"):
            with self.subTest(name):
                self.assertIn(f":7: show has no test function {name}",
                              self.check(HEAD + FIRST + BUILD + f"| More. | `show::{name}` |\n"))

    def test_a_program_alone_is_refused_where_it_has_functions(self):
        self.assertIn("show has no test function", self.check(HEAD + FIRST + BUILD + "| More. | `show` |\n"))

    def test_a_function_is_refused_where_there_are_none(self):
        self.assertIn("build has no functions", self.check(HEAD + FIRST + BUILD + "| More. | `build::all` |\n"))

    def test_a_row_without_a_test_is_refused(self):
        for row in ("| More. | |\n", "| More. | show::slidesFollow |\n", "| More.\n"):
            with self.subTest(row):
                self.assertNotEqual(self.check(HEAD + FIRST + BUILD + row), "")

    def test_a_row_without_a_behaviour_is_refused(self):
        self.assertIn("needs a behaviour", self.check(HEAD + FIRST + BUILD + "| | `show::slidesFollow` |\n"))

    def test_a_test_that_no_row_names_is_refused(self):
        self.assertIn("no row names the test build", self.check(HEAD + FIRST))
        self.assertIn("no row names the test show", self.check(HEAD + BUILD))

    def test_a_name_outside_the_tables_does_not_count(self):
        self.assertIn("no row names the test build", self.check(HEAD + FIRST + "\nSee `build`.\n"))

    def test_nothing_at_all_is_refused(self):
        self.assertIn("holds no rows", self.check("# Behaviour\n"))
        self.assertIn("holds no tests", self.check(HEAD + FIRST, listing=""))

    def test_a_program_without_functions_is_refused(self):
        self.assertIn("show has no test functions", self.check(HEAD + BUILD, source="int main() {}"))


if __name__ == "__main__":
    CHECK = sys.argv.pop(1)
    unittest.main()
