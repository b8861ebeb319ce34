"""What the component makes of the key in a certificate, on the desktop device and in the WebAssembly."""

import base64

from component import ROOT, Process, Rejected, Stopped, WebAssembly
from report import ACCEPTED

# What can come of a certificate's key, besides ACCEPTED: the component takes it as cryptography exports it.
AS_IT_STANDS = "as it stands"  # taken as it is in the certificate, unlike what cryptography exports, if it exports it
NO_KEY = "no key"  # the certificate is nobody's
ANY_KEY = "any key"  # taken for other bytes too
STOPPED = "stopped"


class DesktopKeys(Process):
    name = "desktop"
    command = [ROOT / "build/release/agreement/certificate_keys"]

    def matches(self, certificate, key):
        return self.answer(f"{base64.b64encode(certificate).decode()} {key.hex() or '-'}") == "match"


class WebAssemblyKeys(WebAssembly):
    name = "WebAssembly"

    def matches(self, certificate, key):
        person = {"nationalCode": "0012345678"}
        self.call("setKey", {**person, "publicKey": base64.b64encode(key).decode()})
        pem = f"-----BEGIN CERTIFICATE-----\n{base64.encodebytes(certificate).decode()}-----END CERTIFICATE-----\n"
        try:
            return self.call("storeCertificate", {**person, "certPem": pem}) == {"stored": True}
        except Rejected:
            return False


def outcome(device, certificate):
    """Finds out which key is in the certificate by trying those that may be. Mostly they are one."""
    candidates = {certificate.standing: AS_IT_STANDS, certificate.expected: ACCEPTED}
    for key, what in candidates.items():
        if key is not None and device.matches(certificate.der, key):
            other = key[:-1] + bytes([key[-1] ^ 0x80]) if key else b"\0"
            return ANY_KEY if device.matches(certificate.der, other) else what
    return NO_KEY


def outcomes(device_class, certificates):
    """Yields what comes of each certificate. A device that stops is started again for the next one."""
    rest = list(certificates)
    while rest:
        with device_class() as device:
            try:
                while rest:
                    found = outcome(device, rest[0])
                    rest.pop(0)
                    yield found
            except Stopped:
                rest.pop(0)
                yield STOPPED
