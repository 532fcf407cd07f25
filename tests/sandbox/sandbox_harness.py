"""Runs the sandbox as a child process for the phone page's browser test and
talks to it like the agent: JSON members ascending with tab indentation,
envelopes signed with RSA PKCS#1 v1.5 over SHA-256.
"""
from __future__ import annotations

import base64
import json
import os
import shutil
import signal
import subprocess
import tempfile
import time
import urllib.error
import urllib.request
from pathlib import Path
from typing import Any, Optional

from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding, rsa

REPO = Path(__file__).resolve().parents[2]
SANDBOX = REPO / "tools" / "sandbox" / "orvane_sandbox.py"
PYTHON = "/usr/bin/python3"
START_TIMEOUT = 90.0      # a first start generates about twenty RSA keys
REQUEST_TIMEOUT = 15.0


class SandboxProcess:
    """One sandbox on free loopback ports, in a fresh state directory."""

    def __init__(self, *extra_args: str) -> None:
        self.extra_args = list(extra_args)
        self.state_dir = Path(tempfile.mkdtemp(prefix="orvane-sandbox-test-"))
        self.process: Optional[subprocess.Popen[bytes]] = None
        self.info: dict[str, Any] = {}

    def start(self) -> "SandboxProcess":
        ready = self.state_dir / "ready.json"
        log = open(self.state_dir / "sandbox.log", "ab")
        self.process = subprocess.Popen(
            [PYTHON, str(SANDBOX), "--state-dir", str(self.state_dir), "--kestrel-port", "0",
             "--harrier-port", "0", "--ready-file", str(ready), "--quiet", *self.extra_args],
            stdout=log, stderr=subprocess.STDOUT)
        log.close()
        if not wait_until(lambda: ready.exists() or self.process.poll() is not None, START_TIMEOUT) \
                or not ready.exists():
            text = (self.state_dir / "sandbox.log").read_text(errors="replace")
            self.stop()
            raise RuntimeError(f"sandbox did not become ready: {text}")
        self.info = json.loads(ready.read_text())
        return self

    def stop(self) -> None:
        if self.process is not None and self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(timeout=15)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait(timeout=5)
        self.process = None
        shutil.rmtree(self.state_dir, ignore_errors=True)

    def admin_get(self, path: str) -> Any:
        return http("GET", self.info["admin_url"] + path)[1]

    def admin_post(self, path: str, body: Any = None) -> tuple[int, Any]:
        raw = json.dumps(body if body is not None else {}).encode("utf-8")
        return http("POST", self.info["admin_url"] + path, raw)


def json_text(value: Any) -> str:
    """JSON as the agent writes it."""
    return json.dumps(value, indent="\t", sort_keys=True, ensure_ascii=False, separators=(",", " : "))


def http(method: str, url: str, raw: Optional[bytes] = None) -> tuple[int, Any]:
    """(status, parsed JSON body or None). Loopback only."""
    assert url.startswith("http://127.0.0.1:"), url
    request = urllib.request.Request(url, data=raw, method=method)
    request.add_header("Accept", "application/json")
    if raw is not None:
        request.add_header("Content-Type", "application/json")
    try:
        with urllib.request.urlopen(request, timeout=REQUEST_TIMEOUT) as reply:
            status, payload = reply.status, reply.read()
    except urllib.error.HTTPError as error:
        status, payload = error.code, error.read()
    return status, json.loads(payload.decode("utf-8")) if payload else None


class Agent:
    """The desktop side: its key pair and its signed envelopes to Kestrel."""

    def __init__(self, sandbox: SandboxProcess) -> None:
        self.sandbox = sandbox
        self.key = rsa.generate_private_key(public_exponent=65537, key_size=2048)
        self.installation_code = ""

    def sign(self, data: bytes) -> str:
        return base64.b64encode(self.key.sign(data, padding.PKCS1v15(), hashes.SHA256())).decode("ascii")

    def create(self) -> None:
        public_pem = self.key.public_key().public_bytes(
            serialization.Encoding.PEM, serialization.PublicFormat.SubjectPublicKeyInfo).decode("ascii")
        document = {"domainName": "WORKGROUP", "installationName": "PC-TESTE", "operationalSystem": "Debian 12",
                    "publicKey": public_pem, "userName": "teste"}
        status, answer = http("POST", self.sandbox.info["kestrel_url"] + "/create", json_text(document).encode())
        assert status == 200, (status, answer)
        self.installation_code = answer["installationCode"]

    def signed(self, call: str, document: Any) -> tuple[int, Any]:
        """Posts an envelope; a 2xx answer is unwrapped and its contentData parsed."""
        content = json_text(document)
        envelope = json_text({"contentData": content, "signature": self.sign(content.encode("utf-8"))}).encode()
        status, reply = http("POST", f"{self.sandbox.info['kestrel_url']}/{call}/{self.installation_code}", envelope)
        if status // 100 == 2 and isinstance(reply, dict):
            return status, json.loads(reply["contentData"])
        return status, reply


def wait_until(predicate: Any, timeout: float = 10.0, interval: float = 0.05) -> Any:
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        result = predicate()
        if result:
            return result
        time.sleep(interval)
    return None


def chromium_available() -> bool:
    return os.path.exists("/usr/bin/chromium") and os.path.exists("/usr/bin/chromedriver")
