#!/usr/bin/python3
"""Has implementations of certification requests other than this one read the requests that the component makes.

Makes requests for awkward records on the desktop device and in the WebAssembly, has each implementation read them and check
their signatures, and prints a table of who accepts what. Fails if that, or anything that was read, is not as expected.
"""

import argparse
import time
import tomllib
from dataclasses import dataclass, replace
from pathlib import Path
from tempfile import TemporaryDirectory

from asn1crypto.keys import RSAPublicKey
from component import ROOT, Desktop, WebAssembly, make_keys, make_requests
from console import progress, tell
from readers.all import ALL
from records import CLASSES, PLAIN, SUBJECT
from report import Report


@dataclass
class Request:
    """A request of a class, and what it is to hold."""

    kind: str
    made: str  # how
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
    for kind, make in CLASSES.items():
        records = make()
        step = max(1, len(records) // 3) if short else 1
        yield from ((kind, record) for record in records[::step])


def numbers(pkcs1):
    """Returns the modulus and the public exponent of an RSAPublicKey."""
    return tuple(RSAPublicKey.load(pkcs1).native.values())


def made_on(device, chosen):
    """Returns the requests for the records `chosen`, which `device` makes, and the public keys."""
    began = time.monotonic()
    people = sorted({record["nationalCode"] for _, record in chosen})
    keys = make_keys(device, people)
    progress(f"{device.name}: {len(keys)} keys made, {time.monotonic() - began:.0f} s")
    made = make_requests(device, [record for _, record in chosen])
    requests = [
        Request(kind, f"by the {device.name}", record, der, numbers(keys[record["nationalCode"]]))
        for (kind, record), der in zip(chosen, made, strict=True)
    ]
    progress(f"{device.name}: {len(requests)} requests made, {time.monotonic() - began:.0f} s")
    return requests


def without_key_and_signature(request):
    modulus = request.public_key[0].to_bytes(256, "big")
    return request.der.replace(modulus, b"")[:-256]


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
                yield replace(request, kind=kind, made="changed afterwards", der=bytes(der))


def written(requests, folder):
    """Writes each request to a file, and returns the paths."""
    paths = []
    for number, request in enumerate(requests):
        paths.append(Path(folder) / f"{number:04}.der")
        paths[-1].write_bytes(request.der)
    return paths


def read_by(implementations, paths, folder):
    """Returns the readings of each implementation, by name."""
    readings = {}
    for implementation in implementations:
        began = time.monotonic()
        readings[implementation.name] = implementation(folder).read_all(paths)
        progress(f"{implementation.name}: {len(paths)} requests read, {time.monotonic() - began:.1f} s")
    return readings


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--short", action="store_true", help="fewer records")
    short = arguments.parse_args().short
    chosen = list(chosen_records(short))
    expected = tomllib.loads((ROOT / "agreement/expected_requests.toml").read_text())

    with TemporaryDirectory(prefix="kavrel-agreement-") as folder:
        requests = made_on(Desktop(Path(folder) / "device"), chosen)
        with WebAssembly() as webassembly:
            from_webassembly = made_on(webassembly, chosen)
        report = Report(expected)
        for one, other in zip(requests, from_webassembly, strict=True):
            if without_key_and_signature(one) != without_key_and_signature(other):
                report.complain(f'the two devices make different requests of "{one.kind}"')
        requests += from_webassembly
        requests += list(changed(requests))
        requests.sort(key=lambda request: [*CLASSES, *CHANGES].index(request.kind))
        readings = read_by(ALL, written(requests, folder), folder)

    report.judge(requests, readings)
    report.print()
    return report.failed()


if __name__ == "__main__":
    tell(main)
