#!/usr/bin/python3
"""Does what a page of the documentation says, in a new folder, and compares what comes of it with what the page shows.

A block whose fence names a file is written to that file. A block of "sh" is run, and has to print what the block of "text"
that follows it shows, or nothing. In what is shown "…" stands for any characters of a line. No other block may be there.
"""

import difflib
import os
import re
import subprocess
import sys
from pathlib import Path
from tempfile import TemporaryDirectory

ROOT = Path(__file__).resolve().parent.parent.parent
FENCE = re.compile(r"^```(\w+)(?: (\S+))?\n(.*?)^```$", re.MULTILINE | re.DOTALL)
PATIENCE = 600


def blocks(page):
    """Yields the line, the language, the file name and the text of each block."""
    text = page.read_text()
    if len(FENCE.findall(text)) * 2 != len(re.findall("^```", text, re.MULTILINE)):
        raise SystemExit(f"{page}: there is a fence without a language, or without its other end")
    for match in FENCE.finditer(text):
        yield text.count("\n", 0, match.start()) + 1, *match.groups()


def is_shown(shown, printed):
    """Returns whether `printed` is what the page shows. Blanks at the ends of lines count for nothing."""
    pattern = ".*".join(map(re.escape, shown.split("…")))
    return re.fullmatch(pattern, "".join(f"{line.rstrip()}\n" for line in printed.splitlines())) is not None


def run(commands, folder):
    environment = os.environ | {"PATH": f"{folder}/programs:{os.environ['PATH']}", "LC_ALL": "C.UTF-8", "TZ": "UTC"}
    ended = subprocess.run(
        ["bash", "-euo", "pipefail", "-c", commands],
        cwd=folder,
        env=environment,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        timeout=PATIENCE,
    )
    return ended.returncode, ended.stdout.decode()


def furnish(folder):
    """Puts what the pages take for granted into `folder`: the packages of npm, the programs, and this tree."""
    (folder / "programs").mkdir()
    (folder / "programs/kavrel").symlink_to(ROOT / "build/release/kavrel")
    (folder / "programs/python3").symlink_to("/usr/bin/python3")  # the one that Debian's packages are for
    (folder / "node_modules").symlink_to(ROOT / "node_modules")
    (folder / "tree").symlink_to(ROOT)


def follow(page, folder):
    """Does what `page` says in `folder`. Returns how many commands were run, and complaints."""
    complaints = []
    runs = 0
    rest = list(blocks(page))
    while rest:
        line, language, name, text = rest.pop(0)
        if name:
            (folder / name).write_text(text)
        elif language == "sh":
            shown = rest.pop(0)[3] if rest and rest[0][1:3] == ("text", None) else ""
            status, printed = run(text, folder)
            runs += 1
            if status != 0:
                complaints.append(f"{page}:{line}: the commands end with {status}\n{printed}")
            elif not is_shown(shown, printed):
                lines = difflib.unified_diff(shown.splitlines(), printed.splitlines(), "shown", "printed", lineterm="")
                complaints.append(f"{page}:{line}: the commands print something else\n" + "\n".join(lines))
        else:
            complaints.append(f"{page}:{line}: nobody runs this block of {language}")
    return runs, complaints


def main():
    failed = False
    for page in map(Path, sys.argv[1:]):
        with TemporaryDirectory(prefix="kavrel-page-") as folder:
            furnish(Path(folder))
            runs, complaints = follow(page, Path(folder))
        print(f"{page}: {runs} blocks of commands run, {len(complaints)} not as the page says")
        print("\n".join(complaints), file=sys.stderr, end="\n" if complaints else "")
        failed |= bool(complaints)
    return failed


if __name__ == "__main__":
    sys.exit(main())
