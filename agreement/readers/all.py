"""The implementations, in the order of the table."""

from readers.botan import Botan
from readers.gnutls import GnuTLS
from readers.nss import NSS
from readers.openssl import OpenSSL
from readers.programs import Go, Java, MbedTLS, Peculiar
from readers.python import PythonCryptography

# Those of which the packages are small.
LIGHT = [OpenSSL, GnuTLS, NSS, Botan, PythonCryptography, Peculiar]
ALL = [*LIGHT, MbedTLS, Go, Java]
