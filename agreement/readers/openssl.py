"""OpenSSL's command line."""

import re

from asn1crypto.parser import parse
from commands import last_line, run
from readers.reading import OneByOne, Reading

PURPOSES = {"TLS Web Client Authentication": "1.3.6.1.5.5.7.3.2"}


class OpenSSL(OneByOne):
    name = "OpenSSL"

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
        return [PURPOSES.get(purpose, purpose) for purpose in line.split(", ")]
