"""Compares what implementations made of requests with what is expected, and prints it as a table for people."""

import re
import sys
from collections import Counter
from itertools import groupby

PURPOSES = ["1.3.6.1.4.1.311.10.3.12", "1.3.6.1.5.5.7.3.2"]  # document signing, client authentication
ACCEPTED = {"accepts": True}


class Report:
    def __init__(self, expected):
        self.expected = expected
        self.names = []
        self.makers = Counter()
        self.rows = []
        self.malformed = {}
        self.complaints = []
        self.counts = Counter()

    def complain(self, sentence):
        self.complaints.append(sentence)

    def expectation(self, kind, name):
        expected = self.expected.get(kind, {})
        return expected.get(name) or expected.get("others") or ACCEPTED

    def judge(self, requests, readings):
        """Takes in the `readings` of `requests`, by the implementations' names. Requests of one class stand together."""
        self.names = list(readings)
        self.makers = Counter(request.made for request in requests)
        pairs = zip(requests, zip(*readings.values(), strict=True), strict=True)
        for kind, group in groupby(pairs, key=lambda pair: pair[0].kind):
            self.judge_class(kind, list(group))

    def judge_class(self, kind, group):
        row = [
            sum(self.judge_reading(request, name, readings[index]) for request, readings in group)
            for index, name in enumerate(self.names)
        ]
        self.rows.append((kind, len(group), row))
        if "malformed" in self.expected.get(kind, {}):
            self.find_malformed_bytes(kind, [request.der.hex(" ") for request, _ in group])

    def judge_reading(self, request, name, reading):
        """Returns whether the implementation accepts the request, having complained if that is not as expected."""
        expected = self.expectation(request.kind, name)
        if reading.refusal is None:
            if "accepts" not in expected:
                self.complain(f'{name} accepts "{request.kind}", which it is expected to refuse: {expected["because"]}')
            self.compare(request, name, reading)
            return True
        if "accepts" in expected:
            self.complain(f'{name} refuses "{request.kind}", which it is expected to accept: {reading.refusal}')
        elif expected.get("says", "") not in reading.refusal:
            self.complain(f'{name} refuses "{request.kind}" for another reason than expected: {reading.refusal}')
        return False

    def compare(self, request, name, reading):
        wanted = {"subject": request.subject(), "public key": request.public_key, "purposes": PURPOSES}
        read = {"subject": reading.subject, "public key": reading.public_key, "purposes": reading.purposes}
        for what, value in wanted.items():
            if read[what] is None:
                continue
            self.counts[what] += 1
            if read[what] != value:
                self.complain(f'{name} reads the {what} of "{request.kind}" as {read[what]} instead of {value}')

    def find_malformed_bytes(self, kind, encodings):
        found = [re.search(self.expected[kind]["bytes"], encoding) for encoding in encodings]
        if all(found):
            self.malformed[kind] = found[0][0]
        else:
            self.complain(f'not all of "{kind}" hold the bytes that are malformed on purpose')

    def print(self):
        self.print_table()
        self.print_reasons()
        self.print_malformed()
        self.print_figures()

    def print_table(self):
        width = max(len(kind) for kind, _, _ in self.rows) + 2
        print(f"\n{'Who accepts how many requests':{width}}   made  {'  '.join(self.names)}")
        for kind, made, row in self.rows:
            cells = "  ".join(f"{count:>{len(name)}}" for name, count in zip(self.names, row, strict=True))
            mark = " *" if kind in self.malformed else ""
            print(f"{kind + mark:{width}} {made:6}  {cells}")
        print("* malformed on purpose; see below")

    def print_reasons(self):
        print("\nWhy they are refused, or accepted though they are malformed:")
        for kind, expected in self.expected.items():
            for name, detail in expected.items():
                if name in self.names:
                    print(f'  "{kind}" by {name}: {detail["because"]}')
                elif name == "others":
                    others = "the others" if expected.keys() & self.names else "all"
                    print(f'  "{kind}" by {others}: {detail["because"]}')

    def print_malformed(self):
        print("\nWhat is malformed on purpose:")
        for kind, shown in self.malformed.items():
            print(f'  "{kind}": {self.expected[kind]["malformed"]}')
            print(f"      {shown}")

    def print_figures(self):
        made = sum(self.makers.values())
        accepted = sum(sum(row) for _, _, row in self.rows)
        refused = made * len(self.names) - accepted
        makers = ", ".join(f"{count} {how}" for how, count in self.makers.items())
        print(f"\n{made} requests in {len(self.rows)} classes: {makers}")
        print(f"{len(self.names)} implementations: {', '.join(self.names)}")
        print(f"{accepted} readings accepted, {refused} refused, {len(self.complaints)} not as expected")
        print(f"{sum(self.counts.values())} comparisons of what was read with what went in:", end=" ")
        print(", ".join(f"{count} of the {what}" for what, count in self.counts.items()))

    def failed(self):
        """Tells each complaint once, in the order in which they came. Returns whether there were any."""
        for sentence, count in Counter(complaint[:300] for complaint in self.complaints).items():
            times = f" ({count} times)" if count > 1 else ""
            print(f"script/agreement: {sentence}{times}", file=sys.stderr)
        return bool(self.complaints)
