"""OpenSSL and GnuTLS, by their command lines."""

import re

from asn1crypto.parser import parse
from commands import last_line, run
from readers.reading import OneByOne, Reading


class OpenSSL(OneByOne):
    name = "OpenSSL"
    purposes_by_name = {"TLS Web Client Authentication": "1.3.6.1.5.5.7.3.2"}

    def read(self, file):
        show = ["-noout", "-text", "-modulus", "-nameopt", "oid,sep_comma_plus,dump_all,dump_der"]
        ended = run("openssl", "req", "-inform", "DER", "-in", file, "-verify", *show)
        if ended.returncode != 0 or b"verify OK" not in ended.stdout + ended.stderr:
            return Reading(refusal=self.reason(ended.stderr))
        text = ended.stdout.decode()
        return Reading(
            subject=self.subject(re.search("Subject: (.*)", text)[1]),
            public_key=(int(re.search("Modulus=(.*)", text)[1], 16), int(re.search(r"Exponent: (\d+)", text)[1])),
            purposes=self.purposes(re.search(r"Extended Key Usage: critical\n *(.*)", text)[1]),
        )

    def reason(self, output):
        """Returns the first of OpenSSL's errors, which is the innermost, without the numbers in it."""
        errors = re.findall("error:[0-9A-F]*:(.*)", output.decode())
        return errors[0] if errors else last_line(output)

    def subject(self, line):
        parts = [part.split("=#") for part in line.split(",")]
        return [(kind, parse(bytes.fromhex(value))[4]) for kind, value in parts]

    def purposes(self, line):
        return [self.purposes_by_name.get(purpose, purpose) for purpose in line.split(", ")]


class GnuTLS(OneByOne):
    name = "GnuTLS"
    purposes_by_name = {"TLS WWW Client.": "1.3.6.1.5.5.7.3.2"}
    types = {
        "ST": "2.5.4.8",
        "L": "2.5.4.7",
        "CN": "2.5.4.3",
        "surName": "2.5.4.4",
        "givenName": "2.5.4.42",
        "serialNumber": "2.5.4.5",
        "postalCode": "2.5.4.17",
    }

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
        return [(self.types[kind], self.value(written)) for kind, written in reversed(parts)]

    def value(self, written):
        if written.startswith("#"):
            return parse(bytes.fromhex(written[1:]))[4]
        return re.sub(r"\\(.)", r"\1", written, flags=re.DOTALL).encode()

    def purposes(self, lines):
        return [self.purposes_by_name.get(line.strip(), line.strip()) for line in lines.splitlines()]
