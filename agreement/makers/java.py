"""Certificates by Java's keytool."""

from functools import partial
from itertools import count
from pathlib import Path

from makers.making import every, run

KEYS = [["RSA", "-keysize", bits] for bits in ("512", "1024", "2048", "3072", "4096")]
KEYS += [["EC", "-groupname", curve] for curve in ("secp256r1", "secp384r1", "secp521r1")]
KEYS += [["Ed25519"], ["Ed448"], ["RSASSA-PSS", "-keysize", "2048"], ["DSA", "-keysize", "1024"]]
OPTIONS = [
    ["-ext", "BasicConstraints:critical=ca:true,pathlen:0"],
    ["-ext", "SubjectAlternativeName=dns:example.org,ip:127.0.0.1,uri:urn:x"],
    ["-ext", "1.2.3.4.5:critical=00ff"],
    ["-dname", "CN=نام, O=سازمان"],
]
PASSWORD = "throw-away"


class Java:
    name = "Java"

    def __init__(self, folder):
        self.folder = Path(folder)
        self.numbers = count()

    def certificates(self, step):
        plans = [partial(self.issue, key) for key in KEYS]
        return every(step, plans + [partial(self.issue, ["RSA", "-keysize", "2048"], *options) for options in OPTIONS])

    def issue(self, key, *options):
        store = self.folder / f"{next(self.numbers)}.java"
        name = [] if "-dname" in options else ["-dname", "CN=Throw-away"]
        file = ["-keystore", store, "-storepass", PASSWORD]
        run("keytool", "-genkeypair", "-alias", "key", *name, *file, "-keyalg", *key, *options)
        # Each keytool takes half a second to start, and the store is a PKCS #12 file like others.
        pem = run("openssl", "pkcs12", "-in", store, "-passin", f"pass:{PASSWORD}", "-nokeys")
        return run("openssl", "x509", "-outform", "DER", input=pem)
