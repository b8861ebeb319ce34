"""The component on the desktop device, and on the browser device as WebAssembly: makes plugin calls of both."""

import base64
import json
import os
import re
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
KAVREL = ROOT / "build/release/kavrel"

# No call takes this long, even on a busy machine: RSA keys are generated in a fraction of a second.
PATIENCE = 120


class Rejected(RuntimeError):
    """A plugin call was rejected."""


class Stopped(RuntimeError):
    """The component stopped at a plugin call."""


def resolved(method, answer):
    outcome = json.loads(answer)
    if "resolve" not in outcome:
        raise Rejected(f"{method} was rejected: {outcome['reject']}")
    return outcome["resolve"]


def pkcs1(key_info):
    """Returns the public key in the answer of "getKeyInfo", as a PKCS #1 RSAPublicKey in DER."""
    return base64.b64decode(re.sub("-----[A-Z ]+-----", "", key_info["publicKeyPem"]))


class Desktop:
    """The desktop device in a folder. Each call is a process of its own, as many at once as there are cores."""

    name = "desktop device"

    def __init__(self, folder):
        self.folder = folder

    def call(self, method, options):
        command = [KAVREL, "--device", self.folder, "call", method, "-"]
        ended = subprocess.run(command, input=json.dumps(options).encode(), capture_output=True, timeout=PATIENCE)
        if not ended.stdout:
            raise Stopped(f"kavrel call {method} ended with {ended.returncode}: {ended.stderr.decode()}")
        return resolved(method, ended.stdout)

    def call_all(self, calls):
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            yield from pool.map(lambda call: self.call(*call), calls)


class Process:
    """A program that answers each line on its standard input with a line, and ends with it."""

    def __enter__(self):
        self.process = subprocess.Popen(self.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, cwd=ROOT, text=True)
        return self

    def __exit__(self, *_):
        self.process.communicate(timeout=PATIENCE)

    def answer(self, line):
        try:
            print(line, file=self.process.stdin, flush=True)
        except BrokenPipeError:
            pass  # it has stopped, so it does not answer
        answer = self.process.stdout.readline()
        if not answer:
            raise Stopped(f"{self.name} stopped at {line[:100]}")
        return answer.rstrip()


class WebAssembly(Process):
    """The simulator of the npm package in a process of Node.js."""

    name = "WebAssembly"
    command = ["node", ROOT / "agreement/webassembly.mjs"]

    def call(self, method, options):
        return resolved(method, self.answer(json.dumps([method, options])))

    def call_all(self, calls):
        yield from (self.call(*call) for call in calls)


def make_keys(device, people):
    """Makes a key for each national code in `people`. Returns their public keys as PKCS #1 in DER."""
    for _ in device.call_all([("ensureKey", {"nationalCode": person}) for person in people]):
        pass
    answers = device.call_all([("getKeyInfo", {"nationalCode": person}) for person in people])
    return dict(zip(people, map(pkcs1, answers), strict=True))


def make_requests(device, records):
    """Yields the request for each of `records`, in DER."""
    for answer in device.call_all([("createCSR", {"userInfo": record}) for record in records]):
        yield base64.b64decode(answer["csrPem"], validate=True)
