"""Runs the programs of other implementations."""

import subprocess

# The longest that a program is waited for, with all that there is to do and on a busy machine.
PATIENCE = 300


def run(*command, **options):
    return subprocess.run(command, capture_output=True, timeout=PATIENCE, **options)


def output_of(*command, **options):
    """Runs a program that is expected to succeed, and returns what it wrote to standard output."""
    ended = run(*command, **options)
    if ended.returncode != 0:
        raise RuntimeError(f"{' '.join(map(str, command))} ended with {ended.returncode}: {last_line(ended.stderr)}")
    return ended.stdout


def last_line(output):
    """Returns the last line that a program wrote, to be shown as its reason."""
    lines = [line.strip() for line in output.decode(errors="replace").splitlines() if line.strip()]
    return lines[-1] if lines else "no message"
