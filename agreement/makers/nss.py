"""Certificates by NSS."""

from functools import partial
from itertools import count
from pathlib import Path

from makers.making import every, run

RSA = ["-k", "rsa", "-g", "2048"]
KEYS = [["-k", "rsa", "-g", bits] for bits in ("1024", "1536", "3072", "4096")]
KEYS += [["-k", "ec", "-q", curve] for curve in ("nistp256", "nistp384", "nistp521")]
OPTIONS = [
    ["-m", "0"],
    ["-m", "2147483647"],
    ["--certVersion", "1"],
    ["--certVersion", "2"],
    ["-8", "example.org,*.example.org"],
    ["-7", "somebody@example.org"],
    ["--nsCertType", "sslClient,sslServer,smime"],
    ["--keyUsage", "digitalSignature,critical", "--extKeyUsage", "clientAuth,codeSigning"],
]


class NSS:
    name = "NSS"

    def __init__(self, folder):
        self.database = Path(folder) / "nss"
        self.database.mkdir()
        (self.database / "password").write_text("\n")
        (self.database / "noise").write_bytes(bytes(range(64)))
        self.numbers = count(1)
        self.certutil("-N", "--empty-password")

    def certutil(self, *arguments):
        return run("certutil", *arguments, "-d", self.database, "-f", self.database / "password")

    def certificates(self, step):
        return every(step, [partial(self.issue, options) for options in [*([*RSA, *options] for options in OPTIONS), *KEYS]])

    def issue(self, options):
        number = str(next(self.numbers))
        serial = [] if "-m" in options else ["-m", number]
        subject = ["-n", number, "-s", f"CN=Throw-away {number}", "-t", ",,", "-x", *serial]
        self.certutil("-S", *subject, "-z", self.database / "noise", *options)
        return self.certutil("-L", "-n", number, "-r")
