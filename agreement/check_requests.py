#!/usr/bin/python3
"""Has implementations of certification requests other than this one read the requests that the component makes.

Makes requests for awkward records on the desktop device and in the WebAssembly, has each implementation read them and check
their signatures, and prints a table of who accepts what. Fails if that, or anything that was read, is not as expected.
"""

import re
from dataclasses import dataclass, replace

from asn1crypto.keys import RSAPublicKey
from component import Desktop, WebAssembly, make_keys, make_requests
from readers.command_lines import GnuTLS, OpenSSL
from readers.libraries import Go, Peculiar, PythonCryptography
from records import CLASSES, PLAIN, SUBJECT
from report import ACCEPTED, REFUSED, Report, tell, timed

READERS = [OpenSSL, GnuTLS, PythonCryptography, Peculiar, Go]
PURPOSES = ["1.3.6.1.4.1.311.10.3.12", "1.3.6.1.5.5.7.3.2"]  # document signing, client authentication


@dataclass
class Request:
    """A request of a class, and what it is to hold."""

    kind: str
    record: dict
    der: bytes
    public_key: tuple[int, int]

    def subject(self):
        """Returns the subject that the record leads to. A PrintableString without a length is an empty one."""
        return [
            (type_, b"" if printable and not self.record[member].isascii() else self.record[member].encode())
            for type_, member, printable in SUBJECT
        ]


def chosen_records(short):
    """Returns pairs of class and record: all of them, or three of each class."""
    for kind, records in CLASSES.items():
        step = max(1, len(records) // 3) if short else 1
        yield from ((kind, record) for record in records[::step])


def numbers(pkcs1):
    """Returns the modulus and the public exponent of an RSAPublicKey."""
    return tuple(RSAPublicKey.load(pkcs1).native.values())


def made_on(device, chosen):
    """Returns the requests for the records `chosen`, which `device` makes, and the public keys."""
    keys = make_keys(device, sorted({record["nationalCode"] for _, record in chosen}))
    made = timed(device.name, make_requests, device, [record for _, record in chosen])
    return [
        Request(kind, record, der, numbers(keys[record["nationalCode"]]))
        for (kind, record), der in zip(chosen, made, strict=True)
    ]


def without_key_and_signature(request):
    modulus = request.public_key[0].to_bytes(256, "big")
    return request.der.replace(modulus, b"")[:-256]


# Regular expressions for the bytes that are malformed on purpose: all requests of these kinds have to hold them.
MALFORMED = {
    "other than ASCII in a PrintableString": "06 03 55 04 (05|11) 13 00 [0-7].",
    "request of 32,768 bytes and more": "^30 30 82 .. .. 02 01 00 30 82",
    "information of 32,768 bytes and more": "^30 30 02 01 00 30 82",
    "subject of 32,768 bytes and more": "^30 30 02 01 00 30 31",
    "attribute of 32,768 bytes and more": "31 30 (82 7f f. )?06 03 55 04 .. (0c|13) (82 7f|78 78|31 31)",
}

# Where one bit of a request is changed afterwards, to see that the implementations check signatures.
CHANGES = {
    "signature changed": lambda der: len(der) - 100,
    "subject changed": lambda der: der.index(PLAIN["city"].encode()),
    "key changed": lambda der: der.index(bytes.fromhex("0282010100")) + 100,
}


def changed(requests):
    """Yields changed copies of the requests for the plain record."""
    for request in requests:
        if request.record == PLAIN:
            for kind, place in CHANGES.items():
                der = bytearray(request.der)
                der[place(der)] ^= 0x01
                yield replace(request, kind=kind, der=bytes(der))


def compare(report, request, name, reading):
    """Complains unless the implementation has read what went into the request."""
    wanted = {"subject": request.subject(), "public key": request.public_key, "purposes": PURPOSES}
    read = {"subject": reading.subject, "public key": reading.public_key, "purposes": reading.purposes}
    for what, value in wanted.items():
        if read[what] != value:
            report.complain(f'{name} reads the {what} of "{request.kind}" as {read[what]} instead of {value}')


def check(folder, short):
    chosen = list(chosen_records(short))
    report = Report("requests", "Who accepts which requests", [reader.name for reader in READERS])
    requests = made_on(Desktop(folder / "device"), chosen)
    with WebAssembly() as webassembly:
        from_webassembly = made_on(webassembly, chosen)
    for one, other in zip(requests, from_webassembly, strict=True):
        if without_key_and_signature(one) != without_key_and_signature(other):
            report.complain(f'the two devices make different requests of "{one.kind}"')
    requests += from_webassembly
    requests += list(changed(requests))
    for request in requests:
        if not re.search(MALFORMED.get(request.kind, ""), request.der.hex(" ")):
            report.complain(f'not all of "{request.kind}" hold the bytes that are malformed on purpose')

    files = [folder / f"{number:04}.der" for number, _ in enumerate(requests)]
    for file, request in zip(files, requests, strict=True):
        file.write_bytes(request.der)
    for reader in READERS:
        readings = timed(reader.name, reader(folder).read_all, files)
        for request, reading in zip(requests, readings, strict=True):
            if reading.refusal is not None:
                report.judge(request.kind, reader.name, REFUSED, reading.refusal)
                continue
            report.judge(request.kind, reader.name, ACCEPTED)
            compare(report, request, reader.name, reading)
    return report


if __name__ == "__main__":
    tell(__doc__, check)
