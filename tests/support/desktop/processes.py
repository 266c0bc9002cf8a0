"""What the kernel tells of a program and of the processes that it has started."""

import contextlib
import os
from pathlib import Path

CLOCK_TICKS = os.sysconf("SC_CLK_TCK")


def _text(path):
    with contextlib.suppress(OSError):
        return Path(path).read_text(encoding="utf-8", errors="replace")
    return ""


def _stat(process):
    """The fields from the third, the state, on: the name before them may hold anything."""
    return _text(f"/proc/{process}/stat").rpartition(")")[2].split()


def state(process):
    """One letter; empty for a process that is not there."""
    return (_stat(process) or [""])[0]


def family(process):
    """The process and all that descend from it."""
    parents = {}
    for entry in os.listdir("/proc"):
        fields = _stat(entry) if entry.isdigit() else []
        if len(fields) > 1:
            parents.setdefault(int(fields[1]), []).append(int(entry))
    found = [process]
    for one in found:
        found.extend(parents.get(one, []))
    return found


def proportional_bytes(processes):
    """The sum of what they hold in memory, shared memory by shares (PSS)."""
    total = 0
    for process in processes:
        for line in _text(f"/proc/{process}/smaps_rollup").splitlines():
            if line.startswith("Pss:"):
                total += int(line.split()[1]) * 1024
    return total


def mapped(process, name):
    """How many areas of its memory are of a file of that name."""
    return sum(line.endswith(name) for line in _text(f"/proc/{process}/maps").splitlines())


def processor_seconds(processes):
    """What their threads have used so far."""
    ticks = 0
    for process in processes:
        fields = _stat(process)
        ticks += int(fields[11]) + int(fields[12]) if len(fields) > 12 else 0
    return ticks / CLOCK_TICKS


def open_files(process):
    with contextlib.suppress(OSError):
        return len(os.listdir(f"/proc/{process}/fd"))
    return 0


def threads(process):
    with contextlib.suppress(OSError):
        return len(os.listdir(f"/proc/{process}/task"))
    return 0


def mappings(process):
    return _text(f"/proc/{process}/maps").count("\n")


def wakes(processes):
    """How often their threads have begun to wait so far; None while one of them is not waiting."""
    count = 0
    for process in processes:
        for status in Path(f"/proc/{process}/task").glob("*/status"):
            fields = dict(line.split(":", 1) for line in _text(status).splitlines() if ":" in line)
            if fields.get("State", " S").split()[0] in "RD":
                return None
            count += int(fields.get("voluntary_ctxt_switches", 0)) + int(fields.get("nonvoluntary_ctxt_switches", 0))
    return count


def seconds_in_queue(process):
    """How long the main thread was ready to run and got no processor."""
    fields = _text(f"/proc/{process}/task/{process}/schedstat").split()
    return int(fields[1]) / 1e9 if len(fields) > 1 else 0.0
