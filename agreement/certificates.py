"""A certificate and the key in it, as Python's cryptography exports it."""

from dataclasses import dataclass

from asn1crypto import core, x509
from cryptography.exceptions import UnsupportedAlgorithm
from cryptography.hazmat.primitives.asymmetric import ec, rsa
from cryptography.hazmat.primitives.serialization import Encoding, PublicFormat, load_der_public_key

EC_KEY = "1.2.840.10045.2.1"
CURVES = {"1.2.840.10045.3.1.7", "1.3.132.0.34", "1.3.132.0.35"}  # P-256, P-384 and P-521
ALGORITHMS = {
    "1.2.840.113549.1.1.1": "RSA",
    "1.2.840.113549.1.1.10": "RSA for RSASSA-PSS only",
    "1.2.840.10040.4.1": "DSA",
    "1.3.101.112": "Ed25519 or Ed448",
    "1.3.101.113": "Ed25519 or Ed448",
}
UNCOMPRESSED = 0x04


@dataclass
class Certificate:
    kind: str
    der: bytes
    # The content of the key's BIT STRING, whatever that is.
    standing: bytes
    # What cryptography exports: a PKCS #1 RSAPublicKey, or an uncompressed point. None if it cannot.
    expected: bytes | None


def certificate_by(der, kind=None):
    """Returns the certificate `der`, which is of the kind of its key unless another is given."""
    info = x509.Certificate.load(der)["tbs_certificate"]["subject_public_key_info"]
    standing = core.Sequence.load(info.dump())[1].contents[1:]  # asn1crypto would parse it as a key
    return Certificate(kind or kind_of(info["algorithm"], standing), der, standing, exported(info.dump()))


def kind_of(algorithm, key):
    identifier = algorithm["algorithm"].dotted
    if identifier != EC_KEY:
        return ALGORITHMS.get(identifier, f"key of the type {identifier}")
    curve = algorithm["parameters"]
    if curve.name != "named":
        return "EC, curve written out"
    if curve.chosen.dotted not in CURVES:
        return "EC on another curve"
    return "EC on P-256, P-384 or P-521" if key[0] == UNCOMPRESSED else "EC, point compressed or hybrid"


def exported(key_info):
    """Returns the key in a SubjectPublicKeyInfo. (Certificates of version 2 and from the year 1 are refused as a whole.)"""
    try:
        key = load_der_public_key(key_info)
    except (ValueError, UnsupportedAlgorithm):
        return None
    if isinstance(key, rsa.RSAPublicKey):
        return key.public_bytes(Encoding.DER, PublicFormat.PKCS1)
    if isinstance(key, ec.EllipticCurvePublicKey):
        return key.public_bytes(Encoding.X962, PublicFormat.UncompressedPoint)
    return None
