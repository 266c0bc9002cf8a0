"""The viewers, each as somebody would set it up to look through photographs on a full screen."""

from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Viewer:
    name: str
    package: str  # of Debian; empty for what is built here
    command: tuple  # "%file" is the first file, "%folder" its folder
    setup: str  # in words, for the table
    next_key: str = ""  # empty: takes no steps
    files: tuple = ()  # settings: path below the home folder, text
    # How its thumbnails are opened: a command of their own, or a key in a view that is open; both empty: it has none.
    thumbnails: tuple = ()
    thumbnails_key: str = ""


FRAMEFLOW_SETTINGS = """[General]
HintsShown=true
AutoCheckNewVersion=false
autoStart=false
sort=name
transition=None
"""

QIMGV_SETTINGS = """[General]
openInFullscreen=true
firstRun=false
"""


def viewers(build):
    """All of them; the build folder holds Frameflow and the minimal program."""
    programs = Path(build) / "bin"
    return [
        Viewer(
            "Frameflow", "", (str(programs / "frameflow"), "%folder"), "stopped, transition None", "Right",
            ((".config/quillory/frameflow.conf", FRAMEFLOW_SETTINGS),), thumbnails_key="ctrl+t",
        ),
        Viewer(
            "feh", "feh", ("feh", "--fullscreen", "--auto-zoom", "--sort", "filename", "%folder"),
            "--auto-zoom, no preloading (its default)", "Right",
            thumbnails=(
                "feh", "--fullscreen", "--thumbnails", "--thumb-width", "256", "--thumb-height", "256",
                "--limit-width", "1920", "--sort", "filename", "%folder",
            ),
        ),
        Viewer(
            "qimgv", "qimgv", ("qimgv", "%file"), "its defaults, full screen", "Right",
            ((".config/qimgv/qimgv.conf", QIMGV_SETTINGS),), thumbnails_key="Return",
        ),
        Viewer(
            "geeqie", "geeqie", ("geeqie", "--fullscreen", "%file"), "its defaults", "Next",
        ),
        Viewer(
            "gwenview", "gwenview", ("gwenview", "--fullscreen", "%file"), "its defaults", "Right",
            thumbnails=("gwenview", "%folder"),
        ),
        Viewer(
            "mpv", "mpv", ("mpv", "--fs", "--image-display-duration=inf", "%folder"), "--image-display-duration=inf",
            "greater",
        ),
        Viewer(
            "minimal Qt program", "", (str(programs / "minimal_viewer"), "%file"),
            "QImageReader and one widget, no steps",
        ),
    ]
