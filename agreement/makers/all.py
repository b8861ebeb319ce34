"""The implementations that make certificates, in the order in which they are listed.

Each is made with a folder for its files. `certificates(step)` returns every step-th certificate that it can make, in DER.
"""

from makers.botan import Botan
from makers.gnutls import GnuTLS
from makers.java import Java
from makers.nss import NSS
from makers.openssl import OpenSSL
from makers.programs import Go, Peculiar
from makers.python import PythonCryptography

# Those of which the packages are small.
LIGHT = [OpenSSL, GnuTLS, NSS, Botan, PythonCryptography, Peculiar]
ALL = [*LIGHT, Go, Java]
