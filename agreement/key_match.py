"""What the component makes of the key in a certificate, on the desktop device and in the WebAssembly."""

import base64
import subprocess

from component import PATIENCE, ROOT, Rejected, Stopped, WebAssembly

KEYS_PROGRAM = ROOT / "build/release/agreement/certificate_keys"

# What can come of a certificate's key.
AGREES = "agrees"  # exported as cryptography exports it
AS_IT_STANDS = "as it stands"  # exported as it is in the certificate, unlike what cryptography exports, if it exports it
NO_KEY = "no key"  # not exported, so the certificate is nobody's
OTHER = "other bytes"
WRONG_MATCH = "a match that belies the export"
STOPPED = "stopped"


def candidates(certificate):
    """Returns what may come of the certificate's key, the likeliest first, with the bytes that show it."""
    found = [] if certificate.expected is None else [(AGREES, certificate.expected)]
    return found if certificate.standing == certificate.expected else [*found, (AS_IT_STANDS, certificate.standing)]


def other_key(key):
    """Returns bytes that differ in one bit from `key`."""
    return key[:-1] + bytes([key[-1] ^ 0x80]) if key else b"\0"


class DesktopKeys:
    name = "desktop"

    def outcomes(self, certificates):
        """Yields what comes of each certificate. A process that stops is started again for the next one."""
        rest = list(certificates)
        while rest:
            lines = self.lines(rest)
            for certificate, right, wrong in zip(rest, lines[::2], lines[1::2]):
                yield self.outcome(certificate, right, wrong)
            done = len(lines) // 2
            if done < len(rest):
                yield STOPPED
            rest = rest[done + 1 :]

    def lines(self, certificates):
        """Returns the program's answers, two for each certificate: about the key that it is for, and about another."""
        questions = []
        for certificate in certificates:
            encoded = base64.b64encode(certificate.der).decode()
            key = candidates(certificate)[0][1]
            questions += [f"{encoded} {some.hex() or '-'}\n" for some in (key, other_key(key))]
        text = "".join(questions)
        ended = subprocess.run([KEYS_PROGRAM], input=text, capture_output=True, text=True, timeout=PATIENCE)
        return [line.split() for line in ended.stdout.splitlines()]

    def outcome(self, certificate, right, wrong):
        answer, exported = right
        key = candidates(certificate)[0][1]
        if wrong[0] == "match" or (answer == "match") != (exported == key.hex()):
            return WRONG_MATCH
        if exported == "none":
            return NO_KEY
        return next((what for what, bytes_ in candidates(certificate) if bytes_.hex() == exported), OTHER)


class WebAssemblyKeys:
    """Finds out what is exported by trying which keys of a person match the certificate."""

    name = "WebAssembly"

    def outcomes(self, certificates):
        rest = list(certificates)
        while rest:
            with WebAssembly() as device:
                done = 0
                for certificate in rest:
                    done += 1
                    try:
                        yield self.outcome(device, certificate)
                    except Stopped:
                        yield STOPPED
                        break
            rest = rest[done:]

    def outcome(self, device, certificate):
        for what, key in candidates(certificate):
            if self.matches(device, certificate, key):
                return WRONG_MATCH if self.matches(device, certificate, other_key(key)) else what
        return NO_KEY

    def matches(self, device, certificate, key):
        person = {"nationalCode": "0012345678"}
        device.call("setKey", {**person, "publicKey": base64.b64encode(key).decode()})
        body = base64.encodebytes(certificate.der).decode()
        pem = f"-----BEGIN CERTIFICATE-----\n{body}-----END CERTIFICATE-----\n"
        try:
            return device.call("storeCertificate", {**person, "certPem": pem}) == {"stored": True}
        except Rejected:
            return False
