"""The certificates of the authorities that Debian trusts."""

from pathlib import Path

from cryptography import x509
from cryptography.hazmat.primitives.serialization import Encoding

FOLDER = Path("/usr/share/ca-certificates/mozilla")


def roots():
    """Returns the roots of Debian's package ca-certificates, in DER."""
    found = [x509.load_pem_x509_certificate(path.read_bytes()) for path in sorted(FOLDER.glob("*.crt"))]
    if not found:
        raise RuntimeError(f"there are no roots in {FOLDER}: install Debian's package ca-certificates")
    return [certificate.public_bytes(Encoding.DER) for certificate in found]
