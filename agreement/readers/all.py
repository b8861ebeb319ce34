"""The implementations that read requests, in the order of the table.

Each is made with a folder for its files. `read_all(files)` returns a Reading of each file, which holds a request in DER.
"""

from readers.botan import Botan
from readers.gnutls import GnuTLS
from readers.nss import NSS
from readers.openssl import OpenSSL
from readers.programs import Go, Java, MbedTLS, Peculiar
from readers.python import PythonCryptography

# Those of which the packages are small.
LIGHT = [OpenSSL, GnuTLS, NSS, Botan, PythonCryptography, Peculiar]
ALL = [*LIGHT, MbedTLS, Go, Java]
