"""usage: peers.py BUILD [--runs N] [--steps N] [--viewers NAME,NAME] [--only start,steps,thumbnails]
       [--markdown FILE]

Measures Frameflow of that build folder and the viewers of Debian that are best at each, in turn, and prints medians as a
Markdown table. To be run by run-isolated on a display of its own. Nothing else should run on the machine meanwhile.
"""

import argparse
import datetime
import os
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP / "tests" / "support" / "desktop"))

import measure
from photographs import Photographs
from viewers import viewers
from x_screen import Screen

SAMPLE = TOP / "resources" / "samples" / "07 Mountain Lake.jpg"
FILES = (1000, 20000)

ROWS = (
    ("start 1000", "start to first picture, 1,000 files", "ms", 0),
    ("start 20000", "start to first picture, 20,000 files", "ms", 0),
    ("rested", "step after a rest", "ms", 0),
    ("sharp", "step after a rest, until sharp", "ms", 0),
    ("hurried", "hurried step", "ms", 0),
    ("worst", "hurried step, the worst of a run", "ms", 0),
    ("worst of all", "hurried step, the worst of all runs", "ms", 0),
    ("thumbnails", "thumbnails a second", "", 1),
    ("memory", "memory after 20 slides", "MiB", 0),
    ("beyond", "of it beyond the pictures that are held, where those can be told", "MiB", 0),
    ("idle", "processor while nothing happens", "%", 1),
)


class Figures:
    """By viewer and row: what each run has measured."""

    def __init__(self):
        self.measured = {}
        self.troubles = {}

    def add(self, viewer, row, values):
        self.measured.setdefault((viewer.name, row), []).extend(values)

    def text(self, viewer, row, digits):
        values = self.measured.get((viewer.name, row))
        if not values:
            return "–"
        return f"{max(values) if row == 'worst of all' else statistics.median(values):.{digits}f}"


def measure_start(figures, running, folders, _steps):
    for count in FILES:
        figures.add(running.viewer, f"start {count}", [measure.start(running, folders[count]) * 1000])


def measure_steps(figures, running, folders, steps):
    if not running.viewer.next_key:
        return
    result = measure.steps(running, folders["steps"], steps)
    worst = [max(result["hurried"])]
    for row, values in (
        ("rested", result["rested"]), ("sharp", result["sharp"]), ("hurried", result["hurried"]),
        ("worst", worst), ("worst of all", worst),
    ):
        figures.add(running.viewer, row, [value * 1000 for value in values])
    figures.add(running.viewer, "memory", [result["memory"]])
    if result["beyond"] is not None:
        figures.add(running.viewer, "beyond", [result["beyond"]])
    figures.add(running.viewer, "idle", [result["idle"]])


def measure_thumbnails(figures, running, folders, _steps):
    if running.viewer.thumbnails or running.viewer.thumbnails_key:
        figures.add(running.viewer, "thumbnails", [measure.thumbnails(running, folders["plain"])])


KINDS = {"start": measure_start, "steps": measure_steps, "thumbnails": measure_thumbnails}


def machine():
    """Which, in a line."""
    texts = Path("/proc/cpuinfo").read_text(encoding="utf-8")
    models = [line.partition(":")[2].strip() for line in texts.splitlines() if line.startswith("model name")]
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return f"{models[0] if models else 'unknown processor'}, {len(os.sched_getaffinity(0))} cores, {memory:.0f} GiB"


def version(viewer):
    if not viewer.package:
        return ""
    asked = ["dpkg-query", "-W", "-f=${Version}", viewer.package]
    return " " + subprocess.run(asked, capture_output=True, text=True, check=False).stdout.partition("+")[0]


def markdown(figures, chosen, runs):
    date = datetime.datetime.now(datetime.timezone.utc).date()
    lines = [
        f"Measured on {date}: {machine()}, an X server in memory of 1920 × 1080 pixels without a graphics processor;"
        f" photographs of 24 megapixels; medians of {runs} runs, in turn. Load of the machine during the last minute:"
        f" {os.getloadavg()[0]:.1f}.",
        "",
        "| | " + " | ".join(viewer.name for viewer in chosen) + " |",
        "|---|" + "---:|" * len(chosen),
    ]
    for row, title, unit, digits in ROWS:
        cells = [figures.text(viewer, row, digits) for viewer in chosen]
        lines.append(f"| {title}{', ' + unit if unit else ''} | " + " | ".join(cells) + " |")
    lines += ["", "How each was set up: " + "; ".join(f"{one.name}{version(one)}: {one.setup}" for one in chosen) + "."]
    lines += [f"Not measured: {trouble}." for trouble in figures.troubles.values()]
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--steps", type=int, default=10, help="rested and hurried ones in each run")
    parser.add_argument("--viewers", type=lambda text: text.split(","), default=None)
    parser.add_argument("--only", type=lambda text: text.split(","), default=list(KINDS))
    parser.add_argument("--markdown", type=Path, default=None)
    arguments = parser.parse_args()
    chosen = [one for one in viewers(arguments.build) if not arguments.viewers or one.name in arguments.viewers]
    screen, figures = Screen(), Figures()
    screen.move_mouse(screen.rect.width - 1, screen.rect.height - 1)
    with tempfile.TemporaryDirectory(dir=os.environ["HOME"]) as top:
        top = Path(top)
        print("Making photographs", file=sys.stderr)
        photographs = Photographs(top / "photographs", SAMPLE)
        folders = {count: photographs.fill(str(count), count) for count in FILES if "start" in arguments.only}
        folders |= {"steps": photographs.fill("steps", 100), "plain": photographs.plain}
        runnings = [measure.Running(viewer, top / f"home-{place}", screen) for place, viewer in enumerate(chosen)]
        for running in runnings:
            running.prepare()
        # The first start of each, which makes what only the first one makes, does not count.
        for run in range(-1, arguments.runs):
            for running in runnings:
                for kind in arguments.only if run >= 0 else ["start"]:
                    if (running.viewer.name, kind) in figures.troubles:
                        continue
                    print(f"Run {run + 1}: {running.viewer.name}, {kind}", file=sys.stderr)
                    try:
                        if run < 0:
                            measure.start(running, folders["steps"])
                        else:
                            KINDS[kind](figures, running, folders, arguments.steps)
                    except measure.Trouble as trouble:
                        print(trouble, file=sys.stderr)
                        figures.troubles[running.viewer.name, kind] = str(trouble)
    text = markdown(figures, chosen, arguments.runs)
    print(text)
    if arguments.markdown:
        arguments.markdown.write_text(text, encoding="utf-8")
    return 1 if figures.troubles else 0


if __name__ == "__main__":
    sys.exit(main())
