"""The implementations that check documents, in the order of the table. Most run the programs that docs/verify.md shows.

Each is made with a folder for its files. `refusals(documents)` returns for each document None, if it is accepted, or the
reason of the refusal. `forms` are those that it can check: "cms", "pdf" and "jws".
"""

import os
import runpy
import sys
from concurrent.futures import ThreadPoolExecutor
from contextlib import redirect_stdout
from io import BytesIO, TextIOWrapper
from pathlib import Path

from commands import last_line, output_of, run
from component import ROOT

sys.path.append(str(ROOT / "tests/pages"))
from run import blocks  # noqa: E402

PAGE = ROOT / "docs/verify.md"
HERE = Path(__file__).resolve().parent


def write_programs(folder):
    """Writes the programs of the page into `folder`."""
    for _, _, name, text in blocks(PAGE):
        if name:
            (folder / name).write_text(text)


class Commands:
    """Checks each document by a command, as many at once as there are cores."""

    forms = {"cms", "jws"}

    def __init__(self, folder):
        self.folder = folder

    def refusals(self, documents):
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            return list(pool.map(self.refusal, documents))

    def refusal(self, document):
        ended = run(*self.command(document), cwd=self.folder)
        accepted = ended.returncode == 0 and self.is_pleased(ended.stdout.decode(errors="replace"))
        return None if accepted else last_line(ended.stderr + ended.stdout)

    def is_pleased(self, output):
        return True


class OpenSSL(Commands):
    name = "OpenSSL"
    forms = {"cms"}

    def command(self, document):
        content = [] if document.attached else ["-content", document.content]
        trusted = ["-cades", "-purpose", "any", "-CAfile", document.root, "-out", "/dev/null"]
        return ["openssl", "cms", "-verify", "-binary", "-inform", "DER", "-in", document.signature, *content, *trusted]


def arguments_of(document, p7s, token):
    """Returns the program of the page that checks `document`, and its arguments."""
    if document.form == "jws":
        return [token, document.issuers, document.signature]
    return [p7s, document.issuers, document.content, document.signature]


class Programs(Commands):
    """Runs one program of the page for a `.p7s` and another for a token."""

    interpreter = []

    def command(self, document):
        return [*self.interpreter, *arguments_of(document, self.p7s, self.token)]


class CPlusPlus(Programs):
    name = "C++"

    def __init__(self, folder):
        super().__init__(folder)
        for program in ("p7s", "token"):
            output_of("g++", "-std=c++17", "-O1", folder / f"{program}.cpp", "-o", folder / f"cpp-{program}", "-lcrypto")
        self.p7s, self.token = folder / "cpp-p7s", folder / "cpp-token"


class NSS(Commands):
    """The signatures of a PDF, by poppler's pdfsig. The last one has to cover the whole file."""

    name = "pdfsig (NSS)"
    forms = {"pdf"}

    def command(self, document):
        return ["pdfsig", "-nocert", document.signature]

    def is_pleased(self, output):
        count = output.count("Signature #")
        return count > 0 and output.count("Signature is Valid.") == count and output.count("Total document signed") == 1


class GnuTLS(Commands):
    name = "GnuTLS"
    forms = {"cms"}

    def command(self, document):
        content = [] if document.attached else ["--load-data", document.content]
        trusted = ["--load-ca-certificate", document.issuers]
        return ["certtool", "--p7-verify", "--inder", "--infile", document.signature, *content, *trusted]


class Batch:
    """Has one process run a program of the page for each document."""

    forms = {"cms", "jws"}

    def refusals(self, documents):
        lines = ["\t".join(map(str, arguments_of(document, self.p7s, self.token))) + "\n" for document in documents]
        ended = run(*self.command, input="".join(lines).encode(), cwd=self.folder, env={**os.environ, "LC_ALL": "C.UTF-8"})
        answers = ended.stdout.decode().split("\n")[:-1]
        if len(answers) != len(documents):
            raise RuntimeError(f"{self.command[0]} ended with {ended.returncode}: {last_line(ended.stderr)}")
        return [answer or None for answer in answers]


class BouncyCastle(Batch):
    name = "Bouncy Castle"
    p7s, token = "P7s", "Token"

    def __init__(self, folder):
        self.folder = folder
        path = ":".join(f"/usr/share/java/{jar}.jar" for jar in ("bcprov", "bcpkix", "bcutil"))
        self.command = ["java", "-cp", f"{path}:{folder}", "Batch"]
        sources = [folder / "P7s.java", folder / "Token.java", HERE / "Batch.java"]
        output_of("javac", "-cp", path, "-d", folder, *sources)


class Go(Programs):
    name = "Go"

    def __init__(self, folder):
        super().__init__(folder)
        go = {"GO111MODULE": "off", "GOPATH": "/usr/share/gocode", "GOCACHE": str(folder / "go-cache"), "CGO_ENABLED": "0"}
        for program in ("p7s", "token"):
            output_of("go", "build", "-o", folder / f"go-{program}", folder / f"{program}.go", env=os.environ | go)
        self.p7s, self.token = folder / "go-p7s", folder / "go-token"


class PHP(Programs):
    name = "PHP"
    interpreter = ["php"]
    p7s, token = "p7s.php", "token.php"


class Python:
    """Runs the programs in this process, since starting one takes long."""

    name = "Python"
    forms = {"cms", "jws"}

    def __init__(self, folder):
        self.folder = folder
        sys.path.append(str(folder))

    def refusals(self, documents):
        return [self.refusal(document) for document in documents]

    def refusal(self, document):
        program, *arguments = arguments_of(document, "p7s.py", "token_.py")
        sys.argv = [program, *map(str, arguments)]
        try:
            with redirect_stdout(TextIOWrapper(BytesIO())):
                runpy.run_path(str(self.folder / program), run_name="__main__")
        except (Exception, SystemExit) as refusal:
            return repr(refusal)
        return None


class NodeJS(Batch):
    name = "Node.js"
    p7s, token = "p7s.mjs", "token.mjs"
    command = ["node", HERE / "batch.mjs"]

    def __init__(self, folder):
        self.folder = folder
        (folder / "node_modules").symlink_to(ROOT / "node_modules")


ALL = [OpenSSL, CPlusPlus, NSS, GnuTLS, BouncyCastle, Go, PHP, Python, NodeJS]
