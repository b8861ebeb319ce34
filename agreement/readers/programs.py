"""Implementations that are libraries: each has a small program here, which reads all the requests in one go."""

import os
from pathlib import Path

from readers.reading import last_line, read_by_program, run

HERE = Path(__file__).resolve().parent


def build(*command, **options):
    ended = run(*command, **options)
    if ended.returncode != 0:
        raise RuntimeError(f"{command[0]} cannot compile its reader: {last_line(ended.stderr)}")


class Peculiar:
    name = "@peculiar/x509"

    def __init__(self, folder):
        pass

    def read_all(self, files):
        return read_by_program("node", HERE / "peculiar.mjs", *files)


class MbedTLS:
    name = "mbed TLS"

    def __init__(self, folder):
        self.program = Path(folder) / "mbedtls"
        libraries = ["-lmbedx509", "-lmbedcrypto"]
        build("g++", "-std=c++20", "-O1", HERE / "mbedtls.cpp", "-o", self.program, *libraries)

    def read_all(self, files):
        return read_by_program(self.program, *files)


class Go:
    name = "Go"

    def __init__(self, folder):
        self.program = Path(folder) / "go"
        environment = {**os.environ, "GOCACHE": str(Path(folder) / "go-cache"), "GO111MODULE": "off", "CGO_ENABLED": "0"}
        build("go", "build", "-o", self.program, HERE / "reader.go", env=environment)

    def read_all(self, files):
        return read_by_program(self.program, *files)


class Java:
    name = "Java"

    # The packages are the runtime's own, so they have to be opened to the program.
    packages = ["pkcs10", "util", "x509"]

    def __init__(self, folder):
        self.folder = folder
        self.open = [f"--add-exports=java.base/sun.security.{package}=ALL-UNNAMED" for package in self.packages]
        build("javac", "-XDignore.symbol.file", "-nowarn", *self.open, "-d", folder, HERE / "Reader.java")

    def read_all(self, files):
        return read_by_program("java", *self.open, "-cp", self.folder, "Reader", *files)
