"""tools/linked_certificates.py against a store that orvanectl filled from
the sandbox services: it finds the published certificates where the agent
put them, and passes over what the store document says readers skip."""
from __future__ import annotations

import hashlib
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from cryptography import x509
from cryptography.hazmat.primitives.serialization import Encoding

HERE = Path(__file__).resolve().parent
REPO = HERE.parents[1]
sys.path.insert(0, str(REPO / "tests" / "sandbox"))

from sandbox_harness import PYTHON, SandboxProcess  # noqa: E402

READER = REPO / "tools" / "linked_certificates.py"
ORVANECTL = os.environ.get("ORVANECTL", "")
PROVIDER = "Orvane Cryptographic Provider"


@unittest.skipUnless(ORVANECTL, "ORVANECTL names the built orvanectl")
class LinkedCertificates(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.scratch = Path(tempfile.mkdtemp(prefix="orvane-reader-"))
        # The agent's data folder comes from HOME: no XDG_DATA_HOME at all.
        cls.env = {k: v for k, v in os.environ.items() if not k.startswith("XDG_")}
        cls.env.update(HOME=str(cls.scratch / "home"), XDG_CONFIG_DIRS=str(cls.scratch / "xdg"))
        config = cls.scratch / "xdg" / "Orvane" / "applicationConfig-2.properties"
        cls.sandbox = SandboxProcess("--config-out", str(config)).start()
        cls.store = cls.scratch / "home" / ".local" / "share" / "Orvane" / "certstore"

    @classmethod
    def tearDownClass(cls) -> None:
        cls.sandbox.stop()
        shutil.rmtree(cls.scratch, ignore_errors=True)

    def ctl(self, *arguments: str) -> None:
        done = subprocess.run([ORVANECTL, *arguments], env=self.env, capture_output=True, timeout=120)
        self.assertEqual(done.returncode, 0, done.stderr.decode(errors="replace"))

    def reader(self, *arguments: str, env: dict[str, str] | None = None) -> list[list[str]]:
        done = subprocess.run([PYTHON, str(READER), *arguments], env=env or self.env, capture_output=True,
                              timeout=60, check=True)
        return [line.split("\t") for line in done.stdout.decode().splitlines()]

    def test_lists_what_the_agent_published_and_skips_unreadable_entries(self) -> None:
        self.ctl("enrol")
        code = self.sandbox.admin_get("/installations")["kestrel"][0]["code"]
        identity = next(i for i in self.sandbox.admin_get("/seed")["identities"]
                        if i["displayName"] == "CARLOS EDUARDO PEREIRA")
        phone = identity["devices"][0]
        self.assertEqual(self.sandbox.admin_post(f"/installations/{code}/devices",
                                                 {"deviceCode": phone["deviceCode"]})[0], 200)
        self.ctl("refresh")

        expected = {}
        for key in phone["keys"]:
            certificate = x509.load_pem_x509_certificate(key["certificatePem"].encode())
            expected[hashlib.sha1(certificate.public_bytes(Encoding.DER)).hexdigest()] = [
                key["keyName"], PROVIDER, certificate.subject.rfc4514_string()]
        self.assertEqual(len(expected), 2)

        listed = self.reader()
        self.assertEqual({row[0]: row[1:] for row in listed}, expected)
        # An XDG_DATA_HOME that is not absolute counts as unset.
        self.assertEqual(self.reader(env={**self.env, "XDG_DATA_HOME": "relative/data"}), listed)
        for entry in (self.store / "MY").iterdir():
            self.assertEqual(entry.stat().st_mode & 0o777, 0o600, entry)

        # The agent's entries, copied into another store and spoiled one way
        # each: every spoiled one is passed over, the walk goes on.
        mine, other = sorted(expected)
        original = (self.store / "MY" / f"{mine}.entry").read_bytes()
        spoiled = self.scratch / "spoiled"
        (spoiled / "MY").mkdir(parents=True)
        (spoiled / "MY" / f"{other}.entry").write_bytes((self.store / "MY" / f"{other}.entry").read_bytes())
        pairs = " ".join(mine[i:i + 2] for i in range(0, 40, 2)).encode()
        cases = {
            "later version": original.replace(b"orvane-certificate-entry: 1", b"orvane-certificate-entry: 2"),
            "no colon and blank": original.replace(b"key-spec: 2", b"key-spec=2"),
            "bad escape": original.replace(b"container-name: ", b"container-name: %G1"),
            "link half there": original.replace(b"provider-name: " + PROVIDER.encode() + b"\n", b""),
            "number too large": original.replace(b"provider-type: 24", b"provider-type: 4294967296"),
            "name not UTF-8": original.replace(b"container-name: ", b"container-name: \xff"),
            "other fingerprint": original.replace(pairs, b"00" + pairs[2:]),
            "no certificate": original.split(b"-----BEGIN")[0],
        }
        for label, text in cases.items():
            with self.subTest(label):
                self.assertNotEqual(text, original)
                (spoiled / "MY" / f"{mine}.entry").write_bytes(text)
                self.assertEqual([row[0] for row in self.reader("--root", str(spoiled))], [other])
        # Under a name that is not its own, in a temporary file, or linked to
        # another provider: not listed (with --provider) either.
        (spoiled / "MY" / f"{mine}.entry").unlink()
        (spoiled / "MY" / f"{'0' * 40}.entry").write_bytes(original)
        (spoiled / "MY" / f"{mine}.entry.tmp-Ab12Cd").write_bytes(original)
        (spoiled / "MY" / f"{mine}.entry").write_bytes(original.replace(PROVIDER.encode(), b"Another Provider"))
        self.assertEqual([row[0] for row in self.reader("--root", str(spoiled), "--provider", PROVIDER)], [other])
        # Repeated header: the last one counts.
        (spoiled / "MY" / f"{mine}.entry").write_bytes(original.replace(
            b"provider-type: 24\n", b"container-name: later\nprovider-type: 24\n"))
        self.assertIn([mine, "later"], [row[:2] for row in self.reader("--root", str(spoiled))])


if __name__ == "__main__":
    unittest.main()
