"""Libraries. Those of other languages have a small program here, which reads all the requests in one go."""

import os
from pathlib import Path

from commands import output_of
from cryptography import x509
from readers.reading import OneByOne, Reading, read_by_program

HERE = Path(__file__).resolve().parent


class PythonCryptography(OneByOne):
    name = "cryptography"

    def read(self, file):
        request = x509.load_der_x509_csr(Path(file).read_bytes())
        if not request.is_signature_valid:
            return Reading(refusal="the signature is not valid")
        numbers = request.public_key().public_numbers()
        usage = request.extensions.get_extension_for_class(x509.ExtendedKeyUsage)
        return Reading(
            subject=[(attribute.oid.dotted_string, attribute.value.encode()) for attribute in request.subject],
            public_key=(numbers.n, numbers.e),
            purposes=[purpose.dotted_string for purpose in usage.value],
        )


class Peculiar:
    name = "@peculiar/x509"

    def __init__(self, folder):
        pass

    def read_all(self, files):
        return read_by_program("node", HERE / "peculiar.mjs", *files)


class Go:
    name = "Go"

    def __init__(self, folder):
        self.program = Path(folder) / "go"
        environment = {**os.environ, "GOCACHE": str(Path(folder) / "go-cache"), "GO111MODULE": "off", "CGO_ENABLED": "0"}
        output_of("go", "build", "-o", self.program, HERE / "reader.go", env=environment)

    def read_all(self, files):
        return read_by_program(self.program, *files)
