"""Prints benchmark lines "name|figure|reference|ratio|limit" as a table; fails if a ratio is beyond its limit."""

import re
import sys


def number(text):
    match = re.search(r"-?\d+(\.\d+)?", text)
    return float(match.group()) if match else None


def main():
    rows = [("name", "figure", "reference", "ratio", "limit", "")]
    all_hold = True
    for line in sys.stdin:
        cells = [cell.strip() for cell in line.rstrip("\n").split("|")]
        if len(cells) != 5:
            print(f"bench: not a figure: {line.rstrip()}", file=sys.stderr)
            all_hold = False
            continue
        ratio, limit = number(cells[3]), number(cells[4])
        # A limit without a number, or a limit on no ratio, is a mistake in the benchmark and holds for nothing.
        holds = not cells[4] or (ratio is not None and limit is not None and ratio <= limit)
        all_hold = all_hold and holds
        rows.append((*cells, "" if not cells[4] else "holds" if holds else "DOES NOT HOLD"))
    widths = [max(len(row[i]) for row in rows) for i in range(6)]
    for index, row in enumerate(rows):
        cells = [cell.ljust(width) if i in (0, 5) else cell.rjust(width) for i, (cell, width) in enumerate(zip(row, widths))]
        print("  ".join(cells).rstrip())
        if index == 0:
            print("  ".join("-" * width for width in widths).rstrip())
    return 0 if all_hold else 1


sys.exit(main())
