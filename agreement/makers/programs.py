"""Makers that are libraries or need a program of their own."""

import base64
import os
from pathlib import Path

from makers.making import run

HERE = Path(__file__).resolve().parent


def printed_by(*command, **options):
    return [base64.b64decode(line) for line in run(*command, **options).split()]


class Peculiar:
    name = "@peculiar/x509"

    def __init__(self, folder):
        pass

    def certificates(self, step):
        return printed_by("node", HERE / "peculiar.mjs", str(step))


class Go:
    name = "Go"

    def __init__(self, folder):
        self.environment = {
            **os.environ,
            "GOCACHE": str(Path(folder) / "go-cache"),
            "GO111MODULE": "off",
            "CGO_ENABLED": "0",
        }

    def certificates(self, step):
        return printed_by("go", "run", HERE / "maker.go", env=self.environment)[::step]
