"""Checks that docs/behaviour.md and the tests belong together. Prints every place where they do not, and fails.

usage: check-behaviour.py TESTS DOCUMENT

TESTS holds one line for each test: its name, then its sources if it is a Qt Test program. Every row of a table in the
document needs a behaviour and, in its last cell, tests in backticks: "program::function", or the name alone of a test
that has no sources. Every test has to be named somewhere.
"""

import re
import sys
from pathlib import Path

HELPERS = {"initTestCase", "cleanupTestCase", "init", "cleanup"}
SLOTS = re.compile(r"^private Q_SLOTS:(.*?)(?=^(?:public|protected|private)\b[^\n]*:|^\};)", re.MULTILINE | re.DOTALL)
RULE = re.compile(r"[|: ]*-[-|: ]*")


def functions_of(sources):
    """The test functions that the sources declare."""
    found = set()
    for source in sources:
        for slots in SLOTS.finditer(Path(source).read_text(encoding="utf-8", errors="replace")):
            found.update(re.findall(r"\bvoid (\w+)\(\)", slots.group(1)))
    return {name for name in found if name not in HELPERS and not name.endswith("_data")}


def tests_of(listing):
    """Name of each test to its functions, None where it has no sources."""
    lines = [line.split() for line in Path(listing).read_text(encoding="utf-8").splitlines() if line.strip()]
    return {line[0]: functions_of(line[1:]) if line[1:] else None for line in lines}


def rows_of(document):
    """Number and cells of each row of a table, without headings and the lines below them."""
    lines = [*Path(document).read_text(encoding="utf-8").splitlines(), ""]
    for index, line in enumerate(lines):
        if not line.startswith("|") or RULE.fullmatch(line) or RULE.fullmatch(lines[index + 1]):
            continue
        yield index + 1, [cell.strip() for cell in line.strip().strip("|").split("|")]


def complaints(tests, document):
    """What is wrong, one text a place."""
    named, rows = set(), 0
    for number, cells in rows_of(document):
        rows += 1
        references = re.findall(r"`([^`]*)`", cells[-1])
        if len(cells) < 2 or not cells[0]:
            yield f"{document}:{number}: a row needs a behaviour and its tests"
        elif not references:
            yield f"{document}:{number}: no test shows this"
        for reference in references:
            program, _, function = reference.partition("::")
            named.add(program)
            if program not in tests:
                yield f"{document}:{number}: there is no test {program}"
            elif tests[program] is None and function:
                yield f"{document}:{number}: {program} has no functions"
            elif tests[program] is not None and function not in tests[program]:
                yield f"{document}:{number}: {program} has no test function {function or '(none named)'}"
    if not rows:
        yield f"{document}: holds no rows"
    for program in tests:
        if program not in named:
            yield f"{document}: no row names the test {program}"


def main(listing, document):
    tests = tests_of(listing)
    found = list(complaints(tests, document))
    for name, functions in tests.items():
        if functions is not None and not functions:
            found.append(f"{listing}: {name} has no test functions")
    if not tests:
        found.append(f"{listing}: holds no tests")
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], sys.argv[2]))
