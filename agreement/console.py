"""What the checks tell people besides their tables."""

import sys
from subprocess import SubprocessError


def tell(check):
    """Runs a check. If something keeps it from coming to its end, that is told to people in a sentence."""
    try:
        sys.exit(check())
    except (OSError, RuntimeError, SubprocessError) as failure:
        print(f"script/agreement: {failure}", file=sys.stderr)
        sys.exit(1)


def progress(line):
    """Tells whoever waits what was done."""
    print(f"   {line}", file=sys.stderr, flush=True)
