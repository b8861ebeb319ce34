"""Certificates by GnuTLS's command line."""

from functools import partial
from pathlib import Path

from makers.making import every, run

RSA = ["--key-type=rsa", "--bits=2048"]
KEYS = [["--key-type=rsa", f"--bits={bits}"] for bits in (1024, 2050, 3072, 4096)]
CURVES = ["secp256r1", "secp384r1", "secp521r1"]
OTHER_KEYS = [["--key-type=ecc", "--curve=secp224r1"], ["--key-type=ed25519"], ["--key-type=ed448"]]
OTHER_KEYS += [["--key-type=rsa-pss", "--bits=2048"]]
TEMPLATES = [
    "serial = 1",
    "serial = 0x" + "7f" * 20,
    "serial = 0x" + "ff" * 19,
    'add_critical_extension = "1.2.3.4.5 0xaabbccddeeff"',
    'add_extension = "1.2.3.4.5 octet_string(0xaabbccddeeff)"',
    'ca\nsigning_key\ncert_signing_key\ndns_name = "*.example.org"',
    'dn = "cn=نام,O=سازمان"',
    "activation_date = 1970-01-01 00:00:00\nexpiration_date = 9999-12-31 23:59:59",
    "inhibit_anypolicy_skip_certs = 5",
]


class GnuTLS:
    name = "GnuTLS"

    def __init__(self, folder):
        self.folder = Path(folder)

    def certificates(self, step):
        keys = [*KEYS, *(["--key-type=ecc", f"--curve={curve}"] for curve in CURVES), *OTHER_KEYS]
        return every(
            step, [partial(self.issue, RSA, template) for template in TEMPLATES] + [partial(self.issue, key) for key in keys]
        )

    def issue(self, key, template=""):
        key_file, template_file = self.folder / "gnutls.key", self.folder / "gnutls.template"
        if "dn = " not in template:
            template += '\ncn = "Throw-away"'
        template_file.write_text(template + "\n")
        run("certtool", "--generate-privkey", *key, "--outfile", key_file)
        files = ["--load-privkey", key_file, "--template", template_file]
        return run("certtool", "--generate-self-signed", *files, "--outder")
