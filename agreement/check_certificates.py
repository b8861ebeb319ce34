#!/usr/bin/python3
"""Puts certificates by implementations other than this one through the key match of the component.

Makes certificates with keys of all kinds, adds the roots of Debian's ca-certificates, which many have made, and some keys that
no library makes, and compares the key bytes that the component exports, on the desktop device and in the WebAssembly,
with those that Python's cryptography exports. Fails if anything is not as expected.
"""

import argparse
import sys
import time
import tomllib
from collections import Counter
from tempfile import TemporaryDirectory

from certificates import certificate_by
from component import ROOT
from console import progress, tell
from key_match import AGREES, NO_KEY, STOPPED, DesktopKeys, WebAssemblyKeys
from makers.openssl import OpenSSL
from makers.python import PythonCryptography
from odd_keys import ByHand
from roots import roots

DEVICES = [DesktopKeys(), WebAssemblyKeys()]


def made_by(maker, folder, step):
    """Returns every step-th certificate that `maker` can make."""
    began = time.monotonic()
    certificates = [certificate_by(maker.name, der) for der in maker(folder).certificates(step)]
    progress(f"{maker.name}: {len(certificates)} certificates made, {time.monotonic() - began:.1f} s")
    return certificates


def all_certificates(folder, short):
    makers, step = (OpenSSL, PythonCryptography), 4 if short else 1
    certificates = [certificate for maker in makers for certificate in made_by(maker, folder, step)]
    by_hand = ByHand(certificates[0].der)
    certificates += [certificate_by(by_hand.name, der, kind) for kind, der in by_hand.certificates()]
    return certificates + [certificate_by("Debian's ca-certificates", der) for der in roots()]


def outcomes_on(device, certificates):
    began = time.monotonic()
    outcomes = list(device.outcomes(certificates))
    progress(f"{device.name}: {len(outcomes)} certificates compared, {time.monotonic() - began:.1f} s")
    return outcomes


class Table:
    """Rows of kinds of key, with what came of them on each device."""

    def __init__(self, expected):
        self.expected = expected
        self.complaints = Counter()
        self.outcomes = {}
        self.totals = Counter()

    def add(self, certificate, device, outcome):
        self.outcomes.setdefault(certificate.kind, {}).setdefault(device, Counter())[outcome] += 1
        self.totals[device, outcome] += 1
        wanted = self.expected.get(certificate.kind, {}).get(device, AGREES)
        if outcome != wanted:
            self.complaints[f'{device}: "{outcome}" for {certificate.kind} by {certificate.maker}, expected "{wanted}"'] += 1

    def print(self):
        width = max(map(len, self.outcomes))
        print(f"\n{'What is exported of keys':{width}}  {'on the desktop':20}  {'in the WebAssembly':20}")
        for kind in [*self.expected, *(self.outcomes.keys() - self.expected)]:
            if kind in self.outcomes:
                cells = [self.cell(self.outcomes[kind][device.name]) for device in DEVICES]
                print(
                    f"{kind:{width}}  {cells[0]:20}  {cells[1]:20}  {self.expected.get(kind, {}).get('because', '')}".rstrip()
                )

    def cell(self, counts):
        return ", ".join(f"{count} {outcome}" for outcome, count in counts.items())

    def failed(self):
        for sentence, count in self.complaints.items():
            print(f"script/agreement: {sentence} ({count} times)", file=sys.stderr)
        return bool(self.complaints)


def print_figures(certificates, table):
    makers = Counter(certificate.maker for certificate in certificates)
    print(f"\n{len(certificates)} certificates: {', '.join(f'{count} by {maker}' for maker, count in makers.items())}")
    for device in DEVICES:
        agreeing, without, stopped = (table.totals[device.name, outcome] for outcome in (AGREES, NO_KEY, STOPPED))
        print(f"{device.name}: {agreeing} keys exported as by cryptography, {without} not exported, ", end="")
        print(f"{len(certificates) - agreeing - without} other; {stopped} stopped the process")
    print(f"{sum(table.complaints.values())} not as expected")


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--short", action="store_true", help="fewer certificates")
    short = arguments.parse_args().short
    table = Table(tomllib.loads((ROOT / "agreement/expected_certificates.toml").read_text()))

    with TemporaryDirectory(prefix="kavrel-agreement-") as folder:
        certificates = all_certificates(folder, short)
    for device in DEVICES:
        for certificate, outcome in zip(certificates, outcomes_on(device, certificates), strict=True):
            table.add(certificate, device.name, outcome)

    table.print()
    print_figures(certificates, table)
    return table.failed()


if __name__ == "__main__":
    tell(main)
