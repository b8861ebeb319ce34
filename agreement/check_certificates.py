#!/usr/bin/python3
"""Puts certificates by implementations other than this one through the key match of the component.

Has OpenSSL make certificates with keys of all kinds, adds the roots of Debian's ca-certificates, which many have made, and RSA
keys written by hand, among them some that no library makes, and lets the component compare the keys in them, on the desktop
device and in the WebAssembly, with those that Python's cryptography exports. Fails if anything is not as expected.
"""

from pathlib import Path

from certificates import certificate_by
from cryptography import x509
from cryptography.hazmat.primitives.serialization import Encoding
from key_match import DesktopKeys, WebAssemblyKeys, outcomes
from openssl_certificates import OpenSSL
from report import Report, tell, timed
from rsa_keys import certificates_by_hand

ROOTS = Path("/usr/share/ca-certificates/mozilla")


def roots():
    """Yields the certificates of the authorities that Debian trusts, in DER."""
    for path in sorted(ROOTS.glob("*.crt")):
        yield x509.load_pem_x509_certificate(path.read_bytes()).public_bytes(Encoding.DER)


def check(folder, short):
    step = 4 if short else 1
    by_openssl = timed("OpenSSL", OpenSSL(folder).certificates, step)
    certificates = [certificate_by(der) for der in [*by_openssl, *timed("Debian's ca-certificates", roots)]]
    certificates += [certificate_by(der, kind) for kind, der in timed("hand", certificates_by_hand, by_openssl[0])]

    devices = (DesktopKeys, WebAssemblyKeys)
    report = Report("certificates", "Which keys the component takes", [device.name for device in devices])
    for device in devices:
        found = timed(device.name, outcomes, device, certificates)
        for certificate, outcome in zip(certificates, found, strict=True):
            report.judge(certificate.kind, device.name, outcome)
    return report


if __name__ == "__main__":
    tell(__doc__, check)
