"""Python's cryptography, which reads requests with a parser of its own."""

from pathlib import Path

from cryptography import x509
from readers.reading import OneByOne, Reading


class PythonCryptography(OneByOne):
    name = "cryptography"

    def read(self, file):
        request = x509.load_der_x509_csr(Path(file).read_bytes())
        if not request.is_signature_valid:
            return Reading(refusal="the signature is not valid")
        numbers = request.public_key().public_numbers()
        usage = request.extensions.get_extension_for_class(x509.ExtendedKeyUsage)
        return Reading(
            subject=[(attribute.oid.dotted_string, attribute.value.encode()) for attribute in request.subject],
            public_key=(numbers.n, numbers.e),
            purposes=[purpose.dotted_string for purpose in usage.value],
        )
