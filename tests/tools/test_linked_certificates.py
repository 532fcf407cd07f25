"""tools/linked_certificates.py against a store that orvanectl filled from
the sandbox: it finds the published entries where the agent put them, and
passes over what the store document says readers skip."""
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

REPO = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPO / "tests" / "mock"))
from sandbox_fixture import admin, start_sandbox  # noqa: E402

PYTHON = "/usr/bin/python3"

PROVIDER = b"Orvane Cryptographic Provider"


@unittest.skipUnless(os.environ.get("ORVANECTL"), "ORVANECTL names the built orvanectl")
class LinkedCertificates(unittest.TestCase):
    def run_tool(self, command, env):
        return subprocess.run(command, env=env, capture_output=True, timeout=120, check=True).stdout.decode()

    def test_lists_what_the_agent_published_and_skips_unreadable_entries(self):
        scratch = Path(tempfile.mkdtemp(prefix="orvane-reader-"))
        self.addCleanup(shutil.rmtree, scratch, True)
        # No XDG_DATA_HOME: the agent's data folder comes from HOME.
        env = {k: v for k, v in os.environ.items() if not k.startswith("XDG_")}
        env.update(HOME=str(scratch / "home"), XDG_CONFIG_DIRS=str(scratch / "xdg"))
        sandbox = start_sandbox(self, scratch / "xdg/Orvane/applicationConfig-2.properties")
        self.run_tool([os.environ["ORVANECTL"], "enrol"], env)
        phone = next(i for i in admin(sandbox, "/seed")["identities"]
                     if i["displayName"] == "CARLOS EDUARDO PEREIRA")["devices"][0]
        code = admin(sandbox, "/installations")["kestrel"][0]["code"]
        admin(sandbox, f"/installations/{code}/devices", {"deviceCode": phone["deviceCode"]})
        self.run_tool([os.environ["ORVANECTL"], "refresh"], env)

        expected = {}
        for key in phone["keys"]:
            certificate = x509.load_pem_x509_certificate(key["certificatePem"].encode())
            expected[hashlib.sha1(certificate.public_bytes(Encoding.DER)).hexdigest()] = [
                key["keyName"], PROVIDER.decode(), certificate.subject.rfc4514_string()]
        reader = [PYTHON, str(REPO / "tools" / "linked_certificates.py")]
        listed = self.run_tool(reader, env)
        self.assertEqual({row[0]: row[1:] for row in (line.split("\t") for line in listed.splitlines())}, expected)
        # An XDG_DATA_HOME that is not absolute counts as unset.
        self.assertEqual(self.run_tool(reader, {**env, "XDG_DATA_HOME": "relative/data"}), listed)
        store = scratch / "home/.local/share/Orvane/certstore/MY"
        self.assertEqual({entry.stat().st_mode & 0o777 for entry in store.iterdir()}, {0o600})

        # One of the agent's entries, spoiled one way at a time in another
        # store beside an intact one: the spoiled one is passed over.
        mine, other = sorted(expected)
        original = (store / f"{mine}.entry").read_bytes()
        spoiled = scratch / "spoiled/MY"
        spoiled.mkdir(parents=True)
        shutil.copy(store / f"{other}.entry", spoiled)
        pairs = " ".join(mine[i:i + 2] for i in range(0, 40, 2)).encode()
        for name, old, new in [
                (mine, b"entry: 1", b"entry: 2"), (mine, b"key-spec: 2", b"key-spec=2"),
                (mine, b"container-name: ", b"container-name: %G1"), (mine, b"provider-name: " + PROVIDER, b"x: y"),
                (mine, b"provider-type: 24", b"provider-type: 4294967296"),
                (mine, b"container-name: ", b"container-name: \xff"), (mine, pairs, b"00" + pairs[2:]),
                (mine, b"-----BEGIN", b"-----END"), ("0" * 40, b"", b""), (mine + ".entry.tmp-Ab12Cd", b"", b""),
                (mine, PROVIDER, b"Another Provider")]:
            with self.subTest(name=name, new=new):
                for entry in spoiled.iterdir():
                    if entry.name != f"{other}.entry":
                        entry.unlink()
                (spoiled / (name if ".tmp-" in name else name + ".entry")).write_bytes(original.replace(old, new))
                out = self.run_tool(reader + ["--root", str(spoiled.parent), "--provider", PROVIDER.decode()], env)
                self.assertEqual([line.split("\t")[0] for line in out.splitlines()], [other])
        # A name given twice: the last line counts.
        (spoiled / f"{mine}.entry").write_bytes(original.replace(b"key-spec", b"container-name: later\nkey-spec"))
        self.assertIn(f"{mine}\tlater\t", self.run_tool(reader + ["--root", str(spoiled.parent)], env))


if __name__ == "__main__":
    unittest.main()
