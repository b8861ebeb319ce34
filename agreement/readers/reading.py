"""What an implementation makes of a request, and what every reader of requests has in common."""

import json
import os
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass

from commands import output_of


@dataclass
class Reading:
    """The reason for which a request is refused; or what was read, as far as the implementation shows it."""

    refusal: str | None = None
    # The attributes of the subject: types, and values in UTF-8.
    subject: list[tuple[str, bytes]] | None = None
    # The modulus and the public exponent.
    public_key: tuple[int, int] | None = None
    # The key purposes that are asked for. All requests ask for them as a critical extension.
    purposes: list[str] | None = None


class OneByOne:
    """Reads each file by `read`, as many at once as there are cores. If `read` raises an error, the file is refused."""

    def __init__(self, folder):
        pass

    def read_all(self, files):
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            return list(pool.map(self.read_or_refuse, files))

    def read_or_refuse(self, file):
        try:
            return self.read(file)
        except Exception as failure:
            return Reading(refusal=repr(failure))


def read_by_program(*command):
    """Returns the readings of a program that writes one line of JSON for each file in its arguments."""
    return [reading_of(json.loads(line)) for line in output_of(*command).splitlines()]


def reading_of(line):
    if "refusal" in line:
        return Reading(refusal=line["refusal"])
    return Reading(
        subject=[(kind, bytes.fromhex(value)) for kind, value in line["subject"]],
        public_key=(int(line["modulus"], 16), int(line["exponent"], 16)),
        purposes=line.get("purposes"),
    )
