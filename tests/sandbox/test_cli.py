"""The sandbox as a program: command line, files it writes, persistence, clean stop; wire helpers."""
from __future__ import annotations

import json
import os
import shutil
import sys
import tempfile
import unittest
from pathlib import Path

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(HERE, "..", "..", "tools", "sandbox"))

from orvsandbox import wire  # noqa: E402
from sandbox_harness import Agent, SandboxProcess, http  # noqa: E402


class ProgramTests(unittest.TestCase):
    def test_ready_file_config_file_and_clean_stop(self) -> None:
        with tempfile.TemporaryDirectory(prefix="orvane-sandbox-cfg-") as scratch:
            config = Path(scratch) / "xdg" / "Orvane" / "applicationConfig-2.properties"
            sandbox = SandboxProcess("--config-out", str(config)).start()
            try:
                info = sandbox.info
                for member in ("kestrel_port", "harrier_port", "kestrel_url", "harrier_url", "harrier_host",
                               "phone_url", "admin_url", "tls_ca", "icp_ca_chain", "config_file"):
                    self.assertIn(member, info)
                self.assertNotEqual(info["kestrel_port"], 0)
                self.assertTrue(Path(info["tls_ca"]).read_text().startswith("-----BEGIN CERTIFICATE-----"))
                lines = dict(line.split(" = ", 1) for line in config.read_text().splitlines()
                             if line and not line.startswith("#"))
                self.assertEqual(lines["brantis.url"], f"http://127.0.0.1:{info['kestrel_port']}")
                self.assertEqual(lines["brantis.base.name"], "/TolvaneServices")
                self.assertEqual(lines["harrier.url"], f"127.0.0.1:{info['harrier_port']}")
                self.assertEqual(lines["brantis.url"] + lines["brantis.base.name"] + "/desktop", info["kestrel_url"])
                self.assertEqual(http("GET", info["admin_url"] + "/health")[1], {"ok": True})
                status, page, headers = http("GET", info["phone_url"])
                self.assertEqual(status, 200)
                self.assertIn("text/html", headers["Content-Type"])
                self.assertIn(b"Aprovar", page)
                ready = sandbox.state_dir / "ready.json"
            finally:
                code = sandbox.stop(remove=False)
            self.assertEqual(code, 0)
            self.assertFalse(ready.exists())
            shutil.rmtree(sandbox.state_dir, ignore_errors=True)

    def test_seed_lists_identities_and_accounts_with_secrets(self) -> None:
        sandbox = SandboxProcess().start()
        try:
            seed = sandbox.admin_get("/seed")
        finally:
            sandbox.stop()
        kinds = {i["kind"] for i in seed["identities"]}
        self.assertEqual(kinds, {"person", "company"})
        self.assertTrue(all(1 <= len(i["devices"]) <= 3 for i in seed["identities"]))
        account = seed["accounts"][0]
        for member in ("email", "password", "urlAcesso", "otp", "wallet"):
            self.assertIn(member, account)
        self.assertTrue(all(";" in k["keyName"] and k["pin"] for a in seed["accounts"] for k in a["wallet"]))

    def test_persisted_state_survives_a_restart(self) -> None:
        state_dir = Path(tempfile.mkdtemp(prefix="orvane-sandbox-persist-"))
        try:
            sandbox = SandboxProcess("--persist", state_dir=state_dir).start()
            try:
                agent = Agent(sandbox)
                agent.create()
                device = sandbox.admin_get("/seed")["identities"][0]["devices"][0]["deviceCode"]
                status, _ = sandbox.admin_post(f"/installations/{agent.installation_code}/devices",
                                               {"deviceCode": device})
                self.assertEqual(status, 200)
                status, first, headers = agent.signed("listCertificates", {"hash": "x"})
                mark = headers["Last-Modified"]
            finally:
                sandbox.stop(remove=False)
            saved = json.loads((state_dir / "state.json").read_text())
            self.assertEqual(saved["installations"][0]["code"], agent.installation_code)

            sandbox = SandboxProcess("--persist", state_dir=state_dir).start()
            agent.sandbox = sandbox  # new free ports; same installation and key
            try:
                status, again, _ = agent.signed("listCertificates", {"hash": "y"})
                self.assertEqual(status, 200)
                self.assertEqual(again, first)
                self.assertEqual(agent.signed("listCertificates", {"hash": "z"}, if_modified_since=mark)[0], 304)
            finally:
                sandbox.stop(remove=False)
        finally:
            shutil.rmtree(state_dir, ignore_errors=True)

    def test_base_path_must_end_in_desktop(self) -> None:
        sandbox = SandboxProcess("--base-path", "/servicos")
        with self.assertRaises(RuntimeError):
            sandbox.start()


class WireTests(unittest.TestCase):
    def test_flatten_rules(self) -> None:
        self.assertEqual(wire.flatten({"momento": "1700000000000"}), b"1700000000000")
        self.assertEqual(wire.flatten({"push": True}), b"push")
        self.assertEqual(wire.flatten({"push": False}), b"")
        self.assertEqual(wire.flatten({"b": 2.9, "a": -3, "c": None}), b"-32")
        self.assertEqual(wire.flatten({"hashArray": [{"id": 0, "hash": "QUJD"}], "algorithm": "SHA256"}),
                         b"SHA256QUJD0")
        self.assertEqual(wire.flatten({"o": {"z": "1", "y": "2"}, "n": "é"}), "é21".encode())

    def test_http_dates_round_trip(self) -> None:
        self.assertEqual(wire.parse_http_date(wire.http_date(1700000000)), 1700000000)
        self.assertIsNone(wire.parse_http_date("ontem"))
        self.assertIsNone(wire.parse_http_date(""))

    def test_json_text_is_sorted_with_tabs(self) -> None:
        self.assertEqual(wire.to_json_text({"b": 1, "a": "ç"}), '{\n\t"a" : "ç",\n\t"b" : 1\n}')


if __name__ == "__main__":
    unittest.main()
