"""Certificates for RSA keys of all lengths and for odd ones, each SubjectPublicKeyInfo (RFC 5280) written by hand."""

from asn1crypto import parser, x509
from asn1crypto.keys import RSAPublicKey
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.hazmat.primitives.hashes import SHA256

INTEGER, BIT_STRING, SEQUENCE = 0x02, 0x03, 0x30
RSA_ENCRYPTION = bytes.fromhex("06092a864886f70d010101")
NULL = b"\x05\x00"
USUAL = b"\x01\x00\x01"  # the exponent 65,537

# 2,048 bits, of which the first and the last are set.
MODULUS = bytes(range(129, 256)) * 2 + b"\xc5\xc7"
POSITIVE = b"\0" + MODULUS


def enclosed(tag, content):
    """Returns the element of `tag` around `content`."""
    return parser.emit(tag >> 6, tag >> 5 & 1, tag & 0x1F, content)


def rsa_key(modulus, exponent, after=b""):
    """Returns an RSAPublicKey (RFC 8017) of two INTEGERs, given by their contents, and the elements `after` them."""
    return enclosed(SEQUENCE, enclosed(INTEGER, modulus) + enclosed(INTEGER, exponent) + after)


def key_info(key, parameters=NULL, unused_bits=0):
    algorithm = enclosed(SEQUENCE, RSA_ENCRYPTION + parameters)
    return enclosed(SEQUENCE, algorithm + enclosed(BIT_STRING, bytes([unused_bits]) + key))


NO_KEY = "RSA, numbers of no real key"
NOT_DER = "RSA, numbers not in DER"
NOT_A_KEY = "RSA, not an RSAPublicKey"
USUAL_KEY = rsa_key(POSITIVE, USUAL)

# The lengths of the numbers are all that counts here: these keys are nobody's.
SIZES = [*range(1016, 1034), 2047, 2048, 2049, 4095, 4096, 8192, 16_384]
EXPONENTS = [3, 127, 129, 255, 257, 2**15 + 1, 2**16 + 1, 2**31 + 1, 2**63 + 1, 2**127 + 1, 2**2040 + 1]


def key_of_numbers(bits, exponent):
    """Returns the key of an odd modulus of that many bits, of which the first is set and the others alternate."""
    modulus = int("10" * bits, 2) >> bits | 1
    return key_info(RSAPublicKey({"modulus": modulus, "public_exponent": exponent}).dump())


# Each SubjectPublicKeyInfo with its kind.
KEYS = [
    *(("RSA", key_of_numbers(bits, 65_537)) for bits in SIZES),
    *(("RSA", key_of_numbers(2048, exponent)) for exponent in EXPONENTS),
    (NO_KEY, key_info(rsa_key(POSITIVE, b"\x00"))),
    (NO_KEY, key_info(rsa_key(POSITIVE, b"\x01"))),
    (NO_KEY, key_info(rsa_key(POSITIVE, b"\x01\x00\x00"))),
    (NO_KEY, key_info(rsa_key(POSITIVE, b"\x7f" + MODULUS[1:]))),
    (NO_KEY, key_info(rsa_key(POSITIVE, b"\x7f" + MODULUS * 2))),
    (NO_KEY, key_info(rsa_key(POSITIVE[:-1] + b"\xc6", USUAL))),
    (NO_KEY, key_info(rsa_key(b"\x00", USUAL))),
    (NO_KEY, key_info(rsa_key(b"\x03", USUAL))),
    (NO_KEY, key_info(rsa_key(b"\0" + MODULUS * 16, USUAL))),
    (NOT_DER, key_info(rsa_key(MODULUS, USUAL))),
    (NOT_DER, key_info(rsa_key(POSITIVE, b"\xfd"))),
    (NOT_DER, key_info(rsa_key(b"\0" + POSITIVE, USUAL))),
    (NOT_DER, key_info(rsa_key(POSITIVE, b"\0" + USUAL))),
    (NOT_DER, key_info(rsa_key(POSITIVE, b""))),
    (NOT_DER, key_info(rsa_key(b"", USUAL))),
    (NOT_DER, key_info(USUAL_KEY + NULL)),
    (NOT_A_KEY, key_info(rsa_key(POSITIVE, USUAL, enclosed(INTEGER, USUAL)))),
    (NOT_A_KEY, key_info(b"")),
    (NOT_A_KEY, key_info(enclosed(INTEGER, POSITIVE))),
    (NOT_A_KEY, key_info(b"\x30" + enclosed(INTEGER, POSITIVE) + enclosed(INTEGER, USUAL))),
    ("RSA, odd parameters", key_info(USUAL_KEY, parameters=b"")),
    ("RSA, odd parameters", key_info(USUAL_KEY, parameters=b"\x04\x01\x00")),
    ("RSA, odd parameters", key_info(USUAL_KEY, parameters=enclosed(SEQUENCE, NULL))),
    ("RSA, bits of the key unused", key_info(USUAL_KEY, unused_bits=3)),
]


def certificates_by_hand(pattern):
    """Yields a kind and a certificate for each key, signed by a throw-away authority, with all but the key of `pattern`."""
    authority = ec.generate_private_key(ec.SECP256R1())
    certificate = x509.Certificate.load(pattern)
    fields = certificate["tbs_certificate"]
    for kind, key in KEYS:
        parts = [key if name == "subject_public_key_info" else fields[name].dump() for name in fields]
        information = enclosed(SEQUENCE, b"".join(parts))
        bits = enclosed(BIT_STRING, b"\0" + authority.sign(information, ec.ECDSA(SHA256())))
        yield kind, enclosed(SEQUENCE, information + certificate["signature_algorithm"].dump() + bits)
