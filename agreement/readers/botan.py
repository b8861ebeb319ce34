"""Botan, by the command that issues certificates for requests; it checks their signatures."""

import base64
import re
from pathlib import Path

from readers.issued import reading_of_certificate
from readers.reading import OneByOne, Reading, last_line, run


class Botan(OneByOne):
    name = "Botan"

    def __init__(self, folder):
        self.key, self.certificate = Path(folder) / "botan.key", Path(folder) / "botan.pem"
        self.botan("keygen", "--algo=ECDSA", "--params=secp256r1", f"--output={self.key}")
        self.botan("gen_self_signed", "--ca", self.key, "Throw-away", f"--output={self.certificate}")

    def botan(self, *arguments):
        ended = run("botan", *arguments)
        if ended.returncode != 0:
            raise RuntimeError(last_line(ended.stderr))
        return ended.stdout.decode()

    def read(self, file):
        try:
            pem = self.botan("sign_cert", self.certificate, self.key, file)
        except RuntimeError as refusal:
            return Reading(refusal=str(refusal).removeprefix("Error: "))
        return reading_of_certificate(base64.b64decode(re.sub("-----[A-Z ]+-----", "", pem)))
