"""What every maker of certificates has in common."""

import subprocess

# The longest that a program is waited for, on a busy machine.
PATIENCE = 300


def run(*command, **options):
    """Runs a program that is expected to succeed, and returns what it wrote to standard output."""
    ended = subprocess.run(command, capture_output=True, timeout=PATIENCE, **options)
    if ended.returncode != 0:
        words = " ".join(map(str, command))
        raise RuntimeError(f"{words} ended with {ended.returncode}: {ended.stderr.decode(errors='replace')}")
    return ended.stdout


def every(step, plans):
    """Yields what every step-th of the functions `plans` makes."""
    yield from (plan() for plan in plans[::step])
