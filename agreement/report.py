"""What came of the things that a check made, by whom, beside what is expected, as a table for people."""

import argparse
import sys
import time
import tomllib
from collections import Counter
from pathlib import Path
from subprocess import SubprocessError
from tempfile import TemporaryDirectory

HERE = Path(__file__).resolve().parent

# The usual outcomes: whoever is asked accepts everything, but refuses what was changed afterwards.
ACCEPTED, REFUSED = "yes", "no"


class Report:
    """A table of kinds. What is not as usual is in expected_CHECK.toml: the outcome of a kind by a name, or by all `others`."""

    def __init__(self, check, title, names):
        self.expected = tomllib.loads((HERE / f"expected_{check}.toml").read_text())
        self.title = title
        self.names = names
        self.outcomes = {}
        self.complaints = Counter()

    def complain(self, sentence):
        self.complaints[sentence[:300]] += 1

    def expectation(self, kind, name):
        expected = self.expected.get(kind, {})
        usual = {"outcome": REFUSED if "changed" in kind else ACCEPTED}
        return expected.get(name) or expected.get("others") or usual

    def judge(self, kind, name, outcome, reason=""):
        """Takes in one outcome, with the reason of a refusal."""
        self.outcomes.setdefault(kind, {}).setdefault(name, Counter())[outcome] += 1
        expected = self.expectation(kind, name)
        if outcome != expected["outcome"]:
            self.complain(f'"{kind}" by {name}: {outcome} instead of {expected["outcome"]}: {reason}')
        elif expected.get("says", "") not in reason:
            self.complain(f'"{kind}" by {name}: {outcome} for another reason than expected: {reason}')

    def print(self):
        rows = [(self.title, *self.names)]
        for kind, by_name in self.outcomes.items():
            cells = (by_name.get(name, {}) for name in self.names)
            rows.append((kind, *(", ".join(f"{count} {outcome}" for outcome, count in cell.items()) for cell in cells)))
        widths = [max(map(len, column)) for column in zip(*rows, strict=True)]
        print()
        for row in rows:
            print("  ".join(cell.ljust(width) for cell, width in zip(row, widths, strict=True)).rstrip())
        print("\nWhat is not accepted, or is accepted though it is malformed:")
        for kind, exceptions in self.expected.items():
            for name, exception in exceptions.items():
                print(f'  "{kind}" by {name}: {exception["because"]}')
        totals = sum((count for by_name in self.outcomes.values() for count in by_name.values()), Counter())
        figures = ", ".join(f"{count} {outcome}" for outcome, count in totals.items())
        print(f"\n{len(self.outcomes)} kinds: {figures}; {sum(self.complaints.values())} not as expected")

    def failed(self):
        """Tells each complaint once, in the order in which they came. Returns whether there were any."""
        for sentence, count in self.complaints.items():
            print(f"script/agreement: {sentence} ({count} times)", file=sys.stderr)
        return bool(self.complaints)


def tell(description, check):
    """Runs a check in a folder of its own and tells people its report, or in a sentence what kept it from its end."""
    arguments = argparse.ArgumentParser(description=description.splitlines()[0])
    arguments.add_argument("--short", action="store_true", help="a few of each kind")
    short = arguments.parse_args().short
    try:
        with TemporaryDirectory(prefix="kavrel-agreement-") as folder:
            report = check(Path(folder), short)
    except (OSError, RuntimeError, SubprocessError) as failure:
        sys.exit(f"script/agreement: {failure}")
    report.print()
    sys.exit(report.failed())


def timed(what, work, *arguments):
    """Returns the list of what `work` returns or yields, and tells whoever waits how many those are and what they took."""
    began = time.monotonic()
    done = list(work(*arguments))
    if not done:
        raise RuntimeError(f"{what}: there are none")
    print(f"   {what}: {len(done)}, {time.monotonic() - began:.1f} s", file=sys.stderr, flush=True)
    return done
