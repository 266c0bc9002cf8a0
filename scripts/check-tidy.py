"""Runs clang-tidy over the sources of build/dev that have changed since they were last found clean.

What was found clean is kept in the user's cache folder, so that every clone of the tree knows it.
"""

import concurrent.futures
import hashlib
import json
import os
import shlex
import subprocess
import sys
from pathlib import Path

TIDY = "clang-tidy-14"


def included_files(top):
    """Object file to the files of the tree that went into it, as the build recorded them."""
    found, current = {}, None
    lines = subprocess.run(["ninja", "-C", top / "build/dev", "-t", "deps"], capture_output=True, text=True,
                           check=True).stdout.splitlines()
    for line in lines:
        if not line.startswith(" "):
            current = found.setdefault(line.split(": #deps")[0], [])
        elif line.strip():
            path = (top / "build/dev" / line.strip()).resolve()
            if path.is_relative_to(top):
                current.append(path)
    return found


def object_of(entry):
    words = shlex.split(entry["command"])
    return words[words.index("-o") + 1]


def without_precompiled_headers(command):
    """The compiler's own ones mean nothing to clang."""
    words = shlex.split(command)
    kept = []
    for word in words:
        if word.endswith("/cmake_pch.hxx"):
            kept.pop()  # -include
        elif word != "-Winvalid-pch":
            kept.append(word)
    return shlex.join(kept)


class Hashes:
    def __init__(self):
        self.known = {}

    def of(self, path):
        if path not in self.known:
            self.known[path] = hashlib.sha256(path.read_bytes()).hexdigest() if path.is_file() else "absent"
        return self.known[path]


def main():
    top, jobs = Path(sys.argv[1]).resolve(), int(sys.argv[2])
    everything = "--all" in sys.argv[3:]
    only = {Path(name).resolve() for name in sys.argv[3:] if name != "--all"}
    store = top / "build/tidy"
    marks = Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "frameflow-checks/tidy"
    for folder in (store, marks):
        folder.mkdir(parents=True, exist_ok=True)
    rules = (top / ".clang-tidy").read_text() + subprocess.run([TIDY, "--version"], capture_output=True, text=True).stdout
    includes, hashes = included_files(top), Hashes()
    work = []
    checked = 0
    entries = json.loads((top / "build/dev/compile_commands.json").read_text())
    for entry in entries:
        entry["command"] = without_precompiled_headers(entry["command"])
    (store / "compile_commands.json").write_text(json.dumps(entries))
    for entry in entries:
        source = Path(entry["file"]).resolve()
        generated = source.is_relative_to(top / "build")
        # Tests take as long as all the rest, and what the rules look for does less harm there.
        aside = not everything and any(source.is_relative_to(top / folder) for folder in ("tests", "bench"))
        if generated or (aside and source not in only) or not source.is_relative_to(top) or (only and source not in only):
            continue
        checked += 1
        if object_of(entry) not in includes:
            sys.exit(f"check-tidy: build/dev is not up to date with {source}")
        parts = [rules, entry["command"].replace(str(top), "."), hashes.of(source)]
        parts += [f"{path.relative_to(top)} {hashes.of(path)}" for path in sorted(includes[object_of(entry)])]
        mark = marks / hashlib.sha256("\n".join(parts).encode()).hexdigest()
        if not mark.exists():
            work.append((source, mark))

    def look(item):
        source, mark = item
        done = subprocess.run([TIDY, "--quiet", "-p", str(store), str(source)], capture_output=True, text=True)
        if done.returncode == 0:
            mark.touch()
        return source, done

    # The largest first, so that the last one is short.
    work.sort(key=lambda item: -item[0].stat().st_size)
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for source, done in pool.map(look, work):
            if done.returncode != 0:
                failed += 1
                errors = [line for line in done.stderr.splitlines() if "error" in line and "warnings treated" not in line]
                print(f"{source.relative_to(top)}:\n{done.stdout}" + "\n".join(errors), flush=True)
    print(f"clang-tidy: {checked} sources, {len(work)} looked at, {failed} with findings")
    return 1 if failed or checked == 0 else 0


sys.exit(main())
