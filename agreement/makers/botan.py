"""Certificates by Botan's command line."""

from functools import partial
from pathlib import Path

from makers.making import every, run

KEYS = [("RSA", bits) for bits in ("1024", "2048", "2056", "3072", "4096")]
KEYS += [("ECDSA", curve) for curve in ("secp256r1", "secp384r1", "secp521r1")]
KEYS += [("ECDSA", curve) for curve in ("secp224r1", "secp256k1", "brainpool384r1")]
KEYS += [("Ed25519", "")]
OPTIONS = [["--ca"], ["--ca", "--path-limit=0"], ["--dns=example.org"], ["--country=IR", "--organization=سازمان"]]


class Botan:
    name = "Botan"

    def __init__(self, folder):
        self.key = Path(folder) / "botan.key"

    def certificates(self, step):
        return every(
            step,
            [partial(self.issue, *arguments) for arguments in [*(("RSA", "2048", *option) for option in OPTIONS), *KEYS]],
        )

    def issue(self, algorithm, parameters, *options):
        run("botan", "keygen", f"--algo={algorithm}", f"--params={parameters}", f"--output={self.key}")
        return run("botan", "gen_self_signed", "--der", *options, self.key, "Throw-away")
