"""Certificates by Python's cryptography."""

import datetime
from functools import partial

from cryptography import x509
from cryptography.hazmat.primitives.asymmetric import dsa, ec, ed448, ed25519, rsa
from cryptography.hazmat.primitives.hashes import SHA256
from cryptography.hazmat.primitives.serialization import Encoding
from cryptography.x509.oid import NameOID

# Public keys need not be anybody's: the lengths of their numbers are all that counts here.
SIZES = [*range(1016, 1034), 2047, 2048, 2049, 4095, 4096, 8192, 16_384]
EXPONENTS = [3, 127, 129, 255, 257, 2**15 + 1, 2**16 + 1, 2**31 + 1, 2**63 + 1, 2**127 + 1, 2**2040 + 1]
CURVES = [ec.SECP256R1(), ec.SECP384R1(), ec.SECP521R1()]
OTHER_CURVES = [ec.SECP224R1(), ec.SECP256K1(), ec.BrainpoolP384R1()]
SERIALS = [1, 2**7 - 1, 2**7, 2**63, 2**158]
EXTENSIONS = [
    x509.UnrecognizedExtension(x509.ObjectIdentifier("1.2.3.4.5"), b""),
    x509.UnrecognizedExtension(x509.ObjectIdentifier("1.2.3.4.5"), bytes(40_000)),
    x509.SubjectAlternativeName([x509.DNSName(f"{number}.example.org") for number in range(2000)]),
    x509.InhibitAnyPolicy(0),
    x509.OCSPNoCheck(),
]


def odd_number(bits):
    """Returns a number of that many bits, of which the first and the last are set and the others alternate."""
    return int("10" * bits, 2) >> bits | 1


class PythonCryptography:
    name = "cryptography"

    def __init__(self, folder):
        self.authority = ec.generate_private_key(ec.SECP256R1())
        self.usual_key = rsa.RSAPublicNumbers(65537, odd_number(2048)).public_key()

    def certificates(self, step):
        keys = [partial(rsa.RSAPublicNumbers(65537, odd_number(bits)).public_key) for bits in SIZES]
        keys += [partial(rsa.RSAPublicNumbers(exponent, odd_number(2048)).public_key) for exponent in EXPONENTS]
        keys += [partial(self.on_curve, curve) for curve in CURVES + OTHER_CURVES]
        keys += [partial(self.of_type, type_) for type_ in (ed25519.Ed25519PrivateKey, ed448.Ed448PrivateKey)]
        plans = [partial(self.for_new_key, key) for key in [*keys, self.for_dsa]]
        plans += [partial(self.issue, self.usual_key, serial=serial) for serial in SERIALS]
        plans += [partial(self.issue, self.usual_key, extension=extension) for extension in EXTENSIONS]
        return [plan() for plan in plans[::step]]

    def on_curve(self, curve):
        return ec.generate_private_key(curve).public_key()

    def of_type(self, type_):
        return type_.generate().public_key()

    def for_dsa(self):
        return dsa.generate_private_key(1024).public_key()

    def for_new_key(self, make):
        return self.issue(make())

    def issue(self, public_key, serial=1, extension=None):
        name = x509.Name([x509.NameAttribute(NameOID.COMMON_NAME, "Throw-away")])
        builder = x509.CertificateBuilder(
            issuer_name=name,
            subject_name=name,
            public_key=public_key,
            serial_number=serial,
            not_valid_before=datetime.datetime(1950, 1, 1),
            not_valid_after=datetime.datetime(2050, 1, 1),
        )
        if extension is not None:
            builder = builder.add_extension(extension, critical=True)
        return builder.sign(self.authority, SHA256()).public_bytes(Encoding.DER)
