"""GnuTLS's command line."""

import re

from asn1crypto.parser import parse
from commands import last_line, run
from readers.reading import OneByOne, Reading

TYPES = {
    "ST": "2.5.4.8",
    "L": "2.5.4.7",
    "CN": "2.5.4.3",
    "surName": "2.5.4.4",
    "givenName": "2.5.4.42",
    "serialNumber": "2.5.4.5",
    "postalCode": "2.5.4.17",
}
PURPOSES = {"TLS WWW Client.": "1.3.6.1.5.5.7.3.2"}


class GnuTLS(OneByOne):
    name = "GnuTLS"

    def read(self, file):
        ended = run("certtool", "--crq-info", "--inder", "--infile", file)
        text = (ended.stdout + ended.stderr).decode()
        error = re.search("error: (.*)", text)  # printed where the subject would stand, and no more said about it
        if ended.returncode != 0 or error or "Self signature: verified" not in text:
            return Reading(refusal=error[1] if error else last_line(ended.stderr))
        return Reading(
            subject=self.subject(re.search("\n\tSubject: (.*)\n\tSubject Public Key Algorithm", text, re.DOTALL)[1]),
            public_key=(self.integer("Modulus", text), self.integer("Exponent", text)),
            purposes=self.purposes(re.search(r"Key Purpose \(critical\):\n((?:\t{4}.*\n)*)", text)[1]),
        )

    def integer(self, name, text):
        return int(re.sub(r"[\s:]", "", re.search(rf"{name} \(bits \d+\):\n((?:\t\t\t.*\n)*)", text)[1]), 16)

    def subject(self, line):
        """Takes a name in the form of RFC 4514 apart, in which the last attribute stands first."""
        parts = re.findall(r"(\w+)=((?:\\.|[^\\,])*)(?:,|$)", line, re.DOTALL)
        return [(TYPES[kind], self.value(written)) for kind, written in reversed(parts)]

    def value(self, written):
        if written.startswith("#"):
            return parse(bytes.fromhex(written[1:]))[4]
        return re.sub(r"\\(.)", r"\1", written, flags=re.DOTALL).encode()

    def purposes(self, lines):
        return [PURPOSES.get(line.strip(), line.strip()) for line in lines.splitlines()]
