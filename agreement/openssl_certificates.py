"""Certificates by OpenSSL's command line."""

from functools import partial

from commands import output_of

RSA_KEYS = [f"rsa:{bits}" for bits in (512, 1024, 1025, 2047, 2049, 3072, 4096)]
EXPONENTS = [3, 5, 17, 257, 2**32 + 1, 2**64 + 13]
CURVES = ["P-256", "P-384", "P-521"]
OTHER_CURVES = ["P-224", "secp256k1", "brainpoolP256r1", "brainpoolP512t1", "prime192v1"]
OTHER_KEYS = ["ed25519", "ed448", "rsa-pss"]
FORMS = ["compressed", "hybrid"]
SERIALS = ["0", "1", "127", "128", "0x" + "40" * 20, "0x" + "7f" * 20, "0x" + "ff" * 20, "0x" + "a5" * 100, "-1", "-0x8000"]
EXTENSIONS = [
    "1.2.3.4.5=critical,ASN1:UTF8String:unknown and critical",
    "1.2.3.4.5=critical,DER:" + "00" * 40_000,
    "subjectAltName=DNS:example.org,IP:::1,email:a@example.org,URI:urn:x",
    "basicConstraints=critical,CA:true,pathlen:0",
    "nameConstraints=permitted;DNS:example.org",
    "certificatePolicies=2.5.29.32.0",
    "2.5.29.15=DER:ff",  # a key usage that is not a BIT STRING
]


class OpenSSL:
    def __init__(self, folder):
        self.folder = folder
        self.key = self.folder / "openssl.key"
        self.same_key = ["-key", self.folder / "openssl-same.key"]
        output_of("openssl", "genrsa", "-out", self.same_key[1], "2048")

    def certificates(self, step):
        plans = [partial(self.issue, *self.same_key, "-set_serial", serial) for serial in SERIALS]
        plans += [partial(self.issue, *self.same_key, "-addext", extension) for extension in EXTENSIONS]
        plans += [partial(self.issue, *self.same_key, "-subj", "/"), self.version_1]
        plans += [partial(self.on_curve, curve) for curve in CURVES + OTHER_CURVES]
        plans += [partial(self.on_curve, curve, "-conv_form", form) for curve in CURVES for form in FORMS]
        plans += [partial(self.on_curve, "P-256", "-param_enc", "explicit")]
        plans += [partial(self.with_new_key, key) for key in OTHER_KEYS + RSA_KEYS] + [self.for_dsa]
        options = [("-pkeyopt", f"rsa_keygen_pubexp:{exponent}") for exponent in EXPONENTS]
        plans += [partial(self.with_new_key, "rsa:2048", *option) for option in options]
        return [plan() for plan in plans[::step]]

    def issue(self, *options):
        """Returns a certificate that its own key signs."""
        return output_of("openssl", "req", "-x509", "-subj", "/CN=Throw-away", *options, "-outform", "DER")

    def with_new_key(self, key, *options):
        return self.issue("-newkey", key, "-keyout", self.key, "-noenc", *options)

    def on_curve(self, curve, *conversion):
        output_of("openssl", "genpkey", "-algorithm", "EC", "-pkeyopt", f"group:{curve}", "-out", self.key)
        output_of("openssl", "ec", "-in", self.key, *conversion, "-out", self.key)
        return self.issue("-key", self.key)

    def for_dsa(self):
        output_of("openssl", "dsaparam", "-out", self.folder / "openssl.dsa", "1024")
        return self.with_new_key(f"dsa:{self.folder / 'openssl.dsa'}")

    def version_1(self):
        request = self.folder / "openssl.csr"
        output_of("openssl", "req", "-new", *self.same_key, "-subj", "/CN=Throw-away", "-out", request)
        return output_of("openssl", "x509", "-req", "-in", request, "-signkey", self.same_key[1], "-outform", "DER")
