#!/usr/bin/python3
"""Has implementations other than this one check the documents that people sign.

Makes documents with kavrel-crypto/documents on the simulator and with "kavrel sign" on the desktop device, has each
implementation check them, and then changes one byte after the other of some. All have to accept the documents as they were
made, and to refuse each one that was changed. Prints a table of who accepts what, and fails if that is not as expected.
"""

import base64
import json
import re
import subprocess
from dataclasses import dataclass, replace
from pathlib import Path

from asn1crypto.cms import ContentInfo
from component import KAVREL, ROOT, Desktop
from documents.verifiers import ALL, write_programs
from records import PLAIN
from report import ACCEPTED, REFUSED, Report, tell, timed

MiB = 1 << 20
SIZES = [0, 1, 2, 55, 56, 63, 64, 65, 119, 127, 128, 255, 256, 4095, 65_535, 65_536, MiB]
TEXTS = {
    "line ends": b"one\r\ntwo\nthree\rfour\r\n\r\n",
    "no line end": b"one",
    "blanks": b" \t trailing  \r\n \n",
    "null characters": b"\0\0one\0",
    "all octets": bytes(range(256)),
    "Persian": "\ufeffقرارداد اجارهٔ فانوس\u200cدریایی".encode(),
    "emoji": "👍🏽\n".encode(),
    "MIME": b"Content-Type: text/plain\r\n\r\nbody\r\n-- \r\n",
    "JSON": b'{"amount":1,"to":"\xd8\xac"}',
    "DER": bytes.fromhex("3080060a2b060104018237020104a000000000"),
    "PEM": b"-----BEGIN CMS-----\nAAAA\n-----END CMS-----\n",
    "XML": b'<?xml version="1.0"?>\n<a>&amp;</a>\n',
}


@dataclass(frozen=True)
class Document:
    kind: str
    form: str  # "cms", "pdf" or "jws"
    content: Path
    signature: Path
    issuers: Path  # the certificate that issued the signer's, and those above it
    root: Path
    attached: bool = False


class Folder:
    """The files of the run."""

    def __init__(self, path):
        self.path = path
        self.count = 0

    def new(self, content=b""):
        self.count += 1
        path = self.path / f"{self.count:05}"
        path.write_bytes(content)
        return path


def openssl(folder, *arguments):
    subprocess.run(["openssl", *arguments], cwd=folder.path, check=True, capture_output=True)


def make_authorities(folder):
    constraints = ["-addext", "keyUsage=critical,keyCertSign,cRLSign"]
    key = ["-newkey", "rsa:2048", "-nodes", "-days", "9"]
    openssl(folder, "req", "-x509", *key, "-subj", "/CN=Root", *constraints, "-keyout", "root.key", "-out", "root.pem")
    (folder.path / "middle.cnf").write_text("basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign\n")
    openssl(folder, "req", *key, "-subj", "/O=نمونه/CN=Middle", "-utf8", "-keyout", "middle.key", "-out", "middle.csr")
    issued = ["-CA", "root.pem", "-CAkey", "root.key", "-days", "9", "-extfile", "middle.cnf"]
    openssl(folder, "x509", "-req", "-in", "middle.csr", *issued, "-out", "middle.pem")
    (folder.path / "both.pem").write_text((folder.path / "middle.pem").read_text() + (folder.path / "root.pem").read_text())


def contents(short):
    texts = list(TEXTS.values())
    sizes = [bytes(i * 7 % 256 for i in range(min(size, 4096))) * max(1, size // 4096) for size in SIZES]
    return (texts[::4], sizes[:3]) if short else (texts, sizes)


def planned(folder, short):
    """Yields the documents that kavrel-crypto/documents is to make, each with its options."""
    texts, sizes = contents(short)

    def document(kind, form, content, person, **options):
        issuers = folder.path / ("both.pem" if person == "chained" else "root.pem")
        attached = options.get("attached", False)
        kind += ", empty" if content.stat().st_size == 0 else ""
        made = Document(kind, form, content, folder.new(), issuers, folder.path / "root.pem", attached)
        return made, {"form": form, "person": person, "content": str(content), "signature": str(made.signature), **options}

    for content in map(folder.new, [*texts, *sizes, *([] if short else [b"\x5a" * (64 * MiB)])]):
        yield document(".p7s", "cms", content, "direct")
    for content in map(folder.new, [*texts, *sizes]):
        yield document(".p7s with a chain", "cms", content, "chained")
        yield document(".p7s, attached", "cms", content, "direct", attached=True)
    for content in map(folder.new, texts):
        yield document(".p7s, attached, with a chain", "cms", content, "chained", attached=True)
        yield document(".p7s with a time", "cms", content, "second", timed=True)
    for content in map(folder.new, [*texts, *sizes]):
        yield document("token", "jws", content, "direct")
    for content in map(folder.new, texts):
        yield document("token with a chain", "jws", content, "chained")
        yield document("PDF", "pdf", content, "direct")
        yield document("PDF with a chain", "pdf", content, "chained")


def made_by_package(folder, short):
    documents, plan = zip(*planned(folder, short), strict=True)
    (folder.path / "plan.json").write_text(json.dumps({"record": PLAIN, "documents": plan}))
    subprocess.run(["node", ROOT / "agreement/documents/make.mjs", folder.path], check=True, timeout=1200)
    return list(documents)


def made_by_kavrel(folder, short):
    """Yields documents that are signed from the command line."""
    desktop = Desktop(folder.path / "device")
    request = desktop.call("createCSR", {"userInfo": PLAIN})["csrPem"]
    (folder.path / "kavrel.csr").write_bytes(base64.b64decode(request))
    issued = ["-CA", "root.pem", "-CAkey", "root.key", "-days", "9", "-copy_extensions", "copyall", "-out", "kavrel.pem"]
    openssl(folder, "x509", "-req", "-inform", "DER", "-in", "kavrel.csr", *issued)
    certificate = {"nationalCode": PLAIN["nationalCode"], "certPem": (folder.path / "kavrel.pem").read_text()}
    desktop.call("storeCertificate", certificate)

    texts, sizes = contents(short)
    root = folder.path / "root.pem"
    for content in map(folder.new, [*texts, *sizes]):
        for form, option, ending in (("cms", [], ".p7s"), ("jws", ["--jws"], ".jws")):
            command = [KAVREL, "--device", desktop.folder, "--prompt", "match", "sign", *option, content]
            subprocess.run(command, check=True, capture_output=True)
            empty = ", empty" if content.stat().st_size == 0 else ""
            yield Document(f"{ending} by kavrel sign{empty}", form, content, Path(f"{content}{ending}"), root, root)


def with_two_signers(documents, folder):
    """Yields what two people have signed, one content each time, with both signatures in one file."""
    by_content = {document.content.read_bytes(): document for document in documents if document.kind == ".p7s"}
    for other in documents:
        one = by_content.get(other.content.read_bytes())
        if other.kind == ".p7s with a time" and one is not None:
            both = ContentInfo.load(one.signature.read_bytes())
            second = ContentInfo.load(other.signature.read_bytes())["content"]
            both["content"]["signer_infos"].append(second["signer_infos"][0])
            both["content"]["certificates"].append(second["certificates"][0])
            yield replace(one, kind=".p7s by two people", signature=folder.new(both.dump(force=True)))


def taken_apart(document, folder):
    """Returns the signature of a PDF as a document of its own."""
    pdf = document.signature.read_bytes()
    before, after, rest = map(int, re.search(rb"/ByteRange *\[ *0 +(\d+) +(\d+) +(\d+)", pdf).groups())
    padded = bytes.fromhex(pdf[before + 1 : after - 1].decode())
    der = padded[: 4 + int.from_bytes(padded[2:4], "big")]
    return replace(
        document,
        kind=f"{document.kind}, taken apart",
        form="cms",
        content=folder.new(pdf[:before] + pdf[after:]),
        signature=folder.new(der),
    )


def flipped(data, place):
    return data[:place] + bytes([data[place] ^ 0x01]) + data[place + 1 :]


def changes_of_cms(document, folder, step):
    """Yields the document with one bit changed: in its content, and in each part that says who signed what."""
    content, der = document.content.read_bytes(), document.signature.read_bytes()
    for place in range(0, len(content), step):
        yield replace(document, kind=f"{document.kind}: content changed", content=folder.new(flipped(content, place)))
    signed_data = ContentInfo.load(der)["content"]
    signer = signed_data["signer_infos"][0]
    parts = {
        "certificate": signed_data["certificates"][0].dump(),
        "attributes": signer["signed_attrs"].contents,
        "signature": signer["signature"].native,
    }
    for name, part in parts.items():
        start = der.index(part)
        for place in range(start, start + len(part), step):
            yield replace(document, kind=f"{document.kind}: {name} changed", signature=folder.new(flipped(der, place)))


def changes_of_token(document, folder, step):
    token = document.signature.read_text()
    parts = token.split(".")
    start = 0
    for name, part in zip(("header", "payload", "signature"), parts, strict=True):
        for place in range(start, start + len(part) - 1, step):  # the last character may have bits of no byte
            other = "A" if token[place] != "A" else "B"
            signature = folder.new((token[:place] + other + token[place + 1 :]).encode())
            yield replace(document, kind=f"{document.kind}: {name} changed", signature=signature)
        start += len(part) + 1


def changes_of_pdf(document, folder, step):
    pdf = document.signature.read_bytes()
    before, after = map(int, re.search(rb"/ByteRange *\[ *0 +(\d+) +(\d+)", pdf).groups())
    for place in [*range(0, before, step), *range(after, len(pdf), step)]:
        yield replace(document, kind="PDF: content changed", signature=folder.new(flipped(pdf, place)))


def changed(documents, folder, short):
    first = {
        document.kind: document for document in reversed(documents) if document.content.read_bytes() == TEXTS["line ends"]
    }
    step = 97 if short else 1
    yield from changes_of_cms(first[".p7s"], folder, step)
    yield from changes_of_token(first["token"], folder, step)
    yield from changes_of_pdf(first["PDF"], folder, step * 7)


def check(folder, short):
    folder = Folder(folder)
    make_authorities(folder)
    documents = timed("documents by the package", made_by_package, folder, short)
    documents += timed("documents by kavrel", made_by_kavrel, folder, short)
    documents += timed("documents by two people", with_two_signers, documents, folder)
    pdfs = [document for document in documents if document.form == "pdf"]
    documents += timed("documents changed", changed, documents, folder, short)
    documents += [taken_apart(pdf, folder) for pdf in pdfs]

    programs = folder.path / "programs"
    programs.mkdir()
    write_programs(programs)
    report = Report("documents", "Who accepts which documents", [verifier.name for verifier in ALL])
    for verifier in ALL:
        pertinent = [document for document in documents if document.form in verifier.forms]
        refusals = timed(verifier.name, verifier(programs).refusals, pertinent)
        for document, refusal in zip(pertinent, refusals, strict=True):
            outcome = ACCEPTED if refusal is None else REFUSED
            report.judge(document.kind, verifier.name, outcome, refusal or "")
    return report


if __name__ == "__main__":
    tell(__doc__, check)
