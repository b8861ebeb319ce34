"""NSS, by the tool that issues certificates for requests; it checks their signatures."""

import re
from pathlib import Path

from readers.issued import reading_of_certificate
from readers.reading import OneByOne, Reading, run


class NSS(OneByOne):
    name = "NSS"

    def __init__(self, folder):
        self.database = Path(folder) / "nss"
        self.database.mkdir()
        noise = self.database / "noise"
        noise.write_bytes(bytes(range(64)))
        self.password = self.database / "password"
        self.password.write_text("\n")
        self.certutil("-N", "--empty-password")
        self.certutil("-S", "-x", "-n", "ca", "-s", "CN=Throw-away", "-t", "C,C,C", "-v", "12", "-z", noise)

    def certutil(self, *arguments):
        ended = run("certutil", *arguments, "-d", self.database, "-f", self.password)
        if ended.returncode != 0:
            raise RuntimeError(f"certutil {arguments[0]}: {ended.stderr.decode()}")

    def read(self, file):
        issued = Path(file).with_suffix(".nss")
        try:
            self.certutil("-C", "-c", "ca", "-i", file, "-o", issued, "-v", "12")
        except RuntimeError as refusal:
            return Reading(refusal=re.search("(SEC_ERROR.*)|$", str(refusal))[1] or str(refusal))
        return reading_of_certificate(issued.read_bytes())
