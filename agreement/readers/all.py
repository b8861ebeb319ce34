"""The implementations that read requests, in the order of the table.

Each is made with a folder for its files. `read_all(files)` returns a Reading of each file, which holds a request in DER.
"""

from readers.gnutls import GnuTLS
from readers.openssl import OpenSSL
from readers.programs import Go, Peculiar
from readers.python import PythonCryptography

ALL = [OpenSSL, GnuTLS, PythonCryptography, Peculiar, Go]
